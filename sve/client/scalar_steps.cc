#include "scalar_steps.h"

#include <memory>
#include <string_view>

#include "../decode/decode.h"
#include "../decode/fields.h"

namespace sve {

std::optional<scalar_step> scalar_step_of(uint32_t word, sve_handler h) {
  const decode_entry* e = entry_of(word, h);
  if (!e) return std::nullopt;
  const std::string_view name = e->name;
  scalar_step step{field(word, 4, 0), field(word, 4, 0), false, false, 0};
  if (name.ends_with("CountVLSI") || name == "VecS64VLX") {
    step.from_zero = true;
  } else if (name.ends_with("AddVLX") || name.ends_with("AddPLX")) {
    step.rn = field(word, 20, 16);
    step.sp = true;
  } else if (!(name.starts_with("VecU") && (name.ends_with("IncrVLSI") || name.ends_with("DecrVLSI")))) {
    return std::nullopt;  // the saturating steps are named QIncr and QDecr
  }
  auto s = std::make_unique<cpu_state>();
  if (h(s.get(), word) != aarch64_decode_ok) return std::nullopt;
  step.c = int64_t(step.rd == 31 ? (step.sp ? s->sp : 0) : s->x[step.rd]);
  return step;
}

}  // namespace sve
