// Element-wise floating-point arithmetic: add, subtract and their reversed
// forms, multiply, multiply extended, divide, absolute difference, absolute
// value, negate, maximum and minimum in both NaN conventions, and square
// root. Single and double precision take kernels for the common
// operations, which try the whole-vector fast path first, and so do the
// additions, subtractions and products of half precision; the rest takes
// the library route.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/marshal.h"
#include "fp_loop.h"

namespace sve {

namespace {

SVE_FP_BINARY_OP(op_fadd, "fadd", FPAdd, SVE_FP_VECTOR(add))
SVE_FP_BINARY_OP(op_fsub, "fsub", FPSub, SVE_FP_VECTOR(sub))
SVE_FP_BINARY_OP(op_fmul, "fmul", FPMul, SVE_FP_VECTOR(mul))
SVE_FP_BINARY_OP(op_fdiv, "fdiv", FPDiv, SVE_FP_VECTOR(div))
SVE_FP_BINARY_OP(op_fmax, "fmax", FPMax)
SVE_FP_BINARY_OP(op_fmaxnm, "fmaxnm", FPMaxNum)
SVE_FP_BINARY_OP(op_fminnm, "fminnm", FPMinNum)
SVE_FP_UNARY_OP(op_fsqrt, "fsqrt", FPSqrt, SVE_FP_VECTOR(sqrt))

// The two constants that the i1 bit of an immediate form chooses between.
enum class imm_kind { add, mul, max };
template <class T>
T fp_immediate(imm_kind k, bool i1) {
  using f = fp_format<T>;
  const T half = T(T(f::bias - 1) << f::F);
  switch (k) {
    case imm_kind::add: return i1 ? f::one : half;
    case imm_kind::mul: return i1 ? f::two : half;
    default: return i1 ? f::one : T(0);
  }
}

// Kernel bodies: Zdn = Zdn op Zm (or Zm op Zdn), Zd = Zn op Zm, Zdn = Zdn op
// immediate (or immediate op Zdn), Zd = Zn op Zm[index].
template <class Op, bool Reversed>
aarch64_decode_rc zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  const uint8_t *a = s->z[zdn.reg], *b = s->z[zm.reg];
  return fp_kernel_lanes<Op>(s, zdn, s->p[pg.reg],
                             [&](auto, uint8_t*) { return Reversed ? fp_operands(b, a) : fp_operands(a, b); });
}
template <class Op>
aarch64_decode_rc zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return fp_kernel_lanes<Op>(s, zd, nullptr, [&](auto, uint8_t*) { return fp_operands(s->z[zn.reg], s->z[zm.reg]); });
}
template <class Op, imm_kind Kind, bool Reversed>
aarch64_decode_rc zpi(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_sve_fp_arith_imm imm) {
  const uint8_t* a = s->z[zdn.reg];
  return fp_kernel_lanes<Op>(s, zdn, s->p[pg.reg], [&](auto t, uint8_t* scratch) {
    const uint8_t* b = fp_splat(scratch, fp_immediate<decltype(t)>(Kind, imm.i1));
    return Reversed ? fp_operands(b, a) : fp_operands(a, b);
  });
}

}  // namespace

#define SVE_FP_ZPZ(name, Op, reversed)                                                        \
  aarch64_decode_rc sve_##name##_zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg,       \
                                     aarch64_z_reg zm) {                                      \
    return zpz<Op, reversed>(s, zdn, pg, zm);                                                  \
  }
#define SVE_FP_ZZZ(name, Op)                                                                  \
  aarch64_decode_rc sve_##name##_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn,        \
                                     aarch64_z_reg zm) {                                      \
    return zzz<Op>(s, zd, zn, zm);                                                             \
  }
#define SVE_FP_ZPI(name, Op, kind, reversed)                                                  \
  aarch64_decode_rc sve_##name##_zpi(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg,       \
                                     aarch64_sve_fp_arith_imm imm) {                          \
    return zpi<Op, imm_kind::kind, reversed>(s, zdn, pg, imm);                                 \
  }
