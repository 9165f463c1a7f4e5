// Reciprocal and reciprocal-square-root estimates and their Newton-Raphson
// steps, FRECPX and FSCALE, and the helpers of vectorised exp, sin and cos:
// FEXPA, FTMAD, FTSMUL and FTSSEL. FRECPE and FRECPS of single and double
// precision have native kernels; everything else takes the library route.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../fplib/estimates.h"
#include "../fplib/fast_estimate.h"
#include "../support/marshal.h"
#include "fp_loop.h"

namespace sve {

namespace {

SVE_FP_UNARY_OP(op_frecpe, "frecpe", FPRecipEstimate)
SVE_FP_BINARY_OP(op_frecps_scalar, "frecps", FPRecipStepFused)

// FRECPS is the fused 2 - n * m: the whole-vector fused multiply-subtract
// with the constant as its addend, the first of three operands.
struct op_frecps {
#if defined(__aarch64__)
  template <class F>
  static F native(F, F n, F m) { return op_frecps_scalar::native(n, m); }
#endif
  template <class T>
  static T library(T, T n, T m, FPSCR& s) { return FPRecipStepFused(n, m, s); }
  SVE_FP_VECTOR(fms)
};

}  // namespace

aarch64_decode_rc sve_frecpe_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) {
  const uint8_t* a = s->z[zn.reg];
  return by_size<Z_D, Z_S>(zd.elem, [&](auto t) {
    using T = decltype(t);
    uint8_t* d = s->z[zd.reg];
    return fp_kernel_vector<T>(
        d, nullptr, [&] { return fast::recip_estimate<T>(a, d); },
        [&](unsigned i) { return fp_kernel_element<op_frecpe>(s, load<T>(a + i * sizeof(T))); });
  });
}

aarch64_decode_rc sve_frecps_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return fp_kernel_lanes<op_frecps>(s, zd, nullptr, [&](auto t, uint8_t* scratch) {
    return fp_operands(fp_splat(scratch, fp_format<decltype(t)>::two), s->z[zn.reg], s->z[zm.reg]);
  });
}

// FEXPA computes a function of the operand's bits: nothing to round, no flag.
aarch64_decode_rc sve_fexpa_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) {
  const uint8_t* a = s->z[zn.reg];
  return by_size<Z_D, Z_S, Z_H>(zd.elem, [&](auto t) {
    using T = decltype(t);
    if (fast::expa<T>(a, s->z[zd.reg])) return aarch64_decode_ok;
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) { return FPEXPA<T>(load<T>(a + i)); });
  });
}

namespace lib {

namespace {

// Unpredicated one-source form: op(x, fpscr) in every element.
template <class T, class Op>
VecV fp_routine_all(const VecV& a, CpuContext* c, Op op) {
  return routine_all<T>(a, c, [&](T x) { return fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return op(x, s); }); });
}

// FTSSEL: bit 0 of b chooses 1.0 over a, bit 1 inverts the sign. The select
// does no arithmetic, so a NaN passes through untouched and nothing is raised.
template <class T>
T trig_select(T a, T b) {
  using f = fp_format<T>;
  return T((b & 1 ? f::one : a) ^ (b & 2 ? f::sign : T(0)));
}

// FSCALE takes Zm as a signed integer of the element width.
uint16_t scale(uint16_t x, uint16_t n, FPSCR& s) { return FPScale16(x, int16_t(n), s); }
uint32_t scale(uint32_t x, uint32_t n, FPSCR& s) { return FPScale32(x, int32_t(n), s); }
uint64_t scale(uint64_t x, uint64_t n, FPSCR& s) { return FPScale64(x, int64_t(n), s); }

}  // namespace

#define SVE_ESTIMATE_ROUTINES(type, W)                                                                      \
  VecV Vec##type##RSqrtEV(VecV zn, CpuContext* c) {                                                         \
    return fp_routine_all<W>(zn, c, [](W x, FPSCR& s) { return FPRSqrtEstimate(x, s); });                   \
  }                                                                                                         \
  VecV Vec##type##RSqrtSVV(VecV zn, VecV zm, CpuContext* c) {                                               \
    return fp_routine_pair<W>(zn, zm, c, [](W x, W y, FPSCR& s) { return FPRSqrtStepFused(x, y, s); });     \
  }                                                                                                         \
  VecV Vec##type##RecpXVM(VecV zd, PredV pg, VecV zn, CpuContext* c) {                                      \
    return fp_routine_unary<W>(zd, pg, zn, c, [](W x, FPSCR& s) { return FPRecpX(x, s); });                 \
  }                                                                                                         \
  VecV Vec##type##ScaleVVM(VecV zdn, PredV pg, VecV zm, CpuContext* c) {                                    \
    return fp_routine_merge<W>(zdn, pg, zm, c, [](W x, W n, FPSCR& s) { return scale(x, n, s); });          \
  }                                                                                                         \
  VecV Vec##type##TRIMADDVVI(VecV zdn, VecV zm, uint64_t index, CpuContext* c) {                            \
    return fp_routine_pair<W>(zdn, zm, c, [index](W x, W y, FPSCR& s) { return FPTRIMADD(index, x, y, s); }); \
  }                                                                                                         \
  VecV Vec##type##TRISMULVV(VecV zn, VecV zm, CpuContext* c) {                                              \
    return fp_routine_pair<W>(zn, zm, c, [](W x, W y, FPSCR& s) { return FPTRISMUL(x, y, s); });            \
  }                                                                                                         \
  VecV Vec##type##TRISSELVV(VecV zn, VecV zm, CpuContext* c) { return routine_pair<W>(zn, zm, c, trig_select<W>); }
