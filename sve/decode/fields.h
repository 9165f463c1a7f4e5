// Operand fields of instruction words and the immediate decoders that
// handlers of both routes share.
#pragma once

#include <cstdint>

namespace sve {

// Bits hi..lo of a word, right-aligned.
constexpr uint32_t field(uint32_t w, int hi, int lo) {
  return (w >> lo) & ((2u << (hi - lo)) - 1);
}

// The same field as a two's-complement number.
constexpr int32_t sfield(uint32_t w, int hi, int lo) {
  int width = hi - lo + 1;
  return int32_t(field(w, hi, lo) << (32 - width)) >> (32 - width);
}

// Add and subtract: imm8 at 12:5, shifted left by 8 when bit 13 is set.
constexpr uint32_t imm_add_sub(uint32_t w) {
  return field(w, 12, 5) << (field(w, 13, 13) * 8);
}

// Copy: imm8 at 12:5 signed, shifted left by 8 when bit 13 is set.
constexpr int32_t imm_copy(uint32_t w) {
  return int32_t(uint32_t(sfield(w, 12, 5)) << (field(w, 13, 13) * 8));
}

// Shift by immediate: the field below the element size marker of tsz. The
// predicated forms keep it in bits 7:5, 8:5, 9:5 and 22:9:5 (bytes to
// doublewords), the unpredicated forms in bits 18:16, 19:16, 20:16 and
// 22:20:16. A left shift takes the field, a right shift the element width
// minus the field, so 1 to the width.
constexpr uint32_t shift_field(uint32_t w, uint32_t code, bool predicated) {
  int lo = predicated ? 5 : 16;
  if (code == 3) return field(w, 22, 22) << 5 | field(w, lo + 4, lo);
  return field(w, lo + 2 + int(code), lo);
}
constexpr uint32_t shift_left_amount(uint32_t w, uint32_t code, bool predicated) {
  return shift_field(w, code, predicated);
}
constexpr uint32_t shift_right_amount(uint32_t w, uint32_t code, bool predicated) {
  return (8u << code) - shift_field(w, code, predicated);
}

// DecodeBitMasks for the 64-bit logical immediate: N at 17, immr at 16:11,
// imms at 10:5. The element is S+1 low ones rotated right by R within esize
// bits, replicated to 64 bits. The reserved combination (N clear, imms all
// ones) has no element size at all; it yields 0 rather than looping or
// shifting out of range.
constexpr uint64_t decode_bit_mask(uint32_t w) {
  uint32_t n = field(w, 17, 17), immr = field(w, 16, 11), imms = field(w, 10, 5);
  uint32_t combined = n << 6 | (~imms & 0x3f);
  if (combined == 0) return 0;
  int len = 31 - __builtin_clz(combined);
  uint32_t esize = 1u << len, levels = esize - 1;
  uint32_t s = imms & levels, r = immr & levels;
  uint64_t emask = esize == 64 ? ~0ull : (1ull << esize) - 1;
  uint64_t welem = (s + 1 == 64) ? ~0ull : (1ull << (s + 1)) - 1;
  uint64_t elem = r == 0 ? welem : ((welem >> r) | (welem << (esize - r))) & emask;
  for (uint32_t e = esize; e < 64; e *= 2) elem |= elem << e;
  return elem;
}

// VFPExpandImm of imm8 (12:5) to half, single and double images.
struct fp_images {
  uint16_t h;
  uint32_t s;
  uint64_t d;
};

constexpr fp_images expand_fp_imm(uint32_t imm8) {
  uint32_t sign = imm8 >> 7 & 1, b6 = imm8 >> 6 & 1, b54 = imm8 >> 4 & 3, b30 = imm8 & 15;
  uint16_t h = uint16_t(sign << 15 | (b6 ^ 1) << 14 | (b6 ? 0x3000 : 0) | b54 << 10 | b30 << 6);
  uint32_t s = sign << 31 | (b6 ^ 1) << 30 | (b6 ? 0x3e000000 : 0) | b54 << 23 | b30 << 19;
  // The single image converted to double: the exponent is rebiased from 127
  // to 1023, the fraction widened.
  uint64_t exp8 = s >> 23 & 0xff, frac = s & 0x7fffff;
  uint64_t d = uint64_t(sign) << 63 | (exp8 - 127 + 1023) << 52 | frac << 29;
  return {h, s, d};
}

}  // namespace sve
