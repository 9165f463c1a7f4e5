// Predicates and flags at their limits: empty governing predicates, the last
// doubleword element, stray bits in stored predicates, WHILE at the ends of
// the ranges and with wrapping counters, CTERM, the agreement of the two
// routes, and a vector-length-agnostic loop driven by WHILELO.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "machine.h"

using namespace sve;

namespace {
constexpr unsigned vl = sve_vl_bytes;
constexpr uint64_t N = uint64_t(1) << 31, Z = uint64_t(1) << 30, C = uint64_t(1) << 29, V = uint64_t(1) << 28;

uint64_t flags(const cpu_state& s) { return s.nzcv & 0xf0000000; }

// Word with Pd 3:0 and the fields of each shape.
uint32_t pred4(const char* name, unsigned d, unsigned g, unsigned n, unsigned m) {
  return test::word(name) | d | n << 5 | g << 10 | m << 16;
}
uint32_t cmp(const char* name, unsigned d, unsigned g, unsigned n, unsigned m_or_imm) {
  return test::word(name) | d | n << 5 | g << 10 | m_or_imm << 16;
}
uint32_t rr(const char* name, unsigned d, unsigned n, unsigned m) { return test::word(name) | d | n << 5 | m << 16; }

void set_pred(cpu_state& s, unsigned p, unsigned ebytes, unsigned count) {
  std::memset(s.p[p], 0, vl);
  for (unsigned e = 0; e < count && e * ebytes < vl; ++e) s.p[p][e * ebytes] = 1;
}
unsigned active(const cpu_state& s, unsigned p, unsigned ebytes) {
  unsigned k = 0;
  for (unsigned i = 0; i < vl; ++i) {
    if (i % ebytes == 0) k += s.p[p][i] & 1;
    else EXPECT_EQ(s.p[p][i], 0) << "byte " << i << " inside an element";
  }
  return k;
}
void run_ok(cpu_state* s, uint32_t w) { ASSERT_EQ(test::run(s, w), aarch64_decode_ok) << std::hex << w; }
}  // namespace

TEST(PredicateFlags, EmptyGoverningPredicateOnBothRoutes) {
  // Direct compare (CMPGT vectors), library compare (CMPGE immediate) and
  // library logic (ANDS): an all-false Pg gives Pd all false, N=0 Z=1 C=1 V=0.
  for (const char* name : {"VecS32CmpFlgGTVVZ", "VecS32CmpFlgGEVIZ", "VecS32CmpFlgGEVWZ"}) {
    auto s = test::random_state(3);
    set_pred(*s, 1, 1, 0);
    s->nzcv = N | V;
    run_ok(s.get(), cmp(name, 1, 1, 2, 3));
    EXPECT_EQ(flags(*s), Z | C) << name;
    EXPECT_EQ(active(*s, 1, 1), 0u) << name;
  }
  auto s = test::random_state(4);
  set_pred(*s, 2, 1, 0);
  s->nzcv = N | V;
  run_ok(s.get(), pred4("VecPAndFlgPPZ", 0, 2, 3, 4));
  EXPECT_EQ(flags(*s), Z | C);
}

TEST(PredicateFlags, LastDoublewordElementDecidesC) {
  // PTRUES at doublewords: all elements true, C = 0. A compare whose only
  // false active element is the last one at E = 8 has C = 1, N = 1, Z = 0.
  auto s = test::random_state(5);
  run_ok(s.get(), test::word("VecP64TrueFlgI") | 3 | 31u << 5);
  EXPECT_EQ(flags(*s), N);
  EXPECT_EQ(active(*s, 3, 8), vl / 8);
  unsigned n = vl / 8;
  for (unsigned e = 0; e < n; ++e) test::set_elem<int64_t>(s->z[4], e, e + 1 == n ? -5 : 7);
  for (const char* name : {"VecS64CmpFlgGTVIZ", "VecS64CmpFlgGEVIZ"}) {
    s->nzcv = 0;
    run_ok(s.get(), cmp(name, 6, 3, 4, 0));  // > 0 and >= 0
    EXPECT_EQ(flags(*s), N | C) << name;
    EXPECT_EQ(active(*s, 6, 8), n - 1) << name;
  }
}

