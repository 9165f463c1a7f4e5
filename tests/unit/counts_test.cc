// Element counts and vector-length arithmetic: every class of pattern at
// every element size on both routes, the saturating steps at their limits,
// register 31, the counts of predicates, and ADR's offset forms.
#include <gtest/gtest.h>

#include "machine.h"
#include "sve/support/records.h"

using namespace sve;
using test::elem;
using test::set_elem;

// The direct kernel and the library routine of the same count, to show how
// each takes the multiplier field.
namespace sve {
aarch64_decode_rc sve_incb_rii(cpu_state*, aarch64_i_reg, unsigned, unsigned);
namespace lib {
uint64_t VecU8CountVLSI(uint64_t, uint32_t, CpuContext*);
}
}  // namespace sve

namespace {

// Rd or Zd 4:0, pattern 9:5, imm4 19:16.
uint32_t counted(const char* name, unsigned rd, unsigned pattern, unsigned imm4) {
  return test::word(name) | rd | pattern << 5 | imm4 << 16;
}

struct PatternRow {
  unsigned pattern;
  uint32_t count[4];  // bytes, halfwords, words, doublewords
};

// The counts of each class of pattern at the two lengths that the project
// builds: POW2, VL7, VL16 to VL256 (beyond the length for some sizes),
// unallocated, MUL4, MUL3, ALL.
const PatternRow rows_1792[] = {
    {0, {128, 64, 32, 16}}, {7, {7, 7, 7, 7}},      {9, {16, 16, 16, 16}},    {10, {32, 32, 32, 0}},
    {11, {64, 64, 0, 0}},   {12, {128, 0, 0, 0}},   {13, {0, 0, 0, 0}},       {14, {0, 0, 0, 0}},
    {28, {0, 0, 0, 0}},     {29, {224, 112, 56, 28}}, {30, {222, 111, 54, 27}}, {31, {224, 112, 56, 28}},
};
const PatternRow rows_512[] = {
    {0, {64, 32, 16, 8}}, {7, {7, 7, 7, 7}},   {9, {16, 16, 16, 0}},  {10, {32, 32, 0, 0}},
    {11, {64, 0, 0, 0}},  {12, {0, 0, 0, 0}},  {13, {0, 0, 0, 0}},    {14, {0, 0, 0, 0}},
    {28, {0, 0, 0, 0}},   {29, {64, 32, 16, 8}}, {30, {63, 30, 15, 6}}, {31, {64, 32, 16, 8}},
};

std::span<const PatternRow> pattern_rows() {
  if (sve_vl_bits == 1792) return rows_1792;
  if (sve_vl_bits == 512) return rows_512;
  return {};
}

const char* const sizes[] = {"U8", "U16", "U32", "U64"};
std::string name(const char* type, const char* op) { return std::string("Vec") + type + op; }

}  // namespace

TEST(Counts, EveryPatternClassAtEverySizeOnBothRoutes) {
  if (pattern_rows().empty()) GTEST_SKIP() << "no count table for " << sve_vl_bits << " bits";
  for (const PatternRow& row : pattern_rows())
    for (unsigned code = 0; code < 4; ++code)
      for (unsigned imm4 : {0u, 5u, 15u}) {
        uint64_t product = uint64_t(row.count[code]) * (imm4 + 1);
        std::string at = std::string(sizes[code]) + " pattern " + std::to_string(row.pattern) + " imm4 " +
                         std::to_string(imm4);
        auto s = test::random_state(row.pattern * 64 + code * 16 + imm4);
        auto before = *s;
        test::run(s.get(), counted(name(sizes[code], "CountVLSI").c_str(), 1, row.pattern, imm4));
        EXPECT_EQ(s->x[1], product) << "CNT " << at;
        test::run(s.get(), counted(name(sizes[code], "IncrVLSI").c_str(), 2, row.pattern, imm4));
        EXPECT_EQ(s->x[2], before.x[2] + product) << "INC " << at;
        test::run(s.get(), counted(name(sizes[code], "DecrVLSI").c_str(), 3, row.pattern, imm4));
        EXPECT_EQ(s->x[3], before.x[3] - product) << "DEC " << at;
        // UQDEC of a 64-bit register: the byte form on the direct route, the
        // others on the library route.
        s->x[4] = product + 1;
        test::run(s.get(), counted(name(sizes[code], "QDecrVL8SI").c_str(), 4, row.pattern, imm4));
        EXPECT_EQ(s->x[4], 1u) << "UQDEC " << at;
        if (code == 0) continue;
        test::run(s.get(), counted(name(sizes[code], "IncrVLVI").c_str(), 5, row.pattern, imm4));
        test::run(s.get(), counted(name(sizes[code], "DecrVLVI").c_str(), 6, row.pattern, imm4));
        unsigned e = 1u << code;
        for (unsigned i = 0; i < sve_vl_bytes / e; ++i) {
          uint64_t mask = code == 3 ? ~0ull : (1ull << (8 * e)) - 1, a = 0, b = 0, ra = 0, rb = 0;
          std::memcpy(&a, before.z[5] + i * e, e);
          std::memcpy(&b, before.z[6] + i * e, e);
          std::memcpy(&ra, s->z[5] + i * e, e);
          std::memcpy(&rb, s->z[6] + i * e, e);
          ASSERT_EQ(ra, (a + product) & mask) << "INC vector " << at << " element " << i;
          ASSERT_EQ(rb, (b - product) & mask) << "DEC vector " << at << " element " << i;
        }
      }
}

