// Saturating addition and subtraction without a predicate: SQADD, UQADD,
// SQSUB, UQSUB of two vectors or of a vector and an immediate. The exact
// result is formed in the wide integer, so nothing wraps before the clamp,
// and only the clamped value is kept: saturation sets no flag.
#include "../decode/families.h"
#include "../support/marshal.h"
#include "../support/routine_loop.h"
#include "../support/saturate.h"
#include "immediates.h"

namespace sve {

namespace {

// Zdn + imm or Zdn - imm, the immediate unsigned for both signs.
template <class T, int IsUnsigned, bool Sub>
VecV step_immediate(const VecV& zdn, T imm, const CpuContext* c) {
  constexpr unsigned n = sizeof(T) * 8;
  return routine_all<T>(zdn, c, [=](T a) {
    wide_int x = Int(a, n, IsUnsigned), b = UInt(imm, n);
    return T(SatQ(Sub ? x - b : x + b, n, IsUnsigned).value);
  });
}

}  // namespace

namespace lib {

#define SVE_QADDSUB(sign, bits, is_unsigned)                                                         \
  VecV Vec##sign##bits##QAddVVX(VecV zn, VecV zm, CpuContext* c) {                                   \
    return routine_pair<uint##bits##_t>(zn, zm, c, [](uint64_t a, uint64_t b) { return SatAdd(a, b, bits, is_unsigned); }); \
  }                                                                                                  \
  VecV Vec##sign##bits##QSubVVX(VecV zn, VecV zm, CpuContext* c) {                                   \
    return routine_pair<uint##bits##_t>(zn, zm, c, [](uint64_t a, uint64_t b) { return SatSub(a, b, bits, is_unsigned); }); \
  }                                                                                                  \
  VecV Vec##sign##bits##QAddVIX(VecV zdn, uint##bits##_t imm, CpuContext* c) {                       \
    return step_immediate<uint##bits##_t, is_unsigned, false>(zdn, imm, c);                          \
  }                                                                                                  \
  VecV Vec##sign##bits##QSubVIX(VecV zdn, uint##bits##_t imm, CpuContext* c) {                       \
    return step_immediate<uint##bits##_t, is_unsigned, true>(zdn, imm, c);                           \
  }
SVE_QADDSUB(S, 8, 0)
SVE_QADDSUB(S, 16, 0)
SVE_QADDSUB(S, 32, 0)
SVE_QADDSUB(S, 64, 0)
SVE_QADDSUB(U, 8, 1)
SVE_QADDSUB(U, 16, 1)
SVE_QADDSUB(U, 32, 1)
SVE_QADDSUB(U, 64, 1)
#undef SVE_QADDSUB

}  // namespace lib

using lib_qvix = library<to_z<4, 0>, z_in<4, 0>, imm_in<imm_add_sub_elem>>;

}  // namespace sve

using namespace sve;

// Vectors: "00000100 ss 1 mmmmm 000 1 U S nnnnn ddddd"; immediate:
// "00100101 ss 100 1 S U 11 h iiiiiiii ddddd".
#define SVE_QVVX(opc, mnemonic) \
  "00000100 ss 1 mmmmm 0001" opc " nnnnn ddddd", library, (lib_vvx), mnemonic " z0.T, z1.T, z2.T"
#define SVE_QVIX(opc, mnemonic) \
  "00100101 ss 1001" opc " 11 i iiiiiiii ddddd", library, (lib_qvix), mnemonic " z0.T, z0.T, #255"

#define INTEGER_SATURATING(X)                                       \
  SVE_S4(X, 31_21__15_10, QAddVVX, SVE_QVVX("00", "sqadd"))         \
  SVE_U4(X, 31_21__15_10, QAddVVX, SVE_QVVX("01", "uqadd"))         \
  SVE_S4(X, 31_21__15_10, QSubVVX, SVE_QVVX("10", "sqsub"))         \
  SVE_U4(X, 31_21__15_10, QSubVVX, SVE_QVVX("11", "uqsub"))         \
  SVE_S4(X, 31_14, QAddVIX, SVE_QVIX("00", "sqadd"))                \
  SVE_U4(X, 31_14, QAddVIX, SVE_QVIX("01", "uqadd"))                \
  SVE_S4(X, 31_14, QSubVIX, SVE_QVIX("10", "sqsub"))                \
  SVE_U4(X, 31_14, QSubVIX, SVE_QVIX("11", "uqsub"))

SVE_FAMILY(integer_saturating, INTEGER_SATURATING)