SVE_ESTIMATE_ROUTINES(F16, uint16_t)
SVE_ESTIMATE_ROUTINES(F32, uint32_t)
SVE_ESTIMATE_ROUTINES(D64, uint64_t)
#undef SVE_ESTIMATE_ROUTINES

// Half precision: the operations that single and double precision do natively.
VecV VecF16RecpEV(VecV zn, CpuContext* c) {
  return fp_routine_all<uint16_t>(zn, c, [](uint16_t x, FPSCR& s) { return FPRecipEstimate(x, s); });
}
VecV VecF16RecpSVV(VecV zn, VecV zm, CpuContext* c) {
  return fp_routine_pair<uint16_t>(zn, zm, c,
                                   [](uint16_t x, uint16_t y, FPSCR& s) { return FPRecipStepFused(x, y, s); });
}

}  // namespace lib

namespace {

// Zd 4:0, Zn 9:5, unpredicated.
template <auto Kernel, bool NativeFp = false>
struct vx : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vx::call(s, w, z_plain(w, 4, 0, T::code), z_plain(w, 9, 5, T::code));
  }
};

using lib_v = library<to_z<4, 0>, z_in<9, 5>>;
using lib_trimadd = library<to_z<4, 0>, z_in<4, 0>, z_in<9, 5>, imm_in<field_in<18, 16>>>;

}  // namespace

}  // namespace sve

using namespace sve;

// "01100101 ss 001 opc 001100 nnnnn ddddd": Zd = estimate of Zn.
#define FP_ESTIMATE(opc, mnemonic) "01100101 ss 001 " opc " 001100 nnnnn ddddd", mnemonic " z0.T, z1.T"
// "01100101 ss 0 mmmmm 000 opc nnnnn ddddd": Zd = Zn op Zm, unpredicated.
#define FP_STEP(opc, mnemonic) "01100101 ss 0 mmmmm 000 " opc " nnnnn ddddd", mnemonic " z0.T, z1.T, z2.T"

#define FP_ESTIMATES(X)                                                                                        \
  SVE_FP3_(X, 31_10, RecpEV, (lib_v), direct, (vx<sve_frecpe_zz, true>), FP_ESTIMATE("110", "frecpe"))          \
  SVE_FP3_(X, 31_10, RSqrtEV, (lib_v), library, (lib_v), FP_ESTIMATE("111", "frsqrte"))                        \
  SVE_FP3_(X, 31_21__15_10, RecpSVV, (lib_vvx), direct, (vvx<sve_frecps_zzz, true>), FP_STEP("110", "frecps"))  \
  SVE_FP3_(X, 31_21__15_10, RSqrtSVV, (lib_vvx), library, (lib_vvx), FP_STEP("111", "frsqrts"))                \
  SVE_FP3_(X, 31_21__15_10, TRISMULVV, (lib_vvx), library, (lib_vvx), FP_STEP("011", "ftsmul"))                \
  SVE_FP3_(X, 31_21__15_10, TRISSELVV, (lib_vvx), library, (lib_vvx), "00000100 ss 1 mmmmm 101100 nnnnn ddddd", \
           "ftssel z0.T, z1.T, z2.T")                                                                          \
  X(31_10, EXPAV, F16, "00000100 ss 1 00000 101110 nnnnn ddddd", direct, (vx<sve_fexpa_zz>), "fexpa z0.T, z1.T") \
  X(31_10, EXPAV, F32, "00000100 ss 1 00000 101110 nnnnn ddddd", direct, (vx<sve_fexpa_zz>), "fexpa z0.T, z1.T") \
  X(31_10, EXPAV, D64, "00000100 ss 1 00000 101110 nnnnn ddddd", direct, (vx<sve_fexpa_zz>), "fexpa z0.T, z1.T") \
  SVE_FP3_(X, 31_13, RecpXVM, (lib_vm), library, (lib_vm), "01100101 ss 001 100 101 ggg nnnnn ddddd",           \
           "frecpx z0.T, p0/m, z1.T")                                                                          \
  SVE_FP3_(X, 31_13, ScaleVVM, (lib_vvm), library, (lib_vvm), "01100101 ss 00 1001 100 ggg mmmmm ddddd",        \
           "fscale z0.T, p0/m, z0.T, z1.T")                                                                    \
  SVE_FP3_(X, 31_19__15_10, TRIMADDVVI, (lib_trimadd), library, (lib_trimadd),                                 \
           "01100101 ss 010 iii 100000 mmmmm ddddd", "ftmad z0.T, z0.T, z1.T, #7")

SVE_FAMILY(fp_estimates, FP_ESTIMATES)
