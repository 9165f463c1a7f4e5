// Integer compares: vector, immediate and wide forms, signed and unsigned.
// Every compare zeroes inactive elements and sets the flags from its result.
// The direct kernels test the byte form with sve_ptest, the library routines
// the packed form with PredSetNZCV; both write an element's low byte only.
#include "../decode/families.h"
#include "../support/host_isa.h"
#include "conditions.h"
#include "predicate_shapes.h"

namespace sve {

namespace {

// out = (Pg active AND cond(element i of Zn, i)) as integers of sizeof(T)
// bytes; whether any element of out is true. The same loop has a baseline
// build and, on x86 hosts with AVX2, one that compares 32 bytes at a time.
template <class T, class Cond>
[[gnu::always_inline]] inline bool compare_elements(const uint8_t* g, const uint8_t* a, uint8_t* out, Cond& cond) {
  T any = 0;
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) {
    const T v = T(load<T>(g + i) & 1 & cond(load<T>(a + i), i));
    store<T>(out + i, v);
    any |= v;
  }
  return any != 0;
}
template <class T, class Cond>
[[gnu::noinline]] bool compare_baseline(const uint8_t* g, const uint8_t* a, uint8_t* out, Cond cond) {
  return compare_elements<T>(g, a, out, cond);
}
#if defined(__x86_64__)
template <class T, class Cond>
[[gnu::target("avx2")]] bool compare_avx2(const uint8_t* g, const uint8_t* a, uint8_t* out, Cond cond) {
  return compare_elements<T>(g, a, out, cond);
}
#endif

// Pd = the compare, and the flags of Pd against Pg. The result goes straight
// to Pd, unless Pd is Pg, which the flags still need.
template <class T, class Cond>
aarch64_decode_rc compare_loop(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, Cond cond) {
  pred_bytes r;
  const uint8_t *g = s->p[pg.reg], *a = s->z[zn.reg];
  uint8_t* out = pd.reg == pg.reg ? r.b : s->p[pd.reg];
#if defined(__x86_64__)
  const bool any = (host::has_avx2() ? compare_avx2<T, Cond> : compare_baseline<T, Cond>)(g, a, out, cond);
#else
  const bool any = compare_baseline<T>(g, a, out, cond);
#endif
  sve_ptest<T>(s, g, out, any);
  if (out == r.b) std::memcpy(s->p[pd.reg], r.b, sve_vl_bytes);
  return aarch64_decode_ok;
}

template <class Cond>
aarch64_decode_rc vectors(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size(pd.elem, [&]<class T>(T) {
    const uint8_t* b = s->z[zm.reg];
    return compare_loop<T>(s, pd, pg, zn, [b](T x, unsigned i) { return Cond::holds(x, load<T>(b + i)); });
  });
}

// The immediate is truncated to the element; at doublewords the caller's
// sign- or zero-extension to 64 bits stands.
template <class Cond>
aarch64_decode_rc immediate(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, int64_t imm) {
  return by_size(pd.elem, [&]<class T>(T) {
    T k = T(imm);
    return compare_loop<T>(s, pd, pg, zn, [k](T x, unsigned) { return Cond::holds(x, k); });
  });
}

}  // namespace

#define SVE_CMP_VV(name, cond)                                                                           \
  aarch64_decode_rc sve_##name##_ppzz(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, \
                                      aarch64_z_reg zm) {                                                \
    return vectors<cond>(s, pd, pg, zn, zm);                                                             \
  }
SVE_CMP_VV(cmpeq, EQ<true>)
SVE_CMP_VV(cmpne, NE<true>)
SVE_CMP_VV(cmpgt, GT<true>)
SVE_CMP_VV(cmpge, GE<true>)
SVE_CMP_VV(cmphi, GT<false>)
SVE_CMP_VV(cmphs, GE<false>)
#undef SVE_CMP_VV

#define SVE_CMP_VI(name, cond, imm_t)                                                                    \
  aarch64_decode_rc sve_##name##_ppzi(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, \
                                      imm_t imm) {                                                       \
    return immediate<cond>(s, pd, pg, zn, int64_t(imm));                                                 \
  }
