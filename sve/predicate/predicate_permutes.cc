// Predicate permutes (ZIP1, ZIP2, UZP1, UZP2, TRN1, TRN2, REV, PUNPKLO,
// PUNPKHI) and the first-fault register (RDFFR, RDFFRS, WRFFR, SETFFR).
// Permutes move whole elements, all E bytes or bits, so a predicate written
// at a smaller element size keeps its inner bits; each result is built apart
// and then written, so Pd may be a source.
#include "../decode/families.h"
#include "../move/permutes.h"
#include "../support/bytewise.h"
#include "predicate_shapes.h"
#include "prefix.h"

namespace sve {

namespace {

using array_permute = void (*)(char*, const char*, const char*, element_size);

template <array_permute Permute>
aarch64_decode_rc permute_bytes(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
  pred_bytes r;
  Permute(reinterpret_cast<char*>(r.b), reinterpret_cast<const char*>(s->p[pn.reg]),
          reinterpret_cast<const char*>(s->p[pm.reg]), element_size(pd.elem));
  std::memcpy(s->p[pd.reg], r.b, sve_vl_bytes);
  return aarch64_decode_ok;
}

}  // namespace

aarch64_decode_rc sve_zip1_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
  return permute_bytes<sve_zip1>(s, pd, pn, pm);
}
aarch64_decode_rc sve_zip2_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
  return permute_bytes<sve_zip2>(s, pd, pn, pm);
}
aarch64_decode_rc sve_uzp1_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm) {
  return permute_bytes<sve_uzp1>(s, pd, pn, pm);
}

aarch64_decode_rc sve_rev_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn) {
  pred_bytes r;
  unsigned e = 1u << pd.elem, n = sve_vl_bytes / e;
  for (unsigned i = 0; i < n; ++i) std::memcpy(r.b + i * e, s->p[pn.reg] + (n - 1 - i) * e, e);
  std::memcpy(s->p[pd.reg], r.b, sve_vl_bytes);
  return aarch64_decode_ok;
}

namespace {
// The bits of one half of Pn become halfword elements, each written whole.
aarch64_decode_rc unpack(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn, unsigned from) {
  pred_bytes r;
  for (unsigned i = 0; i < sve_vl_bytes / 2; ++i) store<uint16_t>(r.b + 2 * i, s->p[pn.reg][from + i] & 1);
  std::memcpy(s->p[pd.reg], r.b, sve_vl_bytes);
  return aarch64_decode_ok;
}
}  // namespace

aarch64_decode_rc sve_punpklo_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn) { return unpack(s, pd, pn, 0); }
aarch64_decode_rc sve_punpkhi_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn) {
  return unpack(s, pd, pn, sve_vl_bytes / 2);
}

aarch64_decode_rc sve_rdffr_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg) {
  bytewise(s->p[pd.reg], [](auto& r, const auto& f, const auto& g) { r = f & g; }, s->ffr, s->p[pg.reg]);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_rdffr_p(cpu_state* s, aarch64_p_reg pd) {
  std::memcpy(s->p[pd.reg], s->ffr, sve_vl_bytes);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_wrffr_p(cpu_state* s, aarch64_p_reg pn) {
  std::memcpy(s->ffr, s->p[pn.reg], sve_vl_bytes);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_setffr(cpu_state* s) {
  write_prefix<uint8_t>(s->ffr, sve_vl_bytes);
  return aarch64_decode_ok;
}

namespace {

// Result element `to` takes element `from` of src, all E bits.
void move_bits(PredV& r, unsigned to, const PredV& src, unsigned from, unsigned e) {
  for (unsigned b = 0; b < e; ++b) r.set_bit(to * e + b, src.bit(from * e + b));
}

// TRN (Pair) puts element 2k + odd of Pn and of Pm side by side; UZP (not
// Pair) takes element 2k + odd of Pn, then of Pm.
template <bool Pair, unsigned Odd, unsigned E>
PredV permute_bits(const PredV& n, const PredV& m, const CpuContext* c) {
  PredV r{};
  unsigned half = c->elements(E * 8) / 2;
  for (unsigned k = 0; k < half; ++k) {
    move_bits(r, Pair ? 2 * k : k, n, 2 * k + Odd, E);
    move_bits(r, Pair ? 2 * k + 1 : half + k, m, 2 * k + Odd, E);
  }
  return r;
}

}  // namespace

namespace lib {

#define SVE_PRED_PERMUTES(bits)                                                                                   \
  PredV VecP##bits##Uzp2PP(PredV n, PredV m, CpuContext* c) { return permute_bits<false, 1, bits / 8>(n, m, c); } \
  PredV VecP##bits##Trn1PP(PredV n, PredV m, CpuContext* c) { return permute_bits<true, 0, bits / 8>(n, m, c); }  \
  PredV VecP##bits##Trn2PP(PredV n, PredV m, CpuContext* c) { return permute_bits<true, 1, bits / 8>(n, m, c); }
SVE_PRED_PERMUTES(8)
SVE_PRED_PERMUTES(16)
SVE_PRED_PERMUTES(32)
SVE_PRED_PERMUTES(64)
#undef SVE_PRED_PERMUTES

// RDFFRS: FFR under Pg, with the flags; FFR stays.
PredV VecPActualFlgP(PredV g, CpuContext* c) {
  PredV r;
  for (int k = 0; k < 4; ++k) r.w[k] = c->ffr.w[k] & g.w[k];
  PredSetNZCV(g, r, 8, c);
  return r;
}

}  // namespace lib

// Pd 3:0 at the element size, Pn 8:5, Pm 19:16.
template <auto Kernel>
struct ppp_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, p_plain(w, 3, 0, T::code), p_plain(w, 8, 5, T::code), p_plain(w, 19, 16, T::code));
  }
};
// Pd 3:0 and one predicate at 8:5: a source, or the governing predicate.
template <auto Kernel, uint32_t Qualifier = P_NONE>
struct pp_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    aarch64_p_reg second = Qualifier == P_NONE ? p_plain(w, 8, 5, T::code) : p_gov(w, 8, 5, Qualifier);
    return Kernel(s, p_plain(w, 3, 0, T::code), second);
  }
};
struct rdffr_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_rdffr_p(s, p_plain(w, 3, 0, P_B));
  }
};
struct wrffr_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_wrffr_p(s, p_plain(w, 8, 5, P_B));
  }
};
struct setffr_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_setffr(s);
  }
};

