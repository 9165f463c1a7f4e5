// Loads and stores against real memory: whole-register round trips at
// unaligned addresses, untouched memory under inactive elements, register
// wrap-around of structure loads, register 31 rules and the quadword
// replicating load.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <vector>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {
constexpr unsigned vl = sve_vl_bytes;
void run_ok(cpu_state* s, uint32_t w) { ASSERT_EQ(test::run(s, w), aarch64_decode_ok) << std::hex << w; }
uint32_t mem(const char* name, unsigned t, unsigned g, unsigned n) { return test::word(name) | t | g << 10 | n << 5; }
uint32_t imm9(int imm) { return uint32_t(imm >> 3 & 0x3f) << 16 | uint32_t(imm & 7) << 10; }
}  // namespace

TEST(Memory, WholeRegistersRoundTripAtAnyAlignment) {
  std::vector<uint8_t> buf(8 * vl + 64);
  for (unsigned offset : {0u, 1u, 3u, 7u}) {
    auto s = test::random_state(offset);
    auto before = *s;
    s->x[1] = reinterpret_cast<uint64_t>(buf.data()) + offset + 2 * vl;
    s->p[3][5] = 0xfe;  // stray bits: bit 0 is what is stored
    run_ok(s.get(), mem("VecU64SpillSI", 4, 0, 1) | imm9(-1));
    run_ok(s.get(), mem("VecPSpillSI", 3, 0, 1) | imm9(5));
    std::memset(s->z[4], 0, vl);
    std::memset(s->p[3], 0x55, vl);
    run_ok(s.get(), mem("VecU64FillSI", 4, 0, 1) | imm9(-1));
    run_ok(s.get(), mem("VecPFillSI", 3, 0, 1) | imm9(5));
    EXPECT_EQ(std::memcmp(s->z[4], before.z[4], vl), 0) << offset;
    for (unsigned i = 0; i < vl; ++i) ASSERT_EQ(s->p[3][i], i == 5 ? 0 : before.p[3][i] & 1) << offset << " " << i;
    EXPECT_EQ(std::memcmp(buf.data() + offset + vl, before.z[4], vl), 0);
  }
}

TEST(Memory, InactiveElementsTouchNothing) {
  auto s = test::random_state(1);
  std::memset(s->p[0], 0, vl);
  s->x[2] = 16;  // unmapped: no element may read or write it
  run_ok(s.get(), mem("VecU64CLoad8SIZ", 1, 0, 2));
  for (unsigned i = 0; i < vl; ++i) ASSERT_EQ(s->z[1][i], 0);
  run_ok(s.get(), mem("VecU32CStore4SIZ", 1, 0, 2));
  run_ok(s.get(), mem("VecU8E4Load1SIZ", 5, 0, 2));
  run_ok(s.get(), mem("VecU16LoadDup2SIZ", 5, 0, 2));
}

TEST(Memory, StructureLoadsWrapRegistersAndDeinterleave) {
  auto s = test::random_state(2);
  std::vector<uint8_t> buf(4 * vl);
  for (unsigned i = 0; i < buf.size(); ++i) buf[i] = uint8_t(i * 7);
  std::memset(s->p[1], 1, vl);
  s->x[2] = reinterpret_cast<uint64_t>(buf.data());
  run_ok(s.get(), mem("VecU8E4Load1SIZ", 30, 1, 2));
  unsigned regs[] = {30, 31, 0, 1};
  for (unsigned r = 0; r < 4; ++r)
    for (unsigned e = 0; e < vl; ++e) ASSERT_EQ(s->z[regs[r]][e], buf[e * 4 + r]) << r << " " << e;
  // Stored back from the same registers, memory is as it was.
  std::vector<uint8_t> out(4 * vl);
  s->x[3] = reinterpret_cast<uint64_t>(out.data());
  run_ok(s.get(), mem("VecU8E4Store1SIZ", 30, 1, 3));
  EXPECT_EQ(out, buf);
}

TEST(Memory, RegisterThirtyOneAndImmediates) {
  auto s = test::random_state(3);
  std::vector<uint64_t> buf(4 * vl / 8);
  for (unsigned i = 0; i < buf.size(); ++i) buf[i] = i;
  std::memset(s->p[1], 1, vl);
  // Rn = 31 is the stack pointer; Rm = 31 adds nothing.
  s->sp = reinterpret_cast<uint64_t>(buf.data()) + 8;
  run_ok(s.get(), mem("VecU64CLoad8LSSZ", 0, 1, 31) | 31u << 16);
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 1u);
  // The immediate counts whole vectors of memory elements: ld1b to
  // doublewords moves by vl / 8 bytes a step.
  s->x[2] = reinterpret_cast<uint64_t>(buf.data()) + 2 * vl;
  run_ok(s.get(), mem("VecU64CLoad1SIZ", 0, 1, 2) | 0x8u << 16);  // #-8
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), uint64_t(reinterpret_cast<uint8_t*>(buf.data())[2 * vl - vl]));
  run_ok(s.get(), mem("VecU64CLoad8SIZ", 0, 1, 2) | 0xeu << 16);  // #-2
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 0u);
}

TEST(Memory, QuadwordReplicationUsesTheFirstSixteenPredicateBytes) {
  auto s = test::random_state(4);
  uint16_t q[8] = {10, 11, 12, 13, 14, 15, 16, 17};
  std::memset(s->p[1], 0, vl);
  for (unsigned e : {0u, 3u, 7u}) s->p[1][e * 2] = 1;
  for (unsigned e = 8; e < vl / 2; ++e) s->p[1][e * 2] = 1;  // beyond the quadword: no effect
  s->x[2] = reinterpret_cast<uint64_t>(q);
  run_ok(s.get(), mem("VecU16LoadDup2QSIZ", 0, 1, 2));
  for (unsigned e = 0; e < vl / 2; ++e) {
    unsigned k = e % 8;
    ASSERT_EQ(elem<uint16_t>(s->z[0], e), k == 0 || k == 3 || k == 7 ? q[k] : 0) << e;
  }
}