TEST(Counts, TheRoutesTakeTheMultiplierFieldDifferently) {
  // The library routine gets the raw imm4 field, so 0 counts once; the
  // direct kernel gets the multiplier imm4 + 1, so 0 counts nothing.
  CpuContext c{};
  c.vl_dwords = sve_vl_dwords;
  EXPECT_EQ(lib::VecU8CountVLSI(31, 0, &c), sve_vl_bytes);
  EXPECT_EQ(lib::VecU8CountVLSI(31, 15, &c), 16 * sve_vl_bytes);
  auto s = test::random_state();
  uint64_t x = s->x[7];
  sve_incb_rii(s.get(), {7, I_NONE, I_X, I_X}, 31, 0);
  EXPECT_EQ(s->x[7], x);
  sve_incb_rii(s.get(), {7, I_NONE, I_X, I_X}, 31, 16);
  EXPECT_EQ(s->x[7], x + 16 * sve_vl_bytes);
  // Through the handlers the same word gives the same count on both routes.
  test::run(s.get(), counted("VecU8CountVLSI", 8, 31, 15));
  test::run(s.get(), counted("VecU8IncrVLSI", 7, 31, 15));
  EXPECT_EQ(s->x[8], 16 * sve_vl_bytes);
  EXPECT_EQ(s->x[7], x + 32 * sve_vl_bytes);
}

TEST(Counts, SaturatingRegisterStepsAtTheLimits) {
  // Pattern VL1 counts 1 at every length and size: the step is imm4 + 1.
  struct Case { const char* name; uint64_t reg; unsigned imm4; uint64_t result; };
  const Case cases[] = {
      {"VecS8QIncrVL4SI", 0x7fffffff, 0, 0x7fffffff},
      {"VecS8QIncrVL4SI", 0xffffffff7ffffff0, 15, 0x7fffffff},  // only the low word counts
      {"VecS8QDecrVL4SI", 0xffffffff80000000, 0, 0xffffffff80000000},
      {"VecS16QDecrVL4SI", 5, 7, 0xfffffffffffffffd},              // -3, sign-extended
      {"VecS32QIncrVL4SI", 0xfffffffffffffff0, 7, 0xfffffffffffffff8},
      {"VecU32QIncrVL4SI", 0xabcd0000fffffff0, 7, 0xfffffff8},     // zero-extended
      {"VecU32QIncrVL4SI", 0xabcd0000fffffff0, 15, 0xffffffff},
      {"VecU16QDecrVL4SI", 0xffffffff00000005, 3, 1},
      {"VecU8QDecrVL4SI", 0xffffffff00000005, 3, 1},
      {"VecU8QDecrVL4SI", 0xffffffff00000003, 3, 0},
      {"VecU8QDecrVL8SI", 10, 15, 0},
      {"VecU8QDecrVL8SI", 16, 15, 0},
      {"VecU8QDecrVL8SI", 17, 15, 1},
      {"VecU64QDecrVL8SI", 3, 7, 0},
      {"VecU64QIncrVL8SI", ~0ull - 3, 7, ~0ull},
      {"VecU8QIncrVL4SI", 0xfffffffd, 3, 0xffffffff},
      {"VecS64QIncrVL8SI", 0x7ffffffffffffff0, 15, 0x7fffffffffffffff},
      {"VecS64QDecrVL8SI", 0x8000000000000005, 7, 0x8000000000000000},
      {"VecS8QDecrVL8SI", 0x8000000000000005, 3, 0x8000000000000001},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    s->x[9] = c.reg;
    test::run(s.get(), counted(c.name, 9, 1, c.imm4));
    EXPECT_EQ(s->x[9], c.result) << c.name << " " << std::hex << c.reg;
  }
}