SVE_FP_ZPZ(fadd, op_fadd, false)
SVE_FP_ZPZ(fsub, op_fsub, false)
SVE_FP_ZPZ(fsubr, op_fsub, true)
SVE_FP_ZPZ(fmul, op_fmul, false)
SVE_FP_ZPZ(fdiv, op_fdiv, false)
SVE_FP_ZPZ(fdivr, op_fdiv, true)
SVE_FP_ZPZ(fmax, op_fmax, false)
SVE_FP_ZPZ(fmaxnm, op_fmaxnm, false)
SVE_FP_ZPZ(fminnm, op_fminnm, false)
SVE_FP_ZZZ(fadd, op_fadd)
SVE_FP_ZZZ(fsub, op_fsub)
SVE_FP_ZZZ(fmul, op_fmul)
SVE_FP_ZPI(fadd, op_fadd, add, false)
SVE_FP_ZPI(fsub, op_fsub, add, false)
SVE_FP_ZPI(fsubr, op_fsub, add, true)
SVE_FP_ZPI(fmul, op_fmul, mul, false)
#undef SVE_FP_ZPZ
#undef SVE_FP_ZZZ
#undef SVE_FP_ZPI

aarch64_decode_rc sve_fsqrt_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return fp_kernel_lanes<op_fsqrt>(s, zd, s->p[pg.reg], [&](auto, uint8_t*) { return fp_operands(s->z[zn.reg]); });
}

// FMUL (indexed): in each 128-bit segment, every element of Zn times the
// element of Zm at the index within that segment.
aarch64_decode_rc sve_fmul_zzzi(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm, uint64_t index) {
  return fp_kernel_lanes<op_fmul>(s, zd, nullptr, [&](auto t, uint8_t* scratch) {
    return fp_operands(s->z[zn.reg], fp_segment_splat<decltype(t)>(scratch, s->z[zm.reg], index));
  });
}

// Absolute value clears the sign bit alone, of a NaN too, and raises nothing.
aarch64_decode_rc sve_fabs_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  const uint8_t* a = s->z[zn.reg];
  return by_size<Z_D, Z_S, Z_H>(zd.elem, [&](auto t) {
    using T = decltype(t);
    return merge_loop<T>(s->z[zd.reg], s->p[pg.reg], [&](unsigned i) { return T(load<T>(a + i) & ~fp_format<T>::sign); });
  });
}

// Negation flips the sign bit alone, of a NaN too, and raises nothing.
aarch64_decode_rc sve_fneg_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  const uint8_t* a = s->z[zn.reg];
  return fp_kernel_merge(s, zd, pg, [&](auto t, unsigned i) {
    using T = decltype(t);
    return FPNeg(load<T>(a + i));
  });
}

namespace lib {

namespace {

// FMUL (indexed) of half precision, as the kernel above.
template <class T>
VecV mul_indexed(const VecV& zn, const VecV& zm, uint64_t index, CpuContext* c) {
  VecV r = zn;
  const unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i) {
    const T m = zm.get<T>(segment_element<T>(i, index));
    r.set<T>(i, fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return FPMul(zn.get<T>(i), m, s); }));
  }
  return r;
}

}  // namespace

#define SVE_FP_VVM(type, W, op, expr)                                                         \
  VecV Vec##type##op##VVM(VecV zdn, PredV pg, VecV zm, CpuContext* c) {                       \
    return fp_routine_merge<W>(zdn, pg, zm, c, [](W a, W b, FPSCR& s) -> W { return expr; }); \
  }
// The immediate stands in the second operand's place: b below.
#define SVE_FP_VIM(type, W, op, kind, expr)                                                   \
  VecV Vec##type##op##VIM(VecV zdn, PredV pg, bool i1, CpuContext* c) {                       \
    const W b = fp_immediate<W>(imm_kind::kind, i1);                                          \
    return fp_routine_merge<W>(zdn, pg, zdn, c, [b](W a, W, FPSCR& s) -> W { return expr; }); \
  }
// The sign operations set no status bit and merge nothing.
#define SVE_FP_SIGN_VM(type, W, op, expr)                                                     \
  VecV Vec##type##op##VM(VecV zd, PredV pg, VecV zn, CpuContext* c) {                         \
    return routine_merge_unary<W>(zd, pg, zn, c, [](W a) -> W { return expr; });              \
  }

// The routines that every format has: no native kernel does these.
#define SVE_FP_LIBRARY_ONLY(type, W)                                                          \
  SVE_FP_VVM(type, W, MulX, FPMulX(a, b, s))                                                                     \
  SVE_FP_VVM(type, W, Abd, W(FPSub(a, b, s) & ~fp_format<W>::sign))                                              \
  SVE_FP_VVM(type, W, Min, FPMin(a, b, s))                                                                       \
  SVE_FP_VIM(type, W, Max, max, FPMax(a, b, s))                                                                  \
  SVE_FP_VIM(type, W, Min, max, FPMin(a, b, s))                                                                  \
  SVE_FP_VIM(type, W, MaxNum, max, FPMaxNum(a, b, s))                                                            \
  SVE_FP_VIM(type, W, MinNum, max, FPMinNum(a, b, s))
