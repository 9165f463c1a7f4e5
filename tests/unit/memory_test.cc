// Loads and stores where the conformance harness does not look: Rm = 31 in
// the scalar-plus-scalar forms (unallocated, excused there, carried out with
// an offset of 0), Rn = 31 as the stack pointer, immediates counted in whole
// vectors, and prefetches of addresses that no process has mapped.
#include <gtest/gtest.h>

#include <vector>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {
constexpr unsigned vl = sve_vl_bytes;
void run_ok(cpu_state* s, uint32_t w) { ASSERT_EQ(test::run(s, w), aarch64_decode_ok) << std::hex << w; }
uint32_t mem(const char* name, unsigned t, unsigned g, unsigned n) { return test::word(name) | t | g << 10 | n << 5; }
}  // namespace

TEST(Memory, RegisterThirtyOneAndImmediates) {
  auto s = test::random_state(3);
  std::vector<uint64_t> buf(4 * vl / 8);
  for (unsigned i = 0; i < buf.size(); ++i) buf[i] = i;
  std::memset(s->p[1], 1, vl);
  // Rn = 31 is the stack pointer; Rm = 31 adds nothing.
  s->sp = reinterpret_cast<uint64_t>(buf.data()) + 8;
  run_ok(s.get(), mem("VecU64CLoad8LSSZ", 0, 1, 31) | 31u << 16);
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 1u);
  // The immediate counts whole vectors of memory elements: ld1b to
  // doublewords moves by vl / 8 bytes a step.
  s->x[2] = reinterpret_cast<uint64_t>(buf.data()) + 2 * vl;
  run_ok(s.get(), mem("VecU64CLoad1SIZ", 0, 1, 2) | 0x8u << 16);  // #-8
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), uint64_t(reinterpret_cast<uint8_t*>(buf.data())[2 * vl - vl]));
  run_ok(s.get(), mem("VecU64CLoad8SIZ", 0, 1, 2) | 0xeu << 16);  // #-2
  EXPECT_EQ(elem<uint64_t>(s->z[0], 0), 0u);
}

TEST(Memory, PrefetchesOfWildAddressesTouchNothing) {
  // The random state's registers point nowhere: a prefetch reads nothing.
  auto s = test::random_state(5);
  auto before = *s;
  for (const char* name : {"VecU8Prefetch1SI", "VecU64Prefetch8LSS", "VecU32Prefetch4VI", "VecU64Prefetch2SV"}) {
    run_ok(s.get(), test::word(name) | 1u << 5);
    before.pc = s->pc;  // only the embedder's step moves on
    EXPECT_EQ(std::memcmp(s.get(), &before, sizeof before), 0) << name;
  }
}
