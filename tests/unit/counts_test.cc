// Register 31 in the element counts, on the direct and the library route:
// the counts take it as the zero register and leave every other register,
// the flags and ffr as they were; ADDVL and ADDPL take it as the stack
// pointer.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;

TEST(Counts, Register31IsTheZeroRegisterExceptInAddVL) {
  // Destination 31 with pattern 31 or predicate 15: nothing changes but instr
  // on the direct route, and nothing at all on the library route, whose
  // flags and first-fault register make a round trip unchanged.
  struct Case { const char* name; uint32_t fields; };
  const Case cases[] = {
      {"VecU16IncrVLSI", 31 << 5},   {"VecU64QDecrVL8SI", 31 << 5},    {"VecU8QDecrVL8SI", 31 << 5},
      {"VecS32QIncrVL4SI", 31 << 5}, {"VecU8CountVLSI", 31 << 5},      {"VecU32SCountP", 15 << 10 | 15 << 5},
      {"VecU8IncrSCountPS", 15 << 5}, {"VecU16DecrSCountPS", 15 << 5}, {"VecS8QIncrSCount8PS", 15 << 5},
      {"VecS64VLX", 1 << 5},
  };
  for (const Case& c : cases) {
    auto s = test::random_state();
    s->nzcv &= 0xffffffff;
    for (uint8_t& b : s->ffr) b &= 1;
    auto before = *s;
    test::run(s.get(), test::word(c.name) | 31 | c.fields);
    before.instr = s->instr;
    before.pc = s->pc;
    EXPECT_EQ(std::memcmp(&before, s.get(), sizeof(cpu_state)), 0) << c.name;
  }
  auto s = test::random_state();
  uint64_t sp = s->sp, x1 = s->x[1];
  test::run(s.get(), test::word("VecS64AddVLX") | 31 | 1 << 16 | 3 << 5);  // addvl sp, x1, #3
  EXPECT_EQ(s->sp, x1 + 3 * sve_vl_bytes);
  sp = s->sp;
  test::run(s.get(), test::word("VecS64AddPLX") | 2 | 31 << 16 | 0x3f << 5);  // addpl x2, sp, #-1
  EXPECT_EQ(s->x[2], sp - sve_vl_bytes / 8);
  test::run(s.get(), test::word("VecS64VLX") | 4 | 0x20 << 5);  // rdvl x4, #-32
  EXPECT_EQ(s->x[4], uint64_t(-32 * int64_t(sve_vl_bytes)));
}
