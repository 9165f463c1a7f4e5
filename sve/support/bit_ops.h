// Bit-level primitives of the integer library routines: compares at a
// width, counts of leading, set and sign bits, reversal of pieces and bits,
// and the carry-less product. Widths n are in bits.
#pragma once

#include "wide_int.h"

namespace sve {

// The larger or smaller of the low n bits of a and b, compared signed or
// unsigned; the result is the whole argument, unmasked, and a when they are
// equal. Widths other than the element widths give 0.
constexpr uint64_t Max(uint64_t a, uint64_t b, unsigned n, int is_unsigned) {
  if (n != 8 && n != 16 && n != 32 && n != 64) return 0;
  return Int(b, n, is_unsigned) > Int(a, n, is_unsigned) ? b : a;
}
constexpr uint64_t Min(uint64_t a, uint64_t b, unsigned n, int is_unsigned) {
  if (n != 8 && n != 16 && n != 32 && n != 64) return 0;
  return Int(b, n, is_unsigned) < Int(a, n, is_unsigned) ? b : a;
}

// Index of the highest set bit among the low n bits, or -1.
constexpr int HighestBitSet(uint64_t x, unsigned n) {
  x &= ones(n);
  return x ? 63 - __builtin_clzll(x) : -1;
}
constexpr int CountLeadingZeroBits(uint64_t x, unsigned n) { return int(n) - 1 - HighestBitSet(x, n); }
// The bits below the sign that equal it: each bit compared with the one above.
constexpr int CountLeadingSignBits(uint64_t x, unsigned n) { return CountLeadingZeroBits((x >> 1) ^ x, n - 1); }
constexpr int BitCount(uint64_t x, unsigned n) { return __builtin_popcountll(x & ones(n)); }

// The pieces of `piece` bytes of the low n bits in reverse order; 0 when n
// holds no whole piece.
constexpr uint64_t Reverse(uint64_t x, unsigned n, unsigned piece) {
  unsigned pbits = piece * 8, count = n / pbits;
  uint64_t r = 0;
  for (unsigned i = 0; i < count; ++i) r = r << pbits | (x >> (i * pbits) & ones(pbits));
  return r;
}

constexpr uint64_t BitReverse(uint64_t x, int n) {
  uint64_t r = 0;
  for (int i = 0; i < n; ++i) r = r << 1 | (x >> i & 1);
  return r;
}

// x << (s mod 64); the width is part of the interface but not needed.
constexpr uint64_t ShiftLeft(uint64_t x, uint64_t s, unsigned) { return x << (s % 64); }

// The carry-less product of two 64-bit polynomials over GF(2).
constexpr wide_uint PolynomialMult(uint64_t a, uint64_t b) {
  wide_uint r = 0;
  for (int i = 0; i < 64; ++i)
    if (b >> i & 1) r ^= wide_uint(a) << i;
  return r;
}

}  // namespace sve
