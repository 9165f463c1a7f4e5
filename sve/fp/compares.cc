// Floating-point compares: a predicate of the element size, true in the
// first bit of an active element that satisfies the comparison, false
// everywhere else. The condition flags are left alone. Equality, inequality
// and the unordered test are quiet (IOC only for a signalling NaN); the
// order comparisons signal for every NaN.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../fplib/fast_compare.h"
#include "../support/marshal.h"
#include "fp_loop.h"

namespace sve {

namespace {

// A comparison of a with b: `library` on the format's words, and on AArch64
// hosts `native`, the FCMP (quiet) or FCMPE (signalling) instruction
// followed by the condition that holds.
#if defined(__aarch64__)
#define SVE_FP_NATIVE_COMPARE(cmp, cond)                                                        \
  static bool native(float a, float b) {                                                        \
    int r;                                                                                      \
    asm volatile(cmp " %s1, %s2\n\tcset %w0, " cond : "=r"(r) : "w"(a), "w"(b) : "cc");         \
    return r;                                                                                   \
  }                                                                                             \
  static bool native(double a, double b) {                                                      \
    int r;                                                                                      \
    asm volatile(cmp " %d1, %d2\n\tcset %w0, " cond : "=r"(r) : "w"(a), "w"(b) : "cc");         \
    return r;                                                                                   \
  }
#else
#define SVE_FP_NATIVE_COMPARE(cmp, cond)
#endif
#define SVE_FP_COMPARE_OP(name, cmp, cond, rel, expr)                                           \
  struct name {                                                                                 \
    SVE_FP_NATIVE_COMPARE(cmp, cond)                                                            \
    template <class T>                                                                          \
    static bool library(T a, T b, FPSCR& s) { return expr; }                                    \
    static constexpr fast::relation relation = fast::relation::rel;                             \
  };
SVE_FP_COMPARE_OP(op_eq, "fcmp", "eq", eq, FPCompareEQ(a, b, s))
SVE_FP_COMPARE_OP(op_ne, "fcmp", "ne", ne, !FPCompareEQ(a, b, s))
SVE_FP_COMPARE_OP(op_uo, "fcmp", "vs", unordered, FPCompareUN(a, b, s))
SVE_FP_COMPARE_OP(op_ge, "fcmpe", "ge", ge, FPCompareGE(a, b, s))
SVE_FP_COMPARE_OP(op_gt, "fcmpe", "gt", gt, FPCompareGT(a, b, s))
SVE_FP_COMPARE_OP(op_le, "fcmpe", "ls", le, FPCompareGE(b, a, s))
SVE_FP_COMPARE_OP(op_lt, "fcmpe", "mi", lt, FPCompareGT(b, a, s))
#undef SVE_FP_COMPARE_OP
#undef SVE_FP_NATIVE_COMPARE

// The compare kernel: each element of Pd becomes 0 or 1 as a whole element;
// zm null compares with +0.0. The fast layer compares what it can at once.
template <class Op>
aarch64_decode_rc compare(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, const uint8_t* zn, const uint8_t* zm) {
  return by_size<Z_D, Z_S>(pd.elem, [&](auto e) {
    using T = decltype(e);
    constexpr unsigned n = fast::lanes<T>;
    alignas(32) T active[n], r[n];
    for (unsigned i = 0; i < n; ++i) {
      active[i] = active_mask<T>(s->p[pg.reg], i * sizeof(T));
      r[i] = 0;
    }
    const fast::lane_set left = fast::compare<T>(Op::relation, zn, zm, active, s->fpcr | s->fpcr_high, r);
    if (left)
      for (unsigned i = 0; i < n; ++i)
        if (active[i] && (left >> i & 1))
          r[i] = T(fp_kernel_element<Op>(s, load<T>(zn + i * sizeof(T)), zm ? load<T>(zm + i * sizeof(T)) : T(0)));
    std::memcpy(s->p[pd.reg], r, sve_vl_bytes);
    return aarch64_decode_ok;
  });
}

}  // namespace

#define SVE_FP_CMP_PPZZ(name, Op)                                                                   \
  aarch64_decode_rc sve_##name##_ppzz(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, \
                                      aarch64_z_reg zm) {                                           \
    return compare<Op>(s, pd, pg, s->z[zn.reg], s->z[zm.reg]);                                      \
  }