SVE_CMP_VI(cmpeq, EQ<true>, int)
SVE_CMP_VI(cmpne, NE<true>, int)
SVE_CMP_VI(cmpgt, GT<true>, int)
SVE_CMP_VI(cmplt, LT<true>, int)
SVE_CMP_VI(cmple, LE<true>, int)
SVE_CMP_VI(cmphi, GT<false>, unsigned int)
SVE_CMP_VI(cmplo, LT<false>, unsigned int)
#undef SVE_CMP_VI

namespace {

template <unsigned Bits>
using uint_t = typename elem_of<Bits == 8 ? Z_B : Bits == 16 ? Z_H : Bits == 32 ? Z_S : Z_D>::type;
template <bool S, unsigned Bits>
using int_t = std::conditional_t<S, signed_t<uint_t<Bits>>, uint_t<Bits>>;

// A number extended to 64 bits by its own sign.
template <class T>
uint64_t widen(T x) {
  return uint64_t(std::conditional_t<std::is_signed_v<T>, int64_t, uint64_t>(x));
}

// Library compares over packed predicates: element e of Zn, extended by the
// compare's sign, against the 64-bit value second(e).
template <bool S, unsigned Bits, template <bool> class Cond, class Second>
PredV compare_routine(const PredV& g, const VecV& n, CpuContext* c, Second second) {
  constexpr unsigned E = Bits / 8;
  PredV r{};
  for (unsigned e = 0, count = c->elements(Bits); e < count; ++e)
    if (g.bit(e * E)) r.set_bit(e * E, Cond<S>::holds(widen(n.get<int_t<S, Bits>>(e)), second(e)));
  PredSetNZCV(g, r, Bits, c);
  return r;
}

// Wide: the second operand of element e is the doubleword of Zm that covers
// it, compared as it stands.
template <bool S, unsigned Bits, template <bool> class Cond>
PredV wide(const PredV& g, const VecV& n, const VecV& m, CpuContext* c) {
  return compare_routine<S, Bits, Cond>(g, n, c, [&](unsigned e) { return m.get<uint64_t>(e * Bits / 64); });
}

template <bool S, unsigned Bits, template <bool> class Cond>
PredV with_immediate(const PredV& g, const VecV& n, int_t<S, Bits> k, CpuContext* c) {
  return compare_routine<S, Bits, Cond>(g, n, c, [k](unsigned) { return widen(k); });
}

}  // namespace

namespace lib {

#define SVE_CMP_WIDE(sign, S, bits, cond)                                            \
  PredV Vec##sign##bits##CmpFlg##cond##VWZ(PredV g, VecV n, VecV m, CpuContext* c) { \
    return wide<S, bits, cond>(g, n, m, c);                                          \
  }
#define SVE_CMP_IMM(sign, S, bits, cond)                                                         \
  PredV Vec##sign##bits##CmpFlg##cond##VIZ(PredV g, VecV n, int_t<S, bits> k, CpuContext* c) { \
    return with_immediate<S, bits, cond>(g, n, k, c);                                            \
  }
#define SVE_CMP_3(M, sign, S, cond) M(sign, S, 8, cond) M(sign, S, 16, cond) M(sign, S, 32, cond)
#define SVE_CMP_4(M, sign, S, cond) SVE_CMP_3(M, sign, S, cond) M(sign, S, 64, cond)
SVE_CMP_3(SVE_CMP_WIDE, S, true, EQ)
SVE_CMP_3(SVE_CMP_WIDE, S, true, NE)
SVE_CMP_3(SVE_CMP_WIDE, S, true, GT)
SVE_CMP_3(SVE_CMP_WIDE, S, true, GE)
SVE_CMP_3(SVE_CMP_WIDE, S, true, LT)
SVE_CMP_3(SVE_CMP_WIDE, S, true, LE)
SVE_CMP_3(SVE_CMP_WIDE, U, false, GT)
SVE_CMP_3(SVE_CMP_WIDE, U, false, GE)
SVE_CMP_3(SVE_CMP_WIDE, U, false, LT)
SVE_CMP_3(SVE_CMP_WIDE, U, false, LE)
SVE_CMP_4(SVE_CMP_IMM, S, true, GE)
SVE_CMP_4(SVE_CMP_IMM, U, false, GE)
SVE_CMP_4(SVE_CMP_IMM, U, false, LE)
#undef SVE_CMP_WIDE
#undef SVE_CMP_IMM
#undef SVE_CMP_3
#undef SVE_CMP_4

}  // namespace lib

