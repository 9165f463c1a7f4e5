// Integer primitives of the library routines at their limits: saturation in
// both directions at every width, 64-bit carries seen through the wide
// integer, shift counts at and beyond the width, and the bit counts at 0 and
// all ones.
#include <gtest/gtest.h>

#include "sve/support/big_int.h"
#include "sve/support/bit_ops.h"

using namespace sve;

namespace {
constexpr wide_int W(int64_t v) { return wide_int(v); }
constexpr wide_int pow2(int k) { return wide_int(wide_uint(1) << k); }
}  // namespace

TEST(Primitives, IntExtendsBySign) {
  EXPECT_TRUE(Int(0x80, 8, 1) == 128);
  EXPECT_TRUE(Int(0x80, 8, 0) == -128);
  EXPECT_TRUE(Int(0x180, 8, 0) == -128);  // only the low n bits count
  EXPECT_TRUE(Int(~0ull, 64, 0) == -1);
  EXPECT_TRUE(Int(~0ull, 64, 1) == pow2(64) - 1);
  EXPECT_TRUE(Int(0x80, 8, 2) == -128);  // any flag but 1 is signed
  EXPECT_TRUE(SInt(0x8000, 16) == -32768);
  EXPECT_TRUE(SInt(0x8000, 12) == 0);
  EXPECT_EQ(bits(NegInt(pow2(64))), 0u);
  EXPECT_TRUE(AbsInt(W(INT64_MIN)) == pow2(63));
}

TEST(Primitives, SatQClampsInBothDirections) {
  struct Case { wide_int x; unsigned n; int is_unsigned; uint64_t value; uint32_t saturated; };
  const Case cases[] = {
      {128, 8, 0, 0x7f, 1},
      {-129, 8, 0, 0x80, 1},
      {-128, 8, 0, 0x80, 0},
      {-1, 8, 0, 0xff, 0},
      {-1, 8, 1, 0, 1},
      {256, 8, 1, 0xff, 1},
      {255, 8, 1, 0xff, 0},
      {pow2(31), 32, 0, 0x7fffffff, 1},
      {-pow2(31) - 1, 32, 0, 0x80000000, 1},
      {pow2(63), 64, 0, 0x7fffffffffffffff, 1},
      {-pow2(63), 64, 0, 0x8000000000000000, 0},
      {-pow2(63) - 1, 64, 0, 0x8000000000000000, 1},
      {pow2(64) - 1, 64, 1, ~0ull, 0},
      {pow2(64), 64, 1, ~0ull, 1},
      {-pow2(100), 64, 1, 0, 1},
  };
  for (const Case& c : cases) {
    sat_result r = SatQ(c.x, c.n, c.is_unsigned);
    EXPECT_EQ(r.value, c.value) << c.n << " " << c.is_unsigned << " " << int64_t(c.x);
    EXPECT_EQ(r.saturated, c.saturated) << c.n << " " << c.is_unsigned << " " << int64_t(c.x);
  }
}

TEST(Primitives, SaturatingAddAndSubtract) {
  struct Case { uint64_t (*op)(uint64_t, uint64_t, unsigned, int); uint64_t a, b; unsigned n; int is_unsigned; uint64_t r; };
  const Case cases[] = {
      {SatAdd, 0x7f, 1, 8, 0, 0x7f},
      {SatAdd, 0xff, 1, 8, 0, 0},                  // -1 + 1, unmasked
      {SatAdd, 0xfe, 0xff, 8, 0, ~0ull - 2},       // -2 + -1: the unmasked sum -3
      {SatAdd, 0x80, 0xff, 8, 0, 0x80},
      {SatAdd, 0xff, 1, 8, 1, 0xff},
      {SatAdd, ~0ull, ~0ull, 64, 1, ~0ull},        // the carry out of 64 bits is seen
      {SatAdd, 1ull << 63, 1ull << 63, 64, 1, ~0ull},
      {SatAdd, 0x7fffffffffffffff, 0x7fffffffffffffff, 64, 0, 0x7fffffffffffffff},
      {SatAdd, 1ull << 63, 1ull << 63, 64, 0, 1ull << 63},
      {SatAdd, 0x7fffffff, 5, 32, 0, 0x7fffffff},
      {SatSub, 0, 1, 16, 1, 0},
      {SatSub, 0x8000, 1, 16, 0, 0x8000},
      {SatSub, 0, 0x8000, 16, 0, 0x7fff},
      {SatSub, 0, 1, 16, 0, 0xffff},                // -1 comes back as a 16-bit pattern
      {SatSub, 0, 1ull << 63, 64, 0, 0x7fffffffffffffff},
      {SatSub, 1, ~0ull, 64, 1, 0},
  };
  for (const Case& c : cases)
    EXPECT_EQ(c.op(c.a, c.b, c.n, c.is_unsigned), c.r) << std::hex << c.a << " " << c.b << " n " << std::dec << c.n;
}

TEST(Primitives, ShiftCountsAtAndBeyondTheWidth) {
  EXPECT_EQ(bits(ShiftLeftInt(1, 200)), 0u);
  EXPECT_TRUE(ShiftLeftInt(1, 200) == pow2(64));
  EXPECT_TRUE(ShiftLeftInt(-1, 64) == -pow2(64));
  EXPECT_TRUE(ShiftLeftInt(-8, -2) == -2);  // a negative count shifts right
  EXPECT_TRUE(ShiftRightInt(-1, 100) == -1);
  EXPECT_TRUE(ShiftRightInt(1, 100) == 0);
  EXPECT_TRUE(ShiftRightInt(pow2(64), 65) == 0);
  EXPECT_TRUE(ShiftRightInt(-pow2(64), 64) == -1);
  EXPECT_TRUE(ShiftRightInt(-1, 128) == -1);
  EXPECT_TRUE(ShiftRightInt(pow2(127) + 1, 128) == 0);  // bit 126 clear
  EXPECT_EQ(ShiftLeft(1, 65, 8), 2u);
}

