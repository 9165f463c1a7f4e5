// The whole-vector fast path of floating point against the exact library:
// vectors of ordinary numbers with one lane at a limit that the fast path
// must either compute exactly as the library does or hand over to it, and an
// inexact lane that is inactive. Each instruction runs twice on the same
// state, the second time with the fast path off; results and FPSR must agree.
#include <gtest/gtest.h>

#include "machine.h"
#include "sve/fplib/format.h"

using namespace sve;
using test::set_elem;

namespace {

constexpr uint32_t FZ = 1u << 24;
const uint32_t zd0 = 0, pg1 = 1 << 10, zn2 = 2 << 5, zm3_lo = 3 << 5, zm3_hi = 3 << 16;

// One lane (3) of z0, z2 and z3 at the case's values; the others hold 1.5,
// 0.75 and 1.25, whose sums, products and quotients are ordinary. Lane 5 is
// inactive unless `all_active`.
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
    set_elem<T>(s->z[0], 5, T(f::one | 1));  // 1.0 + ulp: inexact in any sum or product with 1.5
  }
  auto exact = std::make_unique<cpu_state>(*s);
  ASSERT_EQ(test::run(s.get(), test::word(c.name) | c.operands), aarch64_decode_ok);
  sve_set_exact_fp(1);
  const aarch64_decode_rc rc = test::run(exact.get(), test::word(c.name) | c.operands);
  sve_set_exact_fp(0);
  ASSERT_EQ(rc, aarch64_decode_ok);
  EXPECT_EQ(s->fpsr, exact->fpsr);
  EXPECT_EQ(0, std::memcmp(s->z[0], exact->z[0], sve_vl_bytes)) << "results differ";
}

const uint32_t vvm = zd0 | pg1 | zm3_lo, vm = zd0 | pg1 | zn2, vvvm = zd0 | pg1 | zn2 | zm3_hi;

TEST(FastPath, SinglePrecisionLimitsAgreeWithTheExactLibrary) {
  const lane_case cases[] = {
      {"cancellation into the denormals under FZ", "VecF32AddVVM", vvm, FZ, 0x01000003, 0, 0x81000000, true},
      {"cancellation into the denormals", "VecF32AddVVM", vvm, 0, 0x01000003, 0, 0x81000000, true},
      {"a sum in the lowest normal binade", "VecF32SubVVM", vvm, 0, 0x01800001, 0, 0x01000000, true},
      {"inexact only in an inactive lane", "VecF32AddVVM", vvm, 0, 0x3f800000, 0, 0x3f800000, false},
      {"overflow", "VecF32MulVVM", vvm, 0, 0x7f000000, 0, 0x40000000, true},
      {"underflow to zero", "VecF32MulVVM", vvm, 0, 0x00800000, 0, 0x00800000, true},
      {"a denormal product", "VecF32MulVVM", vvm, 0, 0x00800003, 0, 0x3e800000, true},
      {"a denormal product under FZ", "VecF32MulVVM", vvm, FZ, 0x00800003, 0, 0x3e800000, true},
      {"a denormal operand under FZ", "VecF32MulVVM", vvm, FZ, 0x00000005, 0, 0x3f800000, true},
      {"an infinity times a number", "VecF32MulVVM", vvm, 0, 0xff800000, 0, 0x3fc00000, true},
      {"zero times infinity", "VecF32MulVVM", vvm, 0, 0x00000000, 0, 0x7f800000, true},
      {"division by zero", "VecF32DivVVM", vvm, 0, 0x3f800000, 0, 0x80000000, true},
      {"a quiet NaN operand", "VecF32DivVVM", vvm, 0, 0x7fc01234, 0, 0x3f800000, true},
      {"the root of a negative number", "VecF32SqrtVM", vm, 0, 0, 0xbf800000, 0, true},
      {"the root of minus zero", "VecF32SqrtVM", vm, 0, 0, 0x80000000, 0, true},
      {"a fused product cancelling its addend", "VecF32FMAVVVM", vvvm, 0, 0xbf800001, 0x3f800001, 0x3f800000, true},
      {"a fused result among the denormals", "VecF32FMSVVVM", vvvm, FZ, 0x00900000, 0x00800000, 0x3f800000, true},
      {"a fused overflow", "VecF32FNMAVVVM", vvvm, 0, 0x3f800000, 0x7f000000, 0x7f000000, true},
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
      {"the root of minus infinity", "VecD64SqrtVM", vm, 0, 0, 0xfff0000000000000, 0, true},
      {"a fused cancellation to zero", "VecD64FNMSVVVM", vvvm, 0, 0x3ff0000000000000, 0x3ff0000000000000,
       0x3ff0000000000000, true},
      {"a fused product of an infinity and zero", "VecD64FMAVVVM", vvvm, 0, 0x3ff0000000000000,
       0x7ff0000000000000, 0, true},
  };
  for (const lane_case& c : cases) agrees_with_exact<uint64_t>(c);
}

}  // namespace
