#include "profile_shape.h"

#include <bit>
#include <cstring>
#include <string_view>

namespace sve::profile {

namespace {

unsigned size_bytes(char letter, uint32_t entry_size) {
  switch (letter == 'T' ? "bhsdq"[entry_size] : letter) {
    case 'b': return 1;
    case 'h': return 2;
    case 's': return 4;
    case 'd': return 8;
    case 'q': return 16;
    default: return 0;
  }
}

// The element size of the register operands of one kind ("p2.s", "z3.d"):
// of the first with one, or the widest; 0 when none has one.
unsigned operand_size(std::string_view operands, char kind, uint32_t entry_size, bool widest) {
  unsigned size = 0;
  for (size_t i = 0; i + 1 < operands.size(); ++i) {
    if (operands[i] != kind || (i > 0 && operands[i - 1] != ' ' && operands[i - 1] != '{' && operands[i - 1] != '['))
      continue;
    size_t j = i + 1;
    while (j < operands.size() && operands[j] >= '0' && operands[j] <= '9') ++j;
    if (j == i + 1 || j + 1 >= operands.size() || operands[j] != '.') continue;
    size = std::max(size, size_bytes(operands[j + 1], entry_size));
    if (!widest) break;
  }
  return size;
}

// LD1B, LDFF1SH, LD1RQW, ST3D, LDNT1W ...: what the mnemonic says of the
// memory elements.
void parse_memory(std::string_view m, std::string_view operands, shape& s) {
  s.memory = m.starts_with("ld") ? direction::load : direction::store;
  std::string_view rest = m.substr(2);
  if (rest == "r") {
    s.moved = extent::whole_register;
    s.whole_bytes = operands.starts_with("p") ? sve_vl_bytes / 8 : sve_vl_bytes;
    return;
  }
  if (rest.starts_with("ff1") || rest.starts_with("nf1")) {
    s.first_fault = true;
    rest.remove_prefix(3);
  } else if (rest.starts_with("nt1")) {
    rest.remove_prefix(3);
  } else {
    s.registers = uint8_t(rest[0] - '0');
    rest.remove_prefix(1);
  }
  if (rest.starts_with("rq")) s.moved = extent::quadword;
  else if (rest.starts_with("r")) s.moved = extent::one_element;
  // Memory sizes are b, h, w, d.
  s.memory_bytes = uint8_t(size_bytes(rest.back() == 'w' ? 's' : rest.back(), 0));
  const size_t bracket = operands.find('[');
  s.vector_addresses = bracket != std::string_view::npos && operands.find('z', bracket) != std::string_view::npos;
}

}  // namespace

shape shape_of(const decode_entry& e) {
  shape s;
  const std::string_view sample(e.sample);
  const size_t space = sample.find(' ');
  const std::string_view m = sample.substr(0, space);
  const std::string_view operands = space == std::string_view::npos ? "" : sample.substr(space + 1);
  std::memcpy(s.mnemonic, m.data(), std::min(m.size(), sizeof s.mnemonic - 1));
  s.governing_lo = e.governing_lo;
  s.governing_bits = e.governing_bits;
  const bool prefetch = m.starts_with("prf");
  if (!prefetch && (m.starts_with("ld") || m.starts_with("st"))) parse_memory(m, operands, s);
  if (s.governing_bits) {
    unsigned bytes = operand_size(operands, 'p', e.size, false);
    if (!bytes) bytes = operand_size(operands, 'z', e.size, true);
    if (!bytes && prefetch) bytes = size_bytes(m.back() == 'w' ? 's' : m.back(), 0);
    s.element_bytes = uint8_t(bytes);
  }
  return s;
}

unsigned active_elements(const uint8_t* predicate, unsigned element_bytes, unsigned bytes) {
  unsigned n = 0, i = 0;
  if (element_bytes == 0) return 0;
  if (element_bytes < 8) {
    // Bit 0 of each element's first byte, eight bytes at a time.
    const uint64_t starts = element_bytes == 1 ? 0x0101010101010101 : element_bytes == 2 ? 0x0001000100010001 : 0x0000000100000001;
    for (; i + 8 <= bytes; i += 8) {
      uint64_t w;
      std::memcpy(&w, predicate + i, 8);
      n += unsigned(std::popcount(w & starts));
    }
  }
  for (; i < bytes; i += element_bytes) n += predicate[i] & 1;
  return n;
}

}  // namespace sve::profile
