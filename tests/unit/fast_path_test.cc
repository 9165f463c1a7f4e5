// The fast paths of floating point against the exact library: vectors of
// ordinary numbers with one lane at a limit that the fast path must either
// compute exactly as the library does or hand over to it, and an inexact
// lane that is inactive. Each instruction runs twice on the same state, the
// second time with the fast path off; the destination vector and predicate
// and FPSR must agree.
#include <gtest/gtest.h>

#include "machine.h"
#include "sve/fplib/format.h"

using namespace sve;
using test::set_elem;

namespace {

constexpr uint32_t FZ = 1u << 24, FZ16 = 1u << 19, UP = 1u << 22, DOWN = 2u << 22, TO_ZERO = 3u << 22;
const uint32_t zd0 = 0, pg1 = 1 << 10, zn2 = 2 << 5, zm3_lo = 3 << 5, zm3_hi = 3 << 16;

// One lane (3) of z0, z2 and z3 at the case's values; the others hold 1.5,
// 0.75 and 1.25, whose sums, products and quotients are ordinary. Lane 5 is
// inactive unless `all_active`, and holds 1.0 + ulp in every vector.
struct lane_case {
  const char* what;
  const char* name;
  uint32_t operands, fpcr;
  uint64_t x, n, m;  // words of z0, z2 and z3 in lane 3
  bool all_active;
};

template <class T>
void agrees_with_exact(const lane_case& c) {
  SCOPED_TRACE(std::string(c.what) + " " + c.name);
  auto s = test::random_state();
  s->fpcr = c.fpcr;
  s->fpsr = 0;
  using f = fp_format<T>;
  const T half = T(T(1) << (f::F - 1)), quarter = T(T(1) << (f::F - 2));
  const T ordinary[3] = {T(f::one | half), T((f::one - (T(1) << f::F)) | half), T(f::one | quarter)};
  for (unsigned i = 0; i < sve_vl_bytes / sizeof(T); ++i) {
    set_elem<T>(s->z[0], i, ordinary[0]);
    set_elem<T>(s->z[2], i, ordinary[1]);
    set_elem<T>(s->z[3], i, ordinary[2]);
  }
  set_elem<T>(s->z[0], 3, T(c.x));
  set_elem<T>(s->z[2], 3, T(c.n));
  set_elem<T>(s->z[3], 3, T(c.m));
  std::memset(s->p[1], 1, sve_vl_bytes);
  if (!c.all_active) {
    s->p[1][5 * sizeof(T)] = 0;
    for (unsigned z : {0, 2, 3}) set_elem<T>(s->z[z], 5, T(f::one | 1));  // inexact in any sum with 1.5
  }
  auto exact = std::make_unique<cpu_state>(*s);
  ASSERT_EQ(test::run(s.get(), test::word(c.name) | c.operands), aarch64_decode_ok);
  sve_set_exact_fp(1);
  const aarch64_decode_rc rc = test::run(exact.get(), test::word(c.name) | c.operands);
  sve_set_exact_fp(0);
  ASSERT_EQ(rc, aarch64_decode_ok);
  EXPECT_EQ(s->fpsr, exact->fpsr);
  EXPECT_EQ(0, std::memcmp(s->z[0], exact->z[0], sve_vl_bytes)) << "results differ";
  EXPECT_EQ(0, std::memcmp(s->p[0], exact->p[0], sve_vl_bytes)) << "predicates differ";
}

const uint32_t vvm = zd0 | pg1 | zm3_lo, vm = zd0 | pg1 | zn2, vvvm = zd0 | pg1 | zn2 | zm3_hi;
const uint32_t vvx = zd0 | zn2 | zm3_hi, vx = zd0 | zn2;

TEST(FastPath, SinglePrecisionLimitsAgreeWithTheExactLibrary) {
  const lane_case cases[] = {
      {"cancellation into the denormals under FZ", "VecF32AddVVM", vvm, FZ, 0x01000003, 0, 0x81000000, true},
      {"a sum in the lowest normal binade", "VecF32SubVVM", vvm, 0, 0x01800001, 0, 0x01000000, true},
      {"inexact only in an inactive lane", "VecF32AddVVM", vvm, 0, 0x3f800000, 0, 0x3f800000, false},
      {"overflow", "VecF32MulVVM", vvm, 0, 0x7f000000, 0, 0x40000000, true},
      {"underflow to zero", "VecF32MulVVM", vvm, 0, 0x00800000, 0, 0x00800000, true},
      {"a denormal product under FZ", "VecF32MulVVM", vvm, FZ, 0x00800003, 0, 0x3e800000, true},
      {"a denormal operand under FZ", "VecF32MulVVM", vvm, FZ, 0x00000005, 0, 0x3f800000, true},
      {"a fused product cancelling its addend", "VecF32FMAVVVM", vvvm, 0, 0xbf800001, 0x3f800001, 0x3f800000, true},
      {"a fused result among the denormals", "VecF32FMSVVVM", vvvm, FZ, 0x00900000, 0x00800000, 0x3f800000, true},
      {"a denormal against zero under FZ", "VecF32CmpGTV0Z", vm, FZ, 0, 0x00000001, 0, true},
      {"the largest number in order", "VecF32AddReduceAV", vm, 0, 0, 0x7f7fffff, 0, true},
      {"a denormal in order under FZ", "VecF32AddReduceAV", vm, FZ, 0, 0x00000001, 0, true},
  };
  for (const lane_case& c : cases) agrees_with_exact<uint32_t>(c);
}

TEST(FastPath, DoublePrecisionLimitsAgreeWithTheExactLibrary) {
  const lane_case cases[] = {
      {"cancellation into the denormals under FZ", "VecD64AddVVM", vvm, FZ, 0x0020000000000003, 0,
       0x8020000000000000, true},
      {"inexact only in an inactive lane", "VecD64MulVVM", vvm, 0, 0x3ff0000000000000, 0, 0x3ff0000000000000,
       false},
      {"overflow", "VecD64AddVVM", vvm, 0, 0x7fefffffffffffff, 0, 0x7fefffffffffffff, true},
      {"underflow to a denormal", "VecD64DivVVM", vvm, 0, 0x0010000000000001, 0, 0x4000000000000000, true},
      {"a denormal operand under FZ", "VecD64DivVVM", vvm, FZ, 0x0000000000000001, 0, 0x3ff0000000000000, true},
      {"a denormal in order without FZ", "VecD64AddReduceAV", vm, 0, 0, 0x0000000000000001, 0, true},
      {"a denormal in the tree under FZ", "VecD64AddReduceFV", vm, FZ, 0, 0x0000000000000001, 0, true},
  };
  for (const lane_case& c : cases) agrees_with_exact<uint64_t>(c);
}

TEST(FastPath, ConversionLimitsAgreeWithTheExactLibrary) {
  const lane_case single[] = {
      {"2^31 does not fit", "VecS32_4FromFVM", vm, 0, 0, 0x4f000000, 0, true},
      {"-2^31 fits", "VecS32_4FromFVM", vm, 0, 0, 0xcf000000, 0, true},
      {"a denormal under FZ", "VecS32_4FromFVM", vm, FZ, 0, 0x00000003, 0, true},
      {"an integer too wide to be exact", "VecF32FromS4VM", vm, UP, 0, 0x7fffffff, 0, true},
      {"the largest unsigned, rounded down", "VecF32FromU4VM", vm, DOWN, 0, 0xffffffff, 0, true},
      {"zero rounded down", "VecF32FromU4VM", vm, DOWN, 0, 0, 0, true},
      {"minus a half down", "VecF32FRIntMVM", vm, 0, 0, 0xbf000000, 0, true},
      {"a half to even", "VecF32FRIntNVM", vm, 0, 0, 0x3f000000, 0, true},
      {"a denormal upwards", "VecF32FRIntPVM", vm, 0, 0, 0x00000001, 0, true},
      {"a denormal under FZ", "VecF32FRIntPVM", vm, FZ, 0, 0x00000001, 0, true},
      {"an inexact rounding towards zero", "VecF32FRIntXVM", vm, TO_ZERO, 0, 0x40200000, 0, true},
      {"inexact only in an inactive lane", "VecF32FRIntXVM", vm, 0, 0, 0x40000000, 0, false},
      {"a tie that overflows half precision", "VecH32TruncTopFVM", vm, 0, 0, 0x477ff000, 0, true},
      {"just below the smallest normal half", "VecH32TruncTopFVM", vm, 0, 0, 0x387fffff, 0, true},
      {"rounded up into the second binade", "VecH32TruncTopFVM", vm, 0, 0, 0x38ffffff, 0, true},
      {"minus the largest half, rounded down", "VecH32TruncTopFVM", vm, DOWN, 0, 0xc77fe001, 0, true},
      {"a single denormal under FZ", "VecH32TruncTopFVM", vm, FZ, 0, 0x00000001, 0, true},
      {"a half denormal from the top under FZ16", "VecF32ExtndTopHVM", vm, FZ16, 0, 0x80010000, 0, true},
      {"a half infinity from the top", "VecF32ExtndTopHVM", vm, 0, 0, 0xfc000000, 0, true},
  };
  for (const lane_case& c : single) agrees_with_exact<uint32_t>(c);
  const lane_case dbl[] = {
      {"2^64 does not fit", "VecU64_8FromDVM", vm, 0, 0, 0x43f0000000000000, 0, true},
      {"just below 2^64 fits", "VecU64_8FromDVM", vm, 0, 0, 0x43efffffffffffff, 0, true},
      {"minus a half unsigned", "VecU64_8FromDVM", vm, 0, 0, 0xbfe0000000000000, 0, true},
      {"2^31 into a word", "VecS64_4FromDVM", vm, 0, 0, 0x41e0000000000000, 0, true},
      {"a single just below -2^63", "VecS64_8FromFVM", vm, 0, 0, 0xdf000001, 0, true},
      {"the largest unsigned, rounded up", "VecD64FromU8VM", vm, UP, 0, 0xffffffffffffffff, 0, true},
      {"unsigned zero rounded down", "VecD64FromU8VM", vm, DOWN, 0, 0, 0, true},
      {"an unsigned doubleword to single, up", "VecF64FromU8VM", vm, UP, 0, 0x8000000000000001, 0, true},
      {"a signed doubleword to single", "VecF64FromS8VM", vm, 0, 0, 0x7fffffffffffffff, 0, true},
      {"a denormal single widened", "VecD64ExtndFVM", vm, 0, 0, 0x00000001, 0, true},
      {"the smallest normal single widened", "VecD64ExtndFVM", vm, 0, 0, 0x00800000, 0, true},
      {"a denormal single widened under FZ", "VecD64ExtndFVM", vm, FZ, 0, 0x807fffff, 0, true},
      {"minus a half rounded by FPCR, up", "VecD64FRIntIVM", vm, UP, 0, 0xbfe0000000000000, 0, true},
      {"a tie that overflows single precision", "VecF64TruncTopDVM", vm, 0, 0, 0x47effffff0000000, 0, true},
      {"the same tie rounded to odd", "VecF64TruncOddTopDVM", vm, 0, 0, 0x47effffff0000000, 0, true},
      {"just below the smallest normal single, to odd", "VecF64TruncOddDVM", vm, 0, 0, 0x380fffffffffffff, 0, true},
      {"rounded up into the second binade", "VecF64TruncTopDVM", vm, UP, 0, 0x381fffffffffffff, 0, true},
      {"an exact narrowing", "VecF64TruncTopDVM", vm, 0, 0, 0xc000000000000000, 0, true},
  };
  for (const lane_case& c : dbl) agrees_with_exact<uint64_t>(c);
}

TEST(FastPath, HalfPrecisionLimitsAgreeWithTheExactLibrary) {
  const lane_case cases[] = {
      {"overflow", "VecF16AddVVM", vvm, 0, 0x7bff, 0, 0x7bff, true},
      {"a sum in the lowest normal binade", "VecF16SubVVM", vvm, 0, 0x0801, 0, 0x0400, true},
      {"a denormal product", "VecF16MulVVM", vvm, 0, 0x0400, 0, 0x3800, true},
      {"a denormal operand under FZ16", "VecF16MulVVM", vvm, FZ16, 0x0001, 0, 0x3c00, true},
      {"a tie to even", "VecF16AddVVM", vvm, 0, 0x6800, 0, 0x3c00, true},
      {"a sum rounded twice", "VecF16AddVVM", vvm, 0, 0x7800, 0, 0x0001, true},
      {"inexact only in an inactive lane", "VecF16AddVVM", vvm, 0, 0x3c00, 0, 0x3c00, false},
  };
  for (const lane_case& c : cases) agrees_with_exact<uint16_t>(c);
}

TEST(FastPath, EstimateAndComplexLimitsAgreeWithTheExactLibrary) {
  const lane_case cases[] = {
      {"the smallest normal", "VecF32RecpEV", vx, 0, 0, 0x00800000, 0, true},
      {"a reciprocal among the denormals", "VecF32RecpEV", vx, 0, 0, 0x7e800000, 0, true},
      {"a reciprocal that FZ flushes", "VecF32RecpEV", vx, FZ, 0, 0x7e800000, 0, true},
      {"a denormal whose reciprocal overflows", "VecF32RecpEV", vx, 0, 0, 0x00000001, 0, true},
      {"the step of zero and infinity", "VecF32RecpSVV", vvx, 0, 0, 0x00000000, 0xff800000, true},
      {"a step that overflows", "VecF32RecpSVV", vvx, 0, 0, 0x7f000000, 0x7f000000, true},
      {"FEXPA in place", "VecF32EXPAV", zd0, 0, 0x0000a5c3, 0, 0, true},
      {"a complex product that overflows", "VecF32FCMLAVVVM", vvvm, 0, 0x3f800000, 0x7f000000, 0x7f000000, true},
  };
  for (const lane_case& c : cases) agrees_with_exact<uint32_t>(c);
  const lane_case dbl[] = {
      {"the largest exponent that mirrors", "VecD64RecpEV", vx, 0, 0, 0x7fcfffffffffffff, 0, true},
      {"FEXPA in place", "VecD64EXPAV", zd0, 0, 0x000000000001ffc1, 0, 0, true},
      {"a complex product cancelling its addend", "VecD64FCMLAVVVM", vvvm, 0, 0xbff0000000000000,
       0x3ff0000000000000, 0x3ff0000000000000, true},
  };
  for (const lane_case& c : dbl) agrees_with_exact<uint64_t>(c);
}

}  // namespace
