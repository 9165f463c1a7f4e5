// Halving addition and subtraction: SHADD, UHADD, SRHADD, URHADD, SHSUB,
// UHSUB, SHSUBR and UHSUBR halve the exact sum or difference, which needs
// one bit more than the element. The bit is never formed: a + b is
// 2 (a & b) + (a ^ b), also 2 (a | b) - (a ^ b), and a - b is
// (a ^ b) - 2 (~a & b), each bit by bit, so half of it is the shared part
// plus or minus half of a ^ b, shifted arithmetically for signed elements.
// The results always fit the element.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "kernel_loop.h"

namespace sve {
namespace {

template <bool Signed, class T>
T halve(T x) {
  return Signed ? T(signed_t<T>(x) >> 1) : T(x >> 1);
}

// (a + b) >> 1, rounded down.
template <bool Signed>
struct halving_add {
  template <class T>
  T operator()(T a, T b) const { return T(T(a & b) + halve<Signed>(T(a ^ b))); }
};

// (a + b + 1) >> 1.
template <bool Signed>
struct rounding_halving_add {
  template <class T>
  T operator()(T a, T b) const { return T(T(a | b) - halve<Signed>(T(a ^ b))); }
};

// (a - b) >> 1, rounded down.
template <bool Signed>
struct halving_sub {
  template <class T>
  T operator()(T a, T b) const { return T(halve<Signed>(T(a ^ b)) - T(~a & b)); }
};

}  // namespace
}  // namespace sve

using namespace sve;

// "01000100 ss 010 R S U 100 ggg mmmmm ddddd": R rounds, S subtracts, U
// is unsigned; with R and S both set the subtraction is reversed.
#define SVE_HALVING(opc, op, mnemonic) \
  "01000100 ss 010 " opc " 100 ggg mmmmm ddddd", direct, (vvm<zpz_kernel<op>>), mnemonic " z0.T, p0/m, z0.T, z1.T"

#define INTEGER_HALVING(X)                                                                              \
  SVE_S4(X, sve2_31_13, HAddVVM, SVE_HALVING("000", halving_add<true>, "shadd"))                        \
  SVE_U4(X, sve2_31_13, HAddVVM, SVE_HALVING("001", halving_add<false>, "uhadd"))                       \
  SVE_S4(X, sve2_31_13, HSubVVM, SVE_HALVING("010", halving_sub<true>, "shsub"))                        \
  SVE_U4(X, sve2_31_13, HSubVVM, SVE_HALVING("011", halving_sub<false>, "uhsub"))                       \
  SVE_S4(X, sve2_31_13, RHAddVVM, SVE_HALVING("100", rounding_halving_add<true>, "srhadd"))             \
  SVE_U4(X, sve2_31_13, RHAddVVM, SVE_HALVING("101", rounding_halving_add<false>, "urhadd"))            \
  SVE_S4(X, sve2_31_13, HSubRVVM, SVE_HALVING("110", reversed<halving_sub<true>>, "shsubr"))            \
  SVE_U4(X, sve2_31_13, HSubRVVM, SVE_HALVING("111", reversed<halving_sub<false>>, "uhsubr"))

SVE_FAMILY(integer_halving, INTEGER_HALVING)
