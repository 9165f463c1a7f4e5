// Shifts by counts near the element width, which the conformance states
// hold only by chance: their doublewords are 0, 1, -1, other special values
// and random ones, almost all far beyond any width.
#include <gtest/gtest.h>

#include <cstring>

#include "machine.h"

using namespace sve;

// Doublewords through a count element. -64 is the one count where the
// rounding bit is the top bit of the element and where a signed shift still
// leaves its sign; about it, the host's own shifts stop short of the
// element's.
TEST(RoundingShifts, DoublewordsByCountsNearTheirWidth) {
  // Zdn and Zm: the value and the count, the other way round for the
  // reversed forms.
  struct Case { const char* name; uint64_t zdn, zm, result; };
  constexpr uint64_t top = 1ull << 63;
  auto count = [](int64_t n) { return uint64_t(n); };
  const Case cases[] = {
      {"VecU64RShlVVM", top, count(-64), 1},
      {"VecU64RShlVVM", top - 1, count(-64), 0},
      {"VecU64QRShlVVM", ~0ull, count(-64), 1},
      {"VecU64QShlVVM", ~0ull, count(-64), 0},
      {"VecS64RShlVVM", top, count(-64), 0},
      {"VecS64QRShlVVM", top - 1, count(-64), 0},
      {"VecS64QShlVVM", top, count(-64), ~0ull},
      {"VecU64RShlVVM", top + 1, count(63), top},
      {"VecU64RShlVVM", 3, count(64), 0},
      {"VecU64RShlVVM", 48, count(-5), 2},
      {"VecS64RShlVVM", count(-48), count(-5), ~0ull},
      {"VecS64RShlVVM", top, count(-63), ~0ull},
      {"VecS64RShlVVM", top, count(-65), 0},
      {"VecU64RShlVVM", top, count(-65), 0},
      {"VecU64RShlRVVM", count(-5), 48, 2},
      {"VecS64RShlRVVM", count(63), 1, top},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[0], 0xff, sizeof s->p[0]);
    for (unsigned i = 0; i < sve_vl_bytes / 8; ++i) {
      test::set_elem(s->z[0], i, c.zdn);
      test::set_elem(s->z[1], i, c.zm);
    }
    // Zdn z0, Pg p0, Zm z1.
    ASSERT_EQ(test::run(s.get(), test::word(c.name) | 1 << 5), aarch64_decode_ok) << c.name;
    for (unsigned i = 0; i < sve_vl_bytes / 8; ++i)
      ASSERT_EQ(test::elem<uint64_t>(s->z[0], i), c.result) << c.name << " of 0x" << std::hex << c.zdn << " and 0x" << c.zm;
  }
}

// The wide forms: every element shifted by the doubleword of Zm that holds
// it, a count at or beyond the element width shifting everything out.
TEST(Shifts, WideFormsByCountsNearTheElementWidth) {
  struct Case { const char* name; unsigned bytes; uint64_t value, count, result; };
  const Case cases[] = {
      {"VecU8ShlVWM", 1, 0x81, 3, 0x08},
      {"VecU8ShlVWM", 1, 0x81, 7, 0x80},
      {"VecU8ShlVWM", 1, 0x81, 8, 0},
      {"VecU8ShlVWM", 1, 0x81, 0x101, 0},
      {"VecU8ShrVWM", 1, 0x81, 7, 1},
      {"VecU8ShrVWM", 1, 0x81, 8, 0},
      {"VecS8ShrVWM", 1, 0x81, 7, 0xff},
      {"VecS8ShrVWM", 1, 0x81, 200, 0xff},
      {"VecS8ShrVWM", 1, 0x41, 9, 0},
      {"VecU16ShlVWM", 2, 0x8001, 15, 0x8000},
      {"VecU16ShlVWM", 2, 0x8001, 16, 0},
      {"VecS32ShrVWM", 4, 0x80000000, 31, 0xffffffff},
      {"VecS32ShrVWM", 4, 0x80000000, 33, 0xffffffff},
      {"VecU8ShlVWX", 1, 0x81, 1, 0x02},
      {"VecU32ShrVWX", 4, 0x80000000, 32, 0},
      {"VecS16ShrVWX", 2, 0x4000, 14, 1},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[0], 0xff, sizeof s->p[0]);
    for (unsigned i = 0; i < sve_vl_bytes; i += c.bytes) std::memcpy(s->z[0] + i, &c.value, c.bytes);
    for (unsigned i = 0; i < sve_vl_bytes / 8; ++i) test::set_elem(s->z[1], i, c.count);
    // Predicated: Zdn z0, Pg p0, Zm z1 (9:5). Unpredicated: Zd and Zn z0,
    // Zm z1 (20:16).
    const bool predicated = std::strstr(c.name, "VWM") != nullptr;
    ASSERT_EQ(test::run(s.get(), test::word(c.name) | (predicated ? 1 << 5 : 1 << 16)), aarch64_decode_ok) << c.name;
    for (unsigned i = 0; i < sve_vl_bytes; i += c.bytes) {
      uint64_t r = 0;
      std::memcpy(&r, s->z[0] + i, c.bytes);
      ASSERT_EQ(r, c.result) << c.name << " of 0x" << std::hex << c.value << " by " << std::dec << c.count;
    }
  }
}
