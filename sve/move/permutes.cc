// Permutes: table lookup, extraction across two registers, reversal of a
// vector and within elements, interleave, de-interleave, transpose, widening
// unpack, splice and compress. Every form builds its result apart from its
// operands, so a destination that is also a source reads the old values.
#include "permutes.h"

#include <cstring>

#include "../decode/direct.h"
#include "../decode/families.h"
#include "../integer/kernel_loop.h"
#include "../support/host_kernels.h"
#include "../support/marshal.h"
#include "../support/pred_words.h"
#include "../support/routine_loop.h"

namespace sve {

namespace {

constexpr unsigned vl = sve_vl_bytes;

// Copies element `from` of `src` to element `to` of `dst`, of e bytes.
inline void move_elem(char* dst, unsigned to, const char* src, unsigned from, unsigned e) {
  std::memcpy(dst + to * e, src + from * e, e);
}

// The element pairs of zip: element 2k from a, 2k+1 from b, both at source
// element k of the low half, or of the high half.
void zip(char* d, const char* a, const char* b, element_size size, unsigned high) {
  unsigned e = 1u << size, half = vl / e / 2, first = high ? half : 0;
  for (unsigned k = 0; k < half; ++k) {
    move_elem(d, 2 * k, a, first + k, e);
    move_elem(d, 2 * k + 1, b, first + k, e);
  }
}

// The elements of a, then of b, at positions 2k + odd.
void uzp(char* d, const char* a, const char* b, element_size size, unsigned odd) {
  unsigned e = 1u << size, half = vl / e / 2;
  for (unsigned k = 0; k < half; ++k) {
    move_elem(d, k, a, 2 * k + odd, e);
    move_elem(d, half + k, b, 2 * k + odd, e);
  }
}

// Result element 2k from a and 2k+1 from b, both at source element 2k + odd.
void trn(char* d, const char* a, const char* b, element_size size, unsigned odd) {
  unsigned e = 1u << size, half = vl / e / 2;
  for (unsigned k = 0; k < half; ++k) {
    move_elem(d, 2 * k, a, 2 * k + odd, e);
    move_elem(d, 2 * k + 1, b, 2 * k + odd, e);
  }
}

using array_loop = void (*)(char*, const char*, const char*, element_size, unsigned);

// A three-register permute through a temporary.
template <array_loop Loop, unsigned Arg>
aarch64_decode_rc permute3(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  char tmp[vl];
  Loop(tmp, reinterpret_cast<const char*>(s->z[zn.reg]), reinterpret_cast<const char*>(s->z[zm.reg]),
       element_size(zd.elem), Arg);
  std::memcpy(s->z[zd.reg], tmp, vl);
  return aarch64_decode_ok;
}

}  // namespace

void sve_zip1(char* d, const char* a, const char* b, element_size size) { zip(d, a, b, size, 0); }
void sve_zip2(char* d, const char* a, const char* b, element_size size) { zip(d, a, b, size, 1); }
void sve_uzp1(char* d, const char* a, const char* b, element_size size) { uzp(d, a, b, size, 0); }

aarch64_decode_rc sve_zip1_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return permute3<zip, 0>(s, zd, zn, zm);
}
aarch64_decode_rc sve_zip2_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return permute3<zip, 1>(s, zd, zn, zm);
}
aarch64_decode_rc sve_uzp1_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return permute3<uzp, 0>(s, zd, zn, zm);
}
aarch64_decode_rc sve_uzp2_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return permute3<uzp, 1>(s, zd, zn, zm);
}
aarch64_decode_rc sve_trn2_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return permute3<trn, 1>(s, zd, zn, zm);
}

// TBL: the whole index element, unsigned; an index at or beyond the element
// count gives 0, with no wrap. An index out of range reads the last element
// and masks it out: no branch per element, whose outcome the indices of real
// tables make hard to predict.
aarch64_decode_rc sve_tbl_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size(zd.elem, [&](auto e) {
    using T = decltype(e);
    const uint8_t *table = s->z[zn.reg], *index = s->z[zm.reg];
    if (host::table_lookup(sizeof(T), s->z[zd.reg], table, vl, index)) return aarch64_decode_ok;
    constexpr T last = vl / sizeof(T) - 1;
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) {
      T k = load<T>(index + i), in_range = T(T(0) - T(k <= last));
      return T(load<T>(table + select(in_range, k, last) * sizeof(T)) & in_range);
    });
  });
}

