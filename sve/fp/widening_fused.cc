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
#include "fp_loop.h"

namespace sve {

namespace {

// A half-precision factor as the single-precision number of its value,
// which is exact. FZ16 flushes a denormal to zero. A NaN keeps its payload
// and whether it signals, so that the multiply-add chooses among the NaNs of
// its three operands as it does for single precision and quietens the
// chosen one itself.
inline uint32_t widen_factor(uint16_t h, bool fz16) {
  const uint32_t sign = uint32_t(h & 0x8000) << 16, exp = h >> 10 & 31, frac = h & 0x3ff;
  if (exp == 31) return sign | 0x7f800000 | frac << 13;
  if (exp) return sign | (exp + 112) << 23 | frac << 13;
  if (!frac || fz16) return sign;
  // frac * 2^-24, its leading one becoming the implicit bit.
  const int lead = 31 - __builtin_clz(frac);
  return sign | uint32_t(lead + 103) << 23 | (frac << (23 - lead) & 0x7fffff);
}

SVE_FP_FUSED_OP(fma, "fmadd", false, false)
SVE_FP_FUSED_OP(fms, "fmsub", false, true)

// Zda = Zda ± Zn.h * Zm.h in every element: Op on Zda and the factors
// widened into the scratch vectors. factor(i) is the byte offset in Zm of
// the half that multiplies the element at byte offset i.
template <class Op, bool Top, class Factor>
aarch64_decode_rc widening_fma(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, Factor factor) {
  const uint8_t *n = s->z[zn.reg], *m = s->z[zm.reg];
  const bool fz16 = (s->fpcr | s->fpcr_high) >> 19 & 1;
  return fp_kernel_lanes<Op>(s, zda, nullptr, [&](auto, uint8_t* scratch) {
    uint8_t *wn = scratch, *wm = scratch + sve_vl_bytes;
    for (unsigned i = 0; i < sve_vl_bytes; i += 4) {
      store<uint32_t>(wn + i, widen_factor(load<uint16_t>(n + i + 2 * Top), fz16));
      store<uint32_t>(wm + i, widen_factor(load<uint16_t>(m + factor(i)), fz16));
    }
    return fp_operands(s->z[zda.reg], wn, wm);
  });
}

template <class Op, bool Top>
aarch64_decode_rc vectors(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm) {
  return widening_fma<Op, Top>(s, zda, zn, zm, [](unsigned i) { return i + 2 * Top; });
}

// The index counts the halves of a segment.
template <class Op, bool Top>
aarch64_decode_rc indexed(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint64_t index) {
  return widening_fma<Op, Top>(s, zda, zn, zm, [&](unsigned i) { return unsigned(i / 16 * 16 + 2 * index); });
}

// Zda 4:0, Zn 9:5, Zm 18:16 and the index at 20:19:11.
template <auto Kernel>
struct vvx_half_index : direct_base<Kernel, true> {
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
#define FP_WIDENING_FUSED_ROWS(X, name, op, sub, top, mnemonic)                                            \
  X(sve2_31_21__15_10, name##VVV, F32, "01100100 101 mmmmm 10 " #sub " 00 " #top " nnnnn ddddd", direct,   \
    (vvx<vectors<op, top == 1>, true>), mnemonic " z0.s, z1.h, z2.h")                                      \
  X(sve2_31_21__15_12__10_10, name##VVVIX, F32, "01100100 101 iimmm 01 " #sub " 0 i " #top " nnnnn ddddd", \
    direct, (vvx_half_index<indexed<op, top == 1>>), mnemonic " z0.s, z1.h, z2.h[7]")
#define FP_WIDENING_FUSED(X)                                  \
  FP_WIDENING_FUSED_ROWS(X, FMALongB, op_fma, 0, 0, "fmlalb") \
  FP_WIDENING_FUSED_ROWS(X, FMALongT, op_fma, 0, 1, "fmlalt") \
  FP_WIDENING_FUSED_ROWS(X, FMSLongB, op_fms, 1, 0, "fmlslb") \
  FP_WIDENING_FUSED_ROWS(X, FMSLongT, op_fms, 1, 1, "fmlslt")

SVE_FAMILY(fp_widening_fused, FP_WIDENING_FUSED)