TEST(Counts, SaturatingVectorStepsAtTheLimits) {
  struct Case { const char* name; uint64_t value; unsigned imm4; uint64_t result; unsigned bytes; };
  const Case cases[] = {
      {"VecS16QIncrVLVI", 0x7ff0, 15, 0x7fff, 2},
      {"VecS16QIncrVLVI", 0x8000, 7, 0x8008, 2},
      {"VecU16QDecrVLVI", 5, 7, 0, 2},
      {"VecU16QIncrVLVI", 0xfff0, 7, 0xfff8, 2},
      {"VecS32QDecrVLVI", 0x80000003, 7, 0x80000000, 4},
      {"VecS32QDecrVLVI", 3, 7, 0xfffffffb, 4},
      {"VecU64QIncrVLVI", ~0ull - 1, 7, ~0ull, 8},
      {"VecS64QIncrVLVI", 0x7ffffffffffffffc, 7, 0x7fffffffffffffff, 8},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    for (unsigned i = 0; i < sve_vl_bytes / c.bytes; ++i) std::memcpy(s->z[3] + i * c.bytes, &c.value, c.bytes);
    test::run(s.get(), counted(c.name, 3, 1, c.imm4));  // VL1
    for (unsigned i = 0; i < sve_vl_bytes / c.bytes; ++i) {
      uint64_t r = 0;
      std::memcpy(&r, s->z[3] + i * c.bytes, c.bytes);
      ASSERT_EQ(r, c.result) << c.name << " element " << i;
    }
  }
}

TEST(Counts, Register31IsTheZeroRegisterExceptInAddVL) {
  // Destination 31 with pattern 31 or predicate 15: nothing changes but instr
  // on the direct route, and nothing at all on the library route, whose
  // flags and first-fault register make a round trip unchanged.
  struct Case { const char* name; uint32_t fields; };
  const Case cases[] = {
      {"VecU16IncrVLSI", 31 << 5},   {"VecU64QDecrVL8SI", 31 << 5},    {"VecU8QDecrVL8SI", 31 << 5},
      {"VecS32QIncrVL4SI", 31 << 5}, {"VecU8CountVLSI", 31 << 5},      {"VecU32SCountP", 15 << 10 | 15 << 5},
      {"VecU8IncrSCountPS", 15 << 5}, {"VecU16DecrSCountPS", 15 << 5}, {"VecS8QIncrSCount8PS", 15 << 5},
      {"VecS64VLX", 1 << 5},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    s->nzcv &= 0xffffffff;
    for (uint8_t& b : s->ffr) b &= 1;
    auto before = *s;
    test::run(s.get(), test::word(c.name) | 31 | c.fields);
    before.instr = s->instr;
    before.pc = s->pc;
    EXPECT_EQ(std::memcmp(&before, s.get(), sizeof(cpu_state)), 0) << c.name;
  }
  auto s = test::random_state();
  uint64_t sp = s->sp, x1 = s->x[1];
  test::run(s.get(), test::word("VecS64AddVLX") | 31 | 1 << 16 | 3 << 5);  // addvl sp, x1, #3
  EXPECT_EQ(s->sp, x1 + 3 * sve_vl_bytes);
  sp = s->sp;
  test::run(s.get(), test::word("VecS64AddPLX") | 2 | 31 << 16 | 0x3f << 5);  // addpl x2, sp, #-1
  EXPECT_EQ(s->x[2], sp - sve_vl_bytes / 8);
  test::run(s.get(), test::word("VecS64VLX") | 4 | 0x20 << 5);  // rdvl x4, #-32
  EXPECT_EQ(s->x[4], uint64_t(-32 * int64_t(sve_vl_bytes)));
}

