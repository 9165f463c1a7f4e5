// Estimates, steps and trigonometric helpers at their limits: the estimate
// tables at their first and last entries, the operand classes that bypass
// the estimate, overflow and flush of the reciprocal, FRECPX of each class,
// FSCALE beyond the range, and the selection bits of FTSSEL and FTMAD.
#include <gtest/gtest.h>

#include "machine.h"
#include "sve/fplib/estimates.h"
#include "sve/fplib/number.h"

using namespace sve;
using test::elem;
using test::set_elem;

namespace {

constexpr FPSCR RM(int mode) { return FPSCR(mode) << 22; }
constexpr FPSCR FZ = 1u << 24, DN = 1u << 25, FZ16 = 1u << 19;

using u16 = uint16_t;
using u32 = uint32_t;
using u64 = uint64_t;

// One case: an operation under a starting FPSCR, the result and the FPSCR after.
struct row {
  const char* what;
  FPSCR fpscr;
  uint64_t (*op)(FPSCR&);
  uint64_t want;
  FPSCR want_fpscr;
};

void check(const std::vector<row>& rows) {
  for (const row& r : rows) {
    FPSCR s = r.fpscr;
    EXPECT_EQ(r.op(s), r.want) << std::hex << r.what;
    EXPECT_EQ(s, r.want_fpscr) << std::hex << r.what;
  }
}

TEST(Estimates, ReciprocalEstimate) {
  check({
      {"quiet NaN, DN", DN, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0xffc00001, s); }, 0x7fc00000, DN},
      {"below 2^-128, mode 0", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x001fffff, s); }, 0x7f800000,
       FP_OFC | FP_IXC},
      {"below 2^-128, mode 3", RM(3), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x001fffff, s); },
       0x7f7fffff, RM(3) | FP_OFC | FP_IXC},
      {"negative, mode 1", RM(1), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x80000001, s); }, 0xff7fffff,
       RM(1) | FP_OFC | FP_IXC},
      {"negative, mode 2", RM(2), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x80000001, s); }, 0xff800000,
       RM(2) | FP_OFC | FP_IXC},
      {"largest normal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7f7fffff, s); }, 0,
       FZ | FP_UFC},
      {"2^125 stays normal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7e000000, s); },
       0x00ff8000, FZ},
      {"denormal flushed", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x00400000, s); }, 0x7f800000,
       FZ | FP_DZC | FP_IDC},
      {"half denormal under FZ16", FZ16, [](FPSCR& s) -> u64 { return FPRecipEstimate<u16>(0x8200, s); }, 0xfc00,
       FZ16 | FP_DZC},
  });
}

TEST(Estimates, ReciprocalSquareRootEstimate) {
  check({
      {"1.0: odd exponent field, first entry", 0,
       [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0x3f800000, s); }, 0x3f7f8000, 0},
      {"denormal flushed", FZ, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(1, s); }, 0x7f800000,
       FZ | FP_DZC | FP_IDC},
  });
}

TEST(Estimates, Steps) {
  check({
      {"recps 1, 2, mode 0", RM(0), [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x3f800000, 0x40000000, s); },
       0, 0},
      {"recps 1, 2, mode 2", RM(2), [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x3f800000, 0x40000000, s); },
       0x80000000, RM(2)},
  });
}

TEST(Estimates, ExponentOperations) {
  check({
      {"recpx denormal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecpX<u32>(1, s); }, 0x7f000000, FZ | FP_IDC},
      {"recpx half denormal under FZ16", FZ16, [](FPSCR& s) -> u64 { return FPRecpX<u16>(1, s); }, 0x7800, FZ16},
      {"scale 1 by -1000, mode 0", 0, [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -1000, s); }, 0,
       FP_UFC | FP_IXC},
      {"scale 1 by -1000, mode 1", RM(1), [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -1000, s); }, 1,
       RM(1) | FP_UFC | FP_IXC},
      {"scale into the denormals under FZ", FZ, [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -127, s); }, 0,
       FZ | FP_UFC},
  });
}

}  // namespace
