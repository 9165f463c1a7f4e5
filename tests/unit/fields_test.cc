#include <gtest/gtest.h>

#include "sve/decode/fields.h"

using namespace sve;

// Places a value in bits hi..lo of a word.
constexpr uint32_t at(uint32_t v, int lo) { return v << lo; }

// The reserved bit-mask immediates, which the conformance harness excuses:
// a run of all ones is carried out as such, and no element size at all must
// give 0, not hang.
TEST(Immediates, ReservedBitMasks) {
  struct Case { uint32_t n, immr, imms; uint64_t mask; };
  const Case cases[] = {
      {0, 0, 0x1f, 0xffffffffffffffff},  // esize 32, all ones
      {1, 0, 0x3f, 0xffffffffffffffff},  // esize 64, all ones
      {0, 0, 0x3f, 0},                   // no element size
      {0, 0x3f, 0x3f, 0},
  };
  for (const Case& c : cases)
    EXPECT_EQ(decode_bit_mask(at(c.n, 17) | at(c.immr, 11) | at(c.imms, 5)), c.mask)
        << c.n << " " << c.immr << " " << c.imms;
}
