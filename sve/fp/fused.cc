// Fused multiply-add in its eight predicated forms and two indexed forms,
// and the complex multiply-add and complex add. Every element is one
// FPMulAdd or FPAdd, rounded once; a negated operand is negated with FPNeg
// before the call, so a NaN among the operands comes out with its sign
// inverted. The predicated and indexed forms of single and double precision
// have kernels; half precision and the complex forms take the library route.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/marshal.h"
#include "fp_loop.h"

namespace sve {

namespace {

SVE_FP_FUSED_OP(fma, "fmadd", false, false)
SVE_FP_FUSED_OP(fms, "fmsub", false, true)
SVE_FP_FUSED_OP(fnms, "fnmsub", true, false)
SVE_FP_FUSED_OP(fnma, "fnmadd", true, true)

// Zda = ±Zda ± Zn * Zm (FMLA and its negated forms).
template <class Op>
aarch64_decode_rc accumulate(cpu_state* s, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) {
  return fp_kernel_lanes<Op>(s, zda, s->p[pg.reg], [&](auto, uint8_t*) {
    return fp_operands(s->z[zda.reg], s->z[zn.reg], s->z[zm.reg]);
  });
}

// Zdn = ±Za ± Zdn * Zm (FMAD and its negated forms): the destination is a
// factor. The shape's third record is bits 20:16, here Za.
template <class Op>
aarch64_decode_rc multiply_add(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg za, aarch64_z_reg zm) {
  return fp_kernel_lanes<Op>(s, zdn, s->p[pg.reg], [&](auto, uint8_t*) {
    return fp_operands(s->z[za.reg], s->z[zdn.reg], s->z[zm.reg]);
  });
}

// Unpredicated, the multiplier shared by the elements of a segment.
template <class Op>
aarch64_decode_rc accumulate_indexed(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint64_t index) {
  return fp_kernel_lanes<Op>(s, zda, nullptr, [&](auto t, uint8_t* scratch) {
    return fp_operands(s->z[zda.reg], s->z[zn.reg], fp_segment_splat<decltype(t)>(scratch, s->z[zm.reg], index));
  });
}

// Complex numbers are element pairs, real part first. FCMLA with rotation r
// accumulates one half of a complex product: the factor taken from Zn and
// the one taken from Zm (with its sign) for the real and imaginary results.
struct cmla_terms {
  bool n_imag;               // both results take the imaginary part of n
  bool re_m_imag, re_m_neg;  // the real result's factor from m
  bool im_m_imag, im_m_neg;  // the imaginary result's factor from m
};
constexpr cmla_terms cmla_rotations[4] = {
    {false, false, false, true, false},  // 0 degrees: n.re * m.re, n.re * m.im
    {true, true, true, false, false},    // 90: n.im * -m.im, n.im * m.re
    {false, false, true, true, true},    // 180: n.re * -m.re, n.re * -m.im
    {true, true, false, false, true},    // 270: n.im * m.im, n.im * -m.re
};

// The factors of FCMLA in the lanes of the accumulator, in nv and mv: lane
// i of pair p takes its factor of n from pair p of zn and that of m (with
// its sign) from pair pair_of_m(p) of zm. Each lane is then one fused
// multiply-add, as FMLA computes it.
template <class T, class PairOfM>
void cmla_factors(uint8_t* nv, uint8_t* mv, const uint8_t* zn, const uint8_t* zm, uint64_t rot, PairOfM pair_of_m) {
  const cmla_terms t = cmla_rotations[rot & 3];
  const auto factor = [](T re, T im, bool imag, bool neg) {
    return T((imag ? im : re) ^ (neg ? fp_format<T>::sign : T(0)));
  };
  for (unsigned p = 0; p < sve_vl_bytes / sizeof(T) / 2; ++p) {
    const T n = load<T>(zn + (2 * p + t.n_imag) * sizeof(T));
    const unsigned mp = pair_of_m(p);
    const T m_re = load<T>(zm + 2 * mp * sizeof(T)), m_im = load<T>(zm + (2 * mp + 1) * sizeof(T));
    store<T>(nv + 2 * p * sizeof(T), n);
    store<T>(nv + (2 * p + 1) * sizeof(T), n);
    store<T>(mv + 2 * p * sizeof(T), factor(m_re, m_im, t.re_m_imag, t.re_m_neg));
    store<T>(mv + (2 * p + 1) * sizeof(T), factor(m_re, m_im, t.im_m_imag, t.im_m_neg));
  }
}

}  // namespace

#define SVE_FUSED_KERNELS(name, Op)                                                                      \
  aarch64_decode_rc sve_##name##_zpzz(cpu_state* s, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn, \
                                      aarch64_z_reg zm) {                                                \
    return accumulate<Op>(s, zda, pg, zn, zm);                                                           \
  }                                                                                                      \
  aarch64_decode_rc sve_##name##_mad_zpzz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg za, \
                                          aarch64_z_reg zm) {                                            \
    return multiply_add<Op>(s, zdn, pg, za, zm);                                                         \
  }
