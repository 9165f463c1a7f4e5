// Reductions and element picks at their limits: empty predicates, wrapping
// of LASTA and CLASTA, results that clear the rest of a vector register, and
// the zero-extension of narrow results in general registers.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {
// Zd/Rd 0, Pg p1, Zn z2.
uint32_t op(const char* name) { return test::word(name) | 0 | 1 << 10 | 2 << 5; }

bool upper_clear(const cpu_state* s, unsigned reg, unsigned from) {
  for (unsigned i = from; i < sve_vl_bytes; ++i)
    if (s->z[reg][i]) return false;
  return true;
}
}  // namespace

TEST(Reductions, EmptyPredicateGivesTheIdentity) {
  struct Case { const char* name; uint64_t result; unsigned bytes; };
  const Case cases[] = {
      {"VecS16MinReduceV", 0x7fff, 2}, {"VecU32MinReduceV", 0xffffffff, 4},
      {"VecS64MaxReduceV", 0x8000000000000000, 8}, {"VecU8AndReduceV", 0xff, 1},
      {"VecU16OrReduceV", 0, 2}, {"VecU64AddReduceV", 0, 8}, {"VecS8AddReduceV", 0, 8},
      {"VecS8MaxReduceV", 0x80, 1}, {"VecU64MinReduceV", ~0ull, 8},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[1], 0, sve_vl_bytes);
    ASSERT_EQ(test::run(s.get(), op(c.name)), aarch64_decode_ok);
    uint64_t r = 0;
    std::memcpy(&r, s->z[0], c.bytes);
    EXPECT_EQ(r, c.result) << c.name;
    EXPECT_TRUE(upper_clear(s.get(), 0, c.bytes)) << c.name;
  }
}

TEST(Reductions, SumsAreDoublewords) {
  auto s = test::random_state();
  std::memset(s->p[1], 1, sve_vl_bytes);
  std::memset(s->z[2], 0xff, sve_vl_bytes);
  ASSERT_EQ(test::run(s.get(), op("VecU8AddReduceV")), aarch64_decode_ok);
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 255ull * sve_vl_bytes);
  ASSERT_EQ(test::run(s.get(), op("VecS8AddReduceV")), aarch64_decode_ok);
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), uint64_t(-int64_t(sve_vl_bytes)));
  EXPECT_TRUE(upper_clear(s.get(), 0, 8));
}

TEST(Reductions, DestinationEqualToSourceReadsTheOldVector) {
  auto s = test::random_state();
  std::memset(s->p[1], 1, sve_vl_bytes);
  std::memset(s->z[2], 0, sve_vl_bytes);
  s->z[2][sve_vl_bytes - 1] = 0x7f;
  s->z[2][5] = 0x80;
  ASSERT_EQ(test::run(s.get(), test::word("VecS8MaxReduceV") | 2 | 1 << 10 | 2 << 5), aarch64_decode_ok);
  EXPECT_EQ(s->z[2][0], 0x7f);
  EXPECT_TRUE(upper_clear(s.get(), 2, 1));
  // Only byte 3 active: EORV gives byte 3.
  std::memset(s->p[1], 0, sve_vl_bytes);
  s->p[1][3] = 1;
  s->z[2][3] = 0x5a;
  ASSERT_EQ(test::run(s.get(), op("VecU8XorReduceV")), aarch64_decode_ok);
  EXPECT_EQ(s->z[0][0], 0x5a);
}

TEST(Picks, LastElementSearch) {
  const unsigned n = sve_vl_bytes / 4;
  struct Case { const char* name; int active; unsigned index; };  // active: the last active word, -1 for none
  const Case cases[] = {
      {"VecU32LastBV", -1, n - 1}, {"VecU32LastAV", -1, 0},
      {"VecU32LastAV", int(n - 1), 0}, {"VecU32LastAV", int(n - 2), n - 1},
      {"VecU32LastBV", 3, 3}, {"VecF32LastBV", 0, 0}, {"VecF32LastAV", 0, 1},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[1], 0, sve_vl_bytes);
    if (c.active >= 0) s->p[1][c.active * 4] = 1;
    for (unsigned i = 0; i < n; ++i) test::set_elem<uint32_t>(s->z[2], i, 0xa0000000 + i);
    s->x[0] = ~0ull;
    ASSERT_EQ(test::run(s.get(), op(c.name)), aarch64_decode_ok);
    if (c.name[3] == 'U') EXPECT_EQ(s->x[0], 0xa0000000u + c.index) << c.name << " " << c.active;
    else EXPECT_EQ(elem<uint32_t>(s->z[0], 0), 0xa0000000u + c.index) << c.name << " " << c.active;
  }
}

TEST(Picks, ConditionalFormsKeepTheOldValueWhenNothingIsActive) {
  auto s = test::random_state();
  std::memset(s->p[1], 0, sve_vl_bytes);
  s->x[0] = 0x1234;
  ASSERT_EQ(test::run(s.get(), op("VecU8CondXBSV")), aarch64_decode_ok);
  EXPECT_EQ(s->x[0], 0x34u);
  s->x[0] = 0x1234;
  ASSERT_EQ(test::run(s.get(), op("VecU8CondXASV")), aarch64_decode_ok);
  EXPECT_EQ(s->x[0], 0x34u);
  s->x[0] = 0xfedcba9876543210;
  ASSERT_EQ(test::run(s.get(), op("VecU64CondXBSV")), aarch64_decode_ok);
  EXPECT_EQ(s->x[0], 0xfedcba9876543210u);
  uint8_t low = s->z[0][0];
  ASSERT_EQ(test::run(s.get(), op("VecB8CondXASV")), aarch64_decode_ok);
  EXPECT_EQ(s->z[0][0], low);
  EXPECT_TRUE(upper_clear(s.get(), 0, 1));
  auto before = *s;
  ASSERT_EQ(test::run(s.get(), op("VecU16VCondXAVV")), aarch64_decode_ok);
  EXPECT_EQ(std::memcmp(before.z[0], s->z[0], sve_vl_bytes), 0);
}

TEST(Picks, VectorFormFillsEveryElement) {
  auto s = test::random_state();
  std::memset(s->p[1], 0, sve_vl_bytes);
  s->p[1][0] = 1;
  uint16_t first = elem<uint16_t>(s->z[2], 0);
  ASSERT_EQ(test::run(s.get(), op("VecU16VCondXBVV")), aarch64_decode_ok);
  for (unsigned i = 0; i < sve_vl_bytes / 2; ++i) ASSERT_EQ(elem<uint16_t>(s->z[0], i), first) << i;
}

TEST(Picks, RegisterThirtyOneIsNotWritten) {
  auto s = test::random_state();
  auto before = *s;
  ASSERT_EQ(test::run(s.get(), test::word("VecU64LastBV") | 31 | 1 << 10 | 2 << 5), aarch64_decode_ok);
  ASSERT_EQ(test::run(s.get(), test::word("VecU64CondXBSV") | 31 | 1 << 10 | 2 << 5), aarch64_decode_ok);
  ASSERT_EQ(test::run(s.get(), test::word("VecU64LastAV") | 31 | 1 << 10 | 2 << 5), aarch64_decode_ok);
  EXPECT_EQ(std::memcmp(before.x, s->x, sizeof s->x), 0);
  EXPECT_EQ(before.sp, s->sp);
}
