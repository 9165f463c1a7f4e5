// The unsigned saturating extract of doublewords to words, where the
// conformance harness excuses this emulator at 1792 bits because the
// reference clamps some values above the word range to 0 there: worked
// through at every element of the vector from the definition, an unsigned
// value above 0xffffffff saturates to 0xffffffff.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iterator>

#include "machine.h"

using namespace sve;

TEST(Narrowing, UnsignedExtractOfDoublewordsSaturatesAtEveryElement) {
  struct row {
    uint64_t in;
    uint32_t out;
  };
  const row rows[] = {{0, 0},
                      {5, 5},
                      {0xffffffff, 0xffffffff},
                      {0x100000000, 0xffffffff},
                      {0x8000000000000001, 0xffffffff},
                      {0xffffffffffffffff, 0xffffffff}};
  constexpr unsigned n = sve_vl_bytes / 8, k = std::size(rows);
  for (bool top : {false, true}) {
    SCOPED_TRACE(top ? "uqxtnt" : "uqxtnb");
    auto s = test::random_state(3);
    uint8_t before[sve_vl_bytes];
    for (unsigned i = 0; i < n; ++i) test::set_elem<uint64_t>(s->z[1], i, rows[i % k].in);
    std::memcpy(before, s->z[0], sizeof before);
    // Zd = z0, Zn = z1.
    ASSERT_EQ(test::run(s.get(), test::word(top ? "VecU64QNarrowTVX" : "VecU64QNarrowBVX") | 1 << 5),
              aarch64_decode_ok);
    for (unsigned i = 0; i < n; ++i) {
      const uint32_t kept = top ? test::elem<uint32_t>(before, 2 * i) : 0;
      EXPECT_EQ(test::elem<uint32_t>(s->z[0], 2 * i + top), rows[i % k].out) << i;
      EXPECT_EQ(test::elem<uint32_t>(s->z[0], 2 * i + !top), kept) << i;
    }
  }
}