SVE_FUSED_KERNELS(fmla, op_fma)
SVE_FUSED_KERNELS(fmls, op_fms)
SVE_FUSED_KERNELS(fnmls, op_fnms)
SVE_FUSED_KERNELS(fnmla, op_fnma)
#undef SVE_FUSED_KERNELS
aarch64_decode_rc sve_fmla_zzzi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint64_t index) {
  return accumulate_indexed<op_fma>(s, zda, zn, zm, index);
}
aarch64_decode_rc sve_fmls_zzzi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint64_t index) {
  return accumulate_indexed<op_fms>(s, zda, zn, zm, index);
}

// FCMLA: Zda plus half of the complex product of Zn and Zm, rotated.
aarch64_decode_rc sve_fcmla_zpzz(cpu_state* s, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn,
                                 aarch64_z_reg zm, uint64_t rot) {
  return fp_kernel_lanes<op_fma>(s, zda, s->p[pg.reg], [&](auto t, uint8_t* scratch) {
    cmla_factors<decltype(t)>(scratch, scratch + sve_vl_bytes, s->z[zn.reg], s->z[zm.reg], rot,
                              [](unsigned p) { return p; });
    return fp_operands(s->z[zda.reg], scratch, scratch + sve_vl_bytes);
  });
}
// The indexed form: the pair of Zm at the index within each segment.
aarch64_decode_rc sve_fcmla_zzzi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint64_t index,
                                 uint64_t rot) {
  return fp_kernel_lanes<op_fma>(s, zda, nullptr, [&](auto t, uint8_t* scratch) {
    using T = decltype(t);
    cmla_factors<T>(scratch, scratch + sve_vl_bytes, s->z[zn.reg], s->z[zm.reg], rot,
                    [&](unsigned p) { return segment_element<T>(2 * p, 2 * index) / 2; });
    return fp_operands(s->z[zda.reg], scratch, scratch + sve_vl_bytes);
  });
}

namespace lib {

namespace {

// Zda = Zda + Zn * Zm (FMLA and its negated forms).
template <class T, bool NegAddend, bool NegFactor>
VecV accumulate(const VecV& zda, const PredV& pg, const VecV& zn, const VecV& zm, CpuContext* c) {
  return fp_routine_merge3<T>(zda, pg, zn, zm, c,
                              [](T a, T n, T m, FPSCR& s) { return fused<NegAddend, NegFactor>(a, n, m, s); });
}

// Zdn = Za + Zdn * Zm (FMAD and its negated forms): the destination is a factor.
template <class T, bool NegAddend, bool NegFactor>
VecV multiply_add(const VecV& zdn, const PredV& pg, const VecV& zm, const VecV& za, CpuContext* c) {
  return fp_routine_merge3<T>(zdn, pg, zm, za, c,
                              [](T d, T m, T a, FPSCR& s) { return fused<NegAddend, NegFactor>(a, d, m, s); });
}

// Unpredicated, the multiplier shared by the elements of a segment.
template <class T, bool NegFactor>
VecV accumulate_indexed(const VecV& zda, const VecV& zn, const VecV& zm, uint64_t index, CpuContext* c) {
  VecV r = zda;
  const unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i) {
    const T m = zm.get<T>(segment_element<T>(i, index));
    r.set<T>(i, fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) {
      return fused<false, NegFactor>(zda.get<T>(i), zn.get<T>(i), m, s);
    }));
  }
  return r;
}

