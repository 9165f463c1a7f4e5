// Correctly rounded addition, multiplication, fused multiply-add, division
// and square root. Each operation forms its exact result, or a value with a
// sticky bit that rounds like it, as a 128-bit magnitude and hands it to the
// one rounding step; only the special cases differ from operation to
// operation.
#include <utility>

#include "fast.h"
#include "fplib.h"
#include "number.h"

namespace sve {

namespace {

// Moves `mag` right by `d` places; any bit shifted out leaves a 1 in bit 0.
inline u128 shift_sticky(u128 mag, int d) {
  if (d <= 0) return mag;
  if (d >= 128) return mag != 0;
  return mag >> d | u128((mag << (128 - d)) != 0);
}

// Exact zero of a sum of non-zero values: -0 when rounding towards minus
// infinity, else +0.
template <class T>
T cancelled_zero(int rm) {
  return fp_format<T>::zero(rm == FPRounding_NEGINF);
}

// sgn_x * x * 2^(ex) + sgn_y * y * 2^(ey) rounded, the magnitudes already on
// the operand scale of fp_round_exact and normalised to the same top bit,
// so that the larger exponent is the larger magnitude or ties it.
template <class T>
T add_magnitudes(int sx, int ex, u128 x, int sy, int ey, u128 y, int rm, int mode, int* flags) {
  if (ex < ey || (ex == ey && x < y)) {
    std::swap(sx, sy);
    std::swap(ex, ey);
    std::swap(x, y);
  }
  y = shift_sticky(y, ex - ey);
  const u128 sum = sx == sy ? x + y : x - y;
  if (sum == 0) return cancelled_zero<T>(rm);
  return fp_round_exact<T>(sx, ex, sum, rm, mode, flags);
}

// A magnitude moved up to bit 125, with the exponent adjusted so that the
// value stays the same: two bits of headroom for a carry.
inline u128 to_top(u128 mag, int* exp) {
  int e = *exp + 2;
  mag = fp_normalise(mag, &e);
  *exp = e;
  return mag >> 2;
}

template <class T>
T add(T op1, T op2, bool subtract, FPSCR& fpscr) {
  return fp_binary(op1, op2, fpscr, [&](fp_unpacked<T> a, fp_unpacked<T> b, int mode, int* flags) {
    using f = fp_format<T>;
    const int rm = mode & 3;
    b.sgn ^= subtract;  // after the NaN step, so that a NaN keeps its own sign
    if (a.inf() && b.inf() && a.sgn != b.sgn) {
      *flags |= FP_IOC;
      return f::default_nan;
    }
    if (a.inf()) return f::inf(a.sgn);
    if (b.inf()) return f::inf(b.sgn);
    if (a.zero() && b.zero()) return a.sgn == b.sgn ? f::zero(a.sgn) : cancelled_zero<T>(rm);
    // x + 0 is x, rounded: a denormal stays itself.
    if (a.zero() || b.zero()) {
      const auto& x = a.zero() ? b : a;
      return fp_round_exact<T>(x.sgn, x.exp, x.mnt, rm, mode, flags);
    }
    int ea = a.exp, eb = b.exp;
    const u128 x = to_top(a.mnt, &ea), y = to_top(b.mnt, &eb);
    return add_magnitudes<T>(a.sgn, ea, x, b.sgn, eb, y, rm, mode, flags);
  });
}

template <class T>
T mul(T op1, T op2, bool extended, FPSCR& fpscr) {
  return fp_binary(op1, op2, fpscr, [&](fp_unpacked<T> a, fp_unpacked<T> b, int mode, int* flags) {
    using f = fp_format<T>;
    const int sgn = a.sgn ^ b.sgn;
    if ((a.inf() && b.zero()) || (a.zero() && b.inf())) {
      if (extended) return T(f::zero(sgn) | f::two);
      *flags |= FP_IOC;
      return f::default_nan;
    }
    if (a.inf() || b.inf()) return f::inf(sgn);
    if (a.zero() || b.zero()) return f::zero(sgn);
    return fp_round_exact<T>(sgn, a.exp + b.exp - f::bias - f::F, u128(a.mnt) * b.mnt, mode & 3, mode, flags);
  });
}

template <class T>
T muladd(T addend, T op1, T op2, int scale, int mode, int* flags) {
  using f = fp_format<T>;
  const int rm = mode & 3;
  auto a = fp_unpack(addend, mode, flags);
  auto b = fp_unpack(op1, mode, flags);
  auto c = fp_unpack(op2, mode, flags);
  const T nan = fp_process_nans(mode, flags, addend, op1, op2);
  const bool inf_times_zero = (b.inf() && c.zero()) || (b.zero() && c.inf());
  // A quiet NaN addend does not hide an invalid product: the default NaN, also without DN.
  if (f::is_qnan(addend) && inf_times_zero) {
    *flags |= FP_IOC;
    return f::default_nan;
  }
  if (nan) return nan;
  const int sp = b.sgn ^ c.sgn;
  if (inf_times_zero || (a.inf() && (b.inf() || c.inf()) && a.sgn != sp)) {
    *flags |= FP_IOC;
    return f::default_nan;
  }
  if (a.inf()) return f::inf(a.sgn);
  if (b.inf() || c.inf()) return f::inf(sp);
  const bool product_zero = b.zero() || c.zero();
  if (a.zero() && product_zero) return a.sgn == sp ? f::zero(a.sgn) : cancelled_zero<T>(rm);
  if (product_zero) return fp_round_exact<T>(a.sgn, a.exp + scale, a.mnt, rm, mode, flags);
  int ep = b.exp + c.exp - f::bias - f::F + scale;
  const u128 y = to_top(u128(b.mnt) * c.mnt, &ep);
  if (a.zero()) return fp_round_exact<T>(sp, ep, y, rm, mode, flags);
  int ea = a.exp + scale;
  const u128 x = to_top(a.mnt, &ea);
  return add_magnitudes<T>(a.sgn, ea, x, sp, ep, y, rm, mode, flags);
}

template <class T>
T div(T op1, T op2, FPSCR& fpscr) {
  return fp_binary(op1, op2, fpscr, [&](fp_unpacked<T> a, fp_unpacked<T> b, int mode, int* flags) {
    using f = fp_format<T>;
    const int sgn = a.sgn ^ b.sgn;
    if ((a.inf() && b.inf()) || (a.zero() && b.zero())) {
      *flags |= FP_IOC;
      return f::default_nan;
    }
    if (a.inf()) return f::inf(sgn);
    if (b.zero()) {
      *flags |= FP_DZC;
      return f::inf(sgn);
    }
    if (a.zero() || b.inf()) return f::zero(sgn);
    // A 128-bit dividend over a 64-bit divisor, both with the top bit set,
    // gives a quotient of 64 or 65 bits: far more than the format keeps.
    int ea = a.exp, eb = b.exp;
    const u128 x = fp_normalise(u128(a.mnt), &ea);
    const uint64_t y = fp_normalise(uint64_t(b.mnt), &eb);
    const u128 mag = x / y | u128(x % y != 0);
    return fp_round_exact<T>(sgn, ea - eb + f::bias + f::F, mag, mode & 3, mode, flags);
  });
}

// The integer square root of x, with whether it is exact.
inline uint64_t isqrt(u128 x, bool* exact) {
  u128 root = 0, rem = x;
  for (u128 bit = u128(1) << 126; bit; bit >>= 2) {
    if (rem >= root + bit) {
      rem -= root + bit;
      root = (root >> 1) + bit;
    } else {
      root >>= 1;
    }
  }
  *exact = rem == 0;
  return uint64_t(root);
}

template <class T>
T sqrt(T op, FPSCR& fpscr) {
  using f = fp_format<T>;
  const int mode = fp_mode(fpscr);
  int flags = 0;
  auto a = fp_unpack(op, mode, &flags);
  T result = fp_process_nans(mode, &flags, op);
  if (!result) {
    if (a.zero()) {
      result = f::zero(a.sgn);
    } else if (a.sgn) {
      flags |= FP_IOC;
      result = f::default_nan;
    } else if (a.inf()) {
      result = f::infinity;
    } else {
      // value = mag * 2^k with k even and mag's top bit at 125 or 126.
      int k = a.exp - f::bias - f::F;
      u128 mag = fp_normalise(u128(a.mnt), &k) >> 1;
      ++k;
      if (k & 1) {
        mag >>= 1;
        ++k;
      }
      bool exact;
      const uint64_t root = isqrt(mag, &exact);
      result = fp_round_exact<T>(0, k / 2 + f::bias + f::F, u128(root) | u128(!exact), mode & 3, mode, &flags);
    }
  }
  fp_set_status(fpscr, flags);
  return result;
}

}  // namespace

// Each operation takes the fast path of fast.h when it applies, which gives
// the same bits and flags; multiply extended differs from multiply only for
// zero times infinity, which the fast path never sees.
template <class T>
T FPAdd(T op1, T op2, FPSCR& fpscr) {
  T r;
  return fast::add(op1, op2, fpscr, r) ? r : add(op1, op2, false, fpscr);
}
template <class T>
T FPSub(T op1, T op2, FPSCR& fpscr) {
  T r;
  return fast::add(op1, T(op2 ^ fp_format<T>::sign), fpscr, r) ? r : add(op1, op2, true, fpscr);
}
template <class T>
T FPMul(T op1, T op2, FPSCR& fpscr) {
  T r;
  return fast::mul(op1, op2, fpscr, r) ? r : mul(op1, op2, false, fpscr);
}
template <class T>
T FPMulX(T op1, T op2, FPSCR& fpscr) {
  T r;
  return fast::mul(op1, op2, fpscr, r) ? r : mul(op1, op2, true, fpscr);
}
template <class T>
T FPDiv(T op1, T op2, FPSCR& fpscr) {
  T r;
  return fast::div(op1, op2, fpscr, r) ? r : div(op1, op2, fpscr);
}
template <class T>
T FPSqrt(T op, FPSCR& fpscr) {
  T r;
  return fast::sqrt(op, fpscr, r) ? r : sqrt(op, fpscr);
}

template <class T>
T FPMulAdd(T addend, T op1, T op2, FPSCR& fpscr) {
  if (T r; fast::muladd(addend, op1, op2, fpscr, r)) return r;
  int flags = 0;
  const T result = muladd(addend, op1, op2, 0, fp_mode(fpscr), &flags);
  fp_set_status(fpscr, flags);
  return result;
}

uint16_t fp16_muladd(uint16_t a, uint16_t b, uint16_t c, int scale, int mode, int* flags) {
  return muladd(a, b, c, scale, mode, flags);
}
uint32_t fp32_muladd(uint32_t a, uint32_t b, uint32_t c, int scale, int mode, int* flags) {
  return muladd(a, b, c, scale, mode, flags);
}
uint64_t fp64_muladd(uint64_t a, uint64_t b, uint64_t c, int scale, int mode, int* flags) {
  return muladd(a, b, c, scale, mode, flags);
}

#define SVE_FP_ARITHMETIC(T)                    \
  template T FPAdd<T>(T, T, FPSCR&);            \
  template T FPSub<T>(T, T, FPSCR&);            \
  template T FPMul<T>(T, T, FPSCR&);            \
  template T FPMulX<T>(T, T, FPSCR&);           \
  template T FPDiv<T>(T, T, FPSCR&);            \
  template T FPSqrt<T>(T, FPSCR&);              \
  template T FPMulAdd<T>(T, T, T, FPSCR&);
SVE_FP_ARITHMETIC(unsigned short)
SVE_FP_ARITHMETIC(unsigned int)
SVE_FP_ARITHMETIC(unsigned long)
#undef SVE_FP_ARITHMETIC

}  // namespace sve
