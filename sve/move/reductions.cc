// Horizontal reductions across the active elements of a vector, and the
// instructions that pick one element by predicate: LASTA, LASTB, CLASTA,
// CLASTB. A result in a vector register replaces the whole register, with
// zeros above the result; a result in a general register is zero-extended
// from the element.

#include "../decode/direct.h"
#include "../decode/families.h"
#include "../integer/kernel_loop.h"
#include "../support/marshal.h"
#include "../support/pred_words.h"

namespace sve {

// Folds the active elements of Zn into an accumulator that starts at `init`,
// the identity of the fold. Inactive elements enter as the identity, so the
// loop has no branch. Elements enter, and the result leaves, XORed with
// `flip`: with the sign bit there, a signed order becomes the unsigned one,
// which the loop vectorises as a plain maximum or minimum. With no active
// element the result is init ^ flip.
template <class T, class Acc, class Fold>
Acc fold_active(const cpu_state* s, aarch64_p_reg pg, aarch64_z_reg zn, Acc init, Fold fold, T flip = 0) {
  const uint8_t* z = s->z[zn.reg];
  const uint8_t* p = s->p[pg.reg];
  Acc acc = init;
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T))
    acc = fold(acc, select(active_mask<T>(p, i), T(load<T>(z + i) ^ flip), T(init)));
  return Acc(acc ^ flip);
}

template <class T>
constexpr T sign_bit = T(T(1) << (sizeof(T) * 8 - 1));

// One reduction kernel per instruction: its identity and fold, over the
// element types of the size code in the Zn record; the signed ones fold
// unsigned after flipping the sign bits.
#define SVE_REDUCTION(name, flip, init, expr)                                                        \
  aarch64_decode_rc sve_##name##_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) { \
    return by_size(zn.elem, [&](auto e) {                                                            \
      using T = decltype(e);                                                                         \
      T r = fold_active<T>(s, pg, zn, T(init), [](T a, T b) { return T(expr); }, T(flip));          \
      write_v(s, vd, r, sizeof(T));                                                                  \
      return aarch64_decode_ok;                                                                      \
    });                                                                                              \
  }
SVE_REDUCTION(andv, 0, ~T(0), a & b)
SVE_REDUCTION(orv, 0, 0, a | b)
SVE_REDUCTION(eorv, 0, 0, a ^ b)
SVE_REDUCTION(umaxv, 0, 0, a > b ? a : b)
SVE_REDUCTION(uminv, 0, ~T(0), a < b ? a : b)
SVE_REDUCTION(smaxv, sign_bit<T>, 0, a > b ? a : b)
SVE_REDUCTION(sminv, sign_bit<T>, ~T(0), a < b ? a : b)
#undef SVE_REDUCTION

// UADDV sums zero-extended elements in 64 bits: a doubleword at every size.
aarch64_decode_rc sve_uaddv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size(zn.elem, [&](auto e) {
    using T = decltype(e);
    uint64_t sum = fold_active<T>(s, pg, zn, uint64_t(0), [](uint64_t a, T b) { return a + b; });
    write_v(s, vd, sum, 8);
    return aarch64_decode_ok;
  });
}

// The byte offset of the last active element of a byte-form predicate, or -1.
template <class T>
int last_active(const uint8_t* p) {
  return last_set_byte([p](unsigned k) { return pred_word(p, k) & lead_bits<T>; });
}

// LASTB: the last active element, or the last element when none is active.
template <class T>
T lastb(const cpu_state* s, aarch64_p_reg pg, aarch64_z_reg zn) {
  int last = last_active<T>(s->p[pg.reg]);
  return load<T>(s->z[zn.reg] + (last < 0 ? sve_vl_bytes - sizeof(T) : unsigned(last)));
}

aarch64_decode_rc sve_lastb_rpz(cpu_state* s, aarch64_i_reg rd, aarch64_p_reg pg, aarch64_z_reg zn) {
  if (rd.reg == 31) return aarch64_decode_ok;
  return by_size(zn.elem, [&](auto e) {
    write_x(s, rd, lastb<decltype(e)>(s, pg, zn));
    return aarch64_decode_ok;
  });
}

aarch64_decode_rc sve_lastb_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size(zn.elem, [&](auto e) {
    using T = decltype(e);
    write_v(s, vd, lastb<T>(s, pg, zn), sizeof(T));
    return aarch64_decode_ok;
  });
}

// CLASTB to a general register: the last active element, or the low element
// bits of the old register when none is active; zero-extended either way.
aarch64_decode_rc sve_clastb_rpz(cpu_state* s, aarch64_i_reg rdn, aarch64_p_reg pg, aarch64_z_reg zn) {
  if (rdn.reg == 31) return aarch64_decode_ok;
  return by_size(zn.elem, [&](auto e) {
    using T = decltype(e);
    int last = last_active<T>(s->p[pg.reg]);
    write_x(s, rdn, last < 0 ? T(read_x(s, rdn)) : load<T>(s->z[zn.reg] + last));
    return aarch64_decode_ok;
  });
}