// One complex pair p of the accumulator: the real then the imaginary half,
// each only when its own predicate bit is set.
template <class T>
void cmla_pair(VecV& r, const VecV& zda, const PredV* pg, const VecV& zn, unsigned p, const VecV& zm,
               unsigned mp, uint64_t rot, CpuContext* c) {
  const cmla_terms t = cmla_rotations[rot & 3];
  const T n = zn.get<T>(2 * p + t.n_imag);
  const T m_re = zm.get<T>(2 * mp), m_im = zm.get<T>(2 * mp + 1);
  const auto factor = [&](bool imag, bool neg) { return neg ? FPNeg(imag ? m_im : m_re) : (imag ? m_im : m_re); };
  for (unsigned half = 0; half < 2; ++half) {
    const unsigned i = 2 * p + half;
    if (pg && !pg->active(i, sizeof(T))) continue;
    const T m = half ? factor(t.im_m_imag, t.im_m_neg) : factor(t.re_m_imag, t.re_m_neg);
    r.set<T>(i, fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return FPMulAdd(zda.get<T>(i), n, m, s); }));
  }
}

template <class T>
VecV complex_multiply_add(const VecV& zda, const PredV& pg, const VecV& zn, const VecV& zm, uint64_t rot,
                          CpuContext* c) {
  VecV r = zda;
  const unsigned pairs = c->elements(sizeof(T) * 8) / 2;
  for (unsigned p = 0; p < pairs; ++p) cmla_pair<T>(r, zda, &pg, zn, p, zm, p, rot, c);
  return r;
}

// The indexed form: the pair of Zm at the pair index within each segment.
template <class T>
VecV complex_multiply_add_indexed(const VecV& zda, const VecV& zn, const VecV& zm, uint64_t index,
                                  uint64_t rot, CpuContext* c) {
  VecV r = zda;
  const unsigned pairs = c->elements(sizeof(T) * 8) / 2;
  for (unsigned p = 0; p < pairs; ++p)
    cmla_pair<T>(r, zda, nullptr, zn, p, zm, segment_element<T>(2 * p, 2 * index) / 2, rot, c);
  return r;
}

// FCADD: Zdn plus Zm turned by 90 degrees (rotation bit 0) or 270 (bit 1).
template <class T>
VecV complex_add(const VecV& zdn, const PredV& pg, const VecV& zm, bool rot270, CpuContext* c) {
  VecV r = zdn;
  const unsigned pairs = c->elements(sizeof(T) * 8) / 2;
  for (unsigned p = 0; p < pairs; ++p) {
    const T m_re = zm.get<T>(2 * p), m_im = zm.get<T>(2 * p + 1);
    const T add[2] = {rot270 ? m_im : FPNeg(m_im), rot270 ? FPNeg(m_re) : m_re};
    for (unsigned half = 0; half < 2; ++half) {
      const unsigned i = 2 * p + half;
      if (!pg.active(i, sizeof(T))) continue;
      r.set<T>(i, fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return FPAdd(zdn.get<T>(i), add[half], s); }));
    }
  }
  return r;
}

}  // namespace

// Half precision: the forms that single and double precision have as kernels.
using h = uint16_t;
VecV VecF16FMAVVVM(VecV a, PredV g, VecV n, VecV m, CpuContext* c) { return accumulate<h, false, false>(a, g, n, m, c); }
VecV VecF16FMSVVVM(VecV a, PredV g, VecV n, VecV m, CpuContext* c) { return accumulate<h, false, true>(a, g, n, m, c); }
VecV VecF16FNMSVVVM(VecV a, PredV g, VecV n, VecV m, CpuContext* c) { return accumulate<h, true, false>(a, g, n, m, c); }
VecV VecF16FMADDVVVM(VecV d, PredV g, VecV m, VecV a, CpuContext* c) { return multiply_add<h, false, false>(d, g, m, a, c); }
VecV VecF16FMSUBVVVM(VecV d, PredV g, VecV m, VecV a, CpuContext* c) { return multiply_add<h, false, true>(d, g, m, a, c); }
VecV VecF16FNMADDVVVM(VecV d, PredV g, VecV m, VecV a, CpuContext* c) { return multiply_add<h, true, true>(d, g, m, a, c); }
VecV VecF16FNMSUBVVVM(VecV d, PredV g, VecV m, VecV a, CpuContext* c) { return multiply_add<h, true, false>(d, g, m, a, c); }
VecV VecF16FMAVVVIX(VecV a, VecV n, VecV m, uint64_t i, CpuContext* c) { return accumulate_indexed<h, false>(a, n, m, i, c); }
VecV VecF16FMSVVVIX(VecV a, VecV n, VecV m, uint64_t i, CpuContext* c) { return accumulate_indexed<h, true>(a, n, m, i, c); }