// TBL of two registers and TBX: an index below `count` elements reads
// `table`; beyond it TBL gives 0 and TBX keeps the element of Zd. A
// two-register table of bytes can hold more elements than a byte counts, so
// index and count are compared at 64 bits. As TBL of one register, an index
// out of range reads the last element and masks it.
namespace {
template <class T, bool Keep>
aarch64_decode_rc table_select(cpu_state* s, aarch64_z_reg zd, const uint8_t* table, unsigned count,
                               aarch64_z_reg zm) {
  const uint8_t *index = s->z[zm.reg], *old = s->z[zd.reg];
  const uint64_t last = count - 1;
  return all_loop<T>(s->z[zd.reg], [&](unsigned i) {
    const uint64_t k = load<T>(index + i);
    const T in_range = T(T(0) - T(k <= last));
    return select(in_range, load<T>(table + (k <= last ? k : last) * sizeof(T)), Keep ? load<T>(old + i) : T(0));
  });
}

// The second register of a pair: register numbers wrap from 31 to 0.
inline unsigned next_reg(aarch64_z_reg z) { return (z.reg + 1) % 32; }
}  // namespace

// The table is Zn followed by Zn+1.
aarch64_decode_rc sve_tbl2_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size(zd.elem, [&](auto e) {
    using T = decltype(e);
    alignas(16) uint8_t table[2 * vl];
    std::memcpy(table, s->z[zn.reg], vl);
    std::memcpy(table + vl, s->z[next_reg(zn)], vl);
    if (host::table_lookup(sizeof(T), s->z[zd.reg], table, 2 * vl, s->z[zm.reg])) return aarch64_decode_ok;
    return table_select<T, false>(s, zd, table, 2 * vl / sizeof(T), zm);
  });
}

aarch64_decode_rc sve_tbx_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size(zd.elem, [&](auto e) {
    using T = decltype(e);
    return table_select<T, true>(s, zd, s->z[zn.reg], vl / sizeof(T), zm);
  });
}

// EXT: the vector's length of bytes from byte imm8 of the first source and
// the second laid end to end; an offset at or beyond the vector length
// counts as 0. The destination may be either source.
namespace {
aarch64_decode_rc extract_window(uint8_t* d, const uint8_t* a, const uint8_t* b, uint32_t imm8) {
  const unsigned from = imm8 >= vl ? 0 : imm8;
  if constexpr (host::extracts_bytes) {
    return host::extract_bytes(d, a, b, from);
  } else {
    uint8_t pair[2 * vl];
    std::memcpy(pair, a, vl);
    std::memcpy(pair + vl, b, vl);
    std::memcpy(d, pair + from, vl);
    return aarch64_decode_ok;
  }
}
}  // namespace

aarch64_decode_rc sve_ext_zzi(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm, uint32_t imm8) {
  return extract_window(s->z[zdn.reg], s->z[zdn.reg], s->z[zm.reg], imm8);
}

// EXT of a register pair: the same window over Zn and Zn+1, into Zd.
aarch64_decode_rc sve_ext2_zzi(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, uint32_t imm8) {
  return extract_window(s->z[zd.reg], s->z[zn.reg], s->z[next_reg(zn)], imm8);
}

aarch64_decode_rc sve_rev_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) {
  return by_size(zd.elem, [&](auto e) {
    using T = decltype(e);
    const uint8_t* a = s->z[zn.reg];
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) { return load<T>(a + vl - sizeof(T) - i); });
  });
}

// REVW: the two words of each active doubleword swapped.
aarch64_decode_rc sve_revw_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  const uint8_t* a = s->z[zn.reg];
  return merge_loop<uint64_t>(s->z[zd.reg], s->p[pg.reg], [&](unsigned i) {
    uint64_t v = load<uint64_t>(a + i);
    return v >> 32 | v << 32;
  });
}

