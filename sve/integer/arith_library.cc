// Merging-predicated integer instructions carried out by library routines:
// SUBR, SABD, UABD, NOT, CNOT, CNT, CLS, CLZ and UXTB. Each routine
// follows the architecture's element-wise description, with the wide
// integer where a value could leave the element before it is cut back.
#include "../decode/families.h"
#include "../support/bit_ops.h"
#include "../support/marshal.h"
#include "../support/routine_loop.h"

namespace sve {

namespace {

template <class T>
constexpr unsigned bits_of = sizeof(T) * 8;

// |a - b| of the elements as numbers of the type's sign, cut to the element.
template <class T, int IsUnsigned>
T abs_difference(T a, T b) {
  return T(bits(AbsInt(Int(a, bits_of<T>, IsUnsigned) - Int(b, bits_of<T>, IsUnsigned))));
}

}  // namespace

namespace lib {

#define SVE_ABD(sign, N, is_unsigned)                                                \
  VecV Vec##sign##N##AbdVVM(VecV zdn, PredV pg, VecV zm, CpuContext* c) {            \
    return routine_merge<uint##N##_t>(zdn, pg, zm, c, abs_difference<uint##N##_t, is_unsigned>); \
  }
#define SVE_UNARY(op, N, expr)                                                       \
  VecV VecU##N##op##VM(VecV zd, PredV pg, VecV zn, CpuContext* c) {                  \
    return routine_merge_unary<uint##N##_t>(zd, pg, zn, c, [](uint64_t b) { return expr; }); \
  }
#define SVE_INTEGER_ROUTINES(N)                                                      \
  SVE_ABD(S, N, 0)                                                                   \
  SVE_ABD(U, N, 1)                                                                   \
  SVE_UNARY(Inv, N, ~b)                                                              \
  SVE_UNARY(Not, N, uint64_t(uint##N##_t(b) == 0))                                \
  SVE_UNARY(Cnt, N, uint64_t(BitCount(b, N)))                                     \
  SVE_UNARY(Cls, N, uint64_t(CountLeadingSignBits(b, N)))                         \
  SVE_UNARY(Clz, N, uint64_t(CountLeadingZeroBits(b, N)))                         \
  VecV VecU##N##SubRVVM(VecV zdn, PredV pg, VecV zm, CpuContext* c) {                \
    return routine_merge<uint##N##_t>(zdn, pg, zm, c, [](uint64_t a, uint64_t b) { return b - a; }); \
  }
SVE_INTEGER_ROUTINES(8)
SVE_INTEGER_ROUTINES(16)
SVE_INTEGER_ROUTINES(32)
SVE_INTEGER_ROUTINES(64)
// UXTB: the element's low byte.
SVE_UNARY(Extnd12, 16, b & 0xff)
SVE_UNARY(Extnd14, 32, b & 0xff)
SVE_UNARY(Extnd18, 64, b & 0xff)
#undef SVE_ABD
#undef SVE_UNARY
#undef SVE_INTEGER_ROUTINES

}  // namespace lib

}  // namespace sve

using namespace sve;

// "00000100 ss 0 opc 000 ggg mmmmm ddddd": Zdn = Zdn op Zm.
#define SVE_LIB_VVM(opc, mnemonic) \
  "00000100 ss 0 " opc " 000 ggg mmmmm ddddd", library, (lib_vvm), mnemonic " z0.T, p0/m, z0.T, z1.T"
// "00000100 ss 0 opc 101 ggg nnnnn ddddd": Zd = op(Zn).
#define SVE_LIB_VM(opc, mnemonic) \
  "00000100 ss 0 " opc " 101 ggg nnnnn ddddd", library, (lib_vm), mnemonic " z0.T, p0/m, z1.T"

#define INTEGER_LIBRARY(X)                                                \
  SVE_U4(X, 31_13, SubRVVM, SVE_LIB_VVM("00011", "subr"))                 \
  SVE_S4(X, 31_13, AbdVVM, SVE_LIB_VVM("01100", "sabd"))                  \
  SVE_U4(X, 31_13, AbdVVM, SVE_LIB_VVM("01101", "uabd"))                  \
  SVE_U4(X, 31_13, ClsVM, SVE_LIB_VM("11000", "cls"))                     \
  SVE_U4(X, 31_13, ClzVM, SVE_LIB_VM("11001", "clz"))                     \
  SVE_U4(X, 31_13, CntVM, SVE_LIB_VM("11010", "cnt"))                     \
  SVE_U4(X, 31_13, NotVM, SVE_LIB_VM("11011", "cnot"))                    \
  SVE_U4(X, 31_13, InvVM, SVE_LIB_VM("11110", "not"))                     \
  X(31_13, Extnd12VM, U16, SVE_LIB_VM("10001", "uxtb"))                   \
  X(31_13, Extnd14VM, U32, SVE_LIB_VM("10001", "uxtb"))                   \
  X(31_13, Extnd18VM, U64, SVE_LIB_VM("10001", "uxtb"))

SVE_FAMILY(integer_library, INTEGER_LIBRARY)