#define SVE_FCADD_ROUTINE(type, W) \
  VecV Vec##type##FCADDVVM(VecV d, PredV g, VecV m, bool r, CpuContext* c) { return complex_add<W>(d, g, m, r, c); }
SVE_FCADD_ROUTINE(F16, uint16_t)
SVE_FCADD_ROUTINE(F32, uint32_t)
SVE_FCADD_ROUTINE(D64, uint64_t)
#undef SVE_FCADD_ROUTINE
VecV VecF16FCMLAVVVM(VecV a, PredV g, VecV n, VecV m, uint64_t r, CpuContext* c) {
  return complex_multiply_add<uint16_t>(a, g, n, m, r, c);
}
VecV VecF16FNMAVVVM(VecV a, PredV g, VecV n, VecV m, CpuContext* c) { return accumulate<h, true, true>(a, g, n, m, c); }
VecV VecF16FCMLAVVVIX(VecV a, VecV n, VecV m, uint64_t i, uint64_t r, CpuContext* c) {
  return complex_multiply_add_indexed<uint16_t>(a, n, m, i, r, c);
}

}  // namespace lib

namespace {

using lib_vvvm = library<to_z<4, 0>, z_in<4, 0>, p_in<12, 10>, z_in<9, 5>, z_in<20, 16>>;
// FMLA (indexed): Zm and the index share bits 22:16 by precision.
struct half_index {
  template <class T>
  static uint64_t value(uint32_t w) { return field(w, 22, 22) << 2 | field(w, 20, 19); }
};
using lib_fma_index_h = library<to_z<4, 0>, z_in<4, 0>, z_in<9, 5>, z_in<18, 16>, imm_in<half_index>>;
using lib_cmla = library<to_z<4, 0>, z_in<4, 0>, p_in<12, 10>, z_in<9, 5>, z_in<20, 16>, imm_in<field_in<14, 13>>>;
using lib_cmla_index_h = library<to_z<4, 0>, z_in<4, 0>, z_in<9, 5>, z_in<18, 16>, imm_in<field_in<20, 19>>,
                                 imm_in<field_in<11, 10>>>;
// Zda 4:0, Pg 12:10 merging, Zn 9:5, Zm 20:16 and the rotation at 14:13:
// FCMLA.
template <auto Kernel>
struct vvvm_rot : direct_base<Kernel, true> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code;
    return vvvm_rot::call(s, w, z_dst_src(w, 4, 0, c), p_gov(w, 12, 10, P_M), z_plain(w, 9, 5, c),
                          z_plain(w, 20, 16, c), uint64_t(field(w, 14, 13)));
  }
};
// Zda 4:0, Zn 9:5, Zm 19:16, the pair index at 20 and the rotation at
// 11:10: FCMLA (indexed) of single precision.
template <auto Kernel>
struct vvx_rot : direct_base<Kernel, true> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code;
    return vvx_rot::call(s, w, z_dst_src(w, 4, 0, c), z_plain(w, 9, 5, c), z_plain(w, 19, 16, c),
                         uint64_t(field(w, 20, 20)), uint64_t(field(w, 11, 10)));
  }
};
using lib_cadd = library<to_z<4, 0>, z_in<4, 0>, p_in<12, 10>, z_in<9, 5>, imm_in<field_in<16, 16>>>;

}  // namespace

}  // namespace sve

using namespace sve;

// "01100101 ss 1 mmmmm 0 opc ggg nnnnn ddddd": Zda = ±Zda ± Zn * Zm.
#define FP_FMLA(opc, mnemonic) "01100101 ss 1 mmmmm 0 " opc " ggg nnnnn ddddd", mnemonic " z0.T, p0/m, z1.T, z2.T"
// "01100101 ss 1 aaaaa 1 opc ggg mmmmm ddddd": Zdn = ±Za ± Zdn * Zm.
#define FP_FMAD(opc, mnemonic) "01100101 ss 1 aaaaa 1 " opc " ggg mmmmm ddddd", mnemonic " z0.T, p0/m, z1.T, z2.T"
// Half precision on the library route, single and double on a kernel.
#define FP_FUSED3(X, op, shape, kernel, pattern, sample)                                 \
  X(31_21__15_13, op, F16, pattern, library, (lib_vvvm), sample)                                                 \
  X(31_21__15_13, op, F32, pattern, direct, (shape<kernel, true>), sample)                                       \
  X(31_21__15_13, op, D64, pattern, direct, (shape<kernel, true>), sample)