// SPLICE: the stretch of Zdn from its first to its last active element, then
// the elements of Zm from 0 on; with no active element, Zm. The stretch
// moves down in place and Zm's elements follow it; when Zm is Zdn, through
// a copy.
namespace {
[[gnu::noinline]] void splice_bytes(uint8_t* d, const uint8_t* m, unsigned from, unsigned length) {
  uint8_t copy[vl];
  if (m == d) m = static_cast<const uint8_t*>(std::memcpy(copy, m, vl));
  if (from != 0) std::memmove(d, d + from, length);
  std::memcpy(d + length, m, vl - length);
}
}  // namespace

// Only the scans of the predicate depend on the element size, through the
// mask of the elements' first bytes, so one body serves every size. A
// stretch of the whole vector leaves d as it is.
namespace {
void splice_into(uint8_t* d, const uint8_t* m, const uint8_t* g, uint32_t size_code) {
  const uint64_t lead = lead_bits_of(size_code);
  auto active = [g, lead](unsigned k) { return pred_word(g, k) & lead; };
  const int first = first_set_byte(active);
  const unsigned from = first < 0 ? 0 : unsigned(first);
  const unsigned end = first < 0 ? 0 : unsigned(last_set_byte(active)) + (1u << (size_code & 3));
  if (end - from < vl) splice_bytes(d, m, from, end - from);
}
}  // namespace

aarch64_decode_rc sve_splice_zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  splice_into(s->z[zdn.reg], s->z[zm.reg], s->p[pg.reg], zdn.rw_elem);
  return aarch64_decode_ok;
}

// SPLICE of a register pair: Zn takes the place of Zdn and Zn+1 of Zm, with
// the result in Zd. Zn+1 is read from a copy, as Zd may be Zn+1.
aarch64_decode_rc sve_splice2_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  alignas(16) uint8_t second[vl];
  std::memcpy(second, s->z[next_reg(zn)], vl);
  if (zd.reg != zn.reg) std::memcpy(s->z[zd.reg], s->z[zn.reg], vl);
  splice_into(s->z[zd.reg], second, s->p[pg.reg], zd.elem);
  return aarch64_decode_ok;
}

// COMPACT: the active elements of Zn packed from element 0 up; zeros after.
// Every element is stored at the next free place, which only an active one
// takes, and the places from the count on are cleared after: no branch on
// the predicate. A place is never above the element read, so Zd may be Zn.
aarch64_decode_rc sve_compact_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size<Z_S, Z_D>(zd.elem, [&]<class T>(T) {
    const uint8_t *g = s->p[pg.reg], *a = s->z[zn.reg];
    uint8_t* d = s->z[zd.reg];
    if (host::compact_elements(sizeof(T), d, a, g)) return aarch64_decode_ok;
    unsigned y = 0;
    for (unsigned i = 0; i < vl; i += sizeof(T)) {
      store<T>(d + y, load<T>(a + i));
      y += (g[i] & 1) * sizeof(T);
    }
    for (unsigned i = 0; i < vl; i += sizeof(T)) store<T>(d + i, T(load<T>(d + i) & (T(0) - T(i < y))));
    return aarch64_decode_ok;
  });
}

// Unpacks widen the low or high half of Zn into all of Zd.
template <class Narrow, class Wide, bool High>
aarch64_decode_rc unpack_kernel(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) {
  const uint8_t* a = s->z[zn.reg] + (High ? vl / 2 : 0);
  return all_loop<Wide>(s->z[zd.reg], [&](unsigned i) { return Wide(load<Narrow>(a + i / 2)); });
}

#define SVE_UNPACK_KERNEL(name, Narrow, Wide, High)                                   \
  aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) {         \
    return unpack_kernel<Narrow, Wide, High>(s, zd, zn);                             \
  }
