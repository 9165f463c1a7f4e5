// Saturation of wide integers to n-bit values, signed or unsigned, and the
// saturating operations built on it. A result is an n-bit pattern (a
// saturated minimum or a negative value is not sign-extended to 64 bits) with
// a flag that says whether it was clamped; the flag `is_unsigned` is 1 for
// unsigned, any other value for signed.
#pragma once

#include "wide_int.h"

namespace sve {

struct sat_result {
  uint64_t value;
  uint32_t saturated;  // 0 or 1
};

constexpr sat_result SatQ(wide_int x, unsigned n, int is_unsigned) {
  if (is_unsigned == 1) {
    if (x < 0) return {0, 1};
    if ((x >> n) == 0) return {bits(x) & ones(n), 0};
    return {ones(n), 1};
  }
  wide_int max = (wide_int(1) << (n - 1)) - 1, min = -(wide_int(1) << (n - 1));
  if (x > max) return {bits(max), 1};
  if (x < min) return {1ull << (n - 1), 1};
  return {bits(x) & ones(n), 0};
}

// a + b at n bits: the clamped limit when the exact sum leaves the range,
// otherwise the low 64 bits of the sum, not masked to n bits.
constexpr uint64_t SatAdd(uint64_t a, uint64_t b, unsigned n, int is_unsigned) {
  wide_int sum = Int(a, n, is_unsigned) + Int(b, n, is_unsigned);
  sat_result r = SatQ(sum, n, is_unsigned);
  return r.saturated ? r.value : bits(sum);
}

constexpr uint64_t SatSub(uint64_t a, uint64_t b, unsigned n, int is_unsigned) {
  return SatQ(Int(a, n, is_unsigned) - Int(b, n, is_unsigned), n, is_unsigned).value;
}

// The limit at n bits on the side of the sign of x.
constexpr sat_result sat_limit(wide_int x, unsigned n, int is_unsigned) {
  if (is_unsigned == 1) return {x < 0 ? 0 : ones(n), 1};
  return {x < 0 ? 1ull << (n - 1) : ones(n - 1), 1};
}

// As SatQ, for widths up to 128 bits, with a value that fits returned
// unmasked.
constexpr sat_result SatQShift(wide_int x, unsigned n, int is_unsigned) {
  wide_uint top = wide_uint(1) << (n - 1);
  wide_uint umax = top - 1 + (is_unsigned == 1 ? top : 0);
  // An unsigned limit of 128 bits is above every wide integer.
  wide_int max = wide_int(umax > (wide_uint(-1) >> 1) ? wide_uint(-1) >> 1 : umax);
  wide_int min = is_unsigned == 1 ? 0 : wide_int(wide_uint(0) - top);
  if (x > max) return {bits(max), 1};
  if (x < min) return {bits(min), 1};
  return {bits(x), 0};
}

// An unsigned value clamped to n bits: all ones when x is above them but
// below 2n bits, 0 when it is larger still.
constexpr sat_result SatQUShift(wide_int x, unsigned n) {
  if (x <= wide_int(ones(n))) return {bits(x), 0};
  return {(x >> (2 * n > 127 ? 127 : 2 * n)) == 0 ? ones(n) : 0, 1};
}

// x << s at n bits; a negative s shifts right and never saturates, a count
// at or above n leaves only 0 unclamped.
constexpr sat_result ShiftQLeftInt(wide_int x, wide_int s, unsigned n, int is_unsigned) {
  if (s < 0) return {bits(ShiftRightInt(x, NegInt(s))), 0};
  if (s >= wide_int(n)) return x == 0 ? sat_result{0, 0} : sat_limit(x, n, is_unsigned);
  return SatQShift(ShiftLeftInt(x, s), n, is_unsigned);
}

// a x b at n bits. An unsigned 64-bit product may use all 128 bits, so it is
// tested as an unsigned value.
constexpr sat_result SatMult(uint64_t a, uint64_t b, unsigned n, int is_unsigned) {
  if (is_unsigned == 1) {
    wide_uint p = wide_uint(UInt(a, n)) * wide_uint(UInt(b, n));
    return (p >> n) == 0 ? sat_result{uint64_t(p), 0} : sat_result{ones(n), 1};
  }
  return SatQ(Int(a, n, 0) * Int(b, n, 0), n, 0);
}

// a shifted left by the signed count s, both taken at n bits. When the
// result saturates, the limit follows the sign of a: an unsigned a shifted
// by 64 may leave the signed range of the wide integer.
constexpr uint64_t SatShiftLeft(uint64_t a, uint64_t s, unsigned n, int is_unsigned) {
  wide_int x = Int(a, n, is_unsigned);
  sat_result r = SatQ(ShiftLeftInt(x, Int(s, n, 0)), n, is_unsigned);
  return r.saturated ? sat_limit(x, n, is_unsigned).value : r.value;
}

// A signed a shifted left by an unsigned s into an unsigned n-bit result.
constexpr sat_result SatShiftLeftU(uint64_t a, uint64_t s, unsigned n) {
  wide_int x = Int(a, n, 0);
  sat_result r = SatQ(ShiftLeftInt(x, UInt(s, n)), n, 1);
  return r.saturated ? sat_limit(x, n, 1) : r;
}

}  // namespace sve
