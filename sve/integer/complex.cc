// Integer complex arithmetic on element pairs, real part first: CADD and
// SQCADD add a vector rotated by 90 or 270 degrees; CMLA and SQRDCMLAH
// accumulate a product rotated by 0, 90, 180 or 270 degrees; CDOT adds to
// each wide accumulator the real or imaginary parts of two complex products
// of narrow pairs. The indexed forms take the second factor from one pair
// (or one group of two pairs) per 128-bit segment of Zm.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/saturate.h"
#include "kernel_loop.h"

namespace sve {

namespace {

template <class T>
wide_int signed_wide(T v) {
  return wide_int(signed_t<T>(v));
}

// The signed n-bit limit that x reaches first, or x itself.
template <class T>
T saturate_wide(wide_int x) {
  return T(SatQ(x, sizeof(T) * 8, 0).value);
}

// CADD #90 subtracts the imaginary part of Zm from the real part of Zdn and
// adds its real part to the imaginary one; #270 does the opposite. Element e
// meets its pair partner e ^ 1 of Zm.
template <bool Saturate>
aarch64_decode_rc complex_add(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm, uint32_t rot) {
  return by_size(zdn.rw_elem, [&]<class T>(T) {
    const uint8_t *a = s->z[zdn.reg], *b = s->z[zm.reg];
    return all_loop<T>(s->z[zdn.reg], [&](unsigned i) {
      const bool subtract = (i / sizeof(T) & 1) == rot;
      const T x = load<T>(a + i), y = load<T>(b + (i ^ sizeof(T)));
      if constexpr (Saturate)
        return saturate_wide<T>(subtract ? signed_wide(x) - signed_wide(y) : signed_wide(x) + signed_wide(y));
      else
        return T(subtract ? x - y : x + y);
    });
  });
}

// The rotation's choice for element e of Zda: the factor of Zn is the real
// part of its pair for rotations 0 and 180, the imaginary part for 90 and
// 270; that of Zm is the part of the same name for the real result and the
// other one for the imaginary result; the product is subtracted from the
// real part for 90 and 180, from the imaginary part for 180 and 270.
struct complex_terms {
  unsigned n_part, m_part;
  bool negate;
};
inline complex_terms terms_of(unsigned e, uint32_t rot) {
  const unsigned r0 = rot & 1, r1 = rot >> 1, imag = e & 1;
  return {r0, imag ? 1 - r0 : r0, bool(imag ? r1 : r0 ^ r1)};
}

// Accumulator a plus or minus x * y: wrapping, or, for the rounding doubling
// high half, (a << n) + 2xy + 2^(n-1) shifted down by n bits and saturated,
// which is a + ((xy + 2^(n-2)) >> (n-1)) without overflow at 64 bits.
template <bool RoundingHigh, class T>
T multiply_accumulate(T a, T x, T y, bool negate) {
  if constexpr (RoundingHigh) {
    constexpr unsigned n = sizeof(T) * 8;
    wide_int p = signed_wide(x) * signed_wide(y);
    p = negate ? -p : p;
    return saturate_wide<T>(signed_wide(a) + ((p + (wide_int(1) << (n - 2))) >> (n - 1)));
  } else {
    const T p = wrap_mul(x, y);
    return T(negate ? a - p : a + p);
  }
}

// CMLA and SQRDCMLAH; pair_of maps a pair of Zda to the pair of Zm that
// multiplies it.
template <bool RoundingHigh, class PairOf>
aarch64_decode_rc complex_mla(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t rot,
                              PairOf pair_of) {
  return by_size(zda.rw_elem, [&]<class T>(T) {
    const uint8_t *d = s->z[zda.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    return all_loop<T>(s->z[zda.reg], [&](unsigned i) {
      const unsigned e = i / sizeof(T), pair = e / 2;
      const complex_terms t = terms_of(e, rot);
      const T x = load<T>(a + (2 * pair + t.n_part) * sizeof(T));
      const T y = load<T>(b + (2 * pair_of(pair, sizeof(T)) + t.m_part) * sizeof(T));
      return multiply_accumulate<RoundingHigh>(load<T>(d + i), x, y, t.negate);
    });
  });
}

// CDOT: accumulator e takes the two narrow pairs 2e, 2e+1 of Zn and the two
// pairs of group group_of(e) of Zm. Rotation 0 adds the real part of each
// product, r1 r2 - i1 i2; 180 adds r1 r2 + i1 i2; 90 and 270 add the
// imaginary part r1 i2 + i1 r2, or r1 i2 - i1 r2.
template <class GroupOf>
aarch64_decode_rc complex_dot(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t rot,
                              GroupOf group_of) {
  return by_size<Z_S, Z_D>(zda.rw_elem, [&]<class Acc>(Acc) {
    using N = std::conditional_t<sizeof(Acc) == 4, int8_t, int16_t>;
    using Product = signed_t<Acc>;
    const unsigned sel_a = rot & 1, sel_b = 1 - sel_a;
    const bool negate = (rot & 1) == (rot >> 1);
    const uint8_t *d = s->z[zda.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    return all_loop<Acc>(s->z[zda.reg], [&](unsigned i) {
      const unsigned e = i / sizeof(Acc), g = group_of(e);
      Acc sum = load<Acc>(d + i);
      for (unsigned k = 0; k < 4; k += 2) {
        const Product xr = load<N>(a + (4 * e + k) * sizeof(N)), xi = load<N>(a + (4 * e + k + 1) * sizeof(N));
        const Product ya = load<N>(b + (4 * g + k + sel_a) * sizeof(N));
        const Product yb = load<N>(b + (4 * g + k + sel_b) * sizeof(N));
        sum = Acc(sum + Acc(xr * ya));
        sum = negate ? Acc(sum - Acc(xi * yb)) : Acc(sum + Acc(xi * yb));
      }
      return sum;
    });
  });
}

}  // namespace

aarch64_decode_rc sve_cadd_zzi(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm, uint32_t rot) {
  return complex_add<false>(s, zdn, zm, rot);
}
aarch64_decode_rc sve_sqcadd_zzi(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm, uint32_t rot) {
  return complex_add<true>(s, zdn, zm, rot);
}

#define SVE_COMPLEX_MLA(name, RoundingHigh)                                                                   \
  aarch64_decode_rc sve_##name##_zzzi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm,    \
                                      uint32_t rot) {                                                         \
    return complex_mla<RoundingHigh>(s, zda, zn, zm, rot, [](unsigned pair, unsigned) { return pair; });      \
  }                                                                                                           \
  aarch64_decode_rc sve_##name##_zzzxi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm,   \
                                       uint32_t index, uint32_t rot) {                                        \
    return complex_mla<RoundingHigh>(s, zda, zn, zm, rot, [index](unsigned pair, unsigned bytes) {            \
      const unsigned per_segment = 16 / (2 * bytes);                                                          \
      return pair / per_segment * per_segment + index;                                                        \
    });                                                                                                       \
  }
SVE_COMPLEX_MLA(cmla, false)
SVE_COMPLEX_MLA(sqrdcmlah, true)
#undef SVE_COMPLEX_MLA

aarch64_decode_rc sve_cdot_zzzi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t rot) {
  return complex_dot(s, zda, zn, zm, rot, [](unsigned e) { return e; });
}
aarch64_decode_rc sve_cdot_zzzxi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t index,
                                 uint32_t rot) {
  const unsigned per_segment = zda.rw_elem == Z_S ? 4 : 2;
  return complex_dot(s, zda, zn, zm, rot, [=](unsigned e) { return e / per_segment * per_segment + index; });
}

