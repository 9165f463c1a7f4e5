// Breaks, PNEXT, predicate permutes and the first-fault register at their
// limits, with the de-interleave worked through element by element from its
// definition (the reference gets it wrong at 1792 bits).
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;

namespace {
constexpr unsigned vl = sve_vl_bytes;
constexpr uint64_t N = uint64_t(1) << 31, Z = uint64_t(1) << 30, C = uint64_t(1) << 29;
void run_ok(cpu_state* s, uint32_t w) { ASSERT_EQ(test::run(s, w), aarch64_decode_ok) << std::hex << w; }
uint32_t pppp(const char* name, unsigned d, unsigned g, unsigned n, unsigned m = 0) {
  return test::word(name) | d | n << 5 | g << 10 | m << 16;
}
uint32_t ppp(const char* name, unsigned d, unsigned n, unsigned m = 0) { return test::word(name) | d | n << 5 | m << 16; }
unsigned count(const cpu_state& s, unsigned p) {
  unsigned k = 0;
  for (unsigned i = 0; i < vl; ++i) k += s.p[p][i] & 1;
  return k;
}
}  // namespace

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
      run_ok(s.get(), ppp(names[odd][code], 3, 1, 2));
      for (unsigned i = 0; i < n / 2; ++i)
        for (unsigned b = 0; b < e; ++b) {
          ASSERT_EQ(s->p[3][i * e + b], s->p[1][(2 * i + odd) * e + b]) << names[odd][code] << " " << i;
          ASSERT_EQ(s->p[3][(n / 2 + i) * e + b], s->p[2][(2 * i + odd) * e + b]) << names[odd][code] << " " << i;
        }
    }
}

TEST(PredicatePermutes, ReverseUnpackAndFfr) {
  auto s = test::random_state(2);
  std::memset(s->p[1], 0, vl);
  s->p[1][0] = 1;
  run_ok(s.get(), ppp("VecP8ReverseP", 2, 1));
  EXPECT_EQ(count(*s, 2), 1u);
  EXPECT_EQ(s->p[2][vl - 1], 1);
  run_ok(s.get(), ppp("VecP64ReverseP", 2, 1));
  EXPECT_EQ(s->p[2][vl - 8], 1);
  s->p[1][vl / 2] = 1;
  s->p[1][vl - 1] = 1;
  run_ok(s.get(), ppp("VecPUnpackHiP", 3, 1));
  EXPECT_EQ(s->p[3][0], 1);
  EXPECT_EQ(s->p[3][vl - 2], 1);
  EXPECT_EQ(count(*s, 3), 2u);
  // SETFFR makes every element true; RDFFR under a predicate is an AND.
  run_ok(s.get(), test::word("VecPClearFFSR"));
  run_ok(s.get(), ppp("VecPReadFFSRP", 4, 0));
  EXPECT_EQ(count(*s, 4), vl);
  for (unsigned i = 0; i < vl; ++i) s->p[5][i] = i % 3 == 0;
  s->nzcv = 0;
  run_ok(s.get(), ppp("VecPActualFlgP", 6, 5));
  EXPECT_EQ(std::memcmp(s->p[6], s->p[5], vl), 0);
  EXPECT_EQ(s->nzcv, N | (s->p[5][vl - 1] ? 0 : 0));  // first and last active are true
}

TEST(Breaks, BeforeAfterAndPropagation) {
  auto s = test::random_state(3);
  std::memset(s->p[1], 1, vl);  // Pg all true
  std::memset(s->p[2], 0, vl);
  const unsigned at = vl / 2;
  s->p[2][at] = 1;  // the break
  run_ok(s.get(), pppp("VecPBreakAPZ", 3, 1, 2));
  EXPECT_EQ(count(*s, 3), at + 1);  // up to and including the break
  run_ok(s.get(), pppp("VecPBreakBPZ", 3, 1, 2));
  EXPECT_EQ(count(*s, 3), at);
  s->nzcv = 0;
  run_ok(s.get(), pppp("VecPBreakBFlgPZ", 4, 1, 2));
  EXPECT_EQ(std::memcmp(s->p[3], s->p[4], vl), 0);
  EXPECT_EQ(s->nzcv, N | C);
  // No true element of Pn: BRKA gives Pg.
  std::memset(s->p[2], 0, vl);
  run_ok(s.get(), pppp("VecPBreakAPZ", 3, 1, 2));
  EXPECT_EQ(count(*s, 3), vl);
  // BRKN with an all-false Pg clears Pdm.
  std::memset(s->p[5], 0, vl);
  run_ok(s.get(), pppp("VecPBreakNextPZ", 3, 5, 2));
  EXPECT_EQ(count(*s, 3), 0u);
  // BRKPB: Pn true at the last active element; the active elements before
  // the first true one of Pm.
  std::memset(s->p[2], 1, vl);
  std::memset(s->p[6], 0, vl);
  s->p[6][vl - 3] = 1;
  run_ok(s.get(), pppp("VecPBreakPrevBPZ", 7, 1, 2, 6));
  EXPECT_EQ(count(*s, 7), vl - 3);
  run_ok(s.get(), pppp("VecPBreakPrevAPZ", 7, 1, 2, 6));
  EXPECT_EQ(count(*s, 7), vl - 2);
}

TEST(Breaks, PnextWalksTheActiveElements) {
  auto s = test::random_state(4);
  std::memset(s->p[1], 0, vl);
  unsigned active[] = {1, vl / 8, vl / 4 - 1};
  for (unsigned e : active) s->p[1][e * 4] = 1;
  std::memset(s->p[0], 0, vl);
  for (unsigned e : active) {
    run_ok(s.get(), test::word("VecP32GenNextP") | 1u << 5 | 0u);
    ASSERT_EQ(count(*s, 0), 1u);
    EXPECT_EQ(s->p[0][e * 4], 1) << e;
  }
  run_ok(s.get(), test::word("VecP32GenNextP") | 1u << 5 | 0u);
  EXPECT_EQ(count(*s, 0), 0u);
  EXPECT_TRUE(s->nzcv & Z);
  // PFIRST sets the first active element and keeps the rest of Pdn.
  std::memset(s->p[2], 0, vl);
  s->p[2][vl - 1] = 1;
  run_ok(s.get(), test::word("VecPSetFirstActiveP") | 1u << 5 | 2u);
  EXPECT_EQ(s->p[2][active[0] * 4], 1);
  EXPECT_EQ(count(*s, 2), 2u);
}
