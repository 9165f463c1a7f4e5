// Saturating addition and subtraction: SQADD, UQADD, SQSUB, UQSUB of two
// vectors or of a vector and an immediate, and merging under a predicate
// also SQSUBR, UQSUBR, SUQADD and USQADD of mixed signs; the saturating
// SQABS and SQNEG. The wrapped result is kept unless the operation
// overflowed, which the signs (or the carry) tell; then the limit on the
// side of the true result stands. Saturation sets no flag.
#include <limits>

#include "../decode/direct.h"
#include "../decode/families.h"
#include "immediates.h"
#include "kernel_loop.h"

namespace sve {

namespace {

template <bool Signed>
struct saturating_add {
  template <class T>
  T operator()(T a, T b) const { return saturate<Signed, false>(a, b); }
};
template <bool Signed>
struct saturating_sub {
  template <class T>
  T operator()(T a, T b) const { return saturate<Signed, true>(a, b); }
};

// SUQADD: a signed a plus an unsigned b, which can only pass the maximum.
// With a's sign bit flipped the sum is biased by half the range, and it
// passes the maximum exactly when the unsigned addition carries.
struct signed_plus_unsigned {
  template <class T>
  T operator()(T a, T b) const {
    constexpr T top = T(T(1) << (sizeof(T) * 8 - 1));
    const T biased = T(T(a ^ top) + b);
    return select(less<false>(biased, b), T(top - 1), T(biased ^ top));
  }
};

// USQADD: an unsigned a plus a signed b. A non-negative b overflows where
// the addition carries, to all ones; a negative b, added as 2^n + b, leaves
// a true sum below 0 where it does not carry, which gives 0.
struct unsigned_plus_signed {
  template <class T>
  T operator()(T a, T b) const {
    const T r = T(a + b), carry = less<false>(r, a);
    return select(T(T(0) - T(b >> (sizeof(T) * 8 - 1))), T(r & carry), T(r | carry));
  }
};

// SQNEG: only the most negative value overflows, and its negation is the
// one that stays negative, both operand and result.
template <class T>
T negate_saturated(T b) {
  const T r = T(T(0) - b);
  return T(r - T(T(r & b) >> (sizeof(T) * 8 - 1)));
}
struct saturating_neg {
  template <class T>
  T operator()(T b) const { return negate_saturated(b); }
};
struct saturating_abs {
  template <class T>
  T operator()(T b) const { return select(less<true>(b, T(0)), negate_saturated(b), b); }
};

template <bool Signed, bool Sub>
aarch64_decode_rc vectors(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size(zd.elem, [&]<class T>(T) {
    const uint8_t *a = s->z[zn.reg], *b = s->z[zm.reg];
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) { return saturate<Signed, Sub>(load<T>(a + i), load<T>(b + i)); });
  });
}

// The immediate is unsigned for both signs: up to 255 << 8, which a signed
// byte or halfword cannot hold, so those two compute in 64 bits and clamp.
template <bool Signed, bool Sub, class T>
T saturate_immediate(T a, uint64_t imm) {
  if constexpr (Signed && sizeof(T) < 8) {
    using S = signed_t<T>;
    int64_t x = S(a), r = Sub ? x - int64_t(imm) : x + int64_t(imm);
    return T(r < std::numeric_limits<S>::min() ? std::numeric_limits<S>::min()
             : r > std::numeric_limits<S>::max() ? std::numeric_limits<S>::max() : r);
  } else {
    return saturate<Signed, Sub>(a, T(imm));
  }
}

template <bool Signed, bool Sub>
aarch64_decode_rc immediate(cpu_state* s, aarch64_z_reg zdn, uint64_t imm) {
  return by_size(zdn.rw_elem, [&]<class T>(T) {
    const uint8_t* d = s->z[zdn.reg];
    return all_loop<T>(s->z[zdn.reg], [&](unsigned i) { return saturate_immediate<Signed, Sub>(load<T>(d + i), imm); });
  });
}

}  // namespace

#define SVE_QADDSUB(name, Signed, Sub)                                                                      \
  aarch64_decode_rc sve_##name##_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
    return vectors<Signed, Sub>(s, zd, zn, zm);                                                             \
  }                                                                                                         \
  aarch64_decode_rc sve_##name##_zzi(cpu_state* s, aarch64_z_reg zdn, uint64_t imm) {                       \
    return immediate<Signed, Sub>(s, zdn, imm);                                                             \
  }