namespace {

// The element after the last active one, wrapping to element 0; -1 when no
// element is active. `after` is 0 for the B forms, 1 for the A forms.
int pick(const PredV& pg, unsigned n, unsigned ebytes, unsigned after) {
  for (int i = int(n) - 1; i >= 0; --i)
    if (pg.active(unsigned(i), ebytes)) return int((unsigned(i) + after) % n);
  return -1;
}

template <class T>
uint64_t last_elem(const PredV& pg, const VecV& zn, const CpuContext* c, unsigned after) {
  unsigned n = c->elements(sizeof(T) * 8);
  int i = pick(pg, n, sizeof(T), after);
  return zn.get<T>(i < 0 ? (after ? 0 : n - 1) : unsigned(i));
}

template <class T>
uint64_t cond_elem(const PredV& pg, uint64_t old, const VecV& zn, const CpuContext* c, unsigned after) {
  int i = pick(pg, c->elements(sizeof(T) * 8), sizeof(T), after);
  return i < 0 ? T(old) : zn.get<T>(unsigned(i));
}

template <class T>
VecV cond_vector(const PredV& pg, const VecV& zdn, const VecV& zm, const CpuContext* c, unsigned after) {
  unsigned n = c->elements(sizeof(T) * 8);
  int i = pick(pg, n, sizeof(T), after);
  if (i < 0) return zdn;
  VecV r = zdn;
  T v = zm.get<T>(unsigned(i));
  for (unsigned k = 0; k < n; ++k) r.set<T>(k, v);
  return r;
}

template <class T>
uint64_t signed_sum(const PredV& pg, const VecV& zn, const CpuContext* c) {
  uint64_t sum = 0;
  unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i)
    if (pg.active(i, sizeof(T))) sum += uint64_t(int64_t(signed_t<T>(zn.get<T>(i))));
  return sum;
}

}  // namespace

namespace lib {

#define SVE_PICK_ROUTINES(type, T)                                                                  \
  uint64_t Vec##type##LastAV(PredV pg, VecV zn, CpuContext* c) { return last_elem<T>(pg, zn, c, 1); } \
  uint64_t Vec##type##CondXASV(PredV pg, uint64_t old, VecV zn, CpuContext* c) {                    \
    return cond_elem<T>(pg, old, zn, c, 1);                                                         \
  }
SVE_PICK_ROUTINES(U8, uint8_t)
SVE_PICK_ROUTINES(U16, uint16_t)
SVE_PICK_ROUTINES(U32, uint32_t)
SVE_PICK_ROUTINES(U64, uint64_t)
SVE_PICK_ROUTINES(B8, uint8_t)
SVE_PICK_ROUTINES(H16, uint16_t)
SVE_PICK_ROUTINES(F32, uint32_t)
SVE_PICK_ROUTINES(D64, uint64_t)
#undef SVE_PICK_ROUTINES

#define SVE_CONDXB_ROUTINE(type, T)                                                  \
  uint64_t Vec##type##CondXBSV(PredV pg, uint64_t old, VecV zn, CpuContext* c) {     \
    return cond_elem<T>(pg, old, zn, c, 0);                                          \
  }
SVE_CONDXB_ROUTINE(B8, uint8_t)
SVE_CONDXB_ROUTINE(H16, uint16_t)
SVE_CONDXB_ROUTINE(F32, uint32_t)
SVE_CONDXB_ROUTINE(D64, uint64_t)
#undef SVE_CONDXB_ROUTINE

#define SVE_VCOND_ROUTINES(type, T)                                                                   \
  VecV Vec##type##VCondXAVV(PredV pg, VecV zdn, VecV zm, CpuContext* c) { return cond_vector<T>(pg, zdn, zm, c, 1); } \
  VecV Vec##type##VCondXBVV(PredV pg, VecV zdn, VecV zm, CpuContext* c) { return cond_vector<T>(pg, zdn, zm, c, 0); }
SVE_VCOND_ROUTINES(U8, uint8_t)
SVE_VCOND_ROUTINES(U16, uint16_t)
SVE_VCOND_ROUTINES(U32, uint32_t)
SVE_VCOND_ROUTINES(U64, uint64_t)
#undef SVE_VCOND_ROUTINES

uint64_t VecS8AddReduceV(PredV pg, VecV zn, CpuContext* c) { return signed_sum<uint8_t>(pg, zn, c); }
uint64_t VecS16AddReduceV(PredV pg, VecV zn, CpuContext* c) { return signed_sum<uint16_t>(pg, zn, c); }
uint64_t VecS32AddReduceV(PredV pg, VecV zn, CpuContext* c) { return signed_sum<uint32_t>(pg, zn, c); }

}  // namespace lib

// Direct-route shapes of this family.
// Rd 4:0 written with the element's size, Pg 12:10, Zn 9:5.
template <auto Kernel>
struct rpz {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, x_plain(w, 4, 0, T::code), p_gov(w, 12, 10, P_PLAIN), z_plain(w, 9, 5, T::code));
  }
};

// Rdn 4:0 read and written, w view below doublewords.
template <auto Kernel>
struct rdn_pz {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, x_dst_src(w, 4, 0, T::code == 3 ? I_X : I_W), p_gov(w, 12, 10, P_PLAIN),
                  z_plain(w, 9, 5, T::code));
  }
};