TEST(PredicateFlags, StrayBitsInStoredPredicates) {
  // Only bit 0 of a stored byte is the predicate bit: PTEST and the packing
  // of the library route ignore the others.
  auto s = test::random_state(6);
  std::memset(s->p[1], 0xfe, vl);  // every byte inactive, with stray bits
  s->p[1][vl - 1] = 0xff;          // the last byte active
  std::memset(s->p[2], 0x01, vl);
  run_ok(s.get(), test::word("VecPTestPZ") | 1 << 10 | 2 << 5);
  EXPECT_EQ(flags(*s), N);  // first active = last active = set
  run_ok(s.get(), pred4("VecPAndFlgPPZ", 3, 1, 2, 2));
  EXPECT_EQ(flags(*s), N);
  for (unsigned i = 0; i < vl; ++i) ASSERT_EQ(s->p[3][i], i == vl - 1) << i;
}

TEST(PredicateFlags, RoutesDifferOnlyWhereNorMeetsStrayBits) {
  // NOR on the byte form tests whole bytes, NORS on packed bits tests bit 0.
  auto s = test::random_state(7);
  std::memset(s->p[1], 1, vl);
  std::memset(s->p[2], 0x02, vl);
  std::memset(s->p[3], 0, vl);
  run_ok(s.get(), pred4("VecPNorPPZ", 4, 1, 2, 3));
  run_ok(s.get(), pred4("VecPNorFlgPPZ", 5, 1, 2, 3));
  EXPECT_EQ(active(*s, 4, 1), 0u);
  EXPECT_EQ(active(*s, 5, 1), vl);
  // Clean predicates: the plain forms and the flag-setting forms agree.
  for (unsigned i = 0; i < vl; ++i) s->p[2][i] = (i * 7 % 3) == 0;
  const char* pairs[][2] = {{"VecPAndPPZ", "VecPAndFlgPPZ"}, {"VecPBicPPZ", "VecPBicFlgPPZ"},
                            {"VecPOrPPZ", "VecPOrFlgPPZ"},   {"VecPXorPPZ", "VecPXorFlgPPZ"},
                            {"VecPNorPPZ", "VecPNorFlgPPZ"}, {"VecPNandPPZ", "VecPNandFlgPPZ"},
                            {"VecPOrNPPZ", "VecPOrNFlgPPZ"}};
  for (auto& pair : pairs) {
    run_ok(s.get(), pred4(pair[0], 6, 1, 2, 3));
    run_ok(s.get(), pred4(pair[1], 7, 1, 2, 3));
    EXPECT_EQ(std::memcmp(s->p[6], s->p[7], vl), 0) << pair[0];
  }
}

TEST(PredicateFlags, BreaksAndPnextAtWordEdges) {
  // The kernels scan eight predicate bytes at a time: a true byte at either
  // end of a word, or at the end of the vector, is found where it stands.
  for (unsigned pos : {0u, 7u, 8u, 63u, 64u, vl - 9, vl - 8, vl - 1}) {
    if (pos >= vl) continue;  // 64 at 512 bits
    auto s = test::random_state(pos);
    std::memset(s->p[1], 1, vl);
    set_pred(*s, 2, 1, 0);
    s->p[2][pos] = 1;
    run_ok(s.get(), pred4("VecPBreakAPZ", 3, 1, 2, 0));
    EXPECT_EQ(active(*s, 3, 1), pos + 1) << pos;
    run_ok(s.get(), pred4("VecPBreakBPZ", 3, 1, 2, 0));
    EXPECT_EQ(active(*s, 3, 1), pos) << pos;
    // PNEXT from the element at pos: the next byte, or none at the end.
    run_ok(s.get(), test::word("VecP8GenNextP") | 2 | 1 << 5);
    bool last = pos == vl - 1;
    EXPECT_EQ(active(*s, 2, 1), last ? 0u : 1u) << pos;
    if (!last) {
      EXPECT_EQ(s->p[2][pos + 1], 1) << pos;
    }
    EXPECT_EQ(flags(*s), last ? Z | C : C) << pos;  // the first element of Pg stays false
  }
}

