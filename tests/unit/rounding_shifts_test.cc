// Doublewords shifted right by exactly their width through a count element:
// the conformance states never hold a count of -64, yet it is the one count
// where the rounding bit is the top bit of the element and where a signed
// shift still leaves its sign.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;

TEST(RoundingShifts, DoublewordsByMinusTheirWidth) {
  struct Case { const char* name; uint64_t value, count, result; };
  constexpr uint64_t top = 1ull << 63, minus64 = uint64_t(-64);
  const Case cases[] = {
      {"VecU64RShlVVM", top, minus64, 1},
      {"VecU64RShlVVM", top - 1, minus64, 0},
      {"VecU64QRShlVVM", ~0ull, minus64, 1},
      {"VecU64QShlVVM", ~0ull, minus64, 0},
      {"VecS64RShlVVM", top, minus64, 0},
      {"VecS64QRShlVVM", top - 1, minus64, 0},
      {"VecS64QShlVVM", top, minus64, ~0ull},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[0], 0xff, sizeof s->p[0]);
    for (unsigned i = 0; i < sve_vl_bytes / 8; ++i) {
      test::set_elem(s->z[0], i, c.value);
      test::set_elem(s->z[1], i, c.count);
    }
    // Zdn z0, Pg p0, Zm z1.
    ASSERT_EQ(test::run(s.get(), test::word(c.name) | 1 << 5), aarch64_decode_ok) << c.name;
    for (unsigned i = 0; i < sve_vl_bytes / 8; ++i)
      ASSERT_EQ(test::elem<uint64_t>(s->z[0], i), c.result) << c.name << " of 0x" << std::hex << c.value;
  }
}
