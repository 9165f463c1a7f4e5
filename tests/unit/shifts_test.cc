// Shifts at their limits: counts at and beyond the element width, whole
// count elements rather than their low bits, the immediate forms at their
// extremes, rounding of ASRD, and the wide forms' doubleword counts.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {
// Element 0 of Zdn z0 after `word` with Zm z1 (or an immediate), all active.
uint64_t shift(uint32_t word, uint64_t a, uint64_t n, unsigned bytes) {
  auto s = test::random_state();
  std::memset(s->p[0], 1, sve_vl_bytes);
  std::memcpy(s->z[0], &a, bytes);
  std::memcpy(s->z[2], &a, bytes);
  std::memcpy(s->z[1], &n, bytes);
  EXPECT_EQ(test::run(s.get(), word), aarch64_decode_ok);
  uint64_t r = 0;
  std::memcpy(&r, s->z[0], bytes);
  return r;
}
uint32_t vvm(const char* name) { return test::word(name) | 1 << 5; }
// Predicated immediate with the raw field value; unpredicated reads z2.
uint32_t vim(const char* name, uint32_t field) { return test::word(name) | field << 5; }
uint32_t vix(const char* name, uint32_t field) { return test::word(name) | field << 16 | 2 << 5; }
}  // namespace

TEST(Shifts, CountsAtAndBeyondTheWidth) {
  struct Case { uint32_t word; uint64_t a, n, result; unsigned bytes; };
  const Case cases[] = {
      {vvm("VecU8ShlVVM"), 0xff, 8, 0, 1},
      {vvm("VecU8ShlVVM"), 0xff, 7, 0x80, 1},
      {vvm("VecU16ShlVVM"), 0xffff, 256, 0, 2},
      {vvm("VecU32ShrVVM"), 0xffffffff, 32, 0, 4},
      {vvm("VecS32ShrVVM"), 0x80000000, 32, 0xffffffff, 4},
      {vvm("VecS32ShrVVM"), 0x7fffffff, 32, 0, 4},
      {vvm("VecS32ShrVVM"), 0x80000000, 0xffffffff, 0xffffffff, 4},
      {vvm("VecS64ShrVVM"), 0x8000000000000000, 64, ~0ull, 8},
      {vvm("VecS64ShrVVM"), 0x7000000000000000, ~0ull, 0, 8},
      {vvm("VecU16ShlRVVM"), 3, 1, 8, 2},      // Zm (1) shifted by Zdn (3)
      {vvm("VecU16ShrRVVM"), 17, 0x8000, 0, 2},
      {vvm("VecS8ShrRVVM"), 200, 0x80, 0xff, 1},
      {vim("VecS8ShrVIM", 0), 0x80, 0, 0xff, 1},   // field 0 shifts by 8: sign fill
      {vim("VecU8ShrVIM", 0), 0xff, 0, 0, 1},
      {vim("VecU8ShlVIM", 0), 0x5a, 0, 0x5a, 1},   // the same field shifts left by 0
      {vim("VecU64ShlVIM", 1 << 17 | 31), 1, 0, 0x8000000000000000, 8},  // bit 22 above 9:5: 63
      {vim("VecS64ShrVIM", 0), 0x8000000000000000, 0, ~0ull, 8},        // amount 64
      {vix("VecU32ShlVIX", 31), 1, 0, 0x80000000, 4},
      {vix("VecU16ShrVIX", 0), 0xffff, 0, 0, 2},                         // field 0: amount 16
      {vix("VecS64ShrVIX", 0), 0x8000000000000000, 0, ~0ull, 8},
  };
  for (const Case& c : cases)
    EXPECT_EQ(shift(c.word, c.a, c.n, c.bytes), c.result) << std::hex << c.word << " " << c.a << " " << c.n;
}

TEST(Shifts, ArithmeticShiftForDivideRoundsTowardZero) {
  struct Case { int8_t a; uint32_t amount; int8_t result; };
  const Case cases[] = {{-1, 1, 0}, {-3, 1, -1}, {3, 1, 1}, {-128, 1, -64}, {-128, 8, 0}, {127, 8, 0}, {-7, 2, -1}};
  for (const Case& c : cases)
    EXPECT_EQ(int8_t(shift(vim("VecS8ShrDVIM", 8 - c.amount), uint8_t(c.a), 0, 1)), c.result)
        << int(c.a) << " >> " << c.amount;
}

TEST(Shifts, WideFormsTakeTheDoublewordAtTheSamePlace) {
  auto s = test::random_state();
  std::memset(s->p[0], 1, sve_vl_bytes);
  std::memset(s->z[0], 0x81, sve_vl_bytes);
  test::set_elem<uint64_t>(s->z[1], 0, 1);
  test::set_elem<uint64_t>(s->z[1], 1, 0x100);  // clears bytes 8..15
  s->p[0][9] = 0;                                 // byte 9 inactive keeps its value
  ASSERT_EQ(test::run(s.get(), vvm("VecU8ShlVWM")), aarch64_decode_ok);
  for (unsigned i = 0; i < 16; ++i) EXPECT_EQ(s->z[0][i], i < 8 ? 0x02 : i == 9 ? 0x81 : 0) << i;
  // ASR wide, unpredicated: counts of 128 and all ones both give sign fill.
  std::memset(s->z[2], 0x80, sve_vl_bytes);
  test::set_elem<uint64_t>(s->z[3], 0, 128);
  test::set_elem<uint64_t>(s->z[3], 1, ~0ull);
  ASSERT_EQ(test::run(s.get(), test::word("VecS16ShrVWX") | 0 | 2 << 5 | 3 << 16), aarch64_decode_ok);
  for (unsigned i = 0; i < 8; ++i) EXPECT_EQ(elem<uint16_t>(s->z[0], i), 0xffff) << i;
}

TEST(Shifts, CountRegisterEqualToDestination) {
  auto s = test::random_state();
  std::memset(s->p[0], 1, sve_vl_bytes);
  for (unsigned i = 0; i < sve_vl_bytes / 4; ++i) test::set_elem<uint32_t>(s->z[5], i, i % 40);
  ASSERT_EQ(test::run(s.get(), test::word("VecU32ShlVVM") | 5 | 5 << 5), aarch64_decode_ok);
  for (unsigned i = 0; i < sve_vl_bytes / 4; ++i) {
    uint32_t n = i % 40;
    EXPECT_EQ(elem<uint32_t>(s->z[5], i), n < 32 ? n << n : 0) << i;
  }
}
