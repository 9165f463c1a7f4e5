// Predicated integer arithmetic at its limits: predicate selection at every
// element size, aliasing of destination and source, and the values where
// signedness and wrapping matter.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;
using test::set_elem;

namespace {
uint32_t vvm(const char* name, unsigned zdn, unsigned pg, unsigned zm) {
  return test::word(name) | zdn | pg << 10 | zm << 5;
}
}  // namespace

TEST(PredicatedArithmetic, AllFalsePredicateLeavesTheDestination) {
  for (const char* name : {"VecU8AddVVM", "VecU64XorVVM", "VecS16NegVM", "VecU32RBitVM", "VecS64Extnd18VM"}) {
    auto s = test::random_state();
    std::memset(s->p[3], 0xfe, sve_vl_bytes);  // bit 0 clear everywhere
    auto before = *s;
    ASSERT_EQ(test::run(s.get(), vvm(name, 4, 3, 5)), aarch64_decode_ok);
    EXPECT_EQ(std::memcmp(before.z, s->z, sizeof s->z), 0) << name;
  }
}

TEST(PredicatedArithmetic, OnlyBitZeroOfTheFirstByteOfAnElementCounts) {
  auto s = test::random_state();
  std::memset(s->p[1], 0, sve_vl_bytes);
  s->p[1][0] = 0xfe;  // element 0: bit 0 clear, inactive whatever its other bytes hold
  std::memset(s->p[1] + 1, 0xff, 7);
  s->p[1][sve_vl_bytes - 8] = 0x03;  // the last doubleword, active
  auto before = *s;
  ASSERT_EQ(test::run(s.get(), vvm("VecU64AndVVM", 0, 1, 2)), aarch64_decode_ok);
  for (unsigned i = 0; i < sve_vl_dwords; ++i) {
    uint64_t a = elem<uint64_t>(before.z[0], i), b = elem<uint64_t>(before.z[2], i);
    EXPECT_EQ(elem<uint64_t>(s->z[0], i), i == sve_vl_dwords - 1 ? (a & b) : a) << i;
  }
}

TEST(PredicatedArithmetic, SourceEqualToDestination) {
  struct Case { const char* name; uint32_t (*expect)(uint32_t); };
  const Case cases[] = {
      {"VecU32AddVVM", [](uint32_t a) { return a + a; }},
      {"VecU32SubVVM", [](uint32_t) { return 0u; }},
      {"VecU32BicVVM", [](uint32_t) { return 0u; }},
      {"VecU32XorVVM", [](uint32_t) { return 0u; }},
      {"VecS32NegVM", [](uint32_t a) { return 0u - a; }},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[7], 1, sve_vl_bytes);
    auto before = *s;
    ASSERT_EQ(test::run(s.get(), vvm(c.name, 9, 7, 9)), aarch64_decode_ok);
    for (unsigned i = 0; i < sve_vl_bytes / 4; ++i)
      ASSERT_EQ(elem<uint32_t>(s->z[9], i), c.expect(elem<uint32_t>(before.z[9], i))) << c.name << " " << i;
  }
}

TEST(PredicatedArithmetic, ValuesAtTheLimits) {
  // Element 0 of Zdn (z0) and Zm (z1), all active; the result in element 0.
  struct Case { const char* name; uint64_t a, b, result; unsigned bytes; };
  const Case cases[] = {
      {"VecS8MaxVVM", 0x80, 0x7f, 0x7f, 1},
      {"VecU8MaxVVM", 0x80, 0x7f, 0x80, 1},
      {"VecS16MinVVM", 0x8000, 0x7fff, 0x8000, 2},
      {"VecU16MinVVM", 0x8000, 0x7fff, 0x7fff, 2},
      {"VecS64MaxVVM", 0x8000000000000000, 1, 1, 8},
      {"VecU64MinVVM", 0x8000000000000000, 1, 1, 8},
      {"VecU8AddVVM", 0xff, 0x01, 0x00, 1},
      {"VecU64SubVVM", 0, 1, 0xffffffffffffffff, 8},
      {"VecS8NegVM", 0, 0x80, 0x80, 1},
      {"VecS64NegVM", 0, 0x8000000000000000, 0x8000000000000000, 8},
      {"VecU8RBitVM", 0, 0x01, 0x80, 1},
      {"VecU16RBitVM", 0, 0x00f1, 0x8f00, 2},
      {"VecU64RBitVM", 0, 0x1, 0x8000000000000000, 8},
      {"VecS16Extnd12VM", 0, 0x0180, 0xff80, 2},
      {"VecS32Extnd14VM", 0, 0x0000017f, 0x7f, 4},
      {"VecS64Extnd18VM", 0, 0x80, 0xffffffffffffff80, 8},
      {"VecS32Extnd24VM", 0, 0x00018000, 0xffff8000, 4},
      {"VecU32Extnd24VM", 0, 0xffff8000, 0x8000, 4},
      {"VecS64Extnd28VM", 0, 0x8000, 0xffffffffffff8000, 8},
      {"VecU64Extnd28VM", 0, 0xffffffffffff8000, 0x8000, 8},
      {"VecS64Extnd48VM", 0, 0x80000000, 0xffffffff80000000, 8},
      {"VecU64Extnd48VM", 0, 0xffffffff80000000, 0x80000000, 8},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[0], 1, sve_vl_bytes);
    std::memcpy(s->z[0], &c.a, c.bytes);
    std::memcpy(s->z[1], &c.b, c.bytes);
    ASSERT_EQ(test::run(s.get(), vvm(c.name, 0, 0, 1)), aarch64_decode_ok);
    uint64_t got = 0;
    std::memcpy(&got, s->z[0], c.bytes);
    EXPECT_EQ(got, c.result) << c.name;
  }
}

TEST(PredicatedArithmetic, TouchesOnlyTheDestinationAndInstr) {
  auto s = test::random_state();
  auto before = *s;
  uint32_t w = vvm("VecU16AddVVM", 30, 6, 31);
  ASSERT_EQ(test::run(s.get(), w), aarch64_decode_ok);
  std::memcpy(before.z[30], s->z[30], sve_vl_bytes);
  before.instr = w;
  before.pc = s->pc;
  EXPECT_EQ(std::memcmp(&before, s.get(), sizeof(cpu_state)), 0);
  EXPECT_EQ(s->instr, w);
}
