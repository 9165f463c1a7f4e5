// Merging-predicated integer arithmetic and logic with direct kernels:
// add, subtract, the bitwise operations, minimum and maximum, negate,
// absolute value, bit reverse, sign and zero extension, and the unsigned
// fixed-point estimates URECPE and URSQRTE. The same instructions' other
// forms (SUBR, UXTB and so on) take the library route.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../fplib/estimates.h"
#include "kernel_loop.h"

namespace sve {
namespace {

// Exchanges neighbouring groups of `Shift` bits.
template <unsigned Shift, class T>
T swap_groups(T v, uint64_t mask) {
  if constexpr (Shift >= sizeof(T) * 8) {
    return v;
  } else {
    T m = T(mask);
    return T((v >> Shift & m) | T(v & m) << Shift);
  }
}

// Bit reversal by swapping ever larger groups: bits, pairs, nibbles, bytes
// and so on up to the element's halves. Shifts and masks only, so the element
// loop vectorises on any host.
template <class T>
T reverse_bits(T v) {
  v = swap_groups<1>(v, 0x5555555555555555);
  v = swap_groups<2>(v, 0x3333333333333333);
  v = swap_groups<4>(v, 0x0f0f0f0f0f0f0f0f);
  v = swap_groups<8>(v, 0x00ff00ff00ff00ff);
  v = swap_groups<16>(v, 0x0000ffff0000ffff);
  return swap_groups<32>(v, 0x00000000ffffffff);
}

// One kernel per instruction: the operation on one element pair, over the
// element types the kernel has paths for.
#define SVE_ZPZ_KERNEL(name, expr)                                                    \
  aarch64_decode_rc sve_##name##_zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, \
                                     aarch64_z_reg zm) {                              \
    return by_size(zdn.rw_elem, [&](auto e) {                                         \
      using T = decltype(e);                                                          \
      return zpz_loop<T>(s, zdn, pg, zm, [](T a, T b) { return expr; });              \
    });                                                                               \
  }

}  // namespace

SVE_ZPZ_KERNEL(add, T(a + b))
SVE_ZPZ_KERNEL(sub, T(a - b))
SVE_ZPZ_KERNEL(and, T(a & b))
SVE_ZPZ_KERNEL(orr, T(a | b))
SVE_ZPZ_KERNEL(eor, T(a ^ b))
SVE_ZPZ_KERNEL(bic, T(a & ~b))
SVE_ZPZ_KERNEL(smax, select(less<true>(a, b), b, a))
SVE_ZPZ_KERNEL(smin, select(less<true>(a, b), a, b))
SVE_ZPZ_KERNEL(umax, select(less<false>(a, b), b, a))
SVE_ZPZ_KERNEL(umin, select(less<false>(a, b), a, b))
#undef SVE_ZPZ_KERNEL

aarch64_decode_rc sve_neg_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size(zd.elem, [&](auto e) {
    using T = decltype(e);
    return zpz_unary_loop<T>(s, zd, pg, zn, [](T b) { return T(T(0) - b); });
  });
}

// The most negative value is its own absolute value once cut to the element.
aarch64_decode_rc sve_abs_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size(zd.elem, [&](auto e) {
    using T = decltype(e);
    return zpz_unary_loop<T>(s, zd, pg, zn, [](T b) { return select(less<true>(b, T(0)), T(T(0) - b), b); });
  });
}

aarch64_decode_rc sve_rbit_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size(zd.elem, [&](auto e) {
    using T = decltype(e);
    return zpz_unary_loop<T>(s, zd, pg, zn, [](T b) { return reverse_bits(b); });
  });
}

// Extension of the low `From` part of each element: signed or unsigned, at
// the element sizes the kernel has paths for.
template <class From, uint32_t Default, uint32_t... Paths>
static aarch64_decode_rc extend(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size<Default, Paths...>(zd.elem, [&](auto e) {
    using T = decltype(e);
    return zpz_unary_loop<T>(s, zd, pg, zn, [](T b) { return T(From(b)); });
  });
}

aarch64_decode_rc sve_sxtb_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return extend<int8_t, Z_H, Z_S, Z_D>(s, zd, pg, zn);
}
aarch64_decode_rc sve_sxth_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return extend<int16_t, Z_S, Z_D>(s, zd, pg, zn);
}
aarch64_decode_rc sve_uxth_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return extend<uint16_t, Z_S, Z_D>(s, zd, pg, zn);
}
aarch64_decode_rc sve_sxtw_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return extend<int32_t, Z_D>(s, zd, pg, zn);
}
aarch64_decode_rc sve_uxtw_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return extend<uint32_t, Z_D>(s, zd, pg, zn);
}