TEST(Compares, DirectAndLibraryImmediatesAgree) {
  // x >= k through the library equals x > k - 1 through a kernel, and
  // unsigned x <= k equals x < k + 1, with the same flags.
  for (uint32_t seed = 10; seed < 20; ++seed) {
    auto s = test::random_state(seed);
    for (unsigned i = 0; i < vl; ++i) s->z[2][i] = uint8_t(s->z[2][i] % 8 + 0xfa);  // around -1
    run_ok(s.get(), cmp("VecS8CmpFlgGEVIZ", 3, 1, 2, 0x1e));  // >= -2
    uint64_t f1 = flags(*s);
    run_ok(s.get(), cmp("VecS8CmpFlgGTVIZ", 4, 1, 2, 0x1d));  // > -3
    EXPECT_EQ(flags(*s), f1);
    EXPECT_EQ(std::memcmp(s->p[3], s->p[4], vl), 0);
    run_ok(s.get(), cmp("VecU16CmpFlgLEVIZ", 3, 1, 2, 0) | 100u << 14);
    f1 = flags(*s);
    run_ok(s.get(), cmp("VecU16CmpFlgLTVIZ", 4, 1, 2, 0) | 101u << 14);
    EXPECT_EQ(flags(*s), f1);
    EXPECT_EQ(std::memcmp(s->p[3], s->p[4], vl), 0);
  }
}

TEST(Compares, WideAndImmediateLimits) {
  auto s = test::random_state(21);
  std::memset(s->p[1], 1, vl);
  std::memset(s->z[2], 0xff, vl);
  // A byte of -1 equals -1 sign-extended, and no doubleword of 0xff.
  run_ok(s.get(), cmp("VecS8CmpFlgEQVIZ", 3, 1, 2, 0x1f));
  EXPECT_EQ(active(*s, 3, 1), vl);
  for (unsigned e = 0; e < vl / 8; ++e) test::set_elem<uint64_t>(s->z[4], e, e % 2 ? ~0ull : 0xff);
  run_ok(s.get(), cmp("VecS8CmpFlgEQVWZ", 3, 1, 2, 4));
  EXPECT_EQ(active(*s, 3, 1), vl / 2);
  // A halfword is never above 65536; every byte is below 128 signed.
  for (unsigned e = 0; e < vl / 8; ++e) test::set_elem<uint64_t>(s->z[4], e, e % 2 ? 65536 : 128);
  run_ok(s.get(), cmp("VecU16CmpFlgGTVWZ", 3, 1, 2, 4));
  EXPECT_EQ(active(*s, 3, 2), vl / 4);  // only against 128: 0xffff > 128
  run_ok(s.get(), cmp("VecS8CmpFlgLTVWZ", 3, 1, 2, 4));
  EXPECT_EQ(active(*s, 3, 1), vl);
  // Unsigned doublewords with the top bit set are above 127.
  run_ok(s.get(), cmp("VecU64CmpFlgGTVIZ", 3, 1, 2, 0) | 127u << 14);
  EXPECT_EQ(active(*s, 3, 8), vl / 8);
  // Pd = Pg: the same flags as with distinct registers.
  for (unsigned i = 0; i < vl; ++i) s->p[5][i] = s->p[6][i] = i % 3 == 0;
  run_ok(s.get(), cmp("VecS32CmpFlgEQVIZ", 7, 5, 2, 0x1f));
  uint64_t f = flags(*s);
  run_ok(s.get(), cmp("VecS32CmpFlgEQVIZ", 6, 6, 2, 0x1f));
  EXPECT_EQ(flags(*s), f);
  EXPECT_EQ(std::memcmp(s->p[6], s->p[7], vl), 0);
}

