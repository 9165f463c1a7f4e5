// Floating-point conversions: rounding to an integral value (FRINT*),
// floating point to integer towards zero (FCVTZS, FCVTZU), integer to
// floating point (SCVTF, UCVTF) and between the formats (FCVT). Source and
// result may be narrower than the element, the container: a narrower
// source sits in the low bits of its element and the bits above it are
// ignored; a narrower result fills the low bits, zero-extended for a
// floating-point value and sign- or zero-extended for an integer. An
// inactive element keeps its whole old container.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../fplib/convert.h"
#include "../fplib/fast_convert.h"
#include "../support/marshal.h"
#include "fp_loop.h"

namespace sve {

namespace {

using fast::container;

// An integer of the source's width read as a 64-bit operand, by its sign or
// by zeros.
template <bool Signed, class Int>
uint64_t extend64(Int x) {
  return Signed ? uint64_t(int64_t(std::make_signed_t<Int>(x))) : uint64_t(x);
}

// The rounding mode that RMode of an FPSCR selects.
inline FPRounding fpscr_rounding(FPSCR s) { return FPRounding(s >> 22 & 3); }

template <class T>
T round_ties_away(T a, FPSCR& s) {
  return FPRoundInt(a, FPRounding_TIEAWAY, false, s);
}
SVE_FP_UNARY_OP(op_frinta, "frinta", round_ties_away)

// SCVTF and UCVTF of one element: the integer In to the format of Out under
// the FPCR's rounding mode.
template <bool Signed, class In, class Out>
Out int_to_fp(cpu_state* s, In x) {
#if defined(__aarch64__)
  (void)s;
  host_float<Out> r;
#define SVE_CVTF_ASM(rd, rn)                                                     \
  if constexpr (Signed)                                                          \
    asm volatile("scvtf %" rd "0, %" rn "1" : "=w"(r) : "r"(x));                 \
  else                                                                           \
    asm volatile("ucvtf %" rd "0, %" rn "1" : "=w"(r) : "r"(x));
  if constexpr (sizeof(Out) == 4 && sizeof(In) == 4) {
    SVE_CVTF_ASM("s", "w")
  } else if constexpr (sizeof(Out) == 4) {
    SVE_CVTF_ASM("s", "x")
  } else if constexpr (sizeof(In) == 4) {
    SVE_CVTF_ASM("d", "w")
  } else {
    SVE_CVTF_ASM("d", "x")
  }
#undef SVE_CVTF_ASM
  return std::bit_cast<Out>(r);
#else
  return fp_element(s->fpcr | s->fpcr_high, s->fpsr, [&](FPSCR& f) {
    return fplibFixedToFP<Out>(extend64<Signed>(x), 0, !Signed, fpscr_rounding(f), f);
  });
#endif
}

// The conversion kernels: the fast layer converts what it can of the vector
// at once, and element(x) each active lane that it leaves, x being the
// lane's source. The element is the container of From and To, whatever size
// code the destination record carries.
template <class From, class To, class Element>
aarch64_decode_rc convert_lanes(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                                fast::conversion op, bool is_signed, FPRounding rounding, Element element) {
  using C = container<From, To>;
  const uint8_t* a = s->z[zn.reg];
  uint8_t* d = s->z[zd.reg];
  const uint8_t* p = s->p[pg.reg];
  return fp_kernel_vector<C>(
      d, p, [&] { return fast::convert<From, To>(op, is_signed, rounding, a, p, s->fpcr | s->fpcr_high, s->fpsr, d); },
      [&](unsigned i) { return C(element(From(load<C>(a + i * sizeof(C))))); });
}

template <bool Signed, class In, class Out>
aarch64_decode_rc cvtf(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return convert_lanes<In, Out>(s, zd, pg, zn, fast::conversion::to_float, Signed, FPRounding_TIEEVEN,
                                [&](In x) { return int_to_fp<Signed, In, Out>(s, x); });
}

// FCVTZS, FCVTZU: the integer result extended to the element by its sign.
template <bool Signed, class From, class To>
aarch64_decode_rc fcvtz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return convert_lanes<From, To>(s, zd, pg, zn, fast::conversion::to_integer, Signed, FPRounding_ZERO, [&](From x) {
    return fp_element(s->fpcr | s->fpcr_high, s->fpsr, [&](FPSCR& f) {
      return extend64<Signed>(fplibFPToFixed<From, To>(x, 0, !Signed, FPRounding_ZERO, f));
    });
  });
}

// FRINT* but FRINTA: Rounding of -1 stands for RMode of the FPCR.
template <int Rounding, bool Exact>
aarch64_decode_rc frint(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  const FPRounding mode = Rounding < 0 ? fpscr_rounding(s->fpcr | s->fpcr_high) : FPRounding(Rounding);
  const auto op = Exact ? fast::conversion::round_exact : fast::conversion::round_int;
  return by_size<Z_D, Z_S>(zd.elem, [&](auto t) {
    using T = decltype(t);
    return convert_lanes<T, T>(s, zd, pg, zn, op, false, mode, [&](T x) {
      return fp_element(s->fpcr | s->fpcr_high, s->fpsr, [&](FPSCR& f) { return FPRoundInt(x, mode, Exact, f); });
    });
  });
}

}  // namespace