// The unsigned estimates take a word as a fraction below 1 and give the
// 9-bit estimate, 1 to 2, in its top bits. The reciprocal's table starts at
// 1/2 and the square root's at 1/4; an operand below gives all ones. Of the
// nine operand bits that index them, the square root's table takes those
// below 256 (an odd exponent) one by one and the rest by pairs.
aarch64_decode_rc sve_urecpe_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return zpz_unary_loop<uint32_t>(s, zd, pg, zn, [](uint32_t b) {
    return b >> 31 ? (256u | reciprocal_estimate[b >> 23 & 255]) << 23 : ~0u;
  });
}
aarch64_decode_rc sve_ursqrte_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return zpz_unary_loop<uint32_t>(s, zd, pg, zn, [](uint32_t b) {
    const uint32_t a = b >> 23;
    return b >> 30 ? (256u | recip_sqrt_estimate[a < 256 ? a - 128 : 128 + (a - 256) / 2]) << 23 : ~0u;
  });
}

}  // namespace sve

using namespace sve;

// Zdn = Zdn op Zm: "00000100 ss 0 opc 000 ggg mmmmm ddddd".
#define SVE_VVM(opc, kernel, mnemonic) \
  "00000100 ss 0 " opc " 000 ggg mmmmm ddddd", direct, (vvm<kernel>), mnemonic " z0.T, p0/m, z0.T, z1.T"
// Zd = op(Zn): "00000100 ss 0 opc 101 ggg nnnnn ddddd".
#define SVE_VM(opc, kernel, mnemonic) \
  "00000100 ss 0 " opc " 101 ggg nnnnn ddddd", direct, (vm<kernel>), mnemonic " z0.T, p0/m, z1.T"
// The unsigned estimates, of words only: "01000100 ss 00000 N 101 ggg nnnnn ddddd".
#define SVE_ESTIMATE(opc, kernel, mnemonic) \
  "01000100 ss 00000" opc " 101 ggg nnnnn ddddd", direct, (vm<kernel>), mnemonic " z0.T, p0/m, z1.T"

#define INTEGER_PREDICATED(X)                                        \
  SVE_U4(X, 31_13, AddVVM, SVE_VVM("00000", sve_add_zpz, "add"))  \
  SVE_U4(X, 31_13, SubVVM, SVE_VVM("00001", sve_sub_zpz, "sub"))  \
  SVE_U4(X, 31_13, AndVVM, SVE_VVM("11010", sve_and_zpz, "and"))  \
  SVE_U4(X, 31_13, OrVVM, SVE_VVM("11000", sve_orr_zpz, "orr"))   \
  SVE_U4(X, 31_13, XorVVM, SVE_VVM("11001", sve_eor_zpz, "eor"))  \
  SVE_U4(X, 31_13, BicVVM, SVE_VVM("11011", sve_bic_zpz, "bic"))  \
  SVE_S4(X, 31_13, MaxVVM, SVE_VVM("01000", sve_smax_zpz, "smax")) \
  SVE_U4(X, 31_13, MaxVVM, SVE_VVM("01001", sve_umax_zpz, "umax")) \
  SVE_S4(X, 31_13, MinVVM, SVE_VVM("01010", sve_smin_zpz, "smin")) \
  SVE_U4(X, 31_13, MinVVM, SVE_VVM("01011", sve_umin_zpz, "umin")) \
  SVE_S4(X, 31_13, NegVM, SVE_VM("10111", sve_neg_zpz, "neg"))           \
  SVE_S4(X, 31_13, AbsVM, SVE_VM("10110", sve_abs_zpz, "abs"))           \
  SVE_U4(X, 31_13, RBitVM,                                               \
         "00000101 ss 100111 100 ggg nnnnn ddddd", direct, (vm<sve_rbit_zpz>), "rbit z0.T, p0/m, z1.T") \
  X(31_13, Extnd12VM, S16, SVE_VM("10000", sve_sxtb_zpz, "sxtb"))        \
  X(31_13, Extnd14VM, S32, SVE_VM("10000", sve_sxtb_zpz, "sxtb"))        \
  X(31_13, Extnd18VM, S64, SVE_VM("10000", sve_sxtb_zpz, "sxtb"))        \
  X(31_13, Extnd24VM, S32, SVE_VM("10010", sve_sxth_zpz, "sxth"))        \
  X(31_13, Extnd24VM, U32, SVE_VM("10011", sve_uxth_zpz, "uxth"))        \
  X(31_13, Extnd28VM, S64, SVE_VM("10010", sve_sxth_zpz, "sxth"))        \
  X(31_13, Extnd28VM, U64, SVE_VM("10011", sve_uxth_zpz, "uxth"))        \
  X(31_13, Extnd48VM, S64, SVE_VM("10100", sve_sxtw_zpz, "sxtw"))        \
  X(31_13, Extnd48VM, U64, SVE_VM("10101", sve_uxtw_zpz, "uxtw"))        \
  X(sve2_31_13, RecpEVM, U32, SVE_ESTIMATE("0", sve_urecpe_zpz, "urecpe"))  \
  X(sve2_31_13, RSqrtEVM, U32, SVE_ESTIMATE("1", sve_ursqrte_zpz, "ursqrte"))

SVE_FAMILY(integer_predicated, INTEGER_PREDICATED)