SVE_FP_LIBRARY_ONLY(F16, uint16_t)
SVE_FP_LIBRARY_ONLY(F32, uint32_t)
SVE_FP_LIBRARY_ONLY(D64, uint64_t)

// Half precision: the operations that single and double precision do natively.
SVE_FP_VVM(F16, uint16_t, Div, FPDiv(a, b, s))
SVE_FP_VVM(F16, uint16_t, DivR, FPDiv(b, a, s))
SVE_FP_VVM(F16, uint16_t, Max, FPMax(a, b, s))
SVE_FP_VVM(F16, uint16_t, MaxNum, FPMaxNum(a, b, s))
SVE_FP_VVM(F16, uint16_t, MinNum, FPMinNum(a, b, s))
SVE_FP_SIGN_VM(F16, uint16_t, Neg, FPNeg(a))
VecV VecF16MulVVIX(VecV zn, VecV zm, uint64_t index, CpuContext* c) { return mul_indexed<uint16_t>(zn, zm, index, c); }
VecV VecF16SqrtVM(VecV zd, PredV pg, VecV zn, CpuContext* c) {
  return fp_routine_unary<uint16_t>(zd, pg, zn, c, [](uint16_t a, FPSCR& s) { return FPSqrt(a, s); });
}
#undef SVE_FP_VVM
#undef SVE_FP_VIM
#undef SVE_FP_SIGN_VM
#undef SVE_FP_LIBRARY_ONLY

}  // namespace lib

namespace {

using lib_vim_fp = library<to_z<4, 0>, z_in<4, 0>, p_in<12, 10>, imm_in<field_in<5, 5>>>;

// FMUL (indexed): Zm and the index share bits 22:16 by precision.
struct half_index {
  template <class T>
  static uint64_t value(uint32_t w) { return field(w, 22, 22) << 2 | field(w, 20, 19); }
};
using lib_mul_index_h = library<to_z<4, 0>, z_in<9, 5>, z_in<18, 16>, imm_in<half_index>>;

}  // namespace

}  // namespace sve

using namespace sve;

// "01100101 ss 00 opc 100 ggg mmmmm ddddd": Zdn = Zdn op Zm.
#define FP_VVM(opc, mnemonic) "01100101 ss 00 " opc " 100 ggg mmmmm ddddd", mnemonic " z0.T, p0/m, z0.T, z1.T"
// "01100101 ss 011 opc 100 ggg 0000 i ddddd": Zdn = Zdn op immediate.
#define FP_VIM(opc, mnemonic, imm) "01100101 ss 011 " opc " 100 ggg 0000 i ddddd", mnemonic " z0.T, p0/m, z0.T, #" imm
// "01100101 ss 0 mmmmm 000 opc nnnnn ddddd": Zd = Zn op Zm, unpredicated.
#define FP_VVX(opc, mnemonic) "01100101 ss 0 mmmmm 000 " opc " nnnnn ddddd", mnemonic " z0.T, z1.T, z2.T"

