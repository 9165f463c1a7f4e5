// Conversions between the formats that work on the top halves of the wide
// elements, and FCVTX, which rounds to odd. FCVTLT widens the value in the
// top half of each wide element of Zn to the whole element; FCVTNT and
// FCVTXNT narrow each wide element of Zn into the top half of the element
// of Zd and leave its bottom half as it was, so that a bottom-half
// conversion and a top-half one together fill a vector. FCVTX narrows into
// the bottom half and clears the top half, as FCVT does. Rounding to odd
// keeps a narrowed double exact enough for a later rounding to half
// precision to give the result of a single rounding.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../fplib/convert.h"
#include "../fplib/fast_convert.h"
#include "fp_loop.h"

namespace sve {

namespace {

// One conversion under the FPCR: half precision is IEEE whatever AHP says,
// and FZ16 plays no part, as in FCVT.
template <class From, class To, bool Odd>
To convert(cpu_state* s, From x) {
  return fp_element(s->fpcr | s->fpcr_high, s->fpsr, [&](FPSCR& f) {
    f &= ~(FPSCR(1) << 26 | FPSCR(1) << 19);
    return FPConvert<From, To>(x, Odd ? FPRounding_ODD : FPRounding(fp_mode(f) & 3), f);
  });
}

// FCVTLT: the top half of each active element of Zn, widened.
template <class Narrow, class Wide>
aarch64_decode_rc widen_top(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  const uint8_t *a = s->z[zn.reg], *p = s->p[pg.reg];
  uint8_t* d = s->z[zd.reg];
  return fp_kernel_vector<Wide>(
      d, p,
      [&] {
        return fast::convert<Narrow, Wide>(fast::conversion::widen_top, false, FPRounding_TIEEVEN, a, p,
                                           s->fpcr | s->fpcr_high, s->fpsr, d);
      },
      [&](unsigned i) { return convert<Narrow, Wide, false>(s, load<Narrow>(a + sizeof(Wide) * i + sizeof(Narrow))); });
}

// FCVTNT, FCVTXNT (Top) and FCVTX: each active element of Zn narrowed into
// a half of the element of Zd. The whole-vector narrowing puts its results
// in the bottom halves of `t`, from which they move to their place; the
// lanes that it leaves take the library.
template <class Wide, class Narrow, bool Odd, bool Top>
aarch64_decode_rc narrow(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  alignas(32) uint8_t tmp[sve_vl_bytes], t[sve_vl_bytes];
  uint8_t* d = s->z[zd.reg];
  const uint8_t *a = s->z[zn.reg], *p = s->p[pg.reg];
  const FPSCR fpcr = s->fpcr | s->fpcr_high;
  const fast::lane_set left = fast::convert<Wide, Narrow>(
      fast::conversion::narrow, false, Odd ? FPRounding_ODD : FPRounding(fpcr >> 22 & 3), a, p, fpcr, s->fpsr, t);
  std::memcpy(tmp, d, sve_vl_bytes);
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(Wide)) {
    if (!(p[i] & 1)) continue;
    const Narrow r = left >> (i / sizeof(Wide)) & 1 ? convert<Wide, Narrow, Odd>(s, load<Wide>(a + i))
                                                    : load<Narrow>(t + i);
    if (Top)
      store<Narrow>(tmp + i + sizeof(Narrow), r);
    else
      store<Wide>(tmp + i, r);
  }
  std::memcpy(d, tmp, sve_vl_bytes);
  return aarch64_decode_ok;
}

}  // namespace

}  // namespace sve

using namespace sve;

// "01100100 xx 0010 xx 101 ggg nnnnn ddddd": bits 23:22 and 17:16 name the
// conversion.
#define FP_TOP_CONVERSIONS(X)                                                           \
  X(sve2_31_13, ExtndTopHVM, F32, "01100100 10 0010 01 101 ggg nnnnn ddddd", direct,    \
    (vm<widen_top<uint16_t, uint32_t>>), "fcvtlt z0.s, p0/m, z1.h")                     \
  X(sve2_31_13, ExtndTopFVM, D64, "01100100 11 0010 11 101 ggg nnnnn ddddd", direct,    \
    (vm<widen_top<uint32_t, uint64_t>>), "fcvtlt z0.d, p0/m, z1.s")                     \
  X(sve2_31_13, TruncTopFVM, H32, "01100100 10 0010 00 101 ggg nnnnn ddddd", direct,    \
    (vm<narrow<uint32_t, uint16_t, false, true>>), "fcvtnt z0.h, p0/m, z1.s")           \
  X(sve2_31_13, TruncTopDVM, F64, "01100100 11 0010 10 101 ggg nnnnn ddddd", direct,    \
    (vm<narrow<uint64_t, uint32_t, false, true>>), "fcvtnt z0.s, p0/m, z1.d")           \
  X(sve2_31_13, TruncOddTopDVM, F64, "01100100 00 0010 10 101 ggg nnnnn ddddd", direct, \
    (vm<narrow<uint64_t, uint32_t, true, true>>), "fcvtxnt z0.s, p0/m, z1.d")           \
  X(sve2_31_13, TruncOddDVM, F64, "01100101 00 0010 10 101 ggg nnnnn ddddd", direct,    \
    (vm<narrow<uint64_t, uint32_t, true, false>>), "fcvtx z0.s, p0/m, z1.d")

SVE_FAMILY(fp_top_conversions, FP_TOP_CONVERSIONS)
