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

TEST(Estimates, ReciprocalSquareRootTableEnds) {
  EXPECT_EQ(recip_sqrt_estimate[0], 255);
  EXPECT_EQ(recip_sqrt_estimate[1], 253);
  EXPECT_EQ(recip_sqrt_estimate[2], 251);
  EXPECT_EQ(recip_sqrt_estimate[127], 106);  // the odd half meets the even half at 2^-1/2
  EXPECT_EQ(recip_sqrt_estimate[128], 105);
  EXPECT_EQ(recip_sqrt_estimate[129], 104);
  EXPECT_EQ(recip_sqrt_estimate[130], 103);
  EXPECT_EQ(recip_sqrt_estimate[253], 1);
  EXPECT_EQ(recip_sqrt_estimate[254], 1);
  EXPECT_EQ(recip_sqrt_estimate[255], 0);
}

TEST(Estimates, ReciprocalEstimate) {
  check({
      {"1.0 from the midpoint", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x3f800000, s); }, 0x3f7f8000, 0},
      {"largest fraction", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x3fffffff, s); }, 0x3f000000, 0},
      {"+0", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0, s); }, 0x7f800000, FP_DZC},
      {"-0", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x80000000, s); }, 0xff800000, FP_DZC},
      {"+inf", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7f800000, s); }, 0, 0},
      {"signalling NaN", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0xff800001, s); }, 0xffc00001, FP_IOC},
      {"quiet NaN, DN", DN, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0xffc00001, s); }, 0x7fc00000, DN},
      {"2^-128, in range", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x00200000, s); }, 0x7f7f8000, 0},
      {"below 2^-128, mode 0", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x001fffff, s); }, 0x7f800000,
       FP_OFC | FP_IXC},
      {"below 2^-128, mode 3", RM(3), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x001fffff, s); },
       0x7f7fffff, RM(3) | FP_OFC | FP_IXC},
      {"negative, mode 1", RM(1), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x80000001, s); }, 0xff7fffff,
       RM(1) | FP_OFC | FP_IXC},
      {"negative, mode 2", RM(2), [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x80000001, s); }, 0xff800000,
       RM(2) | FP_OFC | FP_IXC},
      {"largest normal: a denormal", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7f7fffff, s); },
       0x00200000, 0},
      {"largest normal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7f7fffff, s); }, 0,
       FZ | FP_UFC},
      {"2^126 gives exponent 0", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7e800000, s); }, 0x007fc000,
       0},
      {"2^125 stays normal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x7e000000, s); },
       0x00ff8000, FZ},
      {"denormal flushed", FZ, [](FPSCR& s) -> u64 { return FPRecipEstimate<u32>(0x00400000, s); }, 0x7f800000,
       FZ | FP_DZC | FP_IDC},
      {"half denormal under FZ16", FZ16, [](FPSCR& s) -> u64 { return FPRecipEstimate<u16>(0x8200, s); }, 0xfc00,
       FZ16 | FP_DZC},
      {"half denormal", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u16>(0x0200, s); }, 0x77fc, 0},
      {"half 1.0", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u16>(0x3c00, s); }, 0x3bfc, 0},
      {"double 1.0", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u64>(0x3ff0000000000000, s); },
       0x3feff00000000000, 0},
      {"double largest normal", 0, [](FPSCR& s) -> u64 { return FPRecipEstimate<u64>(0x7fefffffffffffff, s); },
       0x0004000000000000, 0},
  });
}