TEST(LoopControl, WhileAtTheEndsOfTheRanges) {
  auto s = test::random_state(30);
  auto run_while = [&](const char* name, uint64_t rn, uint64_t rm) {
    s->x[1] = rn;
    s->x[2] = rm;
    run_ok(s.get(), rr(name, 0, 1, 2));
  };
  constexpr uint64_t umax = ~0ull, smax = uint64_t(std::numeric_limits<int64_t>::max());
  run_while("VecU8While8LTSS", 5, 5);
  EXPECT_EQ(active(*s, 0, 1), 0u);
  EXPECT_EQ(flags(*s), Z | C);
  run_while("VecU8While8LTSS", 0, vl);
  EXPECT_EQ(active(*s, 0, 1), vl);
  EXPECT_EQ(flags(*s), N);
  run_while("VecU8While8LTSS", 0, vl - 1);
  EXPECT_EQ(flags(*s), N | C);
  // The counter wraps past the top; once false, the rest stays false.
  run_while("VecU64While8LTSS", umax, umax);
  EXPECT_EQ(active(*s, 0, 8), 0u);
  run_while("VecU64While8LESS", umax, umax);
  EXPECT_EQ(active(*s, 0, 8), vl / 8);
  run_while("VecU64While8LESS", umax - 1, umax);
  EXPECT_EQ(active(*s, 0, 8), vl / 8);
  run_while("VecS64While8LTSS", smax - 1, smax);
  EXPECT_EQ(active(*s, 0, 8), 1u);
  EXPECT_EQ(flags(*s), N | C);
  run_while("VecS16While8LESS", smax - 1, smax);  // the wrapped counter stays below
  EXPECT_EQ(active(*s, 0, 2), vl / 2);
  EXPECT_EQ(flags(*s), N);
  run_while("VecS16While8LESS", smax - 2, smax - 1);
  EXPECT_EQ(active(*s, 0, 2), 2u);
  run_while("VecS32While4LESS", 0xffffffff80000000, 0x7fffffff);  // W: INT_MIN <= INT_MAX
  EXPECT_EQ(active(*s, 0, 4), vl / 4);
  // W forms: the high halves do not count.
  run_while("VecU32While4LTSS", 0x100000000, 1);
  EXPECT_EQ(active(*s, 0, 4), 1u);
  run_while("VecS32While4LTSS", uint64_t(-2), 1);
  EXPECT_EQ(active(*s, 0, 4), 3u);
  run_while("VecU32While4LTSS", uint64_t(-2), 1);
  EXPECT_EQ(active(*s, 0, 4), 0u);
  // Register 31 reads 0.
  s->sp = 1000;
  s->x[1] = 0;
  run_ok(s.get(), rr("VecU8While8LTSS", 0, 1, 31));
  EXPECT_EQ(active(*s, 0, 1), 0u);
}

TEST(LoopControl, CtermKeepsZAndC) {
  auto s = test::random_state(31);
  for (uint64_t zc : {uint64_t(0), Z, C, Z | C}) {
    for (bool equal : {false, true}) {
      s->x[1] = 0x100000007;
      s->x[2] = equal ? 0x100000007 : 0x200000007;
      s->nzcv = zc | N | V;
      run_ok(s.get(), rr("VecU64CTermEQ", 0, 1, 2));
      uint64_t want = zc | (equal ? N : (zc & C ? 0 : V));
      EXPECT_EQ(flags(*s), want) << zc << equal;
      // The W form sees equal low halves.
      s->nzcv = zc;
      run_ok(s.get(), rr("VecU32CTermNE", 0, 1, 2));
      EXPECT_EQ(flags(*s), zc | (zc & C ? 0 : V));
    }
  }
}

TEST(LoopControl, VectorLengthAgnosticLoopEndsOnTime) {
  // for (i = 0; whilelo p0.s, i, n; i += VL/32) ++iterations, branching on
  // N (the first element) as b.first does after the WHILE or a PTEST.
  const unsigned step = vl / 4;
  for (uint64_t trips : {0ull, 1ull, 55ull, 56ull, 57ull, 1000ull}) {
    auto s = test::random_state(32);
    s->x[0] = 0;
    s->x[1] = trips;
    uint64_t iterations = 0, lanes = 0;
    for (;;) {
      run_ok(s.get(), rr("VecU32While8LTSS", 0, 0, 1));
      if (!(s->nzcv & N)) break;
      s->nzcv = 0;
      std::memset(s->p[1], 1, vl);
      run_ok(s.get(), test::word("VecPTestPZ") | 1 << 10 | 0 << 5);
      ASSERT_TRUE(s->nzcv & N);
      lanes += active(*s, 0, 4);
      ++iterations;
      s->x[0] += step;
      ASSERT_LT(iterations, 2000u);
    }
    EXPECT_EQ(iterations, (trips + step - 1) / step) << trips;
    EXPECT_EQ(lanes, trips);
  }
}
