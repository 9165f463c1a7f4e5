#include "predicate_steps.h"

#include <memory>
#include <string_view>

#include "../decode/decode.h"
#include "../decode/fields.h"

namespace sve {

std::optional<predicate_step> predicate_step_of(uint32_t word, sve_handler h) {
  const decode_entry* e = entry_of(word, h);
  if (!e) return std::nullopt;
  const std::string_view name = e->name;
  const bool pfalse = name == "VecPFalse", flags = name.ends_with("TrueFlgI");
  if (!pfalse && !flags && !name.ends_with("TrueI")) return std::nullopt;
  auto s = std::make_unique<cpu_state>();
  if (h(s.get(), word) != aarch64_decode_ok) return std::nullopt;
  predicate_step st{field(word, 3, 0), pfalse ? 1u : 1u << field(word, 23, 22), {}, std::nullopt};
  for (unsigned seg = 0; seg < predicate_segments; ++seg) {
    st.full[seg] = s->p[st.pd][16 * seg] != 0;
    for (unsigned i = 16 * seg; i < 16 * seg + 16; ++i)
      if (s->p[st.pd][i] != step_byte(st, i)) return std::nullopt;  // a segment only partly set
  }
  if (flags) st.nzcv = s->nzcv & 0xf0000000;
  return st;
}

}  // namespace sve