// FRINTA rounds ties away from zero and, unlike FRINTX, never reports an
// inexact result.
aarch64_decode_rc sve_frinta_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  const uint8_t* a = s->z[zn.reg];
  return fp_kernel_merge(s, zd, pg, [&](auto t, unsigned i) {
    using T = decltype(t);
    return fp_kernel_element<op_frinta>(s, load<T>(a + i));
  });
}

// FCVT from single to double precision.
aarch64_decode_rc sve_fcvt_s2d_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return convert_lanes<uint32_t, uint64_t>(s, zd, pg, zn, fast::conversion::widen, false, FPRounding_TIEEVEN,
                                           [&](uint32_t x) {
                                             return fp_element(s->fpcr | s->fpcr_high, s->fpsr, [&](FPSCR& f) {
                                               return FPConvert<uint32_t, uint64_t>(x, fpscr_rounding(f), f);
                                             });
                                           });
}

#define SVE_CVTF_KERNEL(name, Signed, In, Out)                                                   \
  aarch64_decode_rc sve_##name##_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg,           \
                                     aarch64_z_reg zn) {                                         \
    return cvtf<Signed, In, Out>(s, zd, pg, zn);                                                 \
  }
SVE_CVTF_KERNEL(scvtf_s2s, true, uint32_t, uint32_t)
SVE_CVTF_KERNEL(ucvtf_s2s, false, uint32_t, uint32_t)
SVE_CVTF_KERNEL(scvtf_d2s, true, uint64_t, uint32_t)
SVE_CVTF_KERNEL(ucvtf_d2s, false, uint64_t, uint32_t)
SVE_CVTF_KERNEL(scvtf_s2d, true, uint32_t, uint64_t)
SVE_CVTF_KERNEL(ucvtf_s2d, false, uint32_t, uint64_t)
SVE_CVTF_KERNEL(scvtf_d2d, true, uint64_t, uint64_t)
SVE_CVTF_KERNEL(ucvtf_d2d, false, uint64_t, uint64_t)
#undef SVE_CVTF_KERNEL

#define SVE_FCVTZ_KERNELS(name, From, To)                                                        \
  aarch64_decode_rc sve_fcvtzs_##name##_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg,    \
                                            aarch64_z_reg zn) {                                  \
    return fcvtz<true, From, To>(s, zd, pg, zn);                                                 \
  }                                                                                              \
  aarch64_decode_rc sve_fcvtzu_##name##_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg,    \
                                            aarch64_z_reg zn) {                                  \
    return fcvtz<false, From, To>(s, zd, pg, zn);                                                \
  }
SVE_FCVTZ_KERNELS(s2s, uint32_t, uint32_t)
SVE_FCVTZ_KERNELS(s2d, uint32_t, uint64_t)
SVE_FCVTZ_KERNELS(d2s, uint64_t, uint32_t)
SVE_FCVTZ_KERNELS(d2d, uint64_t, uint64_t)
#undef SVE_FCVTZ_KERNELS

#define SVE_FRINT_KERNEL(name, rounding, exact)                                                   \
  aarch64_decode_rc sve_##name##_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
    return frint<rounding, exact>(s, zd, pg, zn);                                                 \
  }
SVE_FRINT_KERNEL(frintn, FPRounding_TIEEVEN, false)
SVE_FRINT_KERNEL(frintp, FPRounding_POSINF, false)
SVE_FRINT_KERNEL(frintm, FPRounding_NEGINF, false)
SVE_FRINT_KERNEL(frintz, FPRounding_ZERO, false)
SVE_FRINT_KERNEL(frinti, -1, false)
SVE_FRINT_KERNEL(frintx, -1, true)
#undef SVE_FRINT_KERNEL