template <unsigned Bytes>
using lib_to_v = library<to_v<4, 0, Bytes>, p_in<12, 10>, z_in<9, 5>>;
using lib_to_x = library<to_x<4, 0>, p_in<12, 10>, z_in<9, 5>>;
template <unsigned Bytes>
using lib_cond_v = library<to_v<4, 0, Bytes>, p_in<12, 10>, v_in<4, 0>, z_in<9, 5>>;
using lib_cond_x = library<to_x<4, 0>, p_in<12, 10>, x_in<4, 0>, z_in<9, 5>>;
using lib_vcond = library<to_z<4, 0>, p_in<12, 10>, z_in<4, 0>, z_in<9, 5>>;

}  // namespace sve

using namespace sve;

#define SVE_RED(opc, kernel, mnemonic) \
  "00000100 ss " opc " 001 ggg nnnnn ddddd", direct, (vpz<kernel>), mnemonic " T0, p0, z1.T"
#define SVE_PICK(opc, route, impl, sample) "00000101 ss " opc " ggg nnnnn ddddd", route, impl, sample

#define MOVE_REDUCTIONS(X)                                                                           \
  SVE_U4(X, 31_13, AddReduceV, "00000100 ss 000001 001 ggg nnnnn ddddd", direct, (vpz<sve_uaddv_vpz>), "uaddv d0, p0, z1.T") \
  X(31_13, AddReduceV, S8, "00000100 ss 000000 001 ggg nnnnn ddddd", library, (lib_to_v<8>), "saddv d0, p0, z1.T") \
  X(31_13, AddReduceV, S16, "00000100 ss 000000 001 ggg nnnnn ddddd", library, (lib_to_v<8>), "saddv d0, p0, z1.T") \
  X(31_13, AddReduceV, S32, "00000100 ss 000000 001 ggg nnnnn ddddd", library, (lib_to_v<8>), "saddv d0, p0, z1.T") \
  SVE_S4(X, 31_13, MaxReduceV, SVE_RED("001000", sve_smaxv_vpz, "smaxv"))                         \
  SVE_U4(X, 31_13, MaxReduceV, SVE_RED("001001", sve_umaxv_vpz, "umaxv"))                         \
  SVE_S4(X, 31_13, MinReduceV, SVE_RED("001010", sve_sminv_vpz, "sminv"))                         \
  SVE_U4(X, 31_13, MinReduceV, SVE_RED("001011", sve_uminv_vpz, "uminv"))                         \
  SVE_U4(X, 31_13, OrReduceV, SVE_RED("011000", sve_orv_vpz, "orv"))                              \
  SVE_U4(X, 31_13, XorReduceV, SVE_RED("011001", sve_eorv_vpz, "eorv"))                           \
  SVE_U4(X, 31_13, AndReduceV, SVE_RED("011010", sve_andv_vpz, "andv"))                           \
  SVE_U4(X, 31_13, LastAV, SVE_PICK("100000 101", library, (lib_to_x), "lasta R0, p0, z1.T"))   \
  SVE_U4(X, 31_13, LastBV, SVE_PICK("100001 101", direct, (rpz<sve_lastb_rpz>), "lastb R0, p0, z1.T")) \
  SVE_U4(X, 31_13, CondXASV, SVE_PICK("110000 101", library, (lib_cond_x), "clasta R0, p0, R0, z1.T")) \
  SVE_U4(X, 31_13, CondXBSV, SVE_PICK("110001 101", direct, (rdn_pz<sve_clastb_rpz>), "clastb R0, p0, R0, z1.T")) \
  SVE_U4(X, 31_13, VCondXAVV, SVE_PICK("101000 100", library, (lib_vcond), "clasta z0.T, p0, z0.T, z1.T")) \
  SVE_U4(X, 31_13, VCondXBVV, SVE_PICK("101001 100", library, (lib_vcond), "clastb z0.T, p0, z0.T, z1.T")) \
  SVE_SCALAR_PICKS(X, B8, 1)                                                                         \
  SVE_SCALAR_PICKS(X, H16, 2)                                                                        \
  SVE_SCALAR_PICKS(X, F32, 4)                                                                        \
  SVE_SCALAR_PICKS(X, D64, 8)

// The forms whose scalar is the low element of a SIMD&FP register.
#define SVE_SCALAR_PICKS(X, type, bytes)                                                          \
  X(31_13, LastAV, type, SVE_PICK("100010 100", library, (lib_to_v<bytes>), "lasta T0, p0, z1.T")) \
  X(31_13, LastBV, type, SVE_PICK("100011 100", direct, (vpz<sve_lastb_vpz>), "lastb T0, p0, z1.T")) \
  X(31_13, CondXASV, type, SVE_PICK("101010 100", library, (lib_cond_v<bytes>), "clasta T0, p0, T0, z1.T")) \
  X(31_13, CondXBSV, type, SVE_PICK("101011 100", library, (lib_cond_v<bytes>), "clastb T0, p0, T0, z1.T"))

SVE_FAMILY(move_reductions, MOVE_REDUCTIONS)
