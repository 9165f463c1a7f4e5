// The steps that every floating-point operation shares: unpacking an
// operand, choosing the NaN result, normalising a mantissa and rounding an
// exact value to the format, with its exceptions. They work on the mode word
// and add to a local flags word; only the top-level operations see an FPSCR.
#pragma once

#include "format.h"

namespace sve {

using u128 = unsigned __int128;

// An operand taken apart: the exponent is the biased field, but 1 for zeros
// and denormals, and the mantissa carries the implicit one at bit F of a
// normal number, so that the value is mnt * 2^(exp - bias - F) in every case.
template <class T>
struct fp_unpacked {
  int sgn;
  int exp;
  T mnt;
  bool zero() const { return mnt == 0; }
  bool inf() const { return exp == fp_format<T>::max_exp && mnt == T(T(1) << fp_format<T>::F); }
};

// A denormal under flush-to-zero becomes a zero of its sign. Single and
// double precision report the flushed input (IDC); half precision does not.
template <class T>
fp_unpacked<T> fp_unpack(T x, int mode, int* flags) {
  using f = fp_format<T>;
  fp_unpacked<T> u{int(x >> (f::N - 1)), int(x >> f::F & f::max_exp), T(x & f::frac_mask)};
  if (u.exp) {
    u.mnt = T(u.mnt | T(1) << f::F);
  } else {
    u.exp = 1;
    if (u.mnt && (mode & f::flush_mode)) {
      if constexpr (f::N != 16) *flags |= FP_IDC;
      u.mnt = 0;
    }
  }
  return u;
}

// The NaN result of an operation, or 0 when no operand is a NaN: the first
// signalling NaN (quietened, with IOC), else the first quiet NaN, in
// argument order; the default NaN instead under DN.
template <class T, class... U>
T fp_process_nans(int mode, int* flags, T first, U... rest) {
  using f = fp_format<T>;
  const T ops[] = {first, T(rest)...};
  for (T x : ops)
    if (f::is_snan(x)) {
      *flags |= FP_IOC;
      return mode & MODE_DN ? f::default_nan : T(x | f::quiet);
    }
  for (T x : ops)
    if (f::is_qnan(x)) return mode & MODE_DN ? f::default_nan : x;
  return 0;
}

// The frame of a one-operand operation: the operand unpacked (flushing, with
// IDC), the NaN result if it is a NaN, else body(u, mode, flags); the status
// bits are set at the end.
template <class T, class Body>
T fp_unary(T op, FPSCR& fpscr, Body body) {
  const int mode = fp_mode(fpscr);
  int flags = 0;
  const auto u = fp_unpack(op, mode, &flags);
  const T result = fp_format<T>::is_nan(op) ? fp_process_nans(mode, &flags, op) : body(u, mode, &flags);
  fp_set_status(fpscr, flags);
  return result;
}

// The frame of a two-operand operation: both operands unpacked in argument
// order (flushing, with IDC), the NaN result if there is one, else
// body(a, b, mode, flags); the status bits are set at the end.
template <class T, class Body>
T fp_binary(T op1, T op2, FPSCR& fpscr, Body body) {
  const int mode = fp_mode(fpscr);
  int flags = 0;
  auto a = fp_unpack(op1, mode, &flags);
  auto b = fp_unpack(op2, mode, &flags);
  T result = fp_process_nans(mode, &flags, op1, op2);
  if (!result) result = body(a, b, mode, &flags);
  fp_set_status(fpscr, flags);
  return result;
}

// Shifts a non-zero mantissa left until its top bit is set, taking the shift
// off the exponent.
template <class T>
T fp_normalise(T mnt, int* exp) {
  int shift = 0;
  if constexpr (sizeof(T) == 16) {
    uint64_t hi = uint64_t(mnt >> 64);
    shift = hi ? __builtin_clzll(hi) : 64 + __builtin_clzll(uint64_t(mnt));
  } else {
    shift = __builtin_clzll(uint64_t(mnt)) - (64 - int(sizeof(T)) * 8);
  }
  *exp -= shift;
  return T(mnt << shift);
}

// The rounding step. `exp` is the biased exponent that the result has if it
// stays normal (it may be 0 or negative), `mnt` the bits below the leading
// one, left-aligned, with everything inexact beyond the word ORed into bit 0.
// Flush and underflow are judged before rounding, as the architecture does.
template <class T>
T fp_round(int sgn, int exp, T mnt, int rm, int mode, int* flags) {
  using f = fp_format<T>;
  constexpr int N = f::N, E = f::E, F = f::F;
  if (exp < 1 && (mode & f::flush_mode)) {
    *flags |= FP_UFC;
    return f::zero(sgn);
  }
  // The leading one at bit F + 2, F fraction bits, a guard bit and a sticky bit.
  const uint64_t m = uint64_t(1) << (F + 2) | uint64_t(mnt >> (E - 1)) | uint64_t((mnt & ((T(1) << E) - 1)) != 0);
  int biased = exp;
  uint64_t int_mant;
  int error;
  if (exp > 0) {
    int_mant = m >> 2;
    error = int(m & 3);
  } else {
    biased = 0;
    const unsigned shift = unsigned(1 - exp);
    int_mant = shift + 2 >= unsigned(N) ? 0 : m >> (shift + 2);
    error = shift >= unsigned(N) ? 1 : int(m >> shift & 3) | int((m & ((uint64_t(1) << shift) - 1)) != 0);
  }
  if (biased == 0 && error) *flags |= FP_UFC;
  if ((rm == FPRounding_TIEEVEN && (error == 3 || (error == 2 && (int_mant & 1)))) ||
      (rm == FPRounding_POSINF && !sgn && error) || (rm == FPRounding_NEGINF && sgn && error)) {
    ++int_mant;
    if (int_mant == uint64_t(1) << F) biased = 1;  // a denormal became the smallest normal
    if (int_mant == uint64_t(2) << F) {
      ++biased;
      int_mant >>= 1;
    }
  }
  if (rm == FPRounding_ODD && error) int_mant |= 1;
  if (N == 16 && (mode & MODE_AHP)) {
    // Alternative half precision has no infinity: exponent 31 is ordinary.
    if (biased >= 32) {
      *flags |= FP_IOC;
      return T(f::zero(sgn) | 0x7fff);
    }
  } else if (biased >= f::max_exp) {
    *flags |= FP_OFC | FP_IXC;
    if (rm == FPRounding_TIEEVEN || (rm == FPRounding_POSINF && !sgn) || (rm == FPRounding_NEGINF && sgn))
      return f::inf(sgn);
    return T(f::zero(sgn) | f::max_normal);
  }
  if (error) *flags |= FP_IXC;
  return T(f::zero(sgn) | T(uint64_t(biased) << F) | T(int_mant & f::frac_mask));
}

inline uint16_t fp16_round_(int sgn, int exp, uint16_t mnt, int rm, int mode, int* flags) {
  return fp_round<uint16_t>(sgn, exp, mnt, rm, mode, flags);
}
inline uint32_t fp32_round_(int sgn, int exp, uint32_t mnt, int rm, int mode, int* flags) {
  return fp_round<uint32_t>(sgn, exp, mnt, rm, mode, flags);
}
inline uint64_t fp64_round_(int sgn, int exp, uint64_t mnt, int rm, int mode, int* flags) {
  return fp_round<uint64_t>(sgn, exp, mnt, rm, mode, flags);
}

// Rounds the exact value sgn * mag * 2^(exp - bias - F), mag not 0: the
// unpacked operand's scale, with any number of bits in a 128-bit magnitude.
// Every bit below the format's word goes into the sticky bit.
template <class T>
T fp_round_exact(int sgn, int exp, u128 mag, int rm, int mode, int* flags) {
  constexpr int N = fp_format<T>::N;
  int e = exp + 127 - fp_format<T>::F;
  mag = fp_normalise(mag, &e);
  const u128 below = mag << 1;  // the leading one shifted out
  const T mnt = T(below >> (128 - N)) | T((below << N) != 0);
  return fp_round<T>(sgn, e, mnt, rm, mode, flags);
}

}  // namespace sve