// Zdn 4:0, Zm 9:5, the rotation bit 10.
template <auto Kernel>
struct vv_rot_add : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vv_rot_add::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 9, 5, T::code), field(w, 10, 10));
  }
};

// Zda 4:0, Zn 9:5, Zm 20:16, the rotation 11:10.
template <auto Kernel>
struct vvv_rot : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vvv_rot::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 9, 5, T::code), z_plain(w, 20, 16, T::code),
                         field(w, 11, 10));
  }
};

// The indexed forms: Zm and the index share bits 20:16, split by the size
// of Zda: halfword multiplies and word dot products keep Zm in 18:16 and a
// two-bit index, the others Zm in 19:16 and a one-bit index.
template <auto Kernel, uint32_t NarrowCode>
struct vvv_index_rot : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr bool narrow = T::code == NarrowCode;
    return vvv_index_rot::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 9, 5, T::code),
                               z_plain(w, narrow ? 18 : 19, 16, T::code),
                               narrow ? field(w, 20, 19) : field(w, 20, 20), field(w, 11, 10));
  }
};

}  // namespace sve

using namespace sve;

// "01000101 ss 00000 op 11011 r mmmmm ddddd".
#define SVE_CADD(op, kernel, mnemonic) \
  "01000101 ss 00000 " op " 11011 r mmmmm ddddd", direct, (vv_rot_add<kernel>), mnemonic " z0.T, z0.T, z1.T, #90"
