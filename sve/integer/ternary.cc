// Bitwise operations of three vectors: EOR3, BCAX and the bit selects BSL,
// BSL1N, BSL2N, NBSL, which treat the vector as one bit string, and XAR,
// which rotates the exclusive OR of two vectors right within each element.
// The bit selects take each bit from Zdn where Zk has a one and from Zm where
// it has a zero; the N forms invert the first or second choice, or the result.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/bytewise.h"
#include "kernel_loop.h"

namespace sve {

// Zdn = op(Zdn, Zm, Zk) over the whole vector as one bit string.
#define SVE_ZZZ_TERNARY(name, expr)                                                                         \
  aarch64_decode_rc sve_##name##_zzz(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm, aarch64_z_reg zk) { \
    bytewise(                                                                                               \
        s->z[zdn.reg], [](auto& r, const auto& a, const auto& b, const auto& k) { r = expr; },              \
        s->z[zdn.reg], s->z[zm.reg], s->z[zk.reg]);                                                         \
    return aarch64_decode_ok;                                                                               \
  }
SVE_ZZZ_TERNARY(eor3, a ^ b ^ k)
SVE_ZZZ_TERNARY(bcax, a ^ (b & ~k))
SVE_ZZZ_TERNARY(bsl, (a & k) | (b & ~k))
SVE_ZZZ_TERNARY(bsl1n, (~a & k) | (b & ~k))
SVE_ZZZ_TERNARY(bsl2n, (a & k) | (~b & ~k))
SVE_ZZZ_TERNARY(nbsl, ~((a & k) | (b & ~k)))
#undef SVE_ZZZ_TERNARY

// Zdn = (Zdn ^ Zm) rotated right by 1 to the element width; a rotation by
// the whole width leaves the element as it is.
aarch64_decode_rc sve_xar_zzi(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm, uint32_t amount) {
  return by_size(zdn.rw_elem, [&]<class T>(T) {
    constexpr unsigned bits = sizeof(T) * 8;
    const unsigned r = amount & (bits - 1), l = (bits - r) & (bits - 1);
    const uint8_t *d = s->z[zdn.reg], *m = s->z[zm.reg];
    return all_loop<T>(s->z[zdn.reg], [&](unsigned i) {
      T x = T(load<T>(d + i) ^ load<T>(m + i));
      return T(T(x >> r) | T(x << l));
    });
  });
}

// Zdn 4:0, Zm 20:16, Zk 9:5.
template <auto Kernel>
struct vvv_ternary : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vvv_ternary::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 20, 16, T::code), z_plain(w, 9, 5, T::code));
  }
};

// Zdn 4:0, Zm 9:5, the right rotation of tsz:imm3 as for shifts.
template <auto Kernel>
struct vvi_rotate : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vvi_rotate::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 9, 5, T::code),
                            shift_right_amount(w, T::code, false));
  }
};

}  // namespace sve

using namespace sve;

// "00000100 opc 1 mmmmm 00111 o2 kkkkk ddddd"; opc:o2 10:0 and 11:0 are
// unallocated.
#define SVE_TERNARY(opc, o2, kernel, mnemonic)                                                        \
  "00000100 " opc " 1 mmmmm 00111" o2 " kkkkk ddddd", direct, (vvv_ternary<kernel>), mnemonic " z0.d, " \
  "z0.d, z1.d, z2.d"
// "00000100 tszh 1 tszl imm3 001101 mmmmm ddddd": the element size is the
// lowest set bit of tsz.
#define SVE_XAR(X, op, kernel)                                                                                      \
  X(sve2_31_19__15_10, op, U8, "00000100 00 1 01 iii 001101 mmmmm ddddd", direct, (vvi_rotate<kernel>),            \
    "xar z0.T, z0.T, z1.T, #1")                                                                                     \
  X(sve2_31_20__15_10, op, U16, "00000100 00 1 1 iiii 001101 mmmmm ddddd", direct, (vvi_rotate<kernel>),           \
    "xar z0.T, z0.T, z1.T, #1")                                                                                     \
  X(sve2_31_21__15_10, op, U32, "00000100 01 1 iiiii 001101 mmmmm ddddd", direct, (vvi_rotate<kernel>),            \
    "xar z0.T, z0.T, z1.T, #1")                                                                                     \
  X(sve2_31_23__21_21__15_10, op, U64, "00000100 1 i 1 iiiii 001101 mmmmm ddddd", direct, (vvi_rotate<kernel>),    \
    "xar z0.T, z0.T, z1.T, #1")

#define INTEGER_TERNARY(X)                                                              \
  X(sve2_31_21__15_10, Xor3VVVX, U64, SVE_TERNARY("00", "0", sve_eor3_zzz, "eor3"))     \
  X(sve2_31_21__15_10, XorBicVVVX, U64, SVE_TERNARY("01", "0", sve_bcax_zzz, "bcax"))   \
  X(sve2_31_21__15_10, BitSelVVVX, U64, SVE_TERNARY("00", "1", sve_bsl_zzz, "bsl"))     \
  X(sve2_31_21__15_10, BitSel1NVVVX, U64, SVE_TERNARY("01", "1", sve_bsl1n_zzz, "bsl1n")) \
  X(sve2_31_21__15_10, BitSel2NVVVX, U64, SVE_TERNARY("10", "1", sve_bsl2n_zzz, "bsl2n")) \
  X(sve2_31_21__15_10, NBitSelVVVX, U64, SVE_TERNARY("11", "1", sve_nbsl_zzz, "nbsl"))  \
  SVE_XAR(X, XorRotVVIX, sve_xar_zzi)

SVE_FAMILY(integer_ternary, INTEGER_TERNARY)
