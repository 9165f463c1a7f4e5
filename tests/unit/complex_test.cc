// SQRDCMLAH of doublewords at the limits, which random states seldom reach:
// the product of the two most negative doublewords is 2^126, and doubled it
// no longer fits 128 signed bits; the sum with the accumulator saturates at
// either end or lands exactly on a limit, and half a unit rounds up.
#include <gtest/gtest.h>

#include <limits>

#include "machine.h"

using namespace sve;

TEST(ComplexMultiplyAdd, RoundingDoublingHighOfDoublewordsAtTheLimits) {
  constexpr int64_t min = std::numeric_limits<int64_t>::min(), max = std::numeric_limits<int64_t>::max();
  struct Case { int64_t acc, x, y; uint32_t rot; int64_t result; };
  const Case cases[] = {
      {0, min, min, 0, max},        // 2^63 saturates
      {0, min, min, 2, min},        // -2^63 is exact
      {min, min, min, 0, 0},
      {max, min, min, 0, max},
      {min, min, min, 2, min},
      {0, 1, int64_t(1) << 62, 0, 1},  // 2 x 2^62 is half of 2^64 and rounds up
      {0, 1, (int64_t(1) << 62) - 1, 0, 0},
      {5, 1, int64_t(1) << 62, 2, 5},  // -2^63 + 2^63 rounds to 0
  };
  // Zda z0, Zn z1, Zm z2, every element equal, so the real and imaginary
  // results agree at rotations 0 and 180.
  const uint32_t word = test::word("VecS64QRDCMLAHVVVX") | 2 << 16 | 1 << 5;
  for (const Case& c : cases) {
    auto s = test::random_state();
    for (unsigned e = 0; e < sve_vl_bytes / 8; ++e) {
      test::set_elem(s->z[0], e, c.acc);
      test::set_elem(s->z[1], e, c.x);
      test::set_elem(s->z[2], e, c.y);
    }
    ASSERT_EQ(test::run(s.get(), word | c.rot << 10), aarch64_decode_ok);
    for (unsigned e : {0u, 1u, sve_vl_bytes / 8 - 1})
      EXPECT_EQ(test::elem<int64_t>(s->z[0], e), c.result) << c.acc << " " << c.x << " " << c.y << " rot " << c.rot;
  }
}