// "01000100 ss 0 mmmmm 001 op rr nnnnn ddddd".
#define SVE_CMLA(op, kernel, mnemonic) \
  "01000100 ss 0 mmmmm 001" op " rr nnnnn ddddd", direct, (vvv_rot<kernel>), mnemonic " z0.T, z1.T, z2.T, #90"
// "01000100 1 size 1 index:Zm 011 op rr nnnnn ddddd", halfwords and words.
#define SVE_CMLA_INDEXED(X, op, kernel, mnemonic)                                                                   \
  X(sve2_31_21__15_12, op, S16, "01000100 101 iimmm 0110 rr nnnnn ddddd", direct, (vvv_index_rot<kernel, Z_H>),    \
    mnemonic " z0.T, z1.T, z2.T[1], #90")                                                                           \
  X(sve2_31_21__15_12, op, S32, "01000100 111 immmm 0110 rr nnnnn ddddd", direct, (vvv_index_rot<kernel, Z_H>),    \
    mnemonic " z0.T, z1.T, z2.T[1], #90")
#define SVE_SQRDCMLAH_INDEXED(X, op, kernel, mnemonic)                                                              \
  X(sve2_31_21__15_12, op, S16, "01000100 101 iimmm 0111 rr nnnnn ddddd", direct, (vvv_index_rot<kernel, Z_H>),    \
    mnemonic " z0.T, z1.T, z2.T[1], #90")                                                                           \
  X(sve2_31_21__15_12, op, S32, "01000100 111 immmm 0111 rr nnnnn ddddd", direct, (vvv_index_rot<kernel, Z_H>),    \
    mnemonic " z0.T, z1.T, z2.T[1], #90")

#define INTEGER_COMPLEX(X)                                                                                       \
  SVE_U4(X, sve2_31_11, CAddVVX, SVE_CADD("0", sve_cadd_zzi, "cadd"))                                           \
  SVE_S4(X, sve2_31_11, QCAddVVX, SVE_CADD("1", sve_sqcadd_zzi, "sqcadd"))                                      \
  SVE_S4(X, sve2_31_21__15_12, CMLAVVVX, SVE_CMLA("0", sve_cmla_zzzi, "cmla"))                                  \
  SVE_S4(X, sve2_31_21__15_12, QRDCMLAHVVVX, SVE_CMLA("1", sve_sqrdcmlah_zzzi, "sqrdcmlah"))                    \
  SVE_CMLA_INDEXED(X, CMLAVVVIX, sve_cmla_zzzxi, "cmla")                                                         \
  SVE_SQRDCMLAH_INDEXED(X, QRDCMLAHVVVIX, sve_sqrdcmlah_zzzxi, "sqrdcmlah")                                      \
  X(sve2_31_21__15_12, CDotVVVX, S32, "01000100 10 0 mmmmm 0001 rr nnnnn ddddd", direct, (vvv_rot<sve_cdot_zzzi>), \
    "cdot z0.s, z1.b, z2.b, #90")                                                                                \
  X(sve2_31_21__15_12, CDotVVVX, S64, "01000100 11 0 mmmmm 0001 rr nnnnn ddddd", direct, (vvv_rot<sve_cdot_zzzi>), \
    "cdot z0.d, z1.h, z2.h, #90")                                                                                \
  X(sve2_31_21__15_12, CDotVVVIX, S32, "01000100 101 iimmm 0100 rr nnnnn ddddd", direct,                         \
    (vvv_index_rot<sve_cdot_zzzxi, Z_S>), "cdot z0.s, z1.b, z2.b[1], #90")                                       \
  X(sve2_31_21__15_12, CDotVVVIX, S64, "01000100 111 immmm 0100 rr nnnnn ddddd", direct,                         \
    (vvv_index_rot<sve_cdot_zzzxi, Z_S>), "cdot z0.d, z1.h, z2.h[1], #90")

SVE_FAMILY(integer_complex, INTEGER_COMPLEX)