SVE_UNPACK_KERNEL(sve_uunpklo_b2h_zz, uint8_t, uint16_t, false)
SVE_UNPACK_KERNEL(sve_uunpkhi_b2h_zz, uint8_t, uint16_t, true)
SVE_UNPACK_KERNEL(sve_uunpklo_h2s_zz, uint16_t, uint32_t, false)
SVE_UNPACK_KERNEL(sve_uunpkhi_h2s_zz, uint16_t, uint32_t, true)
SVE_UNPACK_KERNEL(sve_uunpklo_s2d_zz, uint32_t, uint64_t, false)
SVE_UNPACK_KERNEL(sve_uunpkhi_s2d_zz, uint32_t, uint64_t, true)
SVE_UNPACK_KERNEL(sve_sunpklo_s2d_zz, int32_t, uint64_t, false)
SVE_UNPACK_KERNEL(sve_sunpkhi_s2d_zz, int32_t, uint64_t, true)
#undef SVE_UNPACK_KERNEL

namespace {

// The pieces of an element in reverse order.
template <class T, class Piece>
T reverse_pieces(T v) {
  constexpr unsigned bits = sizeof(Piece) * 8, count = sizeof(T) / sizeof(Piece);
  uint64_t r = 0;
  for (unsigned k = 0; k < count; ++k) r |= uint64_t(Piece(uint64_t(v) >> (k * bits))) << ((count - 1 - k) * bits);
  return T(r);
}

template <class T, class Piece>
VecV reverse_within(const VecV& zd, const PredV& pg, const VecV& zn, const CpuContext* c) {
  return routine_merge_unary<T>(zd, pg, zn, c, reverse_pieces<T, Piece>);
}

template <class T>
VecV transpose1(const VecV& zn, const VecV& zm, const CpuContext*) {
  VecV r;
  trn(reinterpret_cast<char*>(r.b), reinterpret_cast<const char*>(zn.b), reinterpret_cast<const char*>(zm.b),
      element_size(__builtin_ctz(sizeof(T))), 0);
  return r;
}

template <class Narrow, class Wide, bool High>
VecV signed_unpack(const VecV& zn, const CpuContext* c) {
  unsigned n = c->elements(sizeof(Wide) * 8);
  VecV r;
  for (unsigned i = 0; i < n; ++i) r.set<Wide>(i, Wide(zn.get<Narrow>(High ? n + i : i)));
  return r;
}

}  // namespace

namespace lib {

#define SVE_ELEMENT_ROUTINES(type, T)                                                                  \
  VecV Vec##type##Trn1VV(VecV zn, VecV zm, CpuContext* c) { return transpose1<T>(zn, zm, c); }
SVE_ELEMENT_ROUTINES(U8, uint8_t)
SVE_ELEMENT_ROUTINES(U16, uint16_t)
SVE_ELEMENT_ROUTINES(U32, uint32_t)
SVE_ELEMENT_ROUTINES(U64, uint64_t)
#undef SVE_ELEMENT_ROUTINES

VecV VecU16Rev1V(VecV zd, PredV pg, VecV zn, CpuContext* c) { return reverse_within<uint16_t, uint8_t>(zd, pg, zn, c); }
VecV VecU32Rev1V(VecV zd, PredV pg, VecV zn, CpuContext* c) { return reverse_within<uint32_t, uint8_t>(zd, pg, zn, c); }
VecV VecU64Rev1V(VecV zd, PredV pg, VecV zn, CpuContext* c) { return reverse_within<uint64_t, uint8_t>(zd, pg, zn, c); }
VecV VecU32Rev2V(VecV zd, PredV pg, VecV zn, CpuContext* c) { return reverse_within<uint32_t, uint16_t>(zd, pg, zn, c); }
VecV VecU64Rev2V(VecV zd, PredV pg, VecV zn, CpuContext* c) { return reverse_within<uint64_t, uint16_t>(zd, pg, zn, c); }
VecV VecS16UnpackLoV(VecV zn, CpuContext* c) { return signed_unpack<int8_t, uint16_t, false>(zn, c); }
VecV VecS16UnpackHiV(VecV zn, CpuContext* c) { return signed_unpack<int8_t, uint16_t, true>(zn, c); }
VecV VecS32UnpackLoV(VecV zn, CpuContext* c) { return signed_unpack<int16_t, uint32_t, false>(zn, c); }
VecV VecS32UnpackHiV(VecV zn, CpuContext* c) { return signed_unpack<int16_t, uint32_t, true>(zn, c); }

}  // namespace lib

