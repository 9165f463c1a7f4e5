// Instructions whose whole effect is one general register set to a
// constant or moved by one: the element counts CNTB/H/W/D and RDVL
// (Xd = c), the non-saturating INCB/H/W/D and DECB/H/W/D of a register
// (Xdn = Xdn + c) and ADDVL and ADDPL (Xd|SP = Xn|SP + c). At a fixed vector
// length, c is known when the word is decoded, so the client can put a
// native add or move in the instruction's place instead of a call into the
// emulator.
#pragma once

#include <cstdint>
#include <optional>

#include "../decode/sve_emu.h"

namespace sve {

struct scalar_step {
  unsigned rd, rn;  // register numbers; rn is rd for a step in place
  bool sp;          // register 31 is SP (ADDVL, ADDPL); otherwise XZR
  bool from_zero;   // Xd = c, rather than Xd = Xn + c
  int64_t c;
};

// The step that `word` (decoded to `h`) is, if it is one; c is found by
// running the handler once on a zeroed register file.
std::optional<scalar_step> scalar_step_of(uint32_t word, sve_handler h);

}  // namespace sve
