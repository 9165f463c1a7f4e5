// Saturating multiplies at the one product that leaves the range: the most
// negative value squared. Random states put that value in the top halves of
// wide elements but hardly ever in the bottom ones, and the accumulating
// forms differ from a single saturation only with the right accumulator.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;

TEST(Multiply, MostNegativeValueSquared) {
  // Zd z2 (the accumulator), Zn z0, Zm z1; `fields` adds the index bits.
  struct Case { const char* name; uint32_t fields; unsigned narrow; uint64_t a, acc, result; unsigned wide; };
  const Case cases[] = {
      {"VecS32QDMulLBVVX", 0, 2, 0x8000, 0, 0x7fffffff, 4},
      // The doubled product saturates before the accumulator is added.
      {"VecS32QDMLALBVVVX", 0, 2, 0x8000, 0xffffffff, 0x7ffffffe, 4},
      {"VecS32QDMLSLTVVVX", 0, 2, 0x8000, 0, 0x80000001, 4},
      {"VecS32QDMLALBTVVVX", 0, 2, 0x8000, 0xffffffff, 0x7ffffffe, 4},
      {"VecS64QDMLSLBVVVIX", 1u << 20 | 1u << 11, 4, 0x80000000, 0, 0x8000000000000001, 8},
      // The accumulator joins the product before the one saturation.
      {"VecS16QRDMLAHVVVX", 0, 2, 0x8000, 0xffff, 0x7fff, 2},
      {"VecS64QRDMLAHVVVX", 0, 8, 0x8000000000000000, ~0ull, 0x7fffffffffffffff, 8},
      {"VecS64QRDMLSHVVVIX", 1u << 20, 8, 0x8000000000000000, 0, 0x8000000000000000, 8},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    for (unsigned i = 0; i < sve_vl_bytes; i += c.narrow) {
      std::memcpy(s->z[0] + i, &c.a, c.narrow);
      std::memcpy(s->z[1] + i, &c.a, c.narrow);
    }
    for (unsigned i = 0; i < sve_vl_bytes; i += c.wide) std::memcpy(s->z[2] + i, &c.acc, c.wide);
    ASSERT_EQ(test::run(s.get(), test::word(c.name) | c.fields | 1u << 16 | 2), aarch64_decode_ok) << c.name;
    for (unsigned i = 0; i < sve_vl_bytes; i += c.wide) {
      uint64_t r = 0;
      std::memcpy(&r, s->z[2] + i, c.wide);
      ASSERT_EQ(r, c.result) << c.name << " element " << i / c.wide;
    }
  }
}