// Pd 3:0 and Zn 9:5 at the element size, Pg 12:10 zeroing; Zm 20:16, or the
// immediate: signed at 20:16, unsigned at 20:14.
template <bool S>
struct cmp_imm {
  template <class T>
  static auto value(uint32_t w) {
    if constexpr (S) return int_t<S, 8u << T::code>(sfield(w, 20, 16));
    else return int_t<S, 8u << T::code>(field(w, 20, 14));
  }
};

template <auto Kernel, bool S>
struct cmp_vi {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    auto imm = S ? uint32_t(sfield(w, 20, 16)) : field(w, 20, 14);
    return Kernel(s, p_plain(w, 3, 0, T::code), p_gov(w, 12, 10, P_Z), z_plain(w, 9, 5, T::code), imm);
  }
};

using lib_cmp_w = library<to_p<3, 0>, p_in<12, 10>, z_in<9, 5>, z_in<20, 16>>;
template <bool S>
using lib_cmp_i = library<to_p<3, 0>, p_in<12, 10>, z_in<9, 5>, imm_in<cmp_imm<S>>>;

}  // namespace sve

using namespace sve;

#define SVE_S3(X, map, op, ...) X(map, op, S8, __VA_ARGS__) X(map, op, S16, __VA_ARGS__) X(map, op, S32, __VA_ARGS__)
#define SVE_U3(X, map, op, ...) X(map, op, U8, __VA_ARGS__) X(map, op, U16, __VA_ARGS__) X(map, op, U32, __VA_ARGS__)

// Vectors: "00100100 ss 0 mmmmm op 0 o2 ggg nnnnn ne dddd"; wide: bit 14 set,
// or op 0 o2 1 for EQ and NE.
#define SVE_CMP_V(bits15_13, ne, route, impl, mnemonic, zm) \
  "00100100 ss 0 mmmmm " bits15_13 " ggg nnnnn " ne " dddd", route, impl, mnemonic " p0.T, p1/z, z2.T, z3." zm
// Signed immediates: "00100101 ss 0 iiiii op 0 o2 ggg nnnnn ne dddd".
#define SVE_CMP_SI(bits15_13, ne, route, impl, mnemonic) \
  "00100101 ss 0 iiiii " bits15_13 " ggg nnnnn " ne " dddd", route, impl, mnemonic " p0.T, p1/z, z2.T, #-3"
// Unsigned immediates: "00100100 ss 1 iiiiiii lt ggg nnnnn ne dddd".
#define SVE_CMP_UI(lt, ne, route, impl, mnemonic) \
  "00100100 ss 1 iiiiiii " lt " ggg nnnnn " ne " dddd", route, impl, mnemonic " p0.T, p1/z, z2.T, #100"

#define M_V 31_21__15_13__4_4
#define M_UI 31_21__13_13__4_4