TEST(Counts, PredicateCounts) {
  auto s = test::random_state();
  // Pn true at every byte, Pg at every other doubleword; the stray bytes
  // between the elements must not count.
  std::memset(s->p[2], 1, sve_vl_bytes);
  std::memset(s->p[1], 0xfe, sve_vl_bytes);
  for (unsigned i = 0; i < sve_vl_bytes; i += 16) s->p[1][i] = 1;
  test::run(s.get(), test::word("VecU64SCountP") | 0 | 1 << 10 | 2 << 5);
  EXPECT_EQ(s->x[0], sve_vl_dwords / 2);
  test::run(s.get(), test::word("VecU8SCountP") | 0 | 1 << 10 | 2 << 5);
  EXPECT_EQ(s->x[0], sve_vl_dwords / 2);
  s->x[3] = 10;
  test::run(s.get(), test::word("VecU8IncrSCountPS") | 3 | 2 << 5);
  EXPECT_EQ(s->x[3], 10 + sve_vl_bytes);
  test::run(s.get(), test::word("VecU64IncrSCountPS") | 3 | 2 << 5);
  EXPECT_EQ(s->x[3], 10 + sve_vl_bytes + sve_vl_dwords);
  test::run(s.get(), test::word("VecU64DecrSCountPS") | 3 | 1 << 5);
  EXPECT_EQ(s->x[3], 10 + sve_vl_bytes + sve_vl_dwords / 2);
  s->x[4] = 0xffffffff00000001;
  test::run(s.get(), test::word("VecU32QDecrSCount4PS") | 4 | 2 << 5);
  EXPECT_EQ(s->x[4], 0u);
  s->x[4] = 0x7ffffff0;
  test::run(s.get(), test::word("VecS8QIncrSCount4PS") | 4 | 2 << 5);
  EXPECT_EQ(s->x[4], 0x7fffffffu);
  s->x[4] = 0x8000000000000010;
  test::run(s.get(), test::word("VecS8QDecrSCount8PS") | 4 | 2 << 5);
  EXPECT_EQ(s->x[4], 0x8000000000000000u);

  // Vector forms: every element changes, active or not.
  auto before = *s;
  test::run(s.get(), test::word("VecU16IncrCountPV") | 5 | 2 << 5);
  test::run(s.get(), test::word("VecU64DecrCountPV") | 6 | 1 << 5);
  for (unsigned i = 0; i < sve_vl_bytes / 2; ++i)
    ASSERT_EQ(elem<uint16_t>(s->z[5], i), uint16_t(elem<uint16_t>(before.z[5], i) + sve_vl_bytes / 2)) << i;
  for (unsigned i = 0; i < sve_vl_dwords; ++i)
    ASSERT_EQ(elem<uint64_t>(s->z[6], i), elem<uint64_t>(before.z[6], i) - sve_vl_dwords / 2) << i;
  for (unsigned i = 0; i < sve_vl_bytes / 2; ++i) set_elem<uint16_t>(s->z[7], i, i % 2 ? 0x7fff : 0x8005);
  test::run(s.get(), test::word("VecS16QIncrCountPV") | 7 | 2 << 5);
  test::run(s.get(), test::word("VecU16QDecrCountPV") | 8 | 2 << 5);
  for (unsigned i = 0; i < sve_vl_bytes / 2; ++i) {
    ASSERT_EQ(elem<uint16_t>(s->z[7], i), i % 2 ? 0x7fff : uint16_t(0x8005 + sve_vl_bytes / 2)) << i;
    uint16_t old = elem<uint16_t>(before.z[8], i);
    ASSERT_EQ(elem<uint16_t>(s->z[8], i), old > sve_vl_bytes / 2 ? old - sve_vl_bytes / 2 : 0) << i;
  }
}

TEST(Counts, AddressVectors) {
  struct Case { const char* name; uint64_t base, offset, result; unsigned bytes; };
  const Case cases[] = {
      {"VecU64LEA1XVV", 0x1000, 0x00000001ffffffff, 0xfff, 8},  // low word -1
      {"VecU64LEA1YVV", 0x1000, 0x00000001ffffffff, 0x100000fff, 8},
      {"VecU64LEA8XVV", 0x1000, 0xfffffffe, 0xff0, 8},
      {"VecU64LEA4YVV", 0, 0x80000000, 0x200000000, 8},
      {"VecU64LEA8VV", 1, 0x2000000000000001, 9, 8},           // shifted out at 64 bits
      {"VecU64LEA2VV", 1, 3, 7, 8},
      {"VecU32LEA4VV", 0x10, 0x40000001, 0x14, 4},             // wraps at 32 bits
      {"VecU32LEA1VV", 0xffffffff, 2, 1, 4},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    for (unsigned i = 0; i < sve_vl_bytes / c.bytes; ++i) {
      std::memcpy(s->z[1] + i * c.bytes, &c.base, c.bytes);
      std::memcpy(s->z[2] + i * c.bytes, &c.offset, c.bytes);
    }
    test::run(s.get(), test::word(c.name) | 2 | 1 << 5 | 2 << 16);  // Zd equal to Zm
    for (unsigned i = 0; i < sve_vl_bytes / c.bytes; ++i) {
      uint64_t r = 0;
      std::memcpy(&r, s->z[2] + i * c.bytes, c.bytes);
      ASSERT_EQ(r, c.result) << c.name << " element " << i;
    }
  }
}