TEST(Estimates, ReciprocalSquareRootEstimate) {
  check({
      {"1.0: odd exponent field, first entry", 0,
       [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0x3f800000, s); }, 0x3f7f8000, 0},
      {"2.0: even exponent field, first even entry", 0,
       [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0x40000000, s); }, 0x3f348000, 0},
      {"4 - ulp: last even entry", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0x407fffff, s); },
       0x3f000000, 0},
      {"-0", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0x80000000, s); }, 0xff800000, FP_DZC},
      {"-1", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0xbf800000, s); }, 0x7fc00000, FP_IOC},
      {"-inf", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0xff800000, s); }, 0x7fc00000, FP_IOC},
      {"+inf", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0x7f800000, s); }, 0, 0},
      {"quiet NaN", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(0xffc00005, s); }, 0xffc00005, 0},
      {"smallest denormal", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(1, s); }, 0x64b48000, 0},
      {"denormal flushed", FZ, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u32>(1, s); }, 0x7f800000,
       FZ | FP_DZC | FP_IDC},
      {"half 1.0", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u16>(0x3c00, s); }, 0x3bfc, 0},
      {"double 4.0", 0, [](FPSCR& s) -> u64 { return FPRSqrtEstimate<u64>(0x4010000000000000, s); },
       0x3fdff00000000000, 0},
  });
}

TEST(Estimates, Steps) {
  check({
      {"recps 0, inf", 0, [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x80000000, 0x7f800000, s); },
       0x40000000, 0},
      {"recps -inf, -0", 0, [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0xff800000, 0x80000000, s); },
       0x40000000, 0},
      {"rsqrts inf, 0", 0, [](FPSCR& s) -> u64 { return FPRSqrtStepFused<u32>(0x7f800000, 0, s); }, 0x3fc00000, 0},
      {"rsqrts 0, 0", 0, [](FPSCR& s) -> u64 { return FPRSqrtStepFused<u32>(0, 0, s); }, 0x3fc00000, 0},
      {"recps 1, 2, mode 0", RM(0), [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x3f800000, 0x40000000, s); },
       0, 0},
      {"recps 1, 2, mode 2", RM(2), [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x3f800000, 0x40000000, s); },
       0x80000000, RM(2)},
      {"recps inf, 1: sign of -op1 * op2", 0,
       [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x7f800000, 0x3f800000, s); }, 0xff800000, 0},
      {"recps NaN op1: sign inverted", 0,
       [](FPSCR& s) -> u64 { return FPRecipStepFused<u32>(0x7fc00001, 0x3f800000, s); }, 0xffc00001, 0},
      {"rsqrts 3, 1: halved", 0, [](FPSCR& s) -> u64 { return FPRSqrtStepFused<u32>(0x40400000, 0x3f800000, s); },
       0, 0},
      {"rsqrts 1, 1", 0, [](FPSCR& s) -> u64 { return FPRSqrtStepFused<u32>(0x3f800000, 0x3f800000, s); },
       0x3f800000, 0},
      {"half recps 0.5, 2", 0, [](FPSCR& s) -> u64 { return FPRecipStepFused<u16>(0x3800, 0x4000, s); }, 0x3c00, 0},
      {"double recps overflow", 0,
       [](FPSCR& s) -> u64 { return FPRecipStepFused<u64>(0x7fefffffffffffff, 0xc000000000000000, s); },
       0x7ff0000000000000, FP_OFC | FP_IXC},
  });
}

