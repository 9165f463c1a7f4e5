// Estimates, steps and exponent operations at their limits: the operand
// classes that bypass the estimate, overflow and flush of the reciprocal in
// each rounding mode, the first entry of the square-root table, the sign of
// a zero step, FRECPX of denormals and FSCALE beyond the range.
#include <gtest/gtest.h>

#include "fp_rows.h"
#include "machine.h"
#include "sve/fplib/estimates.h"
#include "sve/fplib/number.h"

using namespace sve;
using namespace fp_test;
using test::elem;
using test::set_elem;

namespace {

TEST(Estimates, ReciprocalEstimate) {
  check({
      run("quiet NaN, DN", DN, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0xffc00001, s); }, 0x7fc00000, DN),
      run("below 2^-128, mode 0", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x001fffff, s); }, 0x7f800000,
       FP_OFC | FP_IXC),
      run("below 2^-128, mode 3", RM(3), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x001fffff, s); },
       0x7f7fffff, RM(3) | FP_OFC | FP_IXC),
      run("negative, mode 1", RM(1), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x80000001, s); }, 0xff7fffff,
       RM(1) | FP_OFC | FP_IXC),
      run("negative, mode 2", RM(2), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x80000001, s); }, 0xff800000,
       RM(2) | FP_OFC | FP_IXC),
      run("largest normal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7f7fffff, s); }, 0,
       FZ | FP_UFC),
      run("2^125 stays normal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7e000000, s); },
       0x00ff8000, FZ),
      run("denormal flushed", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x00400000, s); }, 0x7f800000,
       FZ | FP_DZC | FP_IDC),
      run("half denormal under FZ16", FZ16, [](FPSCR& s) -> u64 { return FPRecipEstimate<u16>(0x8200, s); }, 0xfc00,
       FZ16 | FP_DZC),
  });
}

TEST(Estimates, ReciprocalSquareRootEstimate) {
  check({
      run("1.0: odd exponent field, first entry", 0,
       [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0x3f800000, s); }, 0x3f7f8000, 0),
      run("denormal flushed", FZ, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(1, s); }, 0x7f800000,
       FZ | FP_DZC | FP_IDC),
  });
}

TEST(Estimates, Steps) {
  check({
      run("recps 1, 2, mode 0", RM(0), [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x3f800000, 0x40000000, s); },
       0, 0),
      run("recps 1, 2, mode 2", RM(2), [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x3f800000, 0x40000000, s); },
       0x80000000, RM(2)),
  });
}

TEST(Estimates, ExponentOperations) {
  check({
      run("recpx denormal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecpX<u32>(1, s); }, 0x7f000000, FZ | FP_IDC),
      run("recpx half denormal under FZ16", FZ16, [](FPSCR& s) -> u64 { return FPRecpX<u16>(1, s); }, 0x7800, FZ16),
      run("scale 1 by -1000, mode 0", 0, [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -1000, s); }, 0,
       FP_UFC | FP_IXC),
      run("scale 1 by -1000, mode 1", RM(1), [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -1000, s); }, 1,
       RM(1) | FP_UFC | FP_IXC),
      run("scale into the denormals under FZ", FZ, [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -127, s); }, 0,
       FZ | FP_UFC),
  });
}

}  // namespace