namespace lib {

namespace {

// The routine loop of a conversion over the element `C` of `A` and `B`:
// op(x, fpscr) in active elements.
template <class A, class B, class Op>
VecV convert_loop(const VecV& zd, const PredV& pg, const VecV& zn, CpuContext* c, Op op) {
  using C = container<A, B>;
  return fp_routine_unary<C>(zd, pg, zn, c, [&](C x, FPSCR& s) { return C(op(A(x), s)); });
}

// A rounding of -1 stands for RMode of the FPCR.
constexpr int fpcr_rmode = -1;

template <class T, int Rounding, bool Exact>
VecV round_int(const VecV& zd, const PredV& pg, const VecV& zn, CpuContext* c) {
  return convert_loop<T, T>(zd, pg, zn, c, [](T x, FPSCR& s) {
    return FPRoundInt(x, Rounding == fpcr_rmode ? fpscr_rounding(s) : FPRounding(Rounding), Exact, s);
  });
}

// FCVTZS, FCVTZU: the integer result extended to the element by its sign.
template <class From, class To, bool Signed>
VecV to_integer(const VecV& zd, const PredV& pg, const VecV& zn, CpuContext* c) {
  return convert_loop<From, To>(zd, pg, zn, c, [](From x, FPSCR& s) {
    return extend64<Signed>(fplibFPToFixed<From, To>(x, 0, !Signed, FPRounding_ZERO, s));
  });
}

template <class Int, class T, bool Signed>
VecV from_integer(const VecV& zd, const PredV& pg, const VecV& zn, CpuContext* c) {
  return convert_loop<Int, T>(zd, pg, zn, c, [](Int x, FPSCR& s) {
    return fplibFixedToFP<T>(extend64<Signed>(x), 0, !Signed, fpscr_rounding(s), s);
  });
}

// FCVT is IEEE half precision whatever AHP says, and FZ16 plays no part in
// it: both are cleared in the element's own FPSCR only.
template <class From, class To>
VecV convert(const VecV& zd, const PredV& pg, const VecV& zn, CpuContext* c) {
  return convert_loop<From, To>(zd, pg, zn, c, [](From x, FPSCR& s) {
    s &= ~(FPSCR(1) << 26 | FPSCR(1) << 19);
    return FPConvert<From, To>(x, fpscr_rounding(s), s);
  });
}

}  // namespace

#define SVE_CVT_ROUTINE(name, ...) \
  VecV Vec##name(VecV zd, PredV pg, VecV zn, CpuContext* c) { return __VA_ARGS__(zd, pg, zn, c); }
#define SVE_FRINT_ROUTINES(type, W)                                            \
  SVE_CVT_ROUTINE(type##FRIntIVM, round_int<W, fpcr_rmode, false>)                                               \
  SVE_CVT_ROUTINE(type##FRIntMVM, round_int<W, FPRounding_NEGINF, false>)                                        \
  SVE_CVT_ROUTINE(type##FRIntNVM, round_int<W, FPRounding_TIEEVEN, false>)                                       \
  SVE_CVT_ROUTINE(type##FRIntPVM, round_int<W, FPRounding_POSINF, false>)                                        \
  SVE_CVT_ROUTINE(type##FRIntXVM, round_int<W, fpcr_rmode, true>)                                                \
  SVE_CVT_ROUTINE(type##FRIntZVM, round_int<W, FPRounding_ZERO, false>)
SVE_FRINT_ROUTINES(F16, uint16_t)
SVE_CVT_ROUTINE(F16FRIntAVM, round_int<uint16_t, FPRounding_TIEAWAY, false>)

// Unsigned and signed forms: element bits, then the operation's name.
#define SVE_FCVTZ_ROUTINES(bits, op, From, To)                   \
  SVE_CVT_ROUTINE(U##bits##op, to_integer<From, To, false>)                                                      \
  SVE_CVT_ROUTINE(S##bits##op, to_integer<From, To, true>)
SVE_FCVTZ_ROUTINES(16, _2FromHVM, uint16_t, uint16_t)
SVE_FCVTZ_ROUTINES(32, _4FromHVM, uint16_t, uint32_t)
SVE_FCVTZ_ROUTINES(64, _8FromHVM, uint16_t, uint64_t)

#define SVE_CVTF16_ROUTINES(bytes, Int)                                          \
  SVE_CVT_ROUTINE(F16FromS##bytes##VM, from_integer<Int, uint16_t, true>)                                        \
  SVE_CVT_ROUTINE(F16FromU##bytes##VM, from_integer<Int, uint16_t, false>)
SVE_CVTF16_ROUTINES(2, uint16_t)
SVE_CVTF16_ROUTINES(4, uint32_t)
SVE_CVTF16_ROUTINES(8, uint64_t)

SVE_CVT_ROUTINE(F32ExtndHVM, convert<uint16_t, uint32_t>)
SVE_CVT_ROUTINE(D64ExtndHVM, convert<uint16_t, uint64_t>)
SVE_CVT_ROUTINE(H32TruncFVM, convert<uint32_t, uint16_t>)
SVE_CVT_ROUTINE(H64TruncDVM, convert<uint64_t, uint16_t>)
SVE_CVT_ROUTINE(F64TruncDVM, convert<uint64_t, uint32_t>)
#undef SVE_CVT_ROUTINE
#undef SVE_FRINT_ROUTINES
#undef SVE_FCVTZ_ROUTINES
#undef SVE_CVTF16_ROUTINES

}  // namespace lib

}  // namespace sve

using namespace sve;

// "01100101 ss 000 opc 101 ggg nnnnn ddddd": round to integral in the same format.
#define FRINT(opc, mnemonic) "01100101 ss 000 " opc " 101 ggg nnnnn ddddd", mnemonic " z0.T, p0/m, z1.T"
// "01100101 xx xxxxxx 101 ggg nnnnn ddddd": a conversion whose bits 23:16 name
// the source and result sizes, with the register sizes of its sample.
#define CVT(bits, mnemonic, d, n) "01100101 " bits " 101 ggg nnnnn ddddd", mnemonic " z0." d ", p0/m, z1." n
// One row of a conversion, from a pattern-and-sample macro.
#define SVE_CVT(X, op, type, route, impl, pattern, sample) X(31_13, op, type, pattern, route, impl, sample)
#define SVE_CVT_(...) SVE_CVT(__VA_ARGS__)
// FCVTZU and FCVTZS, FCVTZU having bit 16 set; UCVTF and SCVTF likewise.
#define SVE_FCVTZ(X, bits, op, route, impl, pattern, d, n)                    \
  SVE_CVT_(X, op, U##bits, route, impl, CVT(pattern "1", "fcvtzu", d, n))                                        \
  SVE_CVT_(X, op, S##bits, route, impl, CVT(pattern "0", "fcvtzs", d, n))
// The same on the kernels of the conversion `name`.
#define SVE_FCVTZ_DIRECT(X, bits, op, name, pattern, d, n)                                                       \
  SVE_CVT_(X, op, U##bits, direct, (vm<sve_fcvtzu_##name##_zpz>), CVT(pattern "1", "fcvtzu", d, n))              \
  SVE_CVT_(X, op, S##bits, direct, (vm<sve_fcvtzs_##name##_zpz>), CVT(pattern "0", "fcvtzs", d, n))

#define FP_CONVERSIONS(X)                                                                                        \
  SVE_FP3_(X, 31_13, FRIntNVM, (lib_vm), direct, (vm<sve_frintn_zpz>), FRINT("000", "frintn"))                   \
  SVE_FP3_(X, 31_13, FRIntPVM, (lib_vm), direct, (vm<sve_frintp_zpz>), FRINT("001", "frintp"))                   \
  SVE_FP3_(X, 31_13, FRIntMVM, (lib_vm), direct, (vm<sve_frintm_zpz>), FRINT("010", "frintm"))                   \
  SVE_FP3_(X, 31_13, FRIntZVM, (lib_vm), direct, (vm<sve_frintz_zpz>), FRINT("011", "frintz"))                   \
  SVE_FP3_(X, 31_13, FRIntAVM, (lib_vm), direct, (vm<sve_frinta_zpz, true>), FRINT("100", "frinta"))             \
  SVE_FP3_(X, 31_13, FRIntXVM, (lib_vm), direct, (vm<sve_frintx_zpz>), FRINT("110", "frintx"))                   \
  SVE_FP3_(X, 31_13, FRIntIVM, (lib_vm), direct, (vm<sve_frinti_zpz>), FRINT("111", "frinti"))                   \
  SVE_CVT_(X, TruncFVM, H32, library, (lib_vm), CVT("10 0010 00", "fcvt", "h", "s"))                             \
  SVE_CVT_(X, ExtndHVM, F32, library, (lib_vm), CVT("10 0010 01", "fcvt", "s", "h"))                             \
  SVE_CVT_(X, TruncDVM, H64, library, (lib_vm), CVT("11 0010 00", "fcvt", "h", "d"))                             \
  SVE_CVT_(X, ExtndHVM, D64, library, (lib_vm), CVT("11 0010 01", "fcvt", "d", "h"))                             \
  SVE_CVT_(X, TruncDVM, F64, library, (lib_vm), CVT("11 0010 10", "fcvt", "s", "d"))                             \
  SVE_CVT_(X, ExtndFVM, D64, direct, (vm<sve_fcvt_s2d_zpz>), CVT("11 0010 11", "fcvt", "d", "s"))                \
  SVE_FCVTZ(X, 16, _2FromHVM, library, (lib_vm), "01 011 01 ", "h", "h")                                         \
  SVE_FCVTZ(X, 32, _4FromHVM, library, (lib_vm), "01 011 10 ", "s", "h")                                         \
  SVE_FCVTZ(X, 64, _8FromHVM, library, (lib_vm), "01 011 11 ", "d", "h")                                         \
  SVE_FCVTZ_DIRECT(X, 32, _4FromFVM, s2s, "10 011 10 ", "s", "s")                                                \
  SVE_FCVTZ_DIRECT(X, 64, _4FromDVM, d2s, "11 011 00 ", "s", "d")                                                \
  SVE_FCVTZ_DIRECT(X, 64, _8FromFVM, s2d, "11 011 10 ", "d", "s")                                                \
  SVE_FCVTZ_DIRECT(X, 64, _8FromDVM, d2d, "11 011 11 ", "d", "d")                                                \
  SVE_CVT_(X, FromU2VM, F16, library, (lib_vm), CVT("01 010 01 1", "ucvtf", "h", "h"))                           \
  SVE_CVT_(X, FromS2VM, F16, library, (lib_vm), CVT("01 010 01 0", "scvtf", "h", "h"))                           \
  SVE_CVT_(X, FromU4VM, F16, library, (lib_vm), CVT("01 010 10 1", "ucvtf", "h", "s"))                           \
  SVE_CVT_(X, FromS4VM, F16, library, (lib_vm), CVT("01 010 10 0", "scvtf", "h", "s"))                           \
  SVE_CVT_(X, FromU8VM, F16, library, (lib_vm), CVT("01 010 11 1", "ucvtf", "h", "d"))                           \
  SVE_CVT_(X, FromS8VM, F16, library, (lib_vm), CVT("01 010 11 0", "scvtf", "h", "d"))                           \
  SVE_CVT_(X, FromU4VM, F32, direct, (vm<sve_ucvtf_s2s_zpz, true>), CVT("10 010 10 1", "ucvtf", "s", "s"))       \
  SVE_CVT_(X, FromS4VM, F32, direct, (vm<sve_scvtf_s2s_zpz, true>), CVT("10 010 10 0", "scvtf", "s", "s"))       \
  SVE_CVT_(X, FromU4VM, D64, direct, (vm<sve_ucvtf_s2d_zpz, true>), CVT("11 010 00 1", "ucvtf", "d", "s"))       \
  SVE_CVT_(X, FromS4VM, D64, direct, (vm<sve_scvtf_s2d_zpz, true>), CVT("11 010 00 0", "scvtf", "d", "s"))       \
  SVE_CVT_(X, FromU8VM, F64, direct, (vm<sve_ucvtf_d2s_zpz, true>), CVT("11 010 10 1", "ucvtf", "s", "d"))       \
  SVE_CVT_(X, FromS8VM, F64, direct, (vm<sve_scvtf_d2s_zpz, true>), CVT("11 010 10 0", "scvtf", "s", "d"))       \
  SVE_CVT_(X, FromU8VM, D64, direct, (vm<sve_ucvtf_d2d_zpz, true>), CVT("11 010 11 1", "ucvtf", "d", "d"))       \
  SVE_CVT_(X, FromS8VM, D64, direct, (vm<sve_scvtf_d2d_zpz, true>), CVT("11 010 11 0", "scvtf", "d", "d"))

SVE_FAMILY(fp_conversions, FP_CONVERSIONS)
