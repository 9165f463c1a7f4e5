// Widening fused multiply-add of half precision into single precision:
// FMLALB, FMLALT, FMLSLB and FMLSLT, with Zm a vector or one half of each
// 128-bit segment of Zm chosen by an index. Each single-precision element of
// Zda gains the product of the halves of Zn and Zm in the bottom (B) or top
// (T) half of its place, negated for FMLSL, rounded once. The product of two
// halves is exact in single precision, so each element is the single-
// precision FMLA of the halves widened. The halves follow the rules of half
// precision: FZ16 flushes a denormal half to zero without IDC, and AHP
// plays no part; FZ governs the addend and the result.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../fplib/convert.h"
#include "fp_loop.h"

namespace sve {

namespace {

// A half-precision factor as the single-precision number of its value. A
// NaN keeps its payload and whether it signals, so that the multiply-add
// chooses among the NaNs of its three operands as it does for single
// precision and quietens the chosen one itself.
uint32_t widen_factor(uint16_t h, FPSCR fpscr) {
  if (fp_format<uint16_t>::is_nan(h)) return uint32_t(h & 0x8000) << 16 | 0x7f800000 | uint32_t(h & 0x3ff) << 13;
  FPSCR f = fpscr & ~(FPSCR(1) << 26);
  return FPConvert<uint16_t, uint32_t>(h, FPRounding_TIEEVEN, f);
}

// Zda = Zda ± Zn.h * Zm.h in every element; factor(i) is the byte offset in
// Zm of the half that multiplies the element at byte offset i.
template <bool Subtract, bool Top, class Factor>
aarch64_decode_rc widening_fma(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, Factor factor) {
  alignas(16) uint8_t tmp[sve_vl_bytes];
  uint8_t* d = s->z[zda.reg];
  const uint8_t *n = s->z[zn.reg], *m = s->z[zm.reg];
  const uint32_t fpcr = s->fpcr | s->fpcr_high;
  for (unsigned i = 0; i < sve_vl_bytes; i += 4) {
    const uint16_t x = load<uint16_t>(n + i + 2 * Top), y = load<uint16_t>(m + factor(i));
    store<uint32_t>(tmp + i, fp_element(fpcr, s->fpsr, [&](FPSCR& f) {
                      const uint32_t wx = widen_factor(x, f);
                      return FPMulAdd<uint32_t>(load<uint32_t>(d + i), Subtract ? FPNeg(wx) : wx, widen_factor(y, f), f);
                    }));
  }
  std::memcpy(d, tmp, sve_vl_bytes);
  return aarch64_decode_ok;
}

template <bool Subtract, bool Top>
aarch64_decode_rc vectors(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm) {
  return widening_fma<Subtract, Top>(s, zda, zn, zm, [](unsigned i) { return i + 2 * Top; });
}

// The index counts the halves of a segment.
template <bool Subtract, bool Top>
aarch64_decode_rc indexed(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint64_t index) {
  return widening_fma<Subtract, Top>(s, zda, zn, zm, [&](unsigned i) { return unsigned(i / 16 * 16 + 2 * index); });
}

// Zda 4:0, Zn 9:5, Zm 18:16 and the index at 20:19:11.
template <auto Kernel>
struct vvx_half_index : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vvx_half_index::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 9, 5, Z_H), z_plain(w, 18, 16, Z_H),
                                uint64_t(field(w, 20, 19) << 1 | field(w, 11, 11)));
  }
};

}  // namespace

}  // namespace sve

using namespace sve;

// "01100100 101 mmmmm 10 s 00 t nnnnn ddddd" and, indexed, "01100100 101 ii
// mmm 01 s 0 i t nnnnn ddddd": s subtracts, t takes the top halves.
#define FP_WIDENING_FUSED_ROWS(X, op, sub, top, mnemonic)                                                      \
  X(sve2_31_21__15_10, op##VVV, F32, "01100100 101 mmmmm 10 " #sub " 00 " #top " nnnnn ddddd", direct,         \
    (vvx<vectors<sub == 1, top == 1>>), mnemonic " z0.s, z1.h, z2.h")                                                   \
  X(sve2_31_21__15_12__10_10, op##VVVIX, F32, "01100100 101 iimmm 01 " #sub " 0 i " #top " nnnnn ddddd",      \
    direct, (vvx_half_index<indexed<sub == 1, top == 1>>), mnemonic " z0.s, z1.h, z2.h[7]")
#define FP_WIDENING_FUSED(X)                               \
  FP_WIDENING_FUSED_ROWS(X, FMALongB, 0, 0, "fmlalb")      \
  FP_WIDENING_FUSED_ROWS(X, FMALongT, 0, 1, "fmlalt")      \
  FP_WIDENING_FUSED_ROWS(X, FMSLongB, 1, 0, "fmlslb")      \
  FP_WIDENING_FUSED_ROWS(X, FMSLongT, 1, 1, "fmlslt")

SVE_FAMILY(fp_widening_fused, FP_WIDENING_FUSED)
