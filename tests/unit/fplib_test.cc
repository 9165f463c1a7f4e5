// The floating-point library: agreement with the host's own IEEE arithmetic
// on random operands in every rounding mode, and the architecture's rules
// where IEEE leaves a choice (NaN selection, default NaN, flushing, the
// sign of exact zeros, underflow judged before rounding).
#include <cfenv>
#include <cmath>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "fp_rows.h"
#include "sve/fplib/fast.h"
#include "sve/fplib/fplib.h"
#include "sve/fplib/number.h"

using namespace sve;
using namespace fp_test;

namespace {

template <class T> struct host;
template <> struct host<uint32_t> { using type = float; };
template <> struct host<uint64_t> { using type = double; };

template <class T> typename host<T>::type value(T bits) {
  typename host<T>::type v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}
template <class T, class V> T bits_of(V v) {
  T b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

// Operands that reach every path: specials, denormals, random bits, and
// pairs close enough to cancel.
template <class T>
T operand(std::mt19937_64& r, T other) {
  using f = fp_format<T>;
  switch (r() % 6) {
    case 0: {
      const T specials[] = {0, f::sign, f::infinity, f::inf(1), 1, T(f::frac_mask), f::one, f::max_normal,
                            T(T(1) << f::F), T(f::one + 1), T(f::sign | f::two)};
      return specials[r() % std::size(specials)];
    }
    case 1: return T(r() & f::frac_mask);                            // denormal
    case 2: return T(other ^ (r() & 7) ^ (r() % 2 ? f::sign : 0));  // near the other operand
    case 3: return T(T(r()) & ~f::infinity) | T(T(f::bias - 2 + r() % 5) << f::F);  // near 1
    default: {
      T v;
      do v = T(r()); while (f::is_nan(v));
      return v;
    }
  }
}

// Runs `ours` and `theirs` on the same random operands in each rounding mode
// and compares the bits and the five IEEE flags. Where the host rounds a tiny
// value up to the smallest normal its underflow flag is judged after
// rounding, ours (as the architecture's) before: that one flag is not compared.
template <class T, class Ours, class Theirs>
void agree_with_host(const char* what, Ours ours, Theirs theirs) {
  using f = fp_format<T>;
  std::mt19937_64 r(sizeof(T) * 1000 + what[0] + what[1]);
  int failures = 0;
  for (int i = 0; i < 200000 && failures < 5; ++i) {
    const int mode = i % 4;
    const T a = operand<T>(r, 0), b = operand<T>(r, a), c = operand<T>(r, a);
    FPSCR fpscr = RM(mode);
    const T got = ours(a, b, c, fpscr);
    std::fesetround(host_modes[mode]);
    std::feclearexcept(FE_ALL_EXCEPT);
    volatile auto va = value(a), vb = value(b), vc = value(c);
    const T want = bits_of<T>(theirs(va, vb, vc));
    const int want_flags = host_flags();
    std::fesetround(FE_TONEAREST);
    int mask = FP_IOC | FP_DZC | FP_OFC | FP_UFC | FP_IXC;
    if (T(want & ~f::sign) == T(T(1) << f::F)) mask &= ~FP_UFC;
    const bool same = f::is_nan(want) ? f::is_nan(got) : got == want;
    if (!same || (int(fpscr) & mask) != (want_flags & mask)) {
      ++failures;
      ADD_FAILURE() << what << " mode " << mode << std::hex << " a " << a << " b " << b << " c " << c << " got "
                    << got << " flags " << fpscr << " want " << want << " flags " << want_flags;
    }
  }
}

template <class T>
void arithmetic_agrees() {
  using H = typename host<T>::type;
  agree_with_host<T>("add", [](T a, T b, T, FPSCR& s) { return FPAdd(a, b, s); }, [](H a, H b, H) { return a + b; });
  agree_with_host<T>("sub", [](T a, T b, T, FPSCR& s) { return FPSub(a, b, s); }, [](H a, H b, H) { return a - b; });
  agree_with_host<T>("mul", [](T a, T b, T, FPSCR& s) { return FPMul(a, b, s); }, [](H a, H b, H) { return a * b; });
  agree_with_host<T>("div", [](T a, T b, T, FPSCR& s) { return FPDiv(a, b, s); }, [](H a, H b, H) { return a / b; });
  agree_with_host<T>("sqrt", [](T a, T, T, FPSCR& s) { return FPSqrt(a, s); }, [](H a, H, H) { return std::sqrt(a); });
  agree_with_host<T>("fma", [](T a, T b, T c, FPSCR& s) { return FPMulAdd(c, a, b, s); },
                     [](H a, H b, H c) { return std::fma(a, b, c); });
}

// Each precision with the fast path of ordinary operands on, then off: the
// exact library alone, on the operands that the fast path would otherwise take.
TEST(FpLibrary, AgreesWithHostArithmeticWithAndWithoutTheFastPath) {
  for (bool fast : {true, false}) {
    SCOPED_TRACE(fast ? "fast path on" : "exact library alone");
    fp_fast_path = fast;
    arithmetic_agrees<uint32_t>();
    arithmetic_agrees<uint64_t>();
  }
  fp_fast_path = true;
}

TEST(FpLibrary, NansZerosAndSpecialCases) {
  const u32 one = 0x3f800000, mone = 0xbf800000, qnan = 0x7fc00001, inf = 0x7f800000;
  check({
      run("1 + -1, mode 0", RM(0), [&](FPSCR& s) { return FPAdd(one, mone, s); }, 0, RM(0)),
      run("1 + -1, mode 2", RM(2), [&](FPSCR& s) { return FPAdd(one, mone, s); }, 0x80000000, RM(2)),
      run("+0 + -0, mode 2", RM(2), [&](FPSCR& s) { return FPAdd(0u, 0x80000000u, s); }, 0x80000000, RM(2)),
      run("1 + smallest denormal, mode 1", RM(1), [&](FPSCR& s) { return FPAdd(one, 1u, s); }, one + 1,
               RM(1) | FP_IXC),
      run("quiet under DN", DN, [&](FPSCR& s) { return FPMul(qnan, one, s); }, 0x7fc00000, DN),
      run("inf * -0, MulX", 0, [&](FPSCR& s) { return FPMulX(inf, 0x80000000u, s); }, 0xc0000000, 0),
      run("fma: exact cancellation, mode 0", RM(0), [&](FPSCR& s) { return FPMulAdd(mone, one, one, s); }, 0,
               RM(0)),
      run("flushed input, NaN result", FZ, [&](FPSCR& s) { return FPAdd(1u, qnan, s); }, qnan, FZ | FP_IDC),
      run("flushed result", FZ, [&](FPSCR& s) { return FPMul(0x00800000u, 0x3f000000u, s); }, 0,
               FZ | FP_UFC),
      run("status bits stay", FP_IXC | FP_OFC, [&](FPSCR& s) { return FPAdd(one, one, s); }, 0x40000000,
               FP_IXC | FP_OFC),
      // A denormal that rounds up to the smallest normal underflowed before rounding.
      run("rounds up into the normal range", RM(0),
               [&](FPSCR& s) { return FPMul(0x007fffffu, 0x3f800001u, s); }, 0x00800000, RM(0) | FP_UFC | FP_IXC),
      run("overflow, mode 3", RM(3), [&](FPSCR& s) { return FPAdd(0x7f7fffffu, 0x7f7fffffu, s); },
               0x7f7fffff, RM(3) | FP_OFC | FP_IXC),
      run("half denormal under FZ16", FZ16, [&](FPSCR& s) { return FPAdd<u16>(1, 0x3c00, s); }, 0x3c00, FZ16),
  });
}

TEST(FpLibrary, RoundingStepAtTheBottomOfTheRange) {
  int flags = 0;
  // Far below the smallest denormal: zero, or the smallest denormal when rounding away.
  EXPECT_EQ(fp32_round_(0, -200, 0, FPRounding_TIEEVEN, 0, &flags), 0u);
  EXPECT_EQ(flags, FP_UFC | FP_IXC);
  flags = 0;
  EXPECT_EQ(fp32_round_(1, -200, 0, FPRounding_NEGINF, 0, &flags), 0x80000001u);
  EXPECT_EQ(fp64_round_(0, -5000, 0, FPRounding_POSINF, 0, &flags), 1u);
  flags = 0;
  EXPECT_EQ(fp16_round_(1, 0, 0, FPRounding_TIEEVEN, MODE_FZ16, &flags), 0x8000);
  EXPECT_EQ(flags, FP_UFC);
  flags = 0;
  // Alternative half precision: exponent 31 is ordinary, beyond it IOC and no IXC.
  EXPECT_EQ(fp16_round_(0, 31, 0, FPRounding_TIEEVEN, MODE_AHP, &flags), 0x7c00);
  EXPECT_EQ(fp16_round_(0, 32, 0, FPRounding_TIEEVEN, MODE_AHP, &flags), 0x7fff);
  EXPECT_EQ(flags, FP_IOC);
}

TEST(FpLibrary, ComparesAndMaximaUnderFpcrControls) {
  // FZ compares denormals as zeros and says so, FZ16 flushes half precision
  // silently; DN makes any NaN result the default NaN; FZ gives a flushed
  // maximum as a zero of the chosen operand's sign.
  const u32 nz = 0x80000000, qnan = 0x7fc00000;
  FPSCR s = FZ;
  EXPECT_TRUE(FPCompareEQ(1u, 2u, s));
  EXPECT_EQ(s, FZ | FP_IDC);
  s = FZ16;
  EXPECT_TRUE(FPCompareEQ<u16>(1, 2, s));
  EXPECT_EQ(s, FZ16);
  s = DN;
  EXPECT_EQ(FPMax(0x7fc00005u, qnan, s), 0x7fc00000u);
  EXPECT_EQ(s, DN);
  s = FZ;
  EXPECT_EQ(FPMax(0x80000003u, 0x80000002u, s), nz);
}

}  // namespace