using lib_pp = library<to_p<3, 0>, p_in<8, 5>, p_in<19, 16>>;
using lib_rdffrs = library<to_p<3, 0>, p_in<8, 5>>;

}  // namespace sve

using namespace sve;

// ZIP1 .. TRN2: "00000101 ss 10 mmmm 010 opc 0 nnnn 0 dddd".
#define SVE_P4(X, map, op, ...) \
  X(map, op, P8, __VA_ARGS__) X(map, op, P16, __VA_ARGS__) X(map, op, P32, __VA_ARGS__) X(map, op, P64, __VA_ARGS__)
#define SVE_PPERM(X, op, opc, route, impl, mnemonic)                                                         \
  SVE_P4(X, 31_20__15_9__4_4, op, "00000101 ss 10 mmmm 010 " opc " 0 nnnn 0 dddd", route, impl,              \
         mnemonic " p0.T, p1.T, p2.T")
#define SVE_PREV(X, type) \
  X(31_9__4_4, ReverseP, type, "00000101 ss 110100 0100000 nnnn 0 dddd", direct, (pp_shape<sve_rev_pp>), "rev p0.T, p1.T")

#define PREDICATE_PERMUTES(X)                                                                                  \
  SVE_PPERM(X, Zip1PP, "000", direct, (ppp_shape<sve_zip1_ppp>), "zip1")                                         \
  SVE_PPERM(X, Zip2PP, "001", direct, (ppp_shape<sve_zip2_ppp>), "zip2")                                         \
  SVE_PPERM(X, Uzp1PP, "010", direct, (ppp_shape<sve_uzp1_ppp>), "uzp1")                                         \
  SVE_PPERM(X, Uzp2PP, "011", library, (lib_pp), "uzp2")                                                         \
  SVE_PPERM(X, Trn1PP, "100", library, (lib_pp), "trn1")                                                         \
  SVE_PPERM(X, Trn2PP, "101", library, (lib_pp), "trn2")                                                         \
  SVE_PREV(X, P8) SVE_PREV(X, P16) SVE_PREV(X, P32) SVE_PREV(X, P64)                                                      \
  X(31_9__4_4, UnpackLoP, P, "00000101 00 110000 0100000 nnnn 0 dddd", direct, (pp_shape<sve_punpklo_pp>),    \
    "punpklo p0.h, p1.b")                                                                                     \
  X(31_9__4_4, UnpackHiP, P, "00000101 00 110001 0100000 nnnn 0 dddd", direct, (pp_shape<sve_punpkhi_pp>),    \
    "punpkhi p0.h, p1.b")                                                                                     \
  X(31_9__4_4, ActualP, P, "00100101 00 011000 1111000 gggg 0 dddd", direct, (pp_shape<sve_rdffr_pp, P_Z>),   \
    "rdffr p0.b, p1/z")                                                                                       \
  X(31_9__4_4, ActualFlgP, P, "00100101 01 011000 1111000 gggg 0 dddd", library, (lib_rdffrs),                \
    "rdffrs p0.b, p1/z")                                                                                      \
  X(31_4, ReadFFSRP, P, "00100101 00 011001 1111000 00000 dddd", direct, (rdffr_shape), "rdffr p0.b")         \
  X(31_9__4_0, WriteFFSRP, P, "00100101 00 101000 1001000 nnnn 0 0000", direct, (wrffr_shape), "wrffr p1.b")  \
  X(31_0, ClearFFSR, P, "00100101 00 101100 1001000 0000 0 0000", direct, (setffr_shape), "setffr")

SVE_FAMILY(predicate_permutes, PREDICATE_PERMUTES)
