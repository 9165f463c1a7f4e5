// Integer primitives of the library routines at their limits: the wide
// integer's sign extension, and saturation in both directions at every
// width with 64-bit carries seen through the wide integer.
#include <gtest/gtest.h>

#include "sve/support/saturate.h"

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