// Direct-route shapes of this family.
// Zd 4:0, Zn 9:5.
template <auto Kernel>
struct zz {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), z_plain(w, 9, 5, T::code));
  }
};

// Zd 4:0, Zn 9:5 with the elements of half the size.
template <auto Kernel>
struct zz_unpack {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), z_plain(w, 9, 5, T::code - 1));
  }
};

// Zdn 4:0, Zm 9:5, imm8 from 20:16 above 12:10.
struct ext_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_ext_zzi(s, z_dst_src(w, 4, 0, Z_B), z_plain(w, 9, 5, Z_B), field(w, 20, 16) << 3 | field(w, 12, 10));
  }
};

// Zd 4:0, Zn 9:5 (with Zn+1), imm8 from 20:16 above 12:10.
struct ext2_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_ext2_zzi(s, z_plain(w, 4, 0, Z_B), z_plain(w, 9, 5, Z_B), field(w, 20, 16) << 3 | field(w, 12, 10));
  }
};

// Zd 4:0, Pg 12:10 merging, Zn 9:5, all as doublewords.
struct revw_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_revw_zpz(s, z_plain(w, 4, 0, Z_D), p_gov(w, 12, 10, P_M), z_plain(w, 9, 5, Z_D));
  }
};

using lib_unpack = library<to_z<4, 0>, z_in<9, 5>>;

}  // namespace sve

using namespace sve;

#define SVE_PERMUTE3(opc, route, impl, mnemonic) \
  "00000101 ss 1 mmmmm " opc " nnnnn ddddd", route, impl, mnemonic " z0.T, z1.T, z2.T"
#define SVE_UNPACK(X, op, type, opc, mnemonic, route, impl, sample)                                     \
  X(31_10, op, type, "00000101 ss 1100" opc " 001110 nnnnn ddddd", route, impl, mnemonic " " sample)
#define SVE_REV_IN(opc, mnemonic) \
  "00000101 ss 1001" opc " 100 ggg nnnnn ddddd", library, (lib_vm), mnemonic " z0.T, p0/m, z1.T"