#define SVE_FP_CMP_PPZ(name, Op)                                                                    \
  aarch64_decode_rc sve_##name##_ppz(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn) { \
    return compare<Op>(s, pd, pg, s->z[zn.reg], nullptr);                                           \
  }
SVE_FP_CMP_PPZZ(fcmeq, op_eq)
SVE_FP_CMP_PPZZ(fcmne, op_ne)
SVE_FP_CMP_PPZZ(fcmuo, op_uo)
SVE_FP_CMP_PPZZ(fcmge, op_ge)
SVE_FP_CMP_PPZZ(fcmgt, op_gt)
SVE_FP_CMP_PPZ(fcmeq, op_eq)
SVE_FP_CMP_PPZ(fcmge, op_ge)
SVE_FP_CMP_PPZ(fcmgt, op_gt)
SVE_FP_CMP_PPZ(fcmle, op_le)
SVE_FP_CMP_PPZ(fcmlt, op_lt)
#undef SVE_FP_CMP_PPZZ
#undef SVE_FP_CMP_PPZ

namespace lib {

namespace {

// The routine: inactive elements are false and compare nothing.
template <class T, class Op>
PredV compare_routine(const PredV& pg, const VecV& zn, const VecV* zm, CpuContext* c) {
  PredV r{};
  const unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i)
    if (pg.active(i, sizeof(T)))
      r.set_bit(i * sizeof(T), fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) {
                  return Op::library(zn.get<T>(i), zm ? zm->get<T>(i) : T(0), s);
                }));
  return r;
}

// The absolute compares clear the sign bits first; the NaN test sees no sign.
template <class Inner>
struct absolute {
  template <class T>
  static bool library(T a, T b, FPSCR& s) {
    return Inner::library(T(a & ~fp_format<T>::sign), T(b & ~fp_format<T>::sign), s);
  }
};

}  // namespace

#define SVE_FP_CMP_VVZ(type, W, op, Op) \
  PredV Vec##type##op##VVZ(PredV pg, VecV zn, VecV zm, CpuContext* c) { return compare_routine<W, Op>(pg, zn, &zm, c); }
#define SVE_FP_CMP_V0Z(type, W, op, Op) \
  PredV Vec##type##op##V0Z(PredV pg, VecV zn, CpuContext* c) { return compare_routine<W, Op>(pg, zn, nullptr, c); }
#define SVE_FP_CMP_ALL(type, W)                         \
  SVE_FP_CMP_V0Z(type, W, CmpNE, op_ne)                 \
  SVE_FP_CMP_VVZ(type, W, AcGE, absolute<op_ge>)        \
  SVE_FP_CMP_VVZ(type, W, AcGT, absolute<op_gt>)
SVE_FP_CMP_ALL(F16, uint16_t)
SVE_FP_CMP_ALL(F32, uint32_t)
SVE_FP_CMP_ALL(D64, uint64_t)
SVE_FP_CMP_VVZ(F16, uint16_t, CmpEQ, op_eq)
SVE_FP_CMP_VVZ(F16, uint16_t, CmpNE, op_ne)
SVE_FP_CMP_VVZ(F16, uint16_t, CmpUN, op_uo)
SVE_FP_CMP_VVZ(F16, uint16_t, CmpGE, op_ge)
SVE_FP_CMP_VVZ(F16, uint16_t, CmpGT, op_gt)
SVE_FP_CMP_V0Z(F16, uint16_t, CmpEQ, op_eq)
SVE_FP_CMP_V0Z(F16, uint16_t, CmpGE, op_ge)
SVE_FP_CMP_V0Z(F16, uint16_t, CmpGT, op_gt)
SVE_FP_CMP_V0Z(F16, uint16_t, CmpLE, op_le)
SVE_FP_CMP_V0Z(F16, uint16_t, CmpLT, op_lt)
#undef SVE_FP_CMP_VVZ
#undef SVE_FP_CMP_V0Z
#undef SVE_FP_CMP_ALL

}  // namespace lib

