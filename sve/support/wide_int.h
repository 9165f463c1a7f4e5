// The wide integer of the integer library routines: a signed 128-bit value
// in which element values of up to 64 bits, and their sums, differences and
// products, are exact. Routines bring elements in with Int, work without
// overflow and take the result back with bits or a saturation (saturate.h).
#pragma once

#include <cstdint>

namespace sve {

using wide_int = __int128;
using wide_uint = unsigned __int128;

// n low ones, n from 1 to 64.
constexpr uint64_t ones(unsigned n) { return n >= 64 ? ~0ull : (1ull << n) - 1; }

// The low n bits of x as a number: zero-extended when `is_unsigned` is 1,
// sign-extended from bit n-1 otherwise.
constexpr wide_int Int(uint64_t x, unsigned n, int is_unsigned) {
  uint64_t low = x & ones(n);
  if (is_unsigned == 1) return wide_int(low);
  uint64_t sign = 1ull << (n - 1);
  return wide_int(low ^ sign) - wide_int(sign);
}
constexpr wide_int UInt(uint64_t x, unsigned n) { return Int(x, n, 1); }

// x sign-extended from bit n-1, for the element widths only; 0 for others.
constexpr wide_int SInt(uint64_t x, unsigned n) {
  return n == 8 || n == 16 || n == 32 || n == 64 ? Int(x, n, 0) : 0;
}

// The low 64 bits.
constexpr uint64_t bits(wide_int x) { return uint64_t(wide_uint(x)); }

constexpr wide_int NegInt(wide_int x) { return wide_int(wide_uint(0) - wide_uint(x)); }
constexpr wide_int AddInt(wide_int a, wide_int b) { return wide_int(wide_uint(a) + wide_uint(b)); }
constexpr wide_int SubInt(wide_int a, wide_int b) { return wide_int(wide_uint(a) - wide_uint(b)); }
constexpr wide_int AbsInt(wide_int x) { return x < 0 ? NegInt(x) : x; }

// x >> s, arithmetic. Values that reach here have at most 65 significant
// bits, so every s above 65 gives the same sign fill as 65. A count of exactly
// 128 is the one that is not capped: it gives all ones when the two top bits
// of x are set, otherwise 0.
constexpr wide_int ShiftRightInt(wide_int x, wide_int s) {
  if (s == 128) return (bits(x >> 126) & 3) == 3 ? wide_int(-1) : wide_int(0);
  return x >> (s > 65 ? 65 : int(s));
}

// x << s; a negative s shifts right. Counts above 64 act as 64, which already
// clears the low 64 bits of any value.
constexpr wide_int ShiftLeftInt(wide_int x, wide_int s) {
  if (s < 0) return ShiftRightInt(x, NegInt(s));
  return wide_int(wide_uint(x) << (s > 64 ? 64 : int(s)));
}

}  // namespace sve
