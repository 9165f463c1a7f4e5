// The handler shapes of the contiguous loads and stores with a scalar base:
// the direct-route field extraction that the plain, first-fault and
// non-fault forms share.
#pragma once

#include "../decode/direct.h"

namespace sve {

// Zt 4:0, Pg 12:10, Rn 9:5 (31 is sp); the signed immediate at 19:16 or Rm
// at 20:16 (31 is zero).
template <auto Kernel, uint32_t Qualifier>
struct mem_imm {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, Qualifier), xsp(w, 9, 5, I_X), sfield(w, 19, 16));
  }
};
template <auto Kernel, uint32_t Qualifier>
struct mem_reg {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, Qualifier), xsp(w, 9, 5, I_X),
                  x_plain(w, 20, 16, I_X));
  }
};

}  // namespace sve
