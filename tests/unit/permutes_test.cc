// Permutes at their limits: out-of-range table indices, EXT offsets at and
// beyond the vector length, aliasing, signed against unsigned unpacking,
// SPLICE and COMPACT with empty and full predicates, reversal within elements.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {
constexpr unsigned vl = sve_vl_bytes;
uint32_t zzz(const char* name, unsigned d, unsigned n, unsigned m) {
  return test::word(name) | d | n << 5 | m << 16;
}
void iota(uint8_t* z) {
  for (unsigned i = 0; i < vl; ++i) z[i] = uint8_t(i);
}

}  // namespace

TEST(Permutes, TableIndicesBeyondTheVectorGiveZero) {
  auto s = test::random_state();
  iota(s->z[1]);
  s->z[2][0] = uint8_t(vl - 1);
  s->z[2][1] = vl < 256 ? uint8_t(vl) : 0;
  s->z[2][2] = 255;
  ASSERT_EQ(test::run(s.get(), zzz("VecU8TblVV", 0, 1, 2)), aarch64_decode_ok);
  EXPECT_EQ(s->z[0][0], uint8_t(vl - 1));
  if (vl < 256) {
    EXPECT_EQ(s->z[0][1], 0);
    EXPECT_EQ(s->z[0][2], 0);
  }
  // Doubleword indices are whole elements: 2^32 is out of range.
  test::set_elem<uint64_t>(s->z[2], 0, 0x100000000);
  test::set_elem<uint64_t>(s->z[2], 1, vl / 8);
  ASSERT_EQ(test::run(s.get(), zzz("VecU64TblVV", 0, 1, 2)), aarch64_decode_ok);
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 0u);
  EXPECT_EQ(elem<uint64_t>(s->z[0], 1), 0u);
  // Zd equal to Zm reads the old indices.
  std::memset(s->z[3], 2, vl);
  ASSERT_EQ(test::run(s.get(), zzz("VecU8TblVV", 3, 1, 3)), aarch64_decode_ok);
  for (unsigned i = 0; i < vl; ++i) ASSERT_EQ(s->z[3][i], 2) << i;
}

TEST(Permutes, ExtractAcrossTwoRegisters) {
  // Zm 1, and Zm 0 = Zdn: a rotation. Every offset the immediate holds:
  // the host builds differ by the offset within 16 bytes.
  for (unsigned zm : {1u, 0u})
    for (unsigned imm = 0; imm < 256; ++imm) {
      auto s = test::random_state();
      auto before = *s;
      uint32_t w = test::word("VecU8SlideVI") | 0 | zm << 5 | (imm >> 3) << 16 | (imm & 7) << 10;
      ASSERT_EQ(test::run(s.get(), w), aarch64_decode_ok);
      unsigned from = imm >= vl ? 0 : imm;
      for (unsigned i = 0; i < vl; ++i)
        ASSERT_EQ(s->z[0][i], from + i < vl ? before.z[0][from + i] : before.z[zm][from + i - vl]) << imm << " " << i;
    }
}

TEST(Permutes, SpliceAndCompact) {
  const unsigned n = vl / 4;
  auto s = test::random_state();
  for (unsigned i = 0; i < n; ++i) test::set_elem<uint32_t>(s->z[0], i, i);
  for (unsigned i = 0; i < n; ++i) test::set_elem<uint32_t>(s->z[1], i, 1000 + i);
  auto before = *s;
  uint32_t splice = test::word("VecU32SpliceVV") | 0 | 2 << 10 | 1 << 5;
  std::memset(s->p[2], 0, vl);
  const unsigned only = n - 1;  // the single active element
  s->p[2][only * 4] = 1;
  ASSERT_EQ(test::run(s.get(), splice), aarch64_decode_ok);
  EXPECT_EQ(elem<uint32_t>(s->z[0], 0), only);
  for (unsigned i = 1; i < n; ++i) ASSERT_EQ(elem<uint32_t>(s->z[0], i), 1000 + i - 1) << i;
  std::memcpy(s->z[0], before.z[0], vl);
  std::memset(s->p[2], 0, vl);
  ASSERT_EQ(test::run(s.get(), splice), aarch64_decode_ok);  // nothing active: Zm
  EXPECT_EQ(std::memcmp(s->z[0], before.z[1], vl), 0);
  std::memcpy(s->z[0], before.z[0], vl);
  std::memset(s->p[2], 1, vl);
  ASSERT_EQ(test::run(s.get(), splice), aarch64_decode_ok);  // everything active: Zdn
  EXPECT_EQ(std::memcmp(s->z[0], before.z[0], vl), 0);

  uint32_t compact = test::word("VecU32CompressVV") | 3 | 2 << 10 | 1 << 5;
  std::memset(s->p[2], 0, vl);
  ASSERT_EQ(test::run(s.get(), compact), aarch64_decode_ok);
  for (unsigned i = 0; i < vl; ++i) ASSERT_EQ(s->z[3][i], 0) << i;
  s->p[2][4] = s->p[2][12] = 1;
  ASSERT_EQ(test::run(s.get(), compact), aarch64_decode_ok);
  EXPECT_EQ(elem<uint32_t>(s->z[3], 0), 1001u);
  EXPECT_EQ(elem<uint32_t>(s->z[3], 1), 1003u);
  EXPECT_EQ(elem<uint32_t>(s->z[3], 2), 0u);
}
