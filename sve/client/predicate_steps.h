// Instructions whose whole effect is one predicate set to a constant, and
// for PTRUES the flags: PFALSE, and PTRUE and PTRUES with any pattern. At a
// fixed vector length the value is known when the word is decoded. In
// cpu_state a predicate is one byte per vector byte; where each 16-byte
// segment of it is all zero or all the element pattern (a 1 in the first
// byte of each element), the client writes it with 16-byte stores of two
// host vector registers instead of calling the emulator.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "../decode/sve_emu.h"

namespace sve {

inline constexpr unsigned predicate_segments = sve_vl_bytes / 16;

struct predicate_step {
  unsigned pd;
  unsigned esize;                               // bytes per element
  std::array<bool, predicate_segments> full;    // each segment: the pattern, or zero
  std::optional<uint64_t> nzcv;                 // the flags that PTRUES sets, NZCV in bits 31:28
};

// The step that `word` (decoded to `h`) is, if it is one; its value is found
// by running the handler once on a zeroed register file.
std::optional<predicate_step> predicate_step_of(uint32_t word, sve_handler h);

// Byte i of the predicate that the step writes.
inline uint8_t step_byte(const predicate_step& st, unsigned i) {
  return st.full[i / 16] && i % st.esize == 0;
}

}  // namespace sve
