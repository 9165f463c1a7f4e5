// Broadcast, copy and select at their limits: immediates at each width,
// register 31, sources that are also the destination, wrapping INDEX
// sequences, quadword DUP, INSR and the zeroing forms.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {
constexpr unsigned vl = sve_vl_bytes;
void run_ok(cpu_state* s, uint32_t w) { ASSERT_EQ(test::run(s, w), aarch64_decode_ok) << std::hex << w; }
template <class T>
void expect_all(const uint8_t* z, T v) {
  for (unsigned i = 0; i < vl / sizeof(T); ++i) ASSERT_EQ(elem<T>(z, i), v) << i;
}
}  // namespace

TEST(Broadcast, ShiftedImmediateAtEachWidth) {
  auto s = test::random_state(1);
  uint32_t imm = 0x80u << 5 | 1u << 13;  // -128 * 256
  run_ok(s.get(), test::word("VecS64DupI") | imm);
  expect_all<uint64_t>(s->z[0], 0xFFFFFFFFFFFF8000ull);
  run_ok(s.get(), test::word("VecS16DupI") | imm);
  expect_all<uint16_t>(s->z[0], 0x8000);
  run_ok(s.get(), test::word("VecS8DupI") | imm);
  expect_all<uint8_t>(s->z[0], 0);
  // 1.0 in all three formats.
  for (auto [name, bytes, v] : {std::tuple{"VecF16DupI", 2u, 0x3C00ull}, std::tuple{"VecF32DupI", 4u, 0x3F800000ull},
                                std::tuple{"VecD64DupI", 8u, 0x3FF0000000000000ull}}) {
    run_ok(s.get(), test::word(name) | 0x70u << 5);
    for (unsigned i = 0; i < vl; i += bytes) {
      uint64_t got = 0;
      std::memcpy(&got, s->z[0] + i, bytes);
      ASSERT_EQ(got, v) << name << " " << i;
    }
  }
}

TEST(Broadcast, ZeroingAndMergingCopies) {
  auto s = test::random_state(2);
  for (unsigned i = 0; i < vl; ++i) s->p[1][i] = (i / 4) % 3 == 0;
  auto before = *s;
  uint32_t imm = 0x05u << 5;
  run_ok(s.get(), test::word("VecS32DupIZ") | 1u << 16 | imm);
  for (unsigned e = 0; e < vl / 4; ++e) ASSERT_EQ(elem<int32_t>(s->z[0], e), e % 3 == 0 ? 5 : 0) << e;
  *s = before;
  run_ok(s.get(), test::word("VecS32DupIM") | 1u << 16 | imm);
  for (unsigned e = 0; e < vl / 4; ++e)
    ASSERT_EQ(elem<int32_t>(s->z[0], e), e % 3 == 0 ? 5 : elem<int32_t>(before.z[0], e)) << e;
  // MOVPRFX zeroing with Zn = Zd clears the inactive elements only.
  *s = before;
  run_ok(s.get(), test::word("VecU32MovePrefix1VZ") | 1u << 10 | 0u << 5);
  for (unsigned e = 0; e < vl / 4; ++e)
    ASSERT_EQ(elem<uint32_t>(s->z[0], e), e % 3 == 0 ? elem<uint32_t>(before.z[0], e) : 0u) << e;
}

TEST(Broadcast, ScalarSourcesAndRegister31) {
  auto s = test::random_state(3);
  std::memset(s->p[1], 1, vl);
  s->sp = 0x1234567890ull;
  run_ok(s.get(), test::word("VecU64DupSM") | 1u << 10 | 31u << 5);
  expect_all<uint64_t>(s->z[0], 0x1234567890ull);
  run_ok(s.get(), test::word("VecS64IndexSI") | 31u << 5 | 1u << 16);  // index z0.d, xzr, #1
  for (unsigned e = 0; e < vl / 8; ++e) ASSERT_EQ(elem<uint64_t>(s->z[0], e), e);
  // CPY from a vector's low element into itself spreads the old value.
  uint64_t low = elem<uint64_t>(s->z[2], 0);
  run_ok(s.get(), test::word("VecD64DupSM") | 1u << 10 | 2u << 5 | 2u);
  expect_all<uint64_t>(s->z[2], low);
}

TEST(Broadcast, IndexWrapsAtElementWidth) {
  auto s = test::random_state(4);
  run_ok(s.get(), test::word("VecS8IndexII") | 0u << 5 | 1u << 16);
  EXPECT_EQ(int8_t(s->z[0][vl - 1]), int8_t(vl - 1));
  run_ok(s.get(), test::word("VecS8IndexII") | 0u << 5 | 0x10u << 16);  // step -16
  for (unsigned i = 0; i < vl; ++i) ASSERT_EQ(s->z[0][i], uint8_t(-16 * int(i))) << i;
  s->x[1] = 1;
  s->x[2] = ~0ull;
  run_ok(s.get(), test::word("VecS64IndexSS") | 1u << 5 | 2u << 16);
  for (unsigned e = 0; e < vl / 8; ++e) ASSERT_EQ(elem<int64_t>(s->z[0], e), 1 - int64_t(e));
  // Word paths use the low 32 bits of the registers.
  s->x[1] = 0x500000007;
  s->x[2] = 0x300000002;
  run_ok(s.get(), test::word("VecS32IndexSS") | 1u << 5 | 2u << 16);
  for (unsigned e = 0; e < vl / 4; ++e) ASSERT_EQ(elem<uint32_t>(s->z[0], e), 7 + 2 * e);
}

TEST(Broadcast, IndexedDupAndInsert) {
  auto s = test::random_state(5);
  auto before = *s;
  run_ok(s.get(), test::word("VecU128ExtDupVI") | 3u << 22 | 1u << 5);  // dup z0.q, z1.q[3]
  // Quadword 3 lies beyond a vector shorter than 64 bytes and reads as 0.
  uint8_t q3[16] = {};
  if (vl >= 64) std::memcpy(q3, before.z[1] + 48, 16);
  for (unsigned i = 0; i + 16 <= vl; i += 16) ASSERT_EQ(std::memcmp(s->z[0] + i, q3, 16), 0) << i;
  // dup z1.s, z1.s[3]: the source is read before Zd is written.
  run_ok(s.get(), test::word("VecU32ExtDupVI") | (3u >> 2) << 22 | ((3u & 3) << 3 | 4) << 16 | 1u << 5 | 1u);
  expect_all<uint32_t>(s->z[1], elem<uint32_t>(before.z[1], 3));
  s->x[3] = 0xab;
  run_ok(s.get(), test::word("VecU8InsertS") | 3u << 5 | 2u);
  EXPECT_EQ(s->z[2][0], 0xab);
  for (unsigned i = 1; i < vl; ++i) ASSERT_EQ(s->z[2][i], before.z[2][i - 1]) << i;
  // SEL with Zn = Zm copies it whatever the predicate.
  run_ok(s.get(), test::word("VecU16SelVV") | 4u << 16 | 5u << 10 | 4u << 5 | 6u);
  EXPECT_EQ(std::memcmp(s->z[6], before.z[4], vl), 0);
}