TEST(Primitives, SaturatingShifts) {
  struct Case { sat_result got; uint64_t value; uint32_t saturated; };
  const Case cases[] = {
      {ShiftQLeftInt(1, 7, 8, 0), 0x7f, 1},
      {ShiftQLeftInt(1, 6, 8, 0), 0x40, 0},
      {ShiftQLeftInt(-1, 7, 8, 0), ~0ull << 7, 0},  // fits: unmasked
      {ShiftQLeftInt(-1, 8, 8, 0), 0x80, 1},
      {ShiftQLeftInt(0, 100, 8, 0), 0, 0},
      {ShiftQLeftInt(3, 64, 64, 1), ~0ull, 1},
      {ShiftQLeftInt(-256, -4, 16, 0), ~0ull << 4, 0},
      {SatQUShift(255, 8), 255, 0},
      {SatQUShift(256, 8), 255, 1},
      {SatQUShift(pow2(16), 8), 0, 1},
      {SatQShift(pow2(100), 128, 1), 0, 0},
      {SatQShift(-1, 128, 1), 0, 1},
      {SatMult(0x40, 2, 8, 0), 0x7f, 1},
      {SatMult(0x80, 0xff, 8, 0), 0x7f, 1},        // -128 x -1
      {SatMult(~0ull, ~0ull, 64, 1), ~0ull, 1},    // beyond the signed wide range
      {SatMult(0xffffffff, 0xffffffff, 64, 1), 0xfffffffe00000001, 0},
      {SatShiftLeftU(0x80, 0, 8), 0, 1},           // negative: 0
      {SatShiftLeftU(1, 8, 8), 0xff, 1},
      {SatShiftLeftU(1, 7, 8), 0x80, 0},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].got.value, cases[i].value) << "case " << i;
    EXPECT_EQ(cases[i].got.saturated, cases[i].saturated) << "case " << i;
  }
  EXPECT_EQ(SatShiftLeft(1, 64, 64, 1), ~0ull);
  EXPECT_EQ(SatShiftLeft(1ull << 63, 1, 64, 1), ~0ull);
  EXPECT_EQ(SatShiftLeft(0x80, 1, 8, 0), 0x80u);
  EXPECT_EQ(SatShiftLeft(0x80, 0xff, 8, 0), 0xc0u);  // a count of -1 shifts right
}

TEST(Primitives, BigIntCarriesAndSaturates) {
  BigInt max = toBigInt(wide_int(~wide_uint(0) >> 1));
  BigInt sum = AddBigInt(max, max);
  EXPECT_EQ(sum.w[0], ~0ull - 1);
  EXPECT_EQ(sum.w[1], ~0ull);
  EXPECT_EQ(sum.w[2], 0u);  // the carry out of 128 bits
  EXPECT_EQ(SatQBigInt(sum, 64, 0).value, 0x7fffffffffffffffu);
  EXPECT_EQ(SatQBigInt(toBigInt(-5), 8, 0).value, 0xfbu);
  EXPECT_EQ(SatQBigInt(toBigInt(-5), 8, 1).saturated, 1u);
  BigInt shifted = ShiftRightBigInt(sum, 1);
  EXPECT_EQ(shifted.w[0], ~0ull);
  EXPECT_EQ(shifted.w[1], ~0ull >> 1);
  BigInt neg = ShiftRightBigInt(toBigInt(-2), 255);
  EXPECT_EQ(neg.w[0] & neg.w[3], ~0ull);
  EXPECT_EQ(ShiftRightBigInt(sum, 0).w[0], sum.w[0]);
}

TEST(Primitives, BitCountsAndCompares) {
  EXPECT_EQ(CountLeadingZeroBits(0, 32), 32);
  EXPECT_EQ(CountLeadingZeroBits(1, 64), 63);
  EXPECT_EQ(CountLeadingSignBits(0xffffffff, 32), 31);
  EXPECT_EQ(CountLeadingSignBits(0, 8), 7);
  EXPECT_EQ(CountLeadingSignBits(0x80, 8), 0);
  EXPECT_EQ(CountLeadingSignBits(0xc0, 8), 1);
  EXPECT_EQ(HighestBitSet(0x100, 8), -1);
  EXPECT_EQ(BitCount(~0ull, 64), 64);
  EXPECT_EQ(BitCount(0x1ff, 8), 8);
  EXPECT_EQ(Max(0x80, 0x7f, 8, 0), 0x7fu);
  EXPECT_EQ(Max(0x80, 0x7f, 8, 1), 0x80u);
  EXPECT_EQ(Max(0x180, 0x200, 8, 1), 0x180u);  // full argument, unmasked
  EXPECT_EQ(Min(0x100, 0x200, 8, 1), 0x100u);  // equal at 8 bits: a
  EXPECT_EQ(Min(1, 2, 12, 1), 0u);
  EXPECT_EQ(Reverse(0x1122334455667788, 64, 2), 0x7788556633441122u);
  EXPECT_EQ(Reverse(0x11223344, 32, 1), 0x44332211u);
  EXPECT_EQ(Reverse(0x1122, 16, 4), 0u);
  EXPECT_EQ(BitReverse(1, 64), 1ull << 63);
  EXPECT_EQ(BitReverse(0x3, 4), 0xcu);
  EXPECT_EQ(BitReverse(1, 0), 0u);
  EXPECT_TRUE(PolynomialMult(3, 3) == 5);
  EXPECT_TRUE(PolynomialMult(1ull << 63, 2) == pow2(64));
}
