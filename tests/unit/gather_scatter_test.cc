// Gathers and scatters at their limits: 32-bit offsets with and without
// sign, immediates counted in memory elements, Zt as its own offset vector,
// colliding scatter addresses, inactive elements with wild offsets, and
// prefetches of bad addresses.
#include <gtest/gtest.h>

#include <vector>

#include "machine.h"

using namespace sve;
using test::elem;
using test::set_elem;

namespace {
constexpr unsigned vl = sve_vl_bytes;
void run_ok(cpu_state* s, uint32_t w) { ASSERT_EQ(test::run(s, w), aarch64_decode_ok) << std::hex << w; }
// Zt 4:0, Pg 12:10, Rn or Zn 9:5, Zm or the immediate 20:16.
uint32_t gs(const char* name, unsigned t, unsigned g, unsigned n, unsigned m) {
  return test::word(name) | t | g << 10 | n << 5 | m << 16;
}
}  // namespace

TEST(GatherScatter, ThirtyTwoBitOffsetsWithAndWithoutSign) {
  auto s = test::random_state(1);
  std::vector<uint64_t> mem(64);
  for (unsigned i = 0; i < mem.size(); ++i) mem[i] = 1000 + i;
  std::memset(s->p[1], 1, vl);
  uint64_t base = reinterpret_cast<uint64_t>(mem.data()) + 16 * 8;
  s->x[2] = base;
  // Doubleword offsets whose low half is -8 (as 32 bits) with garbage above.
  for (unsigned e = 0; e < vl / 8; ++e) set_elem<uint64_t>(s->z[3], e, 0x12345678fffffff8ull);
  run_ok(s.get(), gs("VecU64Load8XVSZ", 0, 1, 2, 3));  // base - 8
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 1015u);
  run_ok(s.get(), gs("VecU64Load8XSVZ", 0, 1, 2, 3));  // base - 8 * 8
  EXPECT_EQ(elem<uint64_t>(s->z[0], vl / 8 - 1), 1008u);
  // Word elements: VSZ zero-extends, XVSZ sign-extends.
  for (unsigned e = 0; e < vl / 4; ++e) set_elem<uint32_t>(s->z[3], e, 0xfffffffcu);
  run_ok(s.get(), gs("VecU32Load4XVSZ", 0, 1, 2, 3));  // base - 4: the high half of mem[15]
  EXPECT_EQ(elem<uint32_t>(s->z[0], 0), 0u);
  run_ok(s.get(), gs("VecU32Load4XSVZ", 0, 1, 2, 3));  // base - 16
  EXPECT_EQ(elem<uint32_t>(s->z[0], 1), 1014u);
}

TEST(GatherScatter, ImmediatesCountMemoryElements) {
  auto s = test::random_state(2);
  std::vector<uint32_t> mem(64);
  for (unsigned i = 0; i < mem.size(); ++i) mem[i] = i;
  std::memset(s->p[1], 1, vl);
  for (unsigned e = 0; e < vl / 8; ++e) set_elem<uint64_t>(s->z[2], e, reinterpret_cast<uint64_t>(mem.data()));
  run_ok(s.get(), gs("VecU64Load4VIZ", 0, 1, 2, 31));  // + 124 bytes
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 31u);
  run_ok(s.get(), gs("VecU64Load1VIZ", 0, 1, 2, 31));  // + 31 bytes: the high byte of mem[7]
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 0u);
  run_ok(s.get(), gs("VecS64Load1VIZ", 0, 1, 2, 28));  // + 28: the low byte of mem[7]
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 7u);
}

TEST(GatherScatter, OffsetsReadBeforeTheirElementIsWritten) {
  auto s = test::random_state(3);
  std::vector<uint64_t> mem(vl / 8);
  for (unsigned i = 0; i < mem.size(); ++i) mem[i] = 500 + i;
  std::memset(s->p[1], 1, vl);
  s->x[2] = reinterpret_cast<uint64_t>(mem.data());
  for (unsigned e = 0; e < vl / 8; ++e) set_elem<uint64_t>(s->z[4], e, vl / 8 - 1 - e);
  run_ok(s.get(), gs("VecU64Load8SVZ", 4, 1, 2, 4));  // Zt = Zm
  for (unsigned e = 0; e < vl / 8; ++e) ASSERT_EQ(elem<uint64_t>(s->z[4], e), 500 + vl / 8 - 1 - e) << e;
}

TEST(GatherScatter, ScattersLetTheHighestElementWin) {
  auto s = test::random_state(4);
  std::vector<uint64_t> mem(8, 0);
  std::memset(s->p[1], 1, vl);
  s->x[2] = reinterpret_cast<uint64_t>(mem.data());
  for (unsigned e = 0; e < vl / 8; ++e) {
    set_elem<uint64_t>(s->z[3], e, 8);  // every element to mem[1]
    set_elem<uint64_t>(s->z[0], e, 100 + e);
  }
  run_ok(s.get(), gs("VecU64Store8VSZ", 0, 1, 2, 3));
  EXPECT_EQ(mem[1], 100 + vl / 8 - 1);
  run_ok(s.get(), gs("VecU64Store4YSVZ", 0, 1, 2, 3));  // library route: 8 words in, mem[4]'s low half
  EXPECT_EQ(uint32_t(mem[4]), 100 + vl / 8 - 1);
  EXPECT_EQ(mem[4] >> 32, 0u);
  // Inactive elements with wild offsets form no address.
  std::memset(s->p[5], 0, vl);
  for (unsigned e = 0; e < vl / 8; ++e) set_elem<uint64_t>(s->z[3], e, 0x7000000000000000ull);
  run_ok(s.get(), gs("VecU64Store8VSZ", 0, 5, 2, 3));
  run_ok(s.get(), gs("VecU64Load8VSZ", 6, 5, 2, 3));
  for (unsigned i = 0; i < vl; ++i) ASSERT_EQ(s->z[6][i], 0) << i;
}

TEST(GatherScatter, PrefetchesTouchNothing) {
  auto s = test::random_state(5);
  auto before = *s;
  for (const char* name : {"VecU8Prefetch1SI", "VecU64Prefetch8LSS", "VecU32Prefetch4VI", "VecU64Prefetch2SV"}) {
    run_ok(s.get(), test::word(name) | 1u << 5);
    before.pc = s->pc;  // only the embedder's step moves on
    EXPECT_EQ(std::memcmp(s.get(), &before, sizeof before), 0) << name;
  }
}