#define INTEGER_COMPARES(X)                                                                                   \
  SVE_S4(X, M_V, CmpFlgEQVVZ, SVE_CMP_V("101", "0", direct, (cmp_vv<sve_cmpeq_ppzz>), "cmpeq", "T"))         \
  SVE_S4(X, M_V, CmpFlgNEVVZ, SVE_CMP_V("101", "1", direct, (cmp_vv<sve_cmpne_ppzz>), "cmpne", "T"))         \
  SVE_S4(X, M_V, CmpFlgGTVVZ, SVE_CMP_V("100", "1", direct, (cmp_vv<sve_cmpgt_ppzz>), "cmpgt", "T"))         \
  SVE_S4(X, M_V, CmpFlgGEVVZ, SVE_CMP_V("100", "0", direct, (cmp_vv<sve_cmpge_ppzz>), "cmpge", "T"))         \
  SVE_U4(X, M_V, CmpFlgGTVVZ, SVE_CMP_V("000", "1", direct, (cmp_vv<sve_cmphi_ppzz>), "cmphi", "T"))         \
  SVE_U4(X, M_V, CmpFlgGEVVZ, SVE_CMP_V("000", "0", direct, (cmp_vv<sve_cmphs_ppzz>), "cmphs", "T"))         \
  SVE_S3(X, M_V, CmpFlgEQVWZ, SVE_CMP_V("001", "0", library, (lib_cmp_w), "cmpeq", "d"))                     \
  SVE_S3(X, M_V, CmpFlgNEVWZ, SVE_CMP_V("001", "1", library, (lib_cmp_w), "cmpne", "d"))                     \
  SVE_S3(X, M_V, CmpFlgGEVWZ, SVE_CMP_V("010", "0", library, (lib_cmp_w), "cmpge", "d"))                     \
  SVE_S3(X, M_V, CmpFlgGTVWZ, SVE_CMP_V("010", "1", library, (lib_cmp_w), "cmpgt", "d"))                     \
  SVE_S3(X, M_V, CmpFlgLTVWZ, SVE_CMP_V("011", "0", library, (lib_cmp_w), "cmplt", "d"))                     \
  SVE_S3(X, M_V, CmpFlgLEVWZ, SVE_CMP_V("011", "1", library, (lib_cmp_w), "cmple", "d"))                     \
  SVE_U3(X, M_V, CmpFlgGEVWZ, SVE_CMP_V("110", "0", library, (lib_cmp_w), "cmphs", "d"))                     \
  SVE_U3(X, M_V, CmpFlgGTVWZ, SVE_CMP_V("110", "1", library, (lib_cmp_w), "cmphi", "d"))                     \
  SVE_U3(X, M_V, CmpFlgLTVWZ, SVE_CMP_V("111", "0", library, (lib_cmp_w), "cmplo", "d"))                     \
  SVE_U3(X, M_V, CmpFlgLEVWZ, SVE_CMP_V("111", "1", library, (lib_cmp_w), "cmpls", "d"))                     \
  SVE_S4(X, M_V, CmpFlgGEVIZ, SVE_CMP_SI("000", "0", library, (lib_cmp_i<true>), "cmpge"))                   \
  SVE_S4(X, M_V, CmpFlgGTVIZ, SVE_CMP_SI("000", "1", direct, (cmp_vi<sve_cmpgt_ppzi, true>), "cmpgt"))       \
  SVE_S4(X, M_V, CmpFlgLTVIZ, SVE_CMP_SI("001", "0", direct, (cmp_vi<sve_cmplt_ppzi, true>), "cmplt"))       \
  SVE_S4(X, M_V, CmpFlgLEVIZ, SVE_CMP_SI("001", "1", direct, (cmp_vi<sve_cmple_ppzi, true>), "cmple"))       \
  SVE_S4(X, M_V, CmpFlgEQVIZ, SVE_CMP_SI("100", "0", direct, (cmp_vi<sve_cmpeq_ppzi, true>), "cmpeq"))       \
  SVE_S4(X, M_V, CmpFlgNEVIZ, SVE_CMP_SI("100", "1", direct, (cmp_vi<sve_cmpne_ppzi, true>), "cmpne"))       \
  SVE_U4(X, M_UI, CmpFlgGEVIZ, SVE_CMP_UI("0", "0", library, (lib_cmp_i<false>), "cmphs"))                   \
  SVE_U4(X, M_UI, CmpFlgGTVIZ, SVE_CMP_UI("0", "1", direct, (cmp_vi<sve_cmphi_ppzi, false>), "cmphi"))       \
  SVE_U4(X, M_UI, CmpFlgLTVIZ, SVE_CMP_UI("1", "0", direct, (cmp_vi<sve_cmplo_ppzi, false>), "cmplo"))       \
  SVE_U4(X, M_UI, CmpFlgLEVIZ, SVE_CMP_UI("1", "1", library, (lib_cmp_i<false>), "cmpls"))

SVE_FAMILY(integer_compares, INTEGER_COMPARES)
