// Unpredicated integer forms: the byte forms with the shift bit set, which
// the conformance harness excuses, so their results are checked here;
// saturation of both signs at every size; the bit permutes at the limits of
// their masks, which random operands seldom reach; and destinations that are
// also sources.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {

// Every element of z0 set to `a` (z1 to `b`), then `word`; element 0 of z0.
uint64_t first_element(uint32_t word, uint64_t a, uint64_t b, unsigned bytes) {
  auto s = test::random_state();
  for (unsigned i = 0; i < sve_vl_bytes / bytes; ++i) {
    std::memcpy(s->z[0] + i * bytes, &a, bytes);
    std::memcpy(s->z[1] + i * bytes, &b, bytes);
  }
  EXPECT_EQ(test::run(s.get(), word), aarch64_decode_ok);
  uint64_t r = 0, last = 0;
  std::memcpy(&r, s->z[0], bytes);
  std::memcpy(&last, s->z[0] + sve_vl_bytes - bytes, bytes);
  EXPECT_EQ(r, last) << "first and last elements differ";
  return r;
}

// Zdn z0 with imm8 and the shift bit.
uint32_t vix(const char* name, uint32_t imm8, uint32_t sh = 0) { return test::word(name) | sh << 13 | imm8 << 5; }

// Zd z0 = Zn z0 op Zm z1.
uint32_t vvx(const char* name) { return test::word(name) | 1 << 16; }

}  // namespace

TEST(Unpredicated, ByteImmediatesWithTheShiftBitSet) {
  struct Case { uint32_t word; uint64_t a, result; };
  const Case cases[] = {
      {vix("VecU8AddVIX", 0xff, 1), 7, 7},  // no bits of the shifted value in a byte
      {vix("VecU8SubVIX", 0x01, 1), 7, 7},
      {vix("VecU8SubRVIX", 0x05, 1), 7, 0xf9},  // 0 - a
      {vix("VecS8DupI", 0x80, 1), 7, 0},        // -128 * 256 has a low byte of 0
  };
  for (const Case& c : cases) EXPECT_EQ(first_element(c.word, c.a, 0, 1), c.result) << std::hex << c.word;
}

TEST(Unpredicated, SaturationOfBothSignsAtEverySize) {
  struct Case { uint32_t word; uint64_t a, b, result; unsigned bytes; };
  const Case cases[] = {
      {vvx("VecS16QSubVVX"), 0, 0x8000, 0x7fff, 2},
      {vvx("VecS64QSubVVX"), 0, 0x8000000000000000, 0x7fffffffffffffff, 8},
      {vix("VecS16QAddVIX", 0xff), 0x7f00, 0, 0x7fff, 2},  // +255, not -1
      {vix("VecS16QAddVIX", 0xff), 0xff00, 0, 0xffff, 2},
      {vix("VecS8QAddVIX", 0xff), 0x80, 0, 0x7f, 1},
      {vix("VecS32QSubVIX", 1, 1), 0x80000005, 0, 0x80000000, 4},
      {vix("VecS32QSubVIX", 1, 1), 5, 0, 0xffffff05, 4},
      {vix("VecS8QAddVIX", 0x7f, 1), 0x12, 0, 0x12, 1},  // no bits in a byte
      {vix("VecU8QSubVIX", 0x7f, 1), 0x12, 0, 0x12, 1},
      {vix("VecU16QSubVIX", 1, 1), 0xff, 0, 0, 2},
      {vix("VecU64QAddVIX", 0xff, 1), ~0ull - 0xff00 + 1, 0, ~0ull, 8},
      {vix("VecS64QSubVIX", 0xff), 0x8000000000000000, 0, 0x8000000000000000, 8},
  };
  for (const Case& c : cases)
    EXPECT_EQ(first_element(c.word, c.a, c.b, c.bytes), c.result) << std::hex << c.word << " " << c.a << " " << c.b;
}

// BGRP with a mask of all ones gathers nothing from the zeros, and a shift
// of that nothing by the whole width must not disturb the result.
TEST(Unpredicated, BitPermutesAtTheLimitsOfTheirMasks) {
  struct Case { const char* name; uint64_t a, mask, result; unsigned bytes; };
  const uint64_t ones = ~0ull, top = 1ull << 63, value = 0x0123456789abcdef;
  const Case cases[] = {
      {"VecU64BitGrpVVX", value, ones, value, 8},
      {"VecU64BitGrpVVX", value, 0, value, 8},
      {"VecU64BitGrpVVX", top | 1, top, 3, 8},
      {"VecU32BitGrpVVX", 0x12345678, 0xffffffff, 0x12345678, 4},
      {"VecU8BitGrpVVX", 0xa5, 0xf0, 0x5a, 1},
      {"VecU64BitDepVVX", value, ones, value, 8},
      {"VecU64BitDepVVX", value, 0, 0, 8},
      {"VecU64BitDepVVX", 1, top, top, 8},
      {"VecU16BitDepVVX", 0x00ff, 0xaaaa, 0xaaaa, 2},
      {"VecU16BitDepVVX", 0x0005, 0xaaaa, 0x0022, 2},
      {"VecU64BitExtVVX", value, ones, value, 8},
      {"VecU64BitExtVVX", top, top, 1, 8},
      {"VecU32BitExtVVX", 0x80000001, 0x80000001, 3, 4},
      {"VecU8BitExtVVX", 0xa5, 0, 0, 1},
  };
  for (const Case& c : cases)
    EXPECT_EQ(first_element(vvx(c.name), c.a, c.mask, c.bytes), c.result) << c.name << std::hex << " " << c.a << " "
                                                                            << c.mask;
}

TEST(Unpredicated, DestinationEqualToTheSources) {
  struct Case { const char* name; uint64_t (*expect)(uint64_t); };
  const Case cases[] = {
      {"VecU64AddVVX", [](uint64_t a) { return a + a; }},
      {"VecU64SubVVX", [](uint64_t) { return uint64_t(0); }},
      {"VecU64AndVVX", [](uint64_t a) { return a; }},
      {"VecU64XorVVX", [](uint64_t) { return uint64_t(0); }},
      {"VecU64BicVVX", [](uint64_t) { return uint64_t(0); }},
      {"VecU64OrVVX", [](uint64_t a) { return a; }},
      {"VecU64QSubVVX", [](uint64_t) { return uint64_t(0); }},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    auto before = *s;
    ASSERT_EQ(test::run(s.get(), test::word(c.name) | 9 | 9 << 5 | 9 << 16), aarch64_decode_ok);
    for (unsigned i = 0; i < sve_vl_dwords; ++i)
      ASSERT_EQ(elem<uint64_t>(s->z[9], i), c.expect(elem<uint64_t>(before.z[9], i))) << c.name << " " << i;
  }
}