#define MOVE_PERMUTES(X)                                                                                \
  SVE_U4(X, 31_21__15_10, TblVV, "00000101 ss 1 mmmmm 001100 nnnnn ddddd", direct, (vvx<sve_tbl_zzz>), "tbl z0.T, {z1.T}, z2.T") \
  SVE_U4(X, 31_21__15_10, Zip1VV, SVE_PERMUTE3("011000", direct, (vvx<sve_zip1_zzz>), "zip1"))          \
  SVE_U4(X, 31_21__15_10, Zip2VV, SVE_PERMUTE3("011001", direct, (vvx<sve_zip2_zzz>), "zip2"))          \
  SVE_U4(X, 31_21__15_10, Uzp1VV, SVE_PERMUTE3("011010", direct, (vvx<sve_uzp1_zzz>), "uzp1"))          \
  SVE_U4(X, 31_21__15_10, Uzp2VV, SVE_PERMUTE3("011011", direct, (vvx<sve_uzp2_zzz>), "uzp2"))          \
  SVE_U4(X, 31_21__15_10, Trn1VV, SVE_PERMUTE3("011100", library, (lib_vvx), "trn1"))                   \
  SVE_U4(X, 31_21__15_10, Trn2VV, SVE_PERMUTE3("011101", direct, (vvx<sve_trn2_zzz>), "trn2"))          \
  X(31_21__15_13, SlideVI, U8, "00000101 001 iiiii 000 iii mmmmm ddddd", direct, (ext_shape), "ext z0.b, z0.b, z1.b, #3") \
  SVE_U4(X, 31_10, ReverseV, "00000101 ss 111000 001110 nnnnn ddddd", direct, (zz<sve_rev_zz>), "rev z0.T, z1.T") \
  SVE_UNPACK(X, UnpackLoV, U16, "10", "uunpklo", direct, (zz_unpack<sve_uunpklo_b2h_zz>), "z0.h, z1.b")   \
  SVE_UNPACK(X, UnpackLoV, U32, "10", "uunpklo", direct, (zz_unpack<sve_uunpklo_h2s_zz>), "z0.s, z1.h")   \
  SVE_UNPACK(X, UnpackLoV, U64, "10", "uunpklo", direct, (zz_unpack<sve_uunpklo_s2d_zz>), "z0.d, z1.s")   \
  SVE_UNPACK(X, UnpackHiV, U16, "11", "uunpkhi", direct, (zz_unpack<sve_uunpkhi_b2h_zz>), "z0.h, z1.b")   \
  SVE_UNPACK(X, UnpackHiV, U32, "11", "uunpkhi", direct, (zz_unpack<sve_uunpkhi_h2s_zz>), "z0.s, z1.h")   \
  SVE_UNPACK(X, UnpackHiV, U64, "11", "uunpkhi", direct, (zz_unpack<sve_uunpkhi_s2d_zz>), "z0.d, z1.s")   \
  SVE_UNPACK(X, UnpackLoV, S16, "00", "sunpklo", library, (lib_unpack), "z0.h, z1.b")                     \
  SVE_UNPACK(X, UnpackLoV, S32, "00", "sunpklo", library, (lib_unpack), "z0.s, z1.h")                     \
  SVE_UNPACK(X, UnpackLoV, S64, "00", "sunpklo", direct, (zz_unpack<sve_sunpklo_s2d_zz>), "z0.d, z1.s")   \
  SVE_UNPACK(X, UnpackHiV, S16, "01", "sunpkhi", library, (lib_unpack), "z0.h, z1.b")                     \
  SVE_UNPACK(X, UnpackHiV, S32, "01", "sunpkhi", library, (lib_unpack), "z0.s, z1.h")                     \
  SVE_UNPACK(X, UnpackHiV, S64, "01", "sunpkhi", direct, (zz_unpack<sve_sunpkhi_s2d_zz>), "z0.d, z1.s")   \
  X(31_13, Rev1V, U16, SVE_REV_IN("00", "revb"))                                                      \
  X(31_13, Rev1V, U32, SVE_REV_IN("00", "revb"))                                                      \
  X(31_13, Rev1V, U64, SVE_REV_IN("00", "revb"))                                                      \
  X(31_13, Rev2V, U32, SVE_REV_IN("01", "revh"))                                                      \
  X(31_13, Rev2V, U64, SVE_REV_IN("01", "revh"))                                                      \
  X(31_13, Rev4V, U64, "00000101 ss 100110 100 ggg nnnnn ddddd", direct, (revw_shape), "revw z0.d, p0/m, z1.d") \
  SVE_U4(X, 31_13, SpliceVV, "00000101 ss 101100 100 ggg mmmmm ddddd", direct, (vvm<sve_splice_zpz>), "splice z0.T, p0, z0.T, z1.T") \
  X(31_13, CompressVV, U32, "00000101 ss 100001 100 ggg nnnnn ddddd", direct, (vm<sve_compact_zpz>), "compact z0.T, p0, z1.T") \
  X(31_13, CompressVV, U64, "00000101 ss 100001 100 ggg nnnnn ddddd", direct, (vm<sve_compact_zpz>), "compact z0.T, p0, z1.T") \
  SVE_U4(X, sve2_31_21__15_10, Tbl2VV, "00000101 ss 1 mmmmm 001010 nnnnn ddddd", direct, (vvx<sve_tbl2_zzz>),        \
         "tbl z0.T, {z1.T, z2.T}, z3.T")                                                                               \
  SVE_U4(X, sve2_31_21__15_10, TbxVV, "00000101 ss 1 mmmmm 001011 nnnnn ddddd", direct, (vvx<sve_tbx_zzz>),          \
         "tbx z0.T, z1.T, z2.T")                                                                                       \
  X(sve2_31_21__15_13, Slide2VI, U8, "00000101 011 iiiii 000 iii nnnnn ddddd", direct, (ext2_shape),                  \
    "ext z0.b, {z1.b, z2.b}, #3")                                                                                      \
  SVE_U4(X, sve2_31_13, Splice2VV, "00000101 ss 101101 100 ggg nnnnn ddddd", direct, (vm<sve_splice2_zpz>),           \
         "splice z0.T, p0, {z1.T, z2.T}")

SVE_FAMILY(move_permutes, MOVE_PERMUTES)
