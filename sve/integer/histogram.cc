// Histograms of vector elements: HISTCNT counts, for each active element of
// Zn, the active elements of Zm at or below its position that equal it, and
// zeroes inactive elements; HISTSEG counts, for each byte of Zn, the equal
// bytes of the same 128-bit segment of Zm.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/bytewise.h"
#include "kernel_loop.h"

namespace sve {

// HISTCNT by columns: each active element of Zm adds one to the count of
// every element of Zn at or above its position that equals it, a loop
// over the lanes that vectorises; inactive elements of Zn are zeroed last.
aarch64_decode_rc sve_histcnt_zpzz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                                   aarch64_z_reg zm) {
  return by_size<Z_S, Z_D>(zd.elem, [&]<class T>(T) {
    constexpr unsigned n = sve_vl_bytes / sizeof(T), per_piece = 16 / sizeof(T);
    const uint8_t *g = s->p[pg.reg], *b = s->z[zm.reg];
    alignas(32) T x[n], count[n] = {};
    std::memcpy(x, s->z[zn.reg], sve_vl_bytes);
    for (unsigned j = 0; j < n; ++j) {
      if (!(g[j * sizeof(T)] & 1)) continue;
      const T y = load<T>(b + j * sizeof(T));
      // From the sixteen bytes that hold lane j, lanes below j masked: the
      // counts are read in the pieces in which they were last written,
      // which the processor forwards.
      const unsigned first = j / per_piece * per_piece;
      for (unsigned i = first; i < first + per_piece; ++i) count[i] += T((x[i] == y) & (i >= j));
      for (unsigned i = first + per_piece; i < n; ++i) count[i] += T(x[i] == y);
    }
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) { return T(count[i / sizeof(T)] & active_mask<T>(g, i)); });
  });
}

// Sixteen bytes of Zn at a time, compared with each rotation of the same
// segment of Zm.
aarch64_decode_rc sve_histseg_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  const uint8_t *a = s->z[zn.reg], *b = s->z[zm.reg];
  alignas(16) uint8_t tmp[sve_vl_bytes];
  for (unsigned i = 0; i < sve_vl_bytes; i += 16) {
    const byte_piece x = piece_at(a, i);
    byte_piece count = {};
    for_each_rotation(piece_at(b, i), [&](const byte_piece& rotated) { count -= byte_piece(x == rotated); });
    std::memcpy(tmp + i, &count, 16);
  }
  std::memcpy(s->z[zd.reg], tmp, sve_vl_bytes);
  return aarch64_decode_ok;
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
