// Predicates where the conformance harness excuses this emulator: stray bits
// above bit 0 of a stored predicate byte, which NOR, BRKN and BRKPB test as
// whole bytes, and the de-interleave at lengths where the reference gets it
// wrong (at 1792 bits), worked through element by element from its
// definition. PTEST, which ignores stray bits, is checked beside them. The
// pointer-distance WHILE forms are worked through where the reference gets
// them wrong: a distance below one element.
#include <gtest/gtest.h>

#include <cstdint>

#include "machine.h"

using namespace sve;

namespace {
constexpr unsigned vl = sve_vl_bytes;
constexpr uint64_t N = uint64_t(1) << 31;

uint64_t flags(const cpu_state& s) { return s.nzcv & 0xf0000000; }

// Pd 3:0, Pg 13:10, Pn 8:5, Pm 19:16.
uint32_t pred4(const char* name, unsigned d, unsigned g, unsigned n, unsigned m = 0) {
  return test::word(name) | d | n << 5 | g << 10 | m << 16;
}
unsigned count(const cpu_state& s, unsigned p) {
  unsigned k = 0;
  for (unsigned i = 0; i < vl; ++i) k += s.p[p][i] & 1;
  return k;
}
void run_ok(cpu_state* s, uint32_t w) { ASSERT_EQ(test::run(s, w), aarch64_decode_ok) << std::hex << w; }
}  // namespace

TEST(PredicateFlags, StrayBitsInStoredPredicates) {
  auto s = test::random_state(6);
  // PTEST and the packing of the library route read bit 0 only.
  std::memset(s->p[1], 0xfe, vl);  // every byte inactive, with stray bits
  s->p[1][vl - 1] = 0xff;          // the last byte active
  std::memset(s->p[2], 0x01, vl);
  run_ok(s.get(), test::word("VecPTestPZ") | 1 << 10 | 2 << 5);
  EXPECT_EQ(flags(*s), N);  // first active = last active = set
  run_ok(s.get(), pred4("VecPAndFlgPPZ", 3, 1, 2, 2));
  EXPECT_EQ(flags(*s), N);
  for (unsigned i = 0; i < vl; ++i) ASSERT_EQ(s->p[3][i], i == vl - 1) << i;

  // NOR on the byte form tests whole bytes, NORS on packed bits tests bit 0.
  std::memset(s->p[1], 1, vl);
  std::memset(s->p[2], 0x02, vl);
  std::memset(s->p[3], 0, vl);
  run_ok(s.get(), pred4("VecPNorPPZ", 4, 1, 2, 3));
  run_ok(s.get(), pred4("VecPNorFlgPPZ", 5, 1, 2, 3));
  EXPECT_EQ(count(*s, 4), 0u);
  EXPECT_EQ(count(*s, 5), vl);

  // BRKN and BRKPB take a byte of 0x02 in Pn at the last active element as
  // set: BRKN keeps Pdm, BRKPB with no true element of Pm gives all of Pg.
  std::memset(s->p[6], 1, vl);
  run_ok(s.get(), pred4("VecPBreakNextPZ", 6, 1, 2));
  EXPECT_EQ(count(*s, 6), vl);
  run_ok(s.get(), pred4("VecPBreakPrevBPZ", 7, 1, 2, 3));
  EXPECT_EQ(count(*s, 7), vl);
}

TEST(PredicatePermutes, UnzipFollowsTheDefinition) {
  // UZP1 (odd = 0) and UZP2 (odd = 1) at every element size E, n = vl / E:
  // result element i < n/2 is element 2i + odd of Pn, element n/2 + i is
  // element 2i + odd of Pm; each element moves with all its E bytes.
  auto s = test::random_state(1);
  for (unsigned i = 0; i < vl; ++i) {
    s->p[1][i] = (i * 5 + i / 3) % 7 < 3;
    s->p[2][i] = (i * 11 + 1) % 5 < 2;
  }
  const char* names[2][4] = {{"VecP8Uzp1PP", "VecP16Uzp1PP", "VecP32Uzp1PP", "VecP64Uzp1PP"},
                             {"VecP8Uzp2PP", "VecP16Uzp2PP", "VecP32Uzp2PP", "VecP64Uzp2PP"}};
  for (unsigned odd = 0; odd < 2; ++odd)
    for (unsigned code = 0; code < 4; ++code) {
      unsigned e = 1u << code, n = vl / e;
      run_ok(s.get(), test::word(names[odd][code]) | 3 | 1 << 5 | 2 << 16);
      for (unsigned i = 0; i < n / 2; ++i)
        for (unsigned b = 0; b < e; ++b) {
          ASSERT_EQ(s->p[3][i * e + b], s->p[1][(2 * i + odd) * e + b]) << names[odd][code] << " " << i;
          ASSERT_EQ(s->p[3][(n / 2 + i) * e + b], s->p[2][(2 * i + odd) * e + b]) << names[odd][code] << " " << i;
        }
    }
}

TEST(LoopControl, PointerDistanceBelowOneElement) {
  // WHILEWR and WHILERW count the distance Xm - Xn (RW: its absolute value)
  // in whole elements, rounded down. A distance of 0 elements leaves every
  // element true (flags N), even when the addresses differ by a few bytes;
  // a distance of k elements below the count makes the first k true (N, C).
  // WR takes Xm below Xn as no conflict at all; the addresses are unsigned.
  auto s = test::random_state(3);
  constexpr uint64_t C = uint64_t(1) << 29;
  struct row {
    const char* name;
    uint64_t xn, xm;
    unsigned elem_bytes, true_elements;
    uint64_t nzcv;
  } rows[] = {
      {"VecU64WhileWRSS", 0x1000, 0x1007, 8, vl / 8, N},
      {"VecU64WhileRWSS", 0x1007, 0x1000, 8, vl / 8, N},
      {"VecU32WhileRWSS", 0x1000, 0x1003, 4, vl / 4, N},
      {"VecU16WhileWRSS", 0x1000, 0x1001, 2, vl / 2, N},
      {"VecU64WhileWRSS", 0x1000, 0x100f, 8, 1, N | C},
      {"VecU64WhileRWSS", 0x100f, 0x1000, 8, 1, N | C},
      {"VecU64WhileWRSS", 0x100f, 0x1000, 8, vl / 8, N},
      {"VecU8WhileWRSS", ~uint64_t(0), 5, 1, vl, N},
      {"VecU8WhileRWSS", ~uint64_t(0), 5, 1, vl, N},
      {"VecU8WhileWRSS", 5, 8, 1, 3, N | C},
  };
  for (const row& r : rows) {
    s->x[1] = r.xn;
    s->x[2] = r.xm;
    run_ok(s.get(), test::word(r.name) | 4 | 1 << 5 | 2 << 16);
    EXPECT_EQ(flags(*s), r.nzcv) << r.name << " " << r.xn << " " << r.xm;
    for (unsigned i = 0; i < vl; ++i)
      ASSERT_EQ(s->p[4][i], i % r.elem_bytes == 0 && i / r.elem_bytes < r.true_elements) << r.name << " " << i;
  }
}
