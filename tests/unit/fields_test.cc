#include <gtest/gtest.h>

#include "sve/decode/fields.h"

using namespace sve;

// Places a value in bits hi..lo of a word.
constexpr uint32_t at(uint32_t v, int lo) { return v << lo; }

TEST(Immediates, AddSubtractAndCopy) {
  EXPECT_EQ(imm_add_sub(at(0xff, 5)), 0xffu);
  EXPECT_EQ(imm_add_sub(at(0xff, 5) | at(1, 13)), 0xff00u);
  EXPECT_EQ(imm_copy(at(0x80, 5)), -128);
  EXPECT_EQ(imm_copy(at(0x80, 5) | at(1, 13)), -32768);
  EXPECT_EQ(imm_copy(at(0x7f, 5) | at(1, 13)), 0x7f00);
  EXPECT_EQ(sfield(at(0x10, 16), 20, 16), -16);  // signed imm5
  EXPECT_EQ(field(at(0x7f, 14), 20, 14), 0x7fu);  // unsigned imm7
}

TEST(Immediates, Shifts) {
  // Bytes, predicated: bits 7:5. A field of 0 shifts right by 8 and left by 0.
  EXPECT_EQ(shift_right_amount(0, 0, true), 8u);
  EXPECT_EQ(shift_left_amount(0, 0, true), 0u);
  EXPECT_EQ(shift_right_amount(at(7, 5) | at(1, 8), 0, true), 1u);  // bit 8 is the size marker
  // Halfwords, unpredicated: bits 19:16.
  EXPECT_EQ(shift_left_amount(at(15, 16) | at(1, 20), 1, false), 15u);
  // Words, predicated: bits 9:5.
  EXPECT_EQ(shift_right_amount(at(31, 5), 2, true), 1u);
  // Doublewords: bit 22 above bits 9:5 or 20:16.
  EXPECT_EQ(shift_left_amount(at(1, 22) | at(31, 5), 3, true), 63u);
  EXPECT_EQ(shift_right_amount(at(0, 22) | at(0, 16), 3, false), 64u);
  EXPECT_EQ(shift_right_amount(at(1, 22) | at(1, 16), 3, false), 31u);
}

TEST(Immediates, DecodeBitMasks) {
  struct Case { uint32_t n, immr, imms; uint64_t mask; };
  const Case cases[] = {
      {1, 0, 0, 0x0000000000000001},   // esize 64, one bit
      {0, 0, 0x3c, 0x5555555555555555},  // esize 2, one set bit
      {1, 1, 0, 0x8000000000000000},   // rotated right by one
      {0, 0, 0x27, 0x00ff00ff00ff00ff},  // esize 16, eight ones
      {0, 4, 0x27, 0xf00ff00ff00ff00f},  // the same rotated by four
      {0, 0, 0x07, 0x000000ff000000ff},  // esize 32, eight ones
      {1, 0, 0x1f, 0x00000000ffffffff},  // esize 64, 32 ones
      {0, 0, 0x1f, 0xffffffffffffffff},  // esize 32 all ones, reserved in the architecture
      {1, 0, 0x3e, 0x7fffffffffffffff},  // 63 ones
      {1, 0, 0x3f, 0xffffffffffffffff},  // all ones, reserved in the architecture
      {0, 0, 0x3f, 0},                   // no element size: reserved, must not hang
      {0, 0x3f, 0x3f, 0},
  };
  for (const Case& c : cases)
    EXPECT_EQ(decode_bit_mask(at(c.n, 17) | at(c.immr, 11) | at(c.imms, 5)), c.mask)
        << c.n << " " << c.immr << " " << c.imms;
}

TEST(Immediates, FloatingPointExpansion) {
  struct Case { uint32_t imm8; uint16_t h; uint32_t s; uint64_t d; };
  const Case cases[] = {
      {0x70, 0x3c00, 0x3f800000, 0x3ff0000000000000},  // 1.0
      {0xf0, 0xbc00, 0xbf800000, 0xbff0000000000000},  // -1.0
      {0x00, 0x4000, 0x40000000, 0x4000000000000000},  // 2.0
      {0x60, 0x3800, 0x3f000000, 0x3fe0000000000000},  // 0.5
      {0x7f, 0x3fc0, 0x3ff80000, 0x3fff000000000000},  // 1.9375
      {0x40, 0x3000, 0x3e000000, 0x3fc0000000000000},  // 0.125
      {0x3f, 0x4fc0, 0x41f80000, 0x403f000000000000},  // 31.0
  };
  for (const Case& c : cases) {
    fp_images f = expand_fp_imm(c.imm8);
    EXPECT_EQ(f.h, c.h) << std::hex << c.imm8;
    EXPECT_EQ(f.s, c.s) << std::hex << c.imm8;
    EXPECT_EQ(f.d, c.d) << std::hex << c.imm8;
  }
}