TEST(Estimates, ExponentOperations) {
  check({
      {"recpx +0", 0, [](FPSCR& s) -> u64 { return FPRecpX<u32>(0, s); }, 0x7f000000, 0},
      {"recpx -denormal", 0, [](FPSCR& s) -> u64 { return FPRecpX<u32>(0x80000001, s); }, 0xff000000, 0},
      {"recpx denormal under FZ", FZ, [](FPSCR& s) -> u64 { return FPRecpX<u32>(1, s); }, 0x7f000000, FZ | FP_IDC},
      {"recpx 1.5", 0, [](FPSCR& s) -> u64 { return FPRecpX<u32>(0x3fc00000, s); }, 0x40000000, 0},
      {"recpx -inf", 0, [](FPSCR& s) -> u64 { return FPRecpX<u32>(0xff800000, s); }, 0x80000000, 0},
      {"recpx signalling NaN", 0, [](FPSCR& s) -> u64 { return FPRecpX<u32>(0x7f800001, s); }, 0x7fc00001, FP_IOC},
      {"recpx half 1.0", 0, [](FPSCR& s) -> u64 { return FPRecpX<u16>(0x3c00, s); }, 0x4000, 0},
      {"recpx half denormal under FZ16", FZ16, [](FPSCR& s) -> u64 { return FPRecpX<u16>(1, s); }, 0x7800, FZ16},
      {"recpx double 0", 0, [](FPSCR& s) -> u64 { return FPRecpX<u64>(0, s); }, 0x7fe0000000000000, 0},
      {"scale 1 by 1000", 0, [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, 1000, s); }, 0x7f800000,
       FP_OFC | FP_IXC},
      {"scale 1 by -1000, mode 0", 0, [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -1000, s); }, 0,
       FP_UFC | FP_IXC},
      {"scale 1 by -1000, mode 1", RM(1), [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -1000, s); }, 1,
       RM(1) | FP_UFC | FP_IXC},
      {"scale to the smallest denormal, exact", 0, [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -149, s); },
       1, 0},
      {"scale denormal up", 0, [](FPSCR& s) -> u64 { return FPScale32(1, 149, s); }, 0x3f800000, 0},
      {"scale into the denormals under FZ", FZ, [](FPSCR& s) -> u64 { return FPScale32(0x3f800000, -127, s); }, 0,
       FZ | FP_UFC},
      {"scale by the most negative", 0, [](FPSCR& s) -> u64 { return FPScale32(0x7f7fffff, INT32_MIN, s); }, 0,
       FP_UFC | FP_IXC},
      {"scale inf", 0, [](FPSCR& s) -> u64 { return FPScale32(0xff800000, -5, s); }, 0xff800000, 0},
      {"scale -0", 0, [](FPSCR& s) -> u64 { return FPScale32(0x80000000, 5, s); }, 0x80000000, 0},
      {"scale half by 32767", 0, [](FPSCR& s) -> u64 { return FPScale16(0x0001, 32767, s); }, 0x7c00,
       FP_OFC | FP_IXC},
      {"scale double by -2^63", 0, [](FPSCR& s) -> u64 { return FPScale64(0x3ff0000000000000, INT64_MIN, s); }, 0,
       FP_UFC | FP_IXC},
      {"expa single 0", 0, [](FPSCR&) -> u64 { return FPEXPA<u32>(0); }, 0, 0},
      {"expa single 1.0", 0, [](FPSCR&) -> u64 { return FPEXPA<u32>(127 << 6); }, 0x3f800000, 0},
      {"expa single last entry, NaN bits", 0, [](FPSCR&) -> u64 { return FPEXPA<u32>(0xffffffff); }, 0x7ffd3e0c,
       0},
      {"expa half last entry", 0, [](FPSCR&) -> u64 { return FPEXPA<u16>(15 << 5 | 31); }, 0x3fd4, 0},
      {"expa double 2^(1/64)", 0, [](FPSCR&) -> u64 { return FPEXPA<u64>(1023 << 6 | 1); }, 0x3ff02c9a3e778061, 0},
      {"expa double last entry", 0, [](FPSCR&) -> u64 { return FPEXPA<u64>(1023 << 6 | 63); }, 0x3fffa7c1819e90d8,
       0},
  });
}

TEST(Estimates, TrigonometricHelpers) {
  check({
      {"tmad sine coefficient 1", 0,
       [](FPSCR& s) -> u64 { return FPTRIMADD<u32>(1, 0, 0x3f800000, s); }, 0xbe2aaaab, 0},
      {"tmad negative op2: cosine half, magnitude", 0,
       [](FPSCR& s) -> u64 { return FPTRIMADD<u32>(1, 0x40000000, 0xbf800000, s); }, 0x3fc00000, 0},
      {"tmad half coefficient 7 is 0", 0, [](FPSCR& s) -> u64 { return FPTRIMADD<u16>(7, 0x3c00, 0xbc00, s); },
       0x3c00, 0},
      {"tmad double last cosine coefficient", 0,
       [](FPSCR& s) -> u64 { return FPTRIMADD<u64>(7, 0, 0x8000000000000000, s); }, 0xbda8f76380fbb401, 0},
      {"tmad 0 * inf", 0, [](FPSCR& s) -> u64 { return FPTRIMADD<u32>(0, 0, 0xff800000, s); }, 0x7fc00000, FP_IOC},
      {"tsmul -2, odd", 0, [](FPSCR& s) -> u64 { return FPTRISMUL<u32>(0xc0000000, 1, s); }, 0xc0800000, 0},
      {"tsmul -2, even", 0, [](FPSCR& s) -> u64 { return FPTRISMUL<u32>(0xc0000000, 2, s); }, 0x40800000, 0},
      {"tsmul NaN keeps its sign", 0, [](FPSCR& s) -> u64 { return FPTRISMUL<u32>(0xffc00001, 0, s); }, 0xffc00001,
       0},
      {"tsmul inf, sign from op2", 0, [](FPSCR& s) -> u64 { return FPTRISMUL<u32>(0x7f800000, 3, s); }, 0xff800000,
       0},
      {"tsmul signalling NaN once", 0, [](FPSCR& s) -> u64 { return FPTRISMUL<u16>(0x7c01, 1, s); }, 0x7e01, FP_IOC},
  });
}

