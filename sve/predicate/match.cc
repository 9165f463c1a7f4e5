// MATCH and NMATCH: whether an element of Zn equals any element of the same
// 128-bit segment of Zm, or none, as a predicate that zeroes inactive
// elements, with the flags of the result against Pg, as compares set them.
#include "../decode/families.h"
#include "predicate_shapes.h"

namespace sve {

namespace {

template <bool Negate>
aarch64_decode_rc match_kernel(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size<Z_B, Z_H>(pd.elem, [&]<class T>(T) {
    pred_bytes r;
    const uint8_t *g = s->p[pg.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    T any = 0;
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) {
      const uint8_t* segment = b + (i & ~15u);
      const T x = load<T>(a + i);
      T found = 0;
      for (unsigned j = 0; j < 16; j += sizeof(T)) found |= T(load<T>(segment + j) == x);
      const T v = T(load<T>(g + i) & 1 & (found ^ T(Negate)));
      store<T>(r.b + i, v);
      any |= v;
    }
    sve_ptest<T>(s, g, r.b, any != 0);
    std::memcpy(s->p[pd.reg], r.b, sve_vl_bytes);
    return aarch64_decode_ok;
  });
}

}  // namespace

aarch64_decode_rc sve_match_ppzz(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) {
  return match_kernel<false>(s, pd, pg, zn, zm);
}
aarch64_decode_rc sve_nmatch_ppzz(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn,
                                  aarch64_z_reg zm) {
  return match_kernel<true>(s, pd, pg, zn, zm);
}

}  // namespace sve

using namespace sve;

// "01000101 ss 1 mmmmm 100 ggg nnnnn op dddd", bytes and halfwords only.
#define SVE_MATCH(X, op, ne, kernel, mnemonic)                                                       \
  X(sve2_31_21__15_13__4_4, op, U8, "01000101 ss 1 mmmmm 100 ggg nnnnn " ne " dddd", direct,        \
    (cmp_vv<kernel>), mnemonic " p0.T, p1/z, z2.T, z3.T")                                            \
  X(sve2_31_21__15_13__4_4, op, U16, "01000101 ss 1 mmmmm 100 ggg nnnnn " ne " dddd", direct,       \
    (cmp_vv<kernel>), mnemonic " p0.T, p1/z, z2.T, z3.T")

#define PREDICATE_MATCH(X)                                 \
  SVE_MATCH(X, MatchFlgVVZ, "0", sve_match_ppzz, "match") \
  SVE_MATCH(X, NMatchFlgVVZ, "1", sve_nmatch_ppzz, "nmatch")

SVE_FAMILY(predicate_match, PREDICATE_MATCH)
