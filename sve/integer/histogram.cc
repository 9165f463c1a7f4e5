// Histograms of vector elements: HISTCNT counts, for each active element of
// Zn, the active elements of Zm at or below its position that equal it, and
// zeroes inactive elements; HISTSEG counts, for each byte of Zn, the equal
// bytes of the same 128-bit segment of Zm.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "kernel_loop.h"

namespace sve {

aarch64_decode_rc sve_histcnt_zpzz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                                   aarch64_z_reg zm) {
  return by_size<Z_S, Z_D>(zd.elem, [&]<class T>(T) {
    const uint8_t *g = s->p[pg.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) {
      const T x = load<T>(a + i);
      T count = 0;
      for (unsigned j = 0; j <= i; j += sizeof(T)) count += T(g[j] & 1 & (load<T>(b + j) == x));
      return T(count & (T(0) - T(g[i] & 1)));
    });
  });
}

aarch64_decode_rc sve_histseg_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  const uint8_t *a = s->z[zn.reg], *b = s->z[zm.reg];
  return all_loop<uint8_t>(s->z[zd.reg], [&](unsigned i) {
    const uint8_t* segment = b + (i & ~15u);
    uint8_t count = 0;
    for (unsigned j = 0; j < 16; ++j) count += uint8_t(segment[j] == a[i]);
    return count;
  });
}

// Zd 4:0, Pg 12:10 zeroing, Zn 9:5, Zm 20:16.
template <auto Kernel>
struct vpvv_zeroing : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code;
    return vpvv_zeroing::call(s, w, z_plain(w, 4, 0, c), p_gov(w, 12, 10, P_Z), z_plain(w, 9, 5, c),
                              z_plain(w, 20, 16, c));
  }
};

}  // namespace sve

using namespace sve;

// HISTCNT "01000101 ss 1 mmmmm 110 ggg nnnnn ddddd", words and doublewords;
// HISTSEG "01000101 00 1 mmmmm 101000 nnnnn ddddd".
#define INTEGER_HISTOGRAM(X)                                                                                  \
  X(sve2_31_21__15_13, HistCntVVZ, U32, "01000101 ss 1 mmmmm 110 ggg nnnnn ddddd", direct,                  \
    (vpvv_zeroing<sve_histcnt_zpzz>), "histcnt z0.T, p1/z, z2.T, z3.T")                                      \
  X(sve2_31_21__15_13, HistCntVVZ, U64, "01000101 ss 1 mmmmm 110 ggg nnnnn ddddd", direct,                  \
    (vpvv_zeroing<sve_histcnt_zpzz>), "histcnt z0.T, p1/z, z2.T, z3.T")                                      \
  X(sve2_31_21__15_10, HistSegVVX, U8, "01000101 00 1 mmmmm 101000 nnnnn ddddd", direct,                    \
    (vvx<sve_histseg_zzz>), "histseg z0.b, z1.b, z2.b")

SVE_FAMILY(integer_histogram, INTEGER_HISTOGRAM)
