#include "fast.h"

#include <bit>
#include <cmath>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "../decode/sve_emu.h"
#include "../support/host_isa.h"
#include "fast_lanes.h"

extern "C" void sve_set_exact_fp(int exact) { sve::fp_fast_path.store(!exact, std::memory_order_relaxed); }

namespace sve {

std::atomic<bool> fp_fast_path{true};

namespace fast {

namespace {

// Whether the fast path may run: asked for, round to nearest in the
// program's control word, and the host computing in its default mode
// (round to nearest, no flushing), in which the host's arithmetic below is
// correctly rounded.
bool usable(FPSCR fpscr) {
  if (!fp_fast_path.load(std::memory_order_relaxed) || (fpscr >> 22 & 3) != FPRounding_TIEEVEN) return false;
#if defined(__x86_64__)
  return (_mm_getcsr() & 0xe040) == 0;  // rounding control, flush-to-zero, denormals-are-zero
#elif defined(__aarch64__)
  uint64_t fpcr;
  asm volatile("mrs %0, fpcr" : "=r"(fpcr));
  return (fpcr >> 22 & 3) == 0;
#else
  return false;
#endif
}

// The biased exponent field.
int exponent(uint32_t x) { return int(x >> 23 & 0xff); }
int exponent(uint64_t x) { return int(x >> 52 & 0x7ff); }
bool is_zero(uint32_t x) { return (x << 1) == 0; }
bool is_zero(uint64_t x) { return (x << 1) == 0; }

// Operands: zeros, or normal numbers away from the ends of the range, where
// the error terms below can neither overflow nor underflow.
bool ordinary(uint32_t x) { return is_zero(x) || (exponent(x) >= 1 && exponent(x) <= 254); }
bool ordinary(uint64_t x) { return is_zero(x) || (exponent(x) >= 64 && exponent(x) <= 2047 - 64); }
// Results: normal and not within a factor of two of the smallest normal
// number, so that no result is tiny before rounding either; an exact zero
// is ordinary too.
bool ordinary_result(uint32_t x, bool exact) { return exact ? ordinary(x) && exponent(x) != 1 : exponent(x) >= 2 && exponent(x) <= 254; }
bool ordinary_result(uint64_t x, bool exact) { return exact ? ordinary(x) : exponent(x) >= 64 && exponent(x) <= 2047 - 64; }

template <class T>
bool finish(T result, bool exact, FPSCR& fpscr, T& r) {
  if (!ordinary_result(result, exact)) return false;
  if (!exact) fp_set_status(fpscr, FP_IXC);
  r = result;
  return true;
}

float f32(uint32_t x) { return std::bit_cast<float>(x); }
double f64(uint64_t x) { return std::bit_cast<double>(x); }

// Single precision through double: the double result d, rounded once more,
// is the single result; it was exact when it equals d and d was exact.
bool single(double d, bool d_exact, FPSCR& fpscr, uint32_t& r) {
  const float s = float(d);
  return finish(std::bit_cast<uint32_t>(s), d_exact && double(s) == d, fpscr, r);
}

#if defined(__x86_64__)
// The error terms of products, quotients and roots need a fused
// multiply-add; hosts without one take the exact path for those.
[[gnu::target("fma")]] double fused(double a, double b, double c) { return __builtin_fma(a, b, c); }
const bool host_fma = host::has_fma();
#else
double fused(double a, double b, double c) { return __builtin_fma(a, b, c); }
constexpr bool host_fma = true;
#endif

}  // namespace

bool add(uint32_t a, uint32_t b, FPSCR& fpscr, uint32_t& r) {
  if (!ordinary(a) || !ordinary(b) || !usable(fpscr)) return false;
  const double x = f32(a), y = f32(b), s = x + y;
  return single(s, sum_error(x, y, s) == 0, fpscr, r);
}
bool add(uint64_t a, uint64_t b, FPSCR& fpscr, uint64_t& r) {
  if (!ordinary(a) || !ordinary(b) || !usable(fpscr)) return false;
  const double x = f64(a), y = f64(b), s = x + y;
  return finish(std::bit_cast<uint64_t>(s), sum_error(x, y, s) == 0, fpscr, r);
}

// A product of two singles is exact in double.
bool mul(uint32_t a, uint32_t b, FPSCR& fpscr, uint32_t& r) {
  if (!ordinary(a) || !ordinary(b) || !usable(fpscr)) return false;
  return single(double(f32(a)) * double(f32(b)), true, fpscr, r);
}
bool mul(uint64_t a, uint64_t b, FPSCR& fpscr, uint64_t& r) {
  if (!host_fma || !ordinary(a) || !ordinary(b) || !usable(fpscr)) return false;
  // A product that underflowed to zero has an error term that underflows
  // too: only a zero operand makes a zero product exact.
  const double x = f64(a), y = f64(b), p = x * y;
  const bool exact = p == 0 ? is_zero(a) || is_zero(b) : fused(x, y, -p) == 0;
  return finish(std::bit_cast<uint64_t>(p), exact, fpscr, r);
}

// A quotient was exact when the quotient times the divisor gives the
// dividend back exactly; for singles that product is exact in double.
bool div(uint32_t a, uint32_t b, FPSCR& fpscr, uint32_t& r) {
  if (!ordinary(a) || !ordinary(b) || is_zero(b) || !usable(fpscr)) return false;
  const double x = f32(a), y = f32(b);
  const float q = float(x / y);
  return finish(std::bit_cast<uint32_t>(q), double(q) * y == x, fpscr, r);
}
bool div(uint64_t a, uint64_t b, FPSCR& fpscr, uint64_t& r) {
  if (!host_fma || !ordinary(a) || !ordinary(b) || is_zero(b) || !usable(fpscr)) return false;
  const double x = f64(a), y = f64(b), q = x / y;
  return finish(std::bit_cast<uint64_t>(q), fused(q, y, -x) == 0, fpscr, r);
}

bool sqrt(uint32_t a, FPSCR& fpscr, uint32_t& r) {
  if (!ordinary(a) || (a >> 31 && !is_zero(a)) || !usable(fpscr)) return false;
  const double x = f32(a);
  const float q = float(std::sqrt(x));
  return finish(std::bit_cast<uint32_t>(q), double(q) * double(q) == x, fpscr, r);
}
bool sqrt(uint64_t a, FPSCR& fpscr, uint64_t& r) {
  if (!host_fma || !ordinary(a) || (a >> 63 && !is_zero(a)) || !usable(fpscr)) return false;
  const double x = f64(a), q = std::sqrt(x);
  return finish(std::bit_cast<uint64_t>(q), fused(q, q, -x) == 0, fpscr, r);
}

// The product of two singles is exact in double, and their sum with the
// addend is the double s plus its exact error. Rounding s to single gives
// the single rounding of the exact sum unless s lies exactly halfway between
// two singles with an error that should have decided the tie; only that
// case is left to the exact path.
bool muladd(uint32_t addend, uint32_t a, uint32_t b, FPSCR& fpscr, uint32_t& r) {
  if (!ordinary(addend) || !ordinary(a) || !ordinary(b) || !usable(fpscr)) return false;
  const double p = double(f32(a)) * double(f32(b)), c = f32(addend), s = p + c;
  const double err = sum_error(p, c, s);
  const bool halfway = (std::bit_cast<uint64_t>(s) & 0x1fffffff) == 0x10000000;
  if (err != 0 && halfway) return false;
  return single(s, err == 0, fpscr, r);
}

}  // namespace fast
}  // namespace sve