#define FP_ARITHMETIC(X)                                                                                   \
  SVE_FP3_KERNEL_(X, 31_13, AddVVM, vvm, sve_fadd_zpz, FP_VVM("0000", "fadd"))                                   \
  SVE_FP3_KERNEL_(X, 31_13, SubVVM, vvm, sve_fsub_zpz, FP_VVM("0001", "fsub"))                                   \
  SVE_FP3_KERNEL_(X, 31_13, MulVVM, vvm, sve_fmul_zpz, FP_VVM("0010", "fmul"))                                   \
  SVE_FP3_KERNEL_(X, 31_13, SubRVVM, vvm, sve_fsubr_zpz, FP_VVM("0011", "fsubr"))                                \
  SVE_FP3_(X, 31_13, MaxNumVVM, (lib_vvm), direct, (vvm<sve_fmaxnm_zpz, true>), FP_VVM("0100", "fmaxnm"))        \
  SVE_FP3_(X, 31_13, MinNumVVM, (lib_vvm), direct, (vvm<sve_fminnm_zpz, true>), FP_VVM("0101", "fminnm"))        \
  SVE_FP3_(X, 31_13, MaxVVM, (lib_vvm), direct, (vvm<sve_fmax_zpz, true>), FP_VVM("0110", "fmax"))               \
  SVE_FP3_(X, 31_13, MinVVM, (lib_vvm), library, (lib_vvm), FP_VVM("0111", "fmin"))                              \
  SVE_FP3_(X, 31_13, AbdVVM, (lib_vvm), library, (lib_vvm), FP_VVM("1000", "fabd"))                              \
  SVE_FP3_(X, 31_13, MulXVVM, (lib_vvm), library, (lib_vvm), FP_VVM("1010", "fmulx"))                            \
  SVE_FP3_(X, 31_13, DivRVVM, (lib_vvm), direct, (vvm<sve_fdivr_zpz, true>), FP_VVM("1100", "fdivr"))            \
  SVE_FP3_(X, 31_13, DivVVM, (lib_vvm), direct, (vvm<sve_fdiv_zpz, true>), FP_VVM("1101", "fdiv"))               \
  SVE_FP3_KERNEL_(X, 31_13__9_6, AddVIM, vim_fp, sve_fadd_zpi, FP_VIM("000", "fadd", "0.5"))                     \
  SVE_FP3_KERNEL_(X, 31_13__9_6, SubVIM, vim_fp, sve_fsub_zpi, FP_VIM("001", "fsub", "0.5"))                     \
  SVE_FP3_KERNEL_(X, 31_13__9_6, MulVIM, vim_fp, sve_fmul_zpi, FP_VIM("010", "fmul", "2.0"))                     \
  SVE_FP3_KERNEL_(X, 31_13__9_6, SubRVIM, vim_fp, sve_fsubr_zpi, FP_VIM("011", "fsubr", "1.0"))                  \
  SVE_FP3_(X, 31_13__9_6, MaxNumVIM, (lib_vim_fp), library, (lib_vim_fp), FP_VIM("100", "fmaxnm", "1.0"))        \
  SVE_FP3_(X, 31_13__9_6, MinNumVIM, (lib_vim_fp), library, (lib_vim_fp), FP_VIM("101", "fminnm", "0.0"))        \
  SVE_FP3_(X, 31_13__9_6, MaxVIM, (lib_vim_fp), library, (lib_vim_fp), FP_VIM("110", "fmax", "0.0"))             \
  SVE_FP3_(X, 31_13__9_6, MinVIM, (lib_vim_fp), library, (lib_vim_fp), FP_VIM("111", "fmin", "1.0"))             \
  SVE_FP3_KERNEL_(X, 31_21__15_10, AddVVX, vvx, sve_fadd_zzz, FP_VVX("000", "fadd"))                             \
  SVE_FP3_KERNEL_(X, 31_21__15_10, SubVVX, vvx, sve_fsub_zzz, FP_VVX("001", "fsub"))                             \
  SVE_FP3_KERNEL_(X, 31_21__15_10, MulVVX, vvx, sve_fmul_zzz, FP_VVX("010", "fmul"))                             \
  X(31_13, AbsVM, F16, "00000100 ss 011 100 101 ggg nnnnn ddddd", direct, (vm<sve_fabs_zpz>), "fabs z0.T, p0/m, z1.T") \
  X(31_13, AbsVM, F32, "00000100 ss 011 100 101 ggg nnnnn ddddd", direct, (vm<sve_fabs_zpz>), "fabs z0.T, p0/m, z1.T") \
  X(31_13, AbsVM, D64, "00000100 ss 011 100 101 ggg nnnnn ddddd", direct, (vm<sve_fabs_zpz>), "fabs z0.T, p0/m, z1.T") \
  SVE_FP3_(X, 31_13, NegVM, (lib_vm), direct, (vm<sve_fneg_zpz>), "00000100 ss 011 101 101 ggg nnnnn ddddd",     \
                  "fneg z0.T, p0/m, z1.T")                                                                 \
  SVE_FP3_(X, 31_13, SqrtVM, (lib_vm), direct, (vm<sve_fsqrt_zpz, true>),                                        \
                  "01100101 ss 001 101 101 ggg nnnnn ddddd", "fsqrt z0.T, p0/m, z1.T")                     \
  X(31_23__21_21__15_10, MulVVIX, F16, "01100100 0 i 1 iimmm 001000 nnnnn ddddd", library, (lib_mul_index_h),    \
    "fmul z0.h, z1.h, z2.h[7]")                                                                                  \
  X(31_21__15_10, MulVVIX, F32, "01100100 10 1 iimmm 001000 nnnnn ddddd", direct, (vvx_index<sve_fmul_zzzi>),    \
    "fmul z0.s, z1.s, z2.s[3]")                                                                                  \
  X(31_21__15_10, MulVVIX, D64, "01100100 11 1 immmm 001000 nnnnn ddddd", direct, (vvx_index<sve_fmul_zzzi>),    \
    "fmul z0.d, z1.d, z2.d[1]")

SVE_FAMILY(fp_arithmetic, FP_ARITHMETIC)
