// MATCH and NMATCH: whether an element of Zn equals any element of the same
// 128-bit segment of Zm, or none, as a predicate that zeroes inactive
// elements, with the flags of the result against Pg, as compares set them.
#include "../decode/families.h"
#include "../support/bytewise.h"
#include "predicate_shapes.h"

namespace sve {

namespace {

// Sixteen bytes of Zn at a time, compared with each rotation of the same
// segment of Zm, in the compiler's vector type: whole-register compares
// and shuffles on any host.
using halfword_piece = uint16_t __attribute__((vector_size(16)));

template <bool Negate>
aarch64_decode_rc match_kernel(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size<Z_B, Z_H>(pd.elem, [&]<class T>(T) {
    using piece = std::conditional_t<sizeof(T) == 1, byte_piece, halfword_piece>;
    pred_bytes r;
    const uint8_t *g = s->p[pg.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    piece any = {};
    for (unsigned i = 0; i < sve_vl_bytes; i += 16) {
      piece x, y, active, found = {};
      std::memcpy(&x, a + i, 16);
      std::memcpy(&y, b + i, 16);
      std::memcpy(&active, g + i, 16);
      for_each_rotation(y, [&](const piece& rotated) { found |= piece(x == rotated); });
      const piece v = active & 1 & (Negate ? ~found : found);
      std::memcpy(r.b + i, &v, 16);
      any |= v;
    }
    bool some = false;
    for (unsigned k = 0; k < 16 / sizeof(T); ++k) some |= any[k] != 0;
    sve_ptest<T>(s, g, r.b, some);
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
