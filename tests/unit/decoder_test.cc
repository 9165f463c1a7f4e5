#include <gtest/gtest.h>

#include "sve/decode/sve_emu.h"

TEST(Decoder, FindsPredicatedAddAndIgnoresNop) {
  EXPECT_NE(is_sve(0x04800020), nullptr);  // add z0.s, p0/m, z0.s, z1.s
  EXPECT_EQ(is_sve(0xd503201f), nullptr);  // nop
}