#define FP_FUSED3_(...) FP_FUSED3(__VA_ARGS__)
#define FP_FUSED(X)                                                                                             \
  FP_FUSED3_(X, FMAVVVM, vvvm_acc, sve_fmla_zpzz, FP_FMLA("00", "fmla"))                                         \
  FP_FUSED3_(X, FMSVVVM, vvvm_acc, sve_fmls_zpzz, FP_FMLA("01", "fmls"))                                         \
  FP_FUSED3_(X, FNMAVVVM, vvvm_acc, sve_fnmla_zpzz, FP_FMLA("10", "fnmla"))                                      \
  FP_FUSED3_(X, FNMSVVVM, vvvm_acc, sve_fnmls_zpzz, FP_FMLA("11", "fnmls"))                                      \
  FP_FUSED3_(X, FMADDVVVM, vvvm_mad, sve_fmla_mad_zpzz, FP_FMAD("00", "fmad"))                                   \
  FP_FUSED3_(X, FMSUBVVVM, vvvm_mad, sve_fmls_mad_zpzz, FP_FMAD("01", "fmsb"))                                   \
  FP_FUSED3_(X, FNMADDVVVM, vvvm_mad, sve_fnmla_mad_zpzz, FP_FMAD("10", "fnmad"))                                \
  FP_FUSED3_(X, FNMSUBVVVM, vvvm_mad, sve_fnmls_mad_zpzz, FP_FMAD("11", "fnmsb"))                                \
  X(31_23__21_21__15_10, FMAVVVIX, F16, "01100100 0 i 1 iimmm 00000 0 nnnnn ddddd", library, (lib_fma_index_h),  \
    "fmla z0.h, z1.h, z2.h[7]")                                                                                  \
  X(31_23__21_21__15_10, FMSVVVIX, F16, "01100100 0 i 1 iimmm 00000 1 nnnnn ddddd", library, (lib_fma_index_h),  \
    "fmls z0.h, z1.h, z2.h[7]")                                                                                  \
  X(31_21__15_10, FMAVVVIX, F32, "01100100 10 1 iimmm 00000 0 nnnnn ddddd", direct, (vvx_index<sve_fmla_zzzi>),  \
    "fmla z0.s, z1.s, z2.s[3]")                                                                                  \
  X(31_21__15_10, FMSVVVIX, F32, "01100100 10 1 iimmm 00000 1 nnnnn ddddd", direct, (vvx_index<sve_fmls_zzzi>),  \
    "fmls z0.s, z1.s, z2.s[3]")                                                                                  \
  X(31_21__15_10, FMAVVVIX, D64, "01100100 11 1 immmm 00000 0 nnnnn ddddd", direct, (vvx_index<sve_fmla_zzzi>),  \
    "fmla z0.d, z1.d, z2.d[1]")                                                                                  \
  X(31_21__15_10, FMSVVVIX, D64, "01100100 11 1 immmm 00000 1 nnnnn ddddd", direct, (vvx_index<sve_fmls_zzzi>),  \
    "fmls z0.d, z1.d, z2.d[1]")                                                                                  \
  SVE_FP3_(X, 31_21__15_15, FCMLAVVVM, (lib_cmla), direct, (vvvm_rot<sve_fcmla_zpzz>),                           \
           "01100100 ss 0 mmmmm 0 rr ggg nnnnn ddddd", "fcmla z0.T, p0/m, z1.T, z2.T, #90")                      \
  SVE_FP3_(X, 31_17__15_13, FCADDVVM, (lib_cadd), library, (lib_cadd), "01100100 ss 00000 r 100 ggg mmmmm ddddd",            \
                  "fcadd z0.T, p0/m, z0.T, z1.T, #270")                                                         \
  X(31_21__15_12, FCMLAVVVIX, F16, "01100100 101 iimmm 0001 rr nnnnn ddddd", library, (lib_cmla_index_h),        \
    "fcmla z0.h, z1.h, z2.h[3], #180")                                                                           \
  X(31_21__15_12, FCMLAVVVIX, F32, "01100100 111 immmm 0001 rr nnnnn ddddd", direct, (vvx_rot<sve_fcmla_zzzi>),  \
    "fcmla z0.s, z1.s, z2.s[1], #270")

SVE_FAMILY(fp_fused, FP_FUSED)
