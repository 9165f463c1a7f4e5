// Multiplication and division at their limits: division by zero and of the
// most negative value by -1, signed against unsigned readings of the same
// bits, the high half of products, and dot products.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {

// Runs a two-operand word (Zdn z0, Pg p0 all true, Zm z1) on element 0.
uint64_t binary(const char* name, uint64_t a, uint64_t b, unsigned bytes) {
  auto s = test::random_state();
  std::memset(s->p[0], 1, sve_vl_bytes);
  std::memcpy(s->z[0], &a, bytes);
  std::memcpy(s->z[1], &b, bytes);
  EXPECT_EQ(test::run(s.get(), test::word(name) | 1 << 5), aarch64_decode_ok);
  uint64_t r = 0;
  std::memcpy(&r, s->z[0], bytes);
  return r;
}

}  // namespace

TEST(Multiply, ValuesAtTheLimits) {
  struct Case { const char* name; uint64_t a, b, result; unsigned bytes; };
  const Case cases[] = {
      {"VecS32DivVVM", 12345, 0, 0, 4},
      {"VecS32DivVVM", 0x80000000, 0xffffffff, 0x80000000, 4},
      {"VecS64DivVVM", 0x8000000000000000, ~0ull, 0x8000000000000000, 8},
      {"VecU32DivVVM", 0xfffffffe, 0xffffffff, 0, 4},
      {"VecS32DivVVM", 0xfffffffe, 0xffffffff, 2, 4},
      {"VecU32DivRVVM", 1, 0x80000001, 0x80000001, 4},
      {"VecS64DivRVVM", 2, 7, 3, 8},
      {"VecS8MulHVVM", 0x80, 0x80, 0x40, 1},
      {"VecS64MulHVVM", 0x8000000000000000, 0x8000000000000000, 0x4000000000000000, 8},
      {"VecU64MulHVVM", ~0ull, ~0ull, 0xfffffffffffffffe, 8},
      {"VecS16MulVVM", 0x8000, 0x8000, 0, 2},
  };
  for (const Case& c : cases)
    EXPECT_EQ(binary(c.name, c.a, c.b, c.bytes), c.result) << c.name << " " << c.a << ", " << c.b;
}

TEST(Multiply, InactiveElementsKeepTheDestination) {
  // MAD with the predicate clear leaves Zdn, the factor, as it was; DIVR
  // keeps the old divisors.
  for (const char* name : {"VecS32MADDVVVM", "VecU64DivRVVM", "VecS8MLAVVVM"}) {
    auto s = test::random_state();
    std::memset(s->p[2], 0, sve_vl_bytes);
    auto before = *s;
    ASSERT_EQ(test::run(s.get(), test::word(name) | 4 | 2 << 10 | 5 << 5 | 6 << 16), aarch64_decode_ok);
    EXPECT_EQ(std::memcmp(before.z, s->z, sizeof s->z), 0) << name;
  }
}

TEST(Multiply, AccumulateFormsReadOldValuesThroughout) {
  struct Case { const char* name; uint32_t (*expect)(uint32_t); };
  const Case cases[] = {
      {"VecS32MLSVVVM", [](uint32_t a) { return a - a * a; }},
      {"VecS32MLAVVVM", [](uint32_t a) { return a + a * a; }},
      {"VecS32MADDVVVM", [](uint32_t a) { return a + a * a; }},
      {"VecS32MSUBVVVM", [](uint32_t a) { return a - a * a; }},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[1], 1, sve_vl_bytes);
    auto before = *s;
    ASSERT_EQ(test::run(s.get(), test::word(c.name) | 3 | 1 << 10 | 3 << 5 | 3 << 16), aarch64_decode_ok);
    for (unsigned i = 0; i < sve_vl_bytes / 4; ++i)
      ASSERT_EQ(elem<uint32_t>(s->z[3], i), c.expect(elem<uint32_t>(before.z[3], i))) << c.name << " " << i;
  }
}

TEST(Multiply, IndexedDotProductsTakeOneGroupPerSegment) {
  auto s = test::random_state();
  std::memset(s->z[0], 0, sve_vl_bytes);
  for (unsigned i = 0; i < sve_vl_bytes; ++i) s->z[1][i] = 1;
  for (unsigned i = 0; i < sve_vl_bytes; ++i) s->z[2][i] = uint8_t(i);
  // sdot z0.s, z1.b, z2.b[3]: accumulators 0..3 use bytes 12..15, 4..7 bytes 28..31.
  ASSERT_EQ(test::run(s.get(), test::word("VecS32DotVVVIX") | 1 << 5 | 2 << 16 | 3 << 19), aarch64_decode_ok);
  for (unsigned i = 0; i < 8 && i < sve_vl_bytes / 4; ++i)
    EXPECT_EQ(elem<uint32_t>(s->z[0], i), i < 4 ? 12u + 13 + 14 + 15 : 28u + 29 + 30 + 31) << i;
  // udot z0.d, z1.h, z2.h[1]: accumulators 0, 1 use halfwords 4..7, 2, 3 halfwords 12..15.
  std::memset(s->z[0], 0, sve_vl_bytes);
  for (unsigned i = 0; i < sve_vl_bytes / 2; ++i) test::set_elem<uint16_t>(s->z[2], i, uint16_t(i));
  for (unsigned i = 0; i < sve_vl_bytes / 2; ++i) test::set_elem<uint16_t>(s->z[1], i, 1);
  ASSERT_EQ(test::run(s.get(), test::word("VecU64DotVVVIX") | 1 << 5 | 2 << 16 | 1 << 20), aarch64_decode_ok);
  for (unsigned i = 0; i < 4 && i < sve_vl_bytes / 8; ++i)
    EXPECT_EQ(elem<uint64_t>(s->z[0], i), i < 2 ? 4u + 5 + 6 + 7 : 12u + 13 + 14 + 15) << i;
}
