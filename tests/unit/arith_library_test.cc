// Merging-predicated integer routines of the library route at the values
// where a narrow intermediate would wrap, the bit counts at 0 and all ones,
// and the operand order of the reversed subtraction.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;

namespace {
// Zdn or Zd z0, Pg p0, second operand z1.
uint32_t op(const char* name) { return test::word(name) | 1 << 5; }
}  // namespace

TEST(LibraryRoutines, ValuesAtTheLimits) {
  struct Case { const char* name; uint64_t a, b, result; unsigned bytes; };
  const Case cases[] = {
      {"VecS8AbdVVM", 0x80, 0x7f, 0xff, 1},
      {"VecU8AbdVVM", 0x80, 0x7f, 0x01, 1},
      {"VecS64AbdVVM", 0x8000000000000000, 1, 0x8000000000000001, 8},
      {"VecS64AbdVVM", 0x7fffffffffffffff, 0x8000000000000000, ~0ull, 8},
      {"VecU64AbdVVM", 0, ~0ull, ~0ull, 8},
      {"VecS8AbsVM", 0, 0x80, 0x80, 1},
      {"VecS16AbsVM", 0, 0x8000, 0x8000, 2},
      {"VecS32AbsVM", 0, 0xfffffffe, 2, 4},
      {"VecS64AbsVM", 0, 0x8000000000000000, 0x8000000000000000, 8},
      {"VecU8ClsVM", 0, 0xff, 7, 1},
      {"VecU16NotVM", 0, 0x0100, 0, 2},
      {"VecU8SubRVVM", 1, 0, 0xff, 1},  // Zm - Zdn
      {"VecU16Extnd12VM", 0, 0x0180, 0x0080, 2},
      {"VecU64Extnd18VM", 0, ~0ull, 0xff, 8},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    std::memset(s->p[0], 1, sve_vl_bytes);
    for (unsigned i = 0; i < sve_vl_bytes / c.bytes; ++i) {
      std::memcpy(s->z[0] + i * c.bytes, &c.a, c.bytes);
      std::memcpy(s->z[1] + i * c.bytes, &c.b, c.bytes);
    }
    ASSERT_EQ(test::run(s.get(), op(c.name)), aarch64_decode_ok);
    for (unsigned i = 0; i < sve_vl_bytes / c.bytes; ++i) {
      uint64_t r = 0;
      std::memcpy(&r, s->z[0] + i * c.bytes, c.bytes);
      ASSERT_EQ(r, c.result) << c.name << " element " << i;
    }
  }
}
