// Shared by the tests of the floating-point library: the FPCR controls, the
// host's rounding modes and exception flags in the library's terms, and
// rows of an operation under a starting FPSCR with the result and the
// FPSCR it must give.
#pragma once

#include <cfenv>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "sve/fplib/format.h"

namespace fp_test {

using sve::FPSCR;
using u16 = uint16_t;
using u32 = uint32_t;
using u64 = uint64_t;

constexpr FPSCR RM(int mode) { return FPSCR(mode) << 22; }
inline constexpr FPSCR FZ = 1u << 24, DN = 1u << 25, AHP = 1u << 26, FZ16 = 1u << 19;

// The host's rounding modes in the order of FPCR.RMode.
inline const int host_modes[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};

inline int host_flags() {
  const int e = std::fetestexcept(FE_ALL_EXCEPT);
  return (e & FE_INVALID ? sve::FP_IOC : 0) | (e & FE_DIVBYZERO ? sve::FP_DZC : 0) |
         (e & FE_OVERFLOW ? sve::FP_OFC : 0) | (e & FE_UNDERFLOW ? sve::FP_UFC : 0) |
         (e & FE_INEXACT ? sve::FP_IXC : 0);
}

struct row {
  const char* what;
  u64 got;
  FPSCR fpscr;
  u64 want;
  FPSCR want_fpscr;
};

// Runs `op` on a copy of `fpscr` that it may change.
template <class Op>
row run(const char* what, FPSCR fpscr, Op op, u64 want, FPSCR want_fpscr) {
  const u64 got = u64(op(fpscr));
  return {what, got, fpscr, want, want_fpscr};
}

inline void check(const std::vector<row>& rows) {
  for (const row& r : rows) {
    EXPECT_EQ(r.got, r.want) << std::hex << r.what;
    EXPECT_EQ(r.fpscr, r.want_fpscr) << std::hex << r.what;
  }
}

}  // namespace fp_test