// FTSSEL through the decoder: bit 0 of Zm picks 1.0, bit 1 the sign; the
// other bits mean nothing and a NaN in Zn passes through with no flag.
TEST(Estimates, TrigSelectInstruction) {
  struct select_row {
    u32 a, b, want;
  };
  const select_row rows[] = {
      {0x40490fdb, 0, 0x40490fdb},          {0x40490fdb, 1, 0x3f800000}, {0x40490fdb, 3, 0xbf800000},
      {0x40490fdb, 2, 0xc0490fdb},          {0x7f800001, 0xfffffffc, 0x7f800001},
      {0x7f800001, 0xfffffffe, 0xff800001}, {0xc0000000, 0x80000001, 0x3f800000},
  };
  auto s = test::random_state();
  s->fpcr = 0;
  s->fpsr = 0;
  for (unsigned i = 0; i < std::size(rows); ++i) {
    set_elem<u32>(s->z[1], i, rows[i].a);
    set_elem<u32>(s->z[2], i, rows[i].b);
  }
  ASSERT_EQ(test::run(s.get(), test::word("VecF32TRISSELVV") | 2 << 16 | 1 << 5), aarch64_decode_ok);
  for (unsigned i = 0; i < std::size(rows); ++i) EXPECT_EQ(elem<u32>(s->z[0], i), rows[i].want) << i;
  EXPECT_EQ(s->fpsr, 0u);
}

// FTMAD through the decoder: the coefficient number in bits 18:16 and the
// sign of Zm choose among the sixteen coefficients. With Zdn = 0 the result
// is the coefficient itself.
TEST(Estimates, TrigMultiplyAddInstruction) {
  const u64 sine[8] = {0x3ff0000000000000, 0xbfc5555555555543, 0x3f8111111110f30c, 0xbf2a01a019b92fc6,
                       0x3ec71de351f3d22b, 0xbe5ae5e2b60f7b91, 0x3de5d8408868552f, 0};
  const u64 cosine[8] = {0x3ff0000000000000, 0xbfe0000000000000, 0x3fa5555555555536, 0xbf56c16c16c13a0b,
                         0x3efa01a019b1e8d8, 0xbe927e4f7282f468, 0x3e21ee96d2641b13, 0xbda8f76380fbb401};
  auto s = test::random_state();
  s->fpcr = 0;
  for (u32 index = 0; index < 8; ++index) {
    SCOPED_TRACE(index);
    for (unsigned i = 0; i < sve_vl_bytes / 8; ++i) {
      set_elem<u64>(s->z[0], i, 0);
      set_elem<u64>(s->z[1], i, i & 1 ? 0xbff0000000000000 : 0x3ff0000000000000);
    }
    ASSERT_EQ(test::run(s.get(), test::word("VecD64TRIMADDVVI") | index << 16 | 1 << 5), aarch64_decode_ok);
    EXPECT_EQ(elem<u64>(s->z[0], 0), sine[index]);
    EXPECT_EQ(elem<u64>(s->z[0], sve_vl_bytes / 8 - 1), cosine[index]);
  }
}

}  // namespace
