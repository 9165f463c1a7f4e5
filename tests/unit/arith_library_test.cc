// Merging-predicated integer routines of the library route: values where a
// narrow intermediate would wrap, the bit counts at 0 and all ones, inactive
// elements, and UXTB agreeing with its direct twins.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;

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

TEST(LibraryRoutines, InactiveElementsKeepTheDestination) {
  // Pg active at every other element, with stray bits in the inactive bytes.
  for (const char* name : {"VecS16AbdVVM", "VecS16AbsVM", "VecU16ClzVM", "VecU16InvVM", "VecU16SubRVVM",
                           "VecU16Extnd12VM"}) {
    auto s = test::random_state();
    for (unsigned b = 0; b < sve_vl_bytes; ++b) s->p[0][b] = b % 4 == 0 ? 1 : 0xfe;
    auto before = *s;
    ASSERT_EQ(test::run(s.get(), op(name)), aarch64_decode_ok);
    for (unsigned i = 1; i < sve_vl_bytes / 2; i += 2)
      ASSERT_EQ(elem<uint16_t>(s->z[0], i), elem<uint16_t>(before.z[0], i)) << name << " " << i;
    bool changed = false;
    for (unsigned i = 0; i < sve_vl_bytes / 2; i += 2) changed |= elem<uint16_t>(s->z[0], i) != elem<uint16_t>(before.z[0], i);
    EXPECT_TRUE(changed) << name;
  }
}

TEST(LibraryRoutines, ZeroExtensionAgreesOnBothRoutes) {
  // UXTH on the direct route and UXTB on the library route, each against its
  // own masking, on the same random operands and predicate.
  struct Case { const char* name; uint64_t mask; unsigned bytes; };
  const Case cases[] = {{"VecU16Extnd12VM", 0xff, 2}, {"VecU32Extnd14VM", 0xff, 4}, {"VecU64Extnd18VM", 0xff, 8},
                        {"VecU32Extnd24VM", 0xffff, 4}, {"VecU64Extnd48VM", 0xffffffff, 8}};
  for (const Case& c : cases) {
    auto s = test::random_state(c.bytes);
    auto before = *s;
    ASSERT_EQ(test::run(s.get(), op(c.name)), aarch64_decode_ok);
    for (unsigned i = 0; i < sve_vl_bytes / c.bytes; ++i) {
      uint64_t old = 0, src = 0, r = 0;
      std::memcpy(&old, before.z[0] + i * c.bytes, c.bytes);
      std::memcpy(&src, before.z[1] + i * c.bytes, c.bytes);
      std::memcpy(&r, s->z[0] + i * c.bytes, c.bytes);
      ASSERT_EQ(r, (before.p[0][i * c.bytes] & 1) ? (src & c.mask) : old) << c.name << " " << i;
    }
  }
}
