// Floating-point instructions where the conformance cases cannot look: an
// FPSR that already holds flags, inactive elements full of signalling NaNs,
// and the sign of the tree reduction's zero padding in each rounding mode.
// Each check runs on whichever route the handler takes in this build,
// native arithmetic included.
#include <gtest/gtest.h>

#include "machine.h"

using namespace sve;
using test::elem;
using test::set_elem;

namespace {

constexpr uint32_t IOC = 1, IXC = 16, QC = 1u << 27;

// Fills every element of a register with one word.
template <class T>
void fill(uint8_t* z, T v) {
  for (unsigned i = 0; i < sve_vl_bytes / sizeof(T); ++i) set_elem<T>(z, i, v);
}

template <class T>
T signalling_nan() {
  return sizeof(T) == 2 ? T(0x7d00) : sizeof(T) == 4 ? T(0x7fa00000) : T(0x7ff4000000000000);
}

// Destination z0 or p0, governing predicate p1, sources z2 and z3 where the
// encoding has them.
struct fp_case {
  const char* name;
  uint32_t operands;
};
const uint32_t zd0 = 0, pg1 = 1 << 10, zn2 = 2 << 5, zm3_hi = 3 << 16, zm3_lo = 3 << 5;

template <class T>
void flags_accumulate_and_inactive_elements_raise_nothing(const std::vector<fp_case>& cases) {
  for (const fp_case& c : cases) {
    SCOPED_TRACE(c.name);
    auto s = test::random_state();
    s->fpcr = 0;
    for (int r : {0, 2, 3}) fill<T>(s->z[r], signalling_nan<T>());
    s->fpsr = QC | IXC;
    std::memset(s->p[1], 0, sve_vl_bytes);
    uint8_t before[sve_vl_bytes];
    std::memcpy(before, s->z[0], sve_vl_bytes);
    ASSERT_EQ(test::run(s.get(), test::word(c.name) | c.operands), aarch64_decode_ok);
    EXPECT_EQ(s->fpsr, QC | IXC) << "an inactive element raised a flag, or the old flags were lost";
    s->p[1][0] = 1;  // element 0 active: its signalling NaN is invalid
    s->fpsr = QC | IXC;
    std::memcpy(s->z[0], before, sve_vl_bytes);
    ASSERT_EQ(test::run(s.get(), test::word(c.name) | c.operands), aarch64_decode_ok);
    EXPECT_EQ(s->fpsr, QC | IXC | IOC);
  }
}

TEST(FpInstructions, FlagsAccumulateAndInactiveElementsRaiseNothing) {
  const uint32_t vvm = zd0 | pg1 | zm3_lo, vm = zd0 | pg1 | zn2, vvvm = zd0 | pg1 | zn2 | zm3_hi;
  const uint32_t cmp = zd0 | pg1 | zn2 | zm3_hi, red = zd0 | pg1 | zn2;
  for (const char* t : {"F16", "F32", "D64"}) {
    const std::string p = std::string("Vec") + t;
    const std::vector<std::string> names = {p + "AddVVM", p + "DivVVM",    p + "MaxVVM",      p + "MaxNumVVM",
                                            p + "MulXVVM", p + "SqrtVM",   p + "FMAVVVM",     p + "FNMAVVVM",
                                            p + "CmpGEVVZ", p + "CmpEQVVZ", p + "CmpLTV0Z",   p + "AddReduceFV",
                                            p + "MaxNumReduceFV", p + "AddReduceAV"};
    const uint32_t ops[] = {vvm, vvm, vvm, vvm, vvm, vm, vvvm, vvvm, cmp, cmp, red, red, red, zd0 | pg1 | zm3_lo};
    std::vector<fp_case> cases;
    for (size_t i = 0; i < names.size(); ++i) cases.push_back({names[i].c_str(), ops[i]});
    if (t[0] == 'F' && t[1] == '1') flags_accumulate_and_inactive_elements_raise_nothing<uint16_t>(cases);
    else if (t[0] == 'F') flags_accumulate_and_inactive_elements_raise_nothing<uint32_t>(cases);
    else flags_accumulate_and_inactive_elements_raise_nothing<uint64_t>(cases);
  }
}

TEST(FpInstructions, TreeReductionPadsWithPositiveZero) {
  auto s = test::random_state();
  s->fpcr = 0;
  std::memset(s->z[2], 0, sve_vl_bytes);
  // A single active -0.0: the tree adds the +0.0 padding, giving +0.0, and
  // -0.0 when rounding towards minus infinity.
  std::memset(s->p[1], 0, sve_vl_bytes);
  s->p[1][4] = 1;
  set_elem<uint32_t>(s->z[2], 1, 0x80000000);
  ASSERT_EQ(test::run(s.get(), test::word("VecF32AddReduceFV") | zd0 | pg1 | zn2), aarch64_decode_ok);
  EXPECT_EQ(elem<uint32_t>(s->z[0], 0), 0u);
  s->fpcr = 2u << 22;
  ASSERT_EQ(test::run(s.get(), test::word("VecF32AddReduceFV") | zd0 | pg1 | zn2), aarch64_decode_ok);
  EXPECT_EQ(elem<uint32_t>(s->z[0], 0), 0x80000000u);
}

}  // namespace
