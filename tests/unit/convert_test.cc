// Conversions of the floating-point library: to integer, agreement with the
// host's own conversions in every rounding mode where C defines them, and
// the limits where it does not or where the host has no such conversion:
// saturation and NaNs to integer, rounding into and across the
// half-precision denormal range, the alternative half-precision format,
// flushing, default NaNs and ties in every direction.
#include <cfenv>
#include <cmath>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "machine.h"
#include "fp_rows.h"
#include "sve/fplib/convert.h"

using namespace sve;
using namespace fp_test;

namespace {

constexpr FPRounding TIEEVEN = FPRounding_TIEEVEN, POSINF = FPRounding_POSINF, NEGINF = FPRounding_NEGINF,
                     ZERO = FPRounding_ZERO, TIEAWAY = FPRounding_TIEAWAY;

template <class To, class From> To bits_as(From v) {
  To r;
  std::memcpy(&r, &v, sizeof r);
  return r;
}

// Random words of a format, weighted towards the exponents where a
// conversion changes its behaviour: around 1, the integer limits, the
// narrower format's limits and denormals.
template <class T>
T operand(std::mt19937_64& r) {
  using f = fp_format<T>;
  const int centres[] = {f::bias, f::bias + 31, f::bias + 63, f::bias + 15, f::bias - 14, f::bias - 126,
                         f::bias + 127, f::bias + 52, 0};
  const int e = centres[r() % std::size(centres)] + int(r() % 5) - 2;
  T v = T(T(r()) & (f::sign | f::frac_mask));
  if (r() % 4 == 0) v = T(v & ~T(f::frac_mask >> (r() % f::F)));  // few fraction bits: ties and integers
  if (e > 0 && e < f::max_exp) v = T(v | T(T(e) << f::F));
  return v;
}

// Runs ours and the host's function on the same operands in each rounding
// mode and compares the integer and the flags (invalid, overflow, inexact).
template <class From, class To, class Ours, class Host>
void agree_with_host(const char* what, Ours ours, Host host) {
  std::mt19937_64 r(std::strlen(what) * 7919 + sizeof(From) * 31 + sizeof(To));
  int failures = 0;
  for (int i = 0; i < 100000 && failures < 5; ++i) {
    const int mode = i % 4;
    const From a = operand<From>(r);
    FPSCR fpscr = RM(mode);
    const To got = ours(a, fpscr);
    std::fesetround(host_modes[mode]);
    std::feclearexcept(FE_ALL_EXCEPT);
    const auto want = host(a);
    const int want_flags = host_flags();
    std::fesetround(FE_TONEAREST);
    if (!want.has_value) continue;
    const int mask = FP_IOC | FP_OFC | FP_IXC;
    if (got != want.bits || (int(fpscr) & mask) != (want_flags & mask)) {
      ++failures;
      ADD_FAILURE() << what << " mode " << mode << std::hex << " operand " << u64(a) << " got " << u64(got)
                    << " flags " << fpscr << " want " << u64(want.bits) << " flags " << want_flags;
    }
  }
}

// A host result, or none where C does not define one.
template <class T>
struct maybe {
  T bits;
  bool has_value = true;
};

template <class T> using host_t = std::conditional_t<sizeof(T) == 4, float, double>;

// C defines a conversion to integer only for values in range; those are
// compared, the rest are rows below.
template <class From, class Int>
void to_integer_agrees(const char* what) {
  using H = host_t<From>;
  constexpr bool is_unsigned = std::is_unsigned_v<Int>;
  agree_with_host<From, Int>(
      what, [](From a, FPSCR& s) { return Int(fplibFPToFixed<From, std::make_unsigned_t<Int>>(a, 0, is_unsigned, ZERO, s)); },
      [](From a) {
        volatile H x = bits_as<H>(a);
        const H t = std::trunc(H(x)), top = std::ldexp(H(1), int(sizeof(Int) * 8) - !is_unsigned);
        const bool in_range = t >= (is_unsigned ? H(0) : -top) && t < top;  // false for a NaN
        std::feclearexcept(FE_ALL_EXCEPT);
        if (!in_range) return maybe<Int>{0, false};
        const Int v = Int(x);
        return maybe<Int>{v};
      });
}

TEST(Conversions, ToIntegerInRangeAgreesWithTheHost) {
  to_integer_agrees<u32, int32_t>("f to s32");
  to_integer_agrees<u32, uint32_t>("f to u32");
  to_integer_agrees<u64, int64_t>("d to s64");
  to_integer_agrees<u64, uint64_t>("d to u64");
  to_integer_agrees<u64, int32_t>("d to s32");
}

template <class From, class To>
auto cvt(From x, FPRounding rm = TIEEVEN) {
  return [=](FPSCR& s) { return FPConvert<From, To>(x, rm, s); };
}

TEST(Conversions, BetweenFormatsAtTheLimits) {
  check({
      run("65520 to half overflows", 0, cvt<u32, u16>(0x477ff000), 0x7c00, FP_OFC | FP_IXC),
      run("65520 to half, towards zero: no overflow", 0, cvt<u32, u16>(0x477ff000, ZERO), 0x7bff, FP_IXC),
      run("1.5 x 2^-24 to half: a tie of denormals", FZ16, cvt<u32, u16>(0x33c00000), 0x0002, FZ16 | FP_UFC | FP_IXC),
      run("double halfway below 2^-14 rounds up to the smallest normal", 0, cvt<u64, u16>(0x3f0ffc0000000000),
          0x0400, FP_UFC | FP_IXC),
      run("the same towards zero stays the largest denormal", 0, cvt<u64, u16>(0x3f0ffc0000000000, ZERO), 0x03ff,
          FP_UFC | FP_IXC),
      run("double far below half precision, upwards", 0, cvt<u64, u16>(1, POSINF), 0x0001, FP_UFC | FP_IXC),
      run("double denormal under FZ", FZ, cvt<u64, u16>(1, POSINF), 0, FZ | FP_IDC),
      run("single denormal under FZ widens to zero", FZ, cvt<u32, u64>(0x80000001), 0x8000000000000000, FZ | FP_IDC),
      run("double to single flushes a tiny result under FZ", FZ, cvt<u64, u32>(0x3690000000000000), 0, FZ | FP_UFC),
      run("half denormal under FZ16 is a zero", FZ16, cvt<u16, u64>(0x8001), 0x8000000000000000, FZ16),
      run("signalling NaN keeps the top of its payload", 0, cvt<u32, u16>(0x7fa02000), 0x7f01, FP_IOC),
      run("quiet NaN under DN", DN, cvt<u64, u32>(0x7ff8000000000123), 0x7fc00000, DN),
      // The alternative half-precision format: no infinities or NaNs.
      run("AHP source: exponent 31 is a number", AHP, cvt<u16, u32>(0x7c00), 0x47800000, AHP),
      run("AHP source: the largest value", AHP, cvt<u16, u32>(0xffff), 0xc7ffe000, AHP),
      run("AHP target: 65536 is a number", AHP, cvt<u32, u16>(0x47800000), 0x7c00, AHP),
      run("AHP target: overflow", AHP, cvt<u32, u16>(0x48000000), 0x7fff, AHP | FP_IOC),
      run("AHP target: infinity", AHP, cvt<u64, u16>(0xfff0000000000000), 0xffff, AHP | FP_IOC),
      run("AHP target: NaN is a zero of its sign", AHP | DN, cvt<u32, u16>(0xffc00000), 0x8000, AHP | DN | FP_IOC),
  });
}

template <class T>
auto rint(T x, FPRounding rm, bool exact = false) {
  return [=](FPSCR& s) { return FPRoundInt<T>(x, rm, exact, s); };
}

TEST(Conversions, RoundingToIntegralAtTheLimits) {
  check({
      run("0.5 ties away", 0, rint<u16>(0x3800, TIEAWAY), 0x3c00, 0),
      run("denormal under FZ", FZ, rint<u32>(0x00000001, POSINF, true), 0, FZ | FP_IDC),
      run("denormal upwards", 0, rint<u32>(0x00000001, POSINF, true), 0x3f800000, FP_IXC),
      run("half denormal under FZ16", FZ16, rint<u16>(0x8001, NEGINF, true), 0x8000, FZ16),
      run("1023.5 in half rounds to 1024", 0, rint<u16>(0x63ff, TIEEVEN, true), 0x6400, FP_IXC),
      run("signalling NaN under DN", DN, rint<u16>(0x7c01, ZERO), 0x7e00, DN | FP_IOC),
  });
}

template <class From, class To>
auto fix(From x, bool is_unsigned, FPRounding rm = ZERO) {
  return [=](FPSCR& s) { return fplibFPToFixed<From, To>(x, 0, is_unsigned, rm, s); };
}

TEST(Conversions, ToIntegerSaturates) {
  check({
      run("2^31 to s32", 0, fix<u32, u32>(0x4f000000, false), 0x7fffffff, FP_IOC),
      run("-2^31 - 256 to s32", 0, fix<u32, u32>(0xcf000001, false), 0x80000000, FP_IOC),
      run("2^32 to u32", 0, fix<u64, u32>(0x41f0000000000000, true), 0xffffffff, FP_IOC),
      run("2^32 - 0.5 to u32 truncates", 0, fix<u64, u32>(0x41effffffff00000, true), 0xffffffff, FP_IXC),
      run("2^64 to u64", 0, fix<u64, u64>(0x43f0000000000000, true), 0xffffffffffffffff, FP_IOC),
      run("2.5 ties away", 0, fix<u64, u64>(0x4004000000000000, false, TIEAWAY), 3, FP_IXC),
      run("-2.5 ties to even", 0, fix<u64, u64>(0xc004000000000000, false, TIEEVEN), u64(-2), FP_IXC),
      run("-0.5 upwards to unsigned: zero, inexact", 0, fix<u32, u32>(0xbf000000, true, POSINF), 0, FP_IXC),
      run("denormal under FZ", FZ, fix<u32, u32>(0x80000001, true), 0, FZ | FP_IDC),
  });
}

template <class T>
auto flt(u64 x, bool is_unsigned, FPRounding rm = TIEEVEN) {
  return [=](FPSCR& s) { return fplibFixedToFP<T>(x, 0, is_unsigned, rm, s); };
}

TEST(Conversions, FromIntegerAtTheLimits) {
  check({
      run("0 is +0", RM(2), flt<u64>(0, false, NEGINF), 0, RM(2)),
      run("unsigned all ones is 2^64, rounded", 0, flt<u32>(~0ull, true), 0x5f800000, FP_IXC),
      run("65536 to half, towards zero", 0, flt<u16>(65536, true, ZERO), 0x7bff, FP_OFC | FP_IXC),
      run("2049 to half: a tie", 0, flt<u16>(2049, false), 0x6800, FP_IXC),
      run("-2049 to half, downwards", 0, flt<u16>(u64(-2049), false, NEGINF), 0xe801, FP_IXC),
      run("AHP and FZ16 play no part", AHP | FZ16, flt<u16>(65520, true), 0x7c00, AHP | FZ16 | FP_OFC | FP_IXC),
  });
}

}  // namespace
