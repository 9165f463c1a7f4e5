// BigInt: a 256-bit two's complement integer, four 64-bit words with the
// least significant first, for sums that may leave even the wide integer.
#pragma once

#include "saturate.h"

namespace sve {

struct BigInt {
  uint64_t w[4];
};

// Sign extension of a wide integer.
constexpr BigInt toBigInt(wide_int x) {
  uint64_t fill = x < 0 ? ~0ull : 0;
  return {{bits(x), bits(x >> 64), fill, fill}};
}

constexpr BigInt AddBigInt(const BigInt& a, const BigInt& b) {
  BigInt r{};
  uint64_t carry = 0;
  for (int i = 0; i < 4; ++i) {
    wide_uint sum = wide_uint(a.w[i]) + b.w[i] + carry;
    r.w[i] = uint64_t(sum);
    carry = uint64_t(sum >> 64);
  }
  return r;
}

// Arithmetic shift right by s bits; counts of 255 and more give the sign fill.
constexpr BigInt ShiftRightBigInt(const BigInt& x, unsigned s) {
  uint64_t fill = int64_t(x.w[3]) < 0 ? ~0ull : 0;
  auto word = [&](unsigned i) { return i < 4 ? x.w[i] : fill; };
  if (s > 255) s = 255;
  unsigned q = s / 64, r = s % 64;
  BigInt out{};
  for (unsigned i = 0; i < 4; ++i)
    out.w[i] = r == 0 ? word(i + q) : word(i + q) >> r | word(i + q + 1) << (64 - r);
  return out;
}

// SatQ of a 256-bit value: a value that fits in the wide integer saturates
// as there; anything beyond it is out of every range of up to 64 bits.
constexpr sat_result SatQBigInt(const BigInt& x, unsigned n, int is_unsigned) {
  bool negative = int64_t(x.w[3]) < 0;
  uint64_t fill = negative ? ~0ull : 0;
  bool fits = x.w[2] == fill && x.w[3] == fill && (int64_t(x.w[1]) < 0) == negative;
  if (!fits) return sat_limit(negative ? -1 : 1, n, is_unsigned);
  return SatQ(wide_int(wide_uint(x.w[1]) << 64 | x.w[0]), n, is_unsigned);
}

}  // namespace sve