SVE_QADDSUB(sqadd, true, false)
SVE_QADDSUB(uqadd, false, false)
SVE_QADDSUB(sqsub, true, true)
SVE_QADDSUB(uqsub, false, true)
#undef SVE_QADDSUB

// Zdn 4:0 and the add/subtract immediate at the element size.
template <auto Kernel>
struct vix_sat : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vix_sat::call(s, w, z_dst_src(w, 4, 0, T::code), uint64_t(imm_add_sub_elem::value<T>(w)));
  }
};

}  // namespace sve

using namespace sve;

// Vectors: "00000100 ss 1 mmmmm 000 1 U S nnnnn ddddd"; immediate:
// "00100101 ss 100 1 S U 11 h iiiiiiii ddddd".
#define SVE_QVVX(opc, kernel, mnemonic) \
  "00000100 ss 1 mmmmm 0001" opc " nnnnn ddddd", direct, (vvx<kernel##_zzz>), mnemonic " z0.T, z1.T, z2.T"
#define SVE_QVIX(opc, kernel, mnemonic) \
  "00100101 ss 1001" opc " 11 i iiiiiiii ddddd", direct, (vix_sat<kernel##_zzi>), mnemonic " z0.T, z0.T, #255"

// Predicated: "01000100 ss 011 op S U 100 ggg mmmmm ddddd", with op set for
// the reversed subtractions and the additions of mixed signs.
#define SVE_QVVM(opc, op, mnemonic) \
  "01000100 ss 011 " opc " 100 ggg mmmmm ddddd", direct, (vvm<zpz_kernel<op>>), mnemonic " z0.T, p0/m, z0.T, z1.T"
// Unary: "01000100 ss 001 0 0 N 101 ggg nnnnn ddddd".
#define SVE_QVM(opc, op, mnemonic) \
  "01000100 ss 00100" opc " 101 ggg nnnnn ddddd", direct, (vm<zpz_unary_kernel<op>>), mnemonic " z0.T, p0/m, z1.T"

#define INTEGER_SATURATING(X)                                                                 \
  SVE_S4(X, 31_21__15_10, QAddVVX, SVE_QVVX("00", sve_sqadd, "sqadd"))                        \
  SVE_U4(X, 31_21__15_10, QAddVVX, SVE_QVVX("01", sve_uqadd, "uqadd"))                        \
  SVE_S4(X, 31_21__15_10, QSubVVX, SVE_QVVX("10", sve_sqsub, "sqsub"))                        \
  SVE_U4(X, 31_21__15_10, QSubVVX, SVE_QVVX("11", sve_uqsub, "uqsub"))                        \
  SVE_S4(X, 31_14, QAddVIX, SVE_QVIX("00", sve_sqadd, "sqadd"))                               \
  SVE_U4(X, 31_14, QAddVIX, SVE_QVIX("01", sve_uqadd, "uqadd"))                               \
  SVE_S4(X, 31_14, QSubVIX, SVE_QVIX("10", sve_sqsub, "sqsub"))                               \
  SVE_U4(X, 31_14, QSubVIX, SVE_QVIX("11", sve_uqsub, "uqsub"))                               \
  SVE_S4(X, sve2_31_13, QAddVVM, SVE_QVVM("000", saturating_add<true>, "sqadd"))              \
  SVE_U4(X, sve2_31_13, QAddVVM, SVE_QVVM("001", saturating_add<false>, "uqadd"))             \
  SVE_S4(X, sve2_31_13, QSubVVM, SVE_QVVM("010", saturating_sub<true>, "sqsub"))              \
  SVE_U4(X, sve2_31_13, QSubVVM, SVE_QVVM("011", saturating_sub<false>, "uqsub"))             \
  SVE_S4(X, sve2_31_13, QAddUVVM, SVE_QVVM("100", signed_plus_unsigned, "suqadd"))            \
  SVE_U4(X, sve2_31_13, QAddSVVM, SVE_QVVM("101", unsigned_plus_signed, "usqadd"))            \
  SVE_S4(X, sve2_31_13, QSubRVVM, SVE_QVVM("110", reversed<saturating_sub<true>>, "sqsubr"))  \
  SVE_U4(X, sve2_31_13, QSubRVVM, SVE_QVVM("111", reversed<saturating_sub<false>>, "uqsubr")) \
  SVE_S4(X, sve2_31_13, QAbsVM, SVE_QVM("0", saturating_abs, "sqabs"))                        \
  SVE_S4(X, sve2_31_13, QNegVM, SVE_QVM("1", saturating_neg, "sqneg"))

SVE_FAMILY(integer_saturating, INTEGER_SATURATING)