namespace {

using lib_cmp_vv = library<to_p<3, 0>, p_in<12, 10>, z_in<9, 5>, z_in<20, 16>>;
using lib_cmp_v0 = library<to_p<3, 0>, p_in<12, 10>, z_in<9, 5>>;

}  // namespace

}  // namespace sve

using namespace sve;

// "01100101 ss 0 mmmmm op ggg nnnnn o dddd": two vectors.
#define FP_CMP_VV(bits15_13, bit4, mnemonic) \
  "01100101 ss 0 mmmmm " bits15_13 " ggg nnnnn " bit4 " dddd", mnemonic " p0.T, p1/z, z2.T, z3.T"
// "01100101 ss 0100 op 001 ggg nnnnn o dddd": a vector and +0.0.
#define FP_CMP_V0(bits17_16, bit4, mnemonic) \
  "01100101 ss 0100 " bits17_16 " 001 ggg nnnnn " bit4 " dddd", mnemonic " p0.T, p1/z, z2.T, #0.0"
#define M_VV 31_21__15_13__4_4
#define M_V0 31_13__4_4

#define FP_COMPARES(X)                                                                                       \
  SVE_FP3_(X, M_VV, CmpGEVVZ, (lib_cmp_vv), direct, (cmp_vv<sve_fcmge_ppzz, true>), FP_CMP_VV("010", "0", "fcmge")) \
  SVE_FP3_(X, M_VV, CmpGTVVZ, (lib_cmp_vv), direct, (cmp_vv<sve_fcmgt_ppzz, true>), FP_CMP_VV("010", "1", "fcmgt")) \
  SVE_FP3_(X, M_VV, CmpEQVVZ, (lib_cmp_vv), direct, (cmp_vv<sve_fcmeq_ppzz, true>), FP_CMP_VV("011", "0", "fcmeq")) \
  SVE_FP3_(X, M_VV, CmpNEVVZ, (lib_cmp_vv), direct, (cmp_vv<sve_fcmne_ppzz, true>), FP_CMP_VV("011", "1", "fcmne")) \
  SVE_FP3_(X, M_VV, CmpUNVVZ, (lib_cmp_vv), direct, (cmp_vv<sve_fcmuo_ppzz, true>), FP_CMP_VV("110", "0", "fcmuo")) \
  SVE_FP3_(X, M_VV, AcGEVVZ, (lib_cmp_vv), library, (lib_cmp_vv), FP_CMP_VV("110", "1", "facge"))                          \
  SVE_FP3_(X, M_VV, AcGTVVZ, (lib_cmp_vv), library, (lib_cmp_vv), FP_CMP_VV("111", "1", "facgt"))                          \
  SVE_FP3_(X, M_V0, CmpGEV0Z, (lib_cmp_v0), direct, (cmp_v0<sve_fcmge_ppz, true>), FP_CMP_V0("00", "0", "fcmge"))  \
  SVE_FP3_(X, M_V0, CmpGTV0Z, (lib_cmp_v0), direct, (cmp_v0<sve_fcmgt_ppz, true>), FP_CMP_V0("00", "1", "fcmgt"))  \
  SVE_FP3_(X, M_V0, CmpLTV0Z, (lib_cmp_v0), direct, (cmp_v0<sve_fcmlt_ppz, true>), FP_CMP_V0("01", "0", "fcmlt"))  \
  SVE_FP3_(X, M_V0, CmpLEV0Z, (lib_cmp_v0), direct, (cmp_v0<sve_fcmle_ppz, true>), FP_CMP_V0("01", "1", "fcmle"))  \
  SVE_FP3_(X, M_V0, CmpEQV0Z, (lib_cmp_v0), direct, (cmp_v0<sve_fcmeq_ppz, true>), FP_CMP_V0("10", "0", "fcmeq"))  \
  SVE_FP3_(X, M_V0, CmpNEV0Z, (lib_cmp_v0), library, (lib_cmp_v0), FP_CMP_V0("11", "0", "fcmne"))

SVE_FAMILY(fp_compares, FP_COMPARES)
