#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using namespace sve::test;

// Add and subtract with carry long at the edge of the carry chain: the
// addend and the accumulator summing to all ones, so that only the carry in
// decides whether the sum wraps and carries out. Random states almost never
// build that sum.
TEST(Widening, CarryLongWhenOnlyTheCarryInWraps) {
  struct Case { const char* name; uint64_t acc, n, carry_in, sum, carry_out; };
  const Case cases[] = {
      {"VecU32AdcLBVVVX", 0x12345678, 0xedcba987, 1, 0, 1},
      {"VecU32AdcLBVVVX", 0x12345678, 0xedcba987, 0, 0xffffffff, 0},
      {"VecU64AdcLBVVVX", 1, ~0ull - 1, 1, 0, 1},
      {"VecU64AdcLBVVVX", ~0ull, 0, 1, 0, 1},
      // Subtraction adds the inverted element: equal values with the carry
      // set (no borrow) give 0 and carry out; without it, all ones.
      {"VecU32SbcLBVVVX", 0x80000000, 0x80000000, 1, 0, 1},
      {"VecU64SbcLBVVVX", 7, 7, 0, ~0ull, 0},
  };
  for (const Case& c : cases) {
    auto s = random_state();
    const unsigned bytes = entry(c.name).size == 2 ? 4 : 8;
    auto put = [&](unsigned reg, unsigned i, uint64_t v) { std::memcpy(s->z[reg] + i * bytes, &v, bytes); };
    put(0, 0, c.acc);
    put(1, 0, c.n);
    put(2, 1, c.carry_in | 2);  // only bit 0 of the odd element is the carry
    ASSERT_EQ(run(s.get(), word(c.name) | 2 << 16 | 1 << 5), aarch64_decode_ok);
    uint64_t sum = 0, carry = 0;
    std::memcpy(&sum, s->z[0], bytes);
    std::memcpy(&carry, s->z[0] + bytes, bytes);
    EXPECT_EQ(sum, c.sum) << c.name << std::hex << " " << c.acc << " " << c.n;
    EXPECT_EQ(carry, c.carry_out) << c.name << std::hex << " " << c.acc << " " << c.n;
  }
}
