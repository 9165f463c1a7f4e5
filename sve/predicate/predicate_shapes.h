// Operand fields of the predicate instructions, shared by their families.
#pragma once

#include "../decode/direct.h"
#include "../support/marshal.h"
#include "../support/pred_flags.h"

namespace sve {

// Pd 3:0, Pg 13:10 (zeroing, or plain for SEL), Pn 8:5, Pm 19:16.
template <auto Kernel, uint32_t Qualifier = P_Z>
struct pppp {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, p_plain(w, 3, 0, P_B), p_gov(w, 13, 10, Qualifier), p_plain(w, 8, 5, P_B),
                  p_plain(w, 19, 16, P_B));
  }
};

using lib_ppp = library<to_p<3, 0>, p_in<13, 10>, p_in<8, 5>, p_in<19, 16>>;

// Byte-form predicate results are built in a local array and copied to Pd at
// the end, so that Pd may also be a source.
struct pred_bytes {
  uint8_t b[sve_vl_bytes];
};

}  // namespace sve
