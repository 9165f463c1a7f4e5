// Broadcast, copy and select: DUP from an immediate, a general register or an
// indexed element, FDUP, CPY and FCPY, INDEX, INSR, SEL of vectors and
// MOVPRFX. The forms without a vector source write the destination in place:
// their scalar is read once before the first write. The others build their
// result apart and copy it over the destination at the end.
#include <cstring>

#include "../decode/families.h"
#include "../integer/kernel_loop.h"
#include "../support/bytewise.h"
#include "../support/marshal.h"
#include "../support/routine_loop.h"

namespace sve {

namespace {

// Every element of zd takes v at element width; doubleword immediates arrive
// sign-extended from 32 bits, registers whole.
template <class T>
aarch64_decode_rc fill(uint8_t* zd, uint64_t v) {
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) store<T>(zd + i, T(v));
  return aarch64_decode_ok;
}

// Active elements take v; inactive ones become 0 when zeroing, else stay.
template <class T>
aarch64_decode_rc fill_active(uint8_t* zd, const uint8_t* pg, uint64_t v, bool zeroing) {
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) {
    T m = active_mask<T>(pg, i);
    store<T>(zd + i, select(m, T(v), zeroing ? T(0) : load<T>(zd + i)));
  }
  return aarch64_decode_ok;
}

// Element i is base + i * step at element width, wrapping.
template <class T>
aarch64_decode_rc index_fill(uint8_t* zd, uint64_t base, uint64_t step) {
  T v = T(base);
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T), v = T(v + T(step))) store<T>(zd + i, v);
  return aarch64_decode_ok;
}

aarch64_decode_rc index_kernel(cpu_state* s, aarch64_z_reg zd, uint64_t base, uint64_t step) {
  return by_size(zd.elem, [&]<class T>(T) { return index_fill<T>(s->z[zd.reg], base, step); });
}

aarch64_decode_rc copy_kernel(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, uint64_t v) {
  bool zeroing = pg.elem == P_Z;
  return by_size(zd.elem, [&]<class T>(T) { return fill_active<T>(s->z[zd.reg], s->p[pg.reg], v, zeroing); });
}

}  // namespace

aarch64_decode_rc sve_dup_zi(cpu_state* s, aarch64_z_reg zd, int imm) {
  return by_size(zd.elem, [&]<class T>(T) { return fill<T>(s->z[zd.reg], uint64_t(int64_t(imm))); });
}

aarch64_decode_rc sve_dup_zr(cpu_state* s, aarch64_z_reg zd, aarch64_i_rsp_reg rn) {
  uint64_t v = read_x(s, rn);
  return by_size(zd.elem, [&]<class T>(T) { return fill<T>(s->z[zd.reg], v); });
}

aarch64_decode_rc sve_fdup_zi(cpu_state* s, aarch64_z_reg zd, aarch64_sve_fp_dup_imm imm) {
  uint64_t v = zd.elem == Z_S ? imm.fp32_image : zd.elem == Z_D ? imm.fp64_image : imm.fp16_image;
  return by_size(zd.elem, [&]<class T>(T) { return fill<T>(s->z[zd.reg], v); });
}

// The indexed element is read first, so Zd may be Zn; an element beyond the
// vector reads as 0. Quadwords (code 4) are copied as 16 bytes.
aarch64_decode_rc sve_dup_zzi(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, unsigned int index) {
  unsigned size = 1u << zd.elem;
  uint8_t v[16] = {};
  if ((index + 1) * size <= sve_vl_bytes) std::memcpy(v, s->z[zn.reg] + index * size, size);
  for (unsigned i = 0; i + size <= sve_vl_bytes; i += size) std::memcpy(s->z[zd.reg] + i, v, size);
  return aarch64_decode_ok;
}

aarch64_decode_rc sve_cpy_zpi(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, int imm) {
  return copy_kernel(s, zd, pg, uint64_t(int64_t(imm)));
}
aarch64_decode_rc sve_cpy_zpr(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_i_rsp_reg rn) {
  return copy_kernel(s, zd, pg, read_x(s, rn));
}
aarch64_decode_rc sve_cpy_zpv(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, unsigned int vn) {
  return copy_kernel(s, zd, pg, load<uint64_t>(s->z[vn]));
}

aarch64_decode_rc sve_index_zii(cpu_state* s, aarch64_z_reg zd, int base, int step) {
  return index_kernel(s, zd, uint64_t(int64_t(base)), uint64_t(int64_t(step)));
}
aarch64_decode_rc sve_index_zir(cpu_state* s, aarch64_z_reg zd, int base, aarch64_i_reg rm) {
  return index_kernel(s, zd, uint64_t(int64_t(base)), read_x(s, rm));
}
aarch64_decode_rc sve_index_zri(cpu_state* s, aarch64_z_reg zd, aarch64_i_reg rn, int step) {
  return index_kernel(s, zd, read_x(s, rn), uint64_t(int64_t(step)));
}
aarch64_decode_rc sve_index_zrr(cpu_state* s, aarch64_z_reg zd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return index_kernel(s, zd, read_x(s, rn), read_x(s, rm));
}

// Active elements take Zn, inactive ones Zm; the old Zd plays no part. The
// predicate, Zn and Zm are read piece by piece side by side: an element's
// mask is its predicate element's lowest bit spread over the element.
aarch64_decode_rc sve_sel_zpzz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn,
                               aarch64_z_reg zm) {
  return by_size(zd.elem, [&]<class T>(T) {
    auto op = [](auto& r, const auto& g, const auto& a, const auto& b) {
      using E [[gnu::vector_size(sizeof(r))]] = T;
      const E m = E() - (E(g) & 1);
      r = piece_of<decltype(r)>((E(a) & m) | (E(b) & ~m));
    };
    bytewise(s->z[zd.reg], op, s->p[pg.reg], s->z[zn.reg], s->z[zm.reg]);
    return aarch64_decode_ok;
  });
}

aarch64_decode_rc sve_movprfx_zpz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  const uint8_t* a = s->z[zn.reg];
  const uint8_t* old = s->z[zd.reg];
  bool zeroing = pg.elem == P_Z;
  return by_size(zd.elem, [&]<class T>(T) {
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) {
      return select(active_mask<T>(s->p[pg.reg], i), load<T>(a + i), zeroing ? T(0) : load<T>(old + i));
    });
  });
}

aarch64_decode_rc sve_movprfx_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) {
  if (zd.reg != zn.reg) std::memcpy(s->z[zd.reg], s->z[zn.reg], sve_vl_bytes);
  return aarch64_decode_ok;
}

namespace {

template <uint32_t Code>
using elem_t = typename elem_of<Code>::type;

// FCPY: the immediate in active elements, the old destination elsewhere.
template <class T>
VecV copy_routine(const VecV& zd, const PredV& pg, uint64_t imm, const CpuContext* c) {
  return routine_merge<T>(zd, pg, zd, c, [imm](T, T) { return T(imm); });
}

// INSR: every element moves up by one, the last falls off, and element 0
// takes the value.
template <class T>
VecV insert_routine(const VecV& zdn, uint64_t v, const CpuContext* c) {
  VecV r = zdn;
  for (unsigned i = c->elements(sizeof(T) * 8) - 1; i > 0; --i) r.set<T>(i, zdn.get<T>(i - 1));
  r.set<T>(0, T(v));
  return r;
}

}  // namespace

namespace lib {

#define SVE_FCPY(type, code) \
  VecV Vec##type##DupIM(VecV zd, PredV pg, uint64_t imm, CpuContext* c) { return copy_routine<elem_t<code>>(zd, pg, imm, c); }
SVE_FCPY(F16, Z_H)
SVE_FCPY(F32, Z_S)
SVE_FCPY(D64, Z_D)
#undef SVE_FCPY

#define SVE_INSR(type, code) \
  VecV Vec##type##InsertS(VecV zdn, uint64_t v, CpuContext* c) { return insert_routine<elem_t<code>>(zdn, v, c); }
SVE_INSR(U8, Z_B)
SVE_INSR(U16, Z_H)
SVE_INSR(U32, Z_S)
SVE_INSR(U64, Z_D)
SVE_INSR(B8, Z_B)
SVE_INSR(H16, Z_H)
SVE_INSR(F32, Z_S)
SVE_INSR(D64, Z_D)
#undef SVE_INSR

}  // namespace lib

// Immediates of the family.
struct dup_imm {  // imm8 12:5 signed, times 256 when bit 13 is set
  template <class T>
  static int value(uint32_t w) { return imm_copy(w); }
};
struct fp_dup_imm {  // imm8 12:5 expanded to the type's format
  template <class T>
  static aarch64_sve_fp_dup_imm value(uint32_t w) {
    fp_images f = expand_fp_imm(field(w, 12, 5));
    return {f.h, f.s, f.d};
  }
};
struct fp_image {
  template <class T>
  static uint64_t value(uint32_t w) {
    aarch64_sve_fp_dup_imm f = fp_dup_imm::value<T>(w);
    return T::code == Z_H ? f.fp16_image : T::code == Z_S ? f.fp32_image : f.fp64_image;
  }
};
// DUP (indexed): imm2 23:22 above the bits of tsz 20:16 that lie above its
// lowest set bit, which marks the element size.
struct dup_index {
  template <class T>
  static unsigned value(uint32_t w) {
    unsigned low = T::code + 1;  // tsz bits that encode the size
    return field(w, 23, 22) << (5 - low) | field(w, 20, 16) >> low;
  }
};

// Zd 4:0 with the element size, then the kernel's other operands.
template <auto Kernel, class Imm>
struct z_imm {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), Imm::template value<T>(w));
  }
};
template <auto Kernel>
struct z_rsp {  // Rn 9:5, 31 is sp
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), xsp(w, 9, 5, T::code));
  }
};
template <int g_hi, int g_lo, uint32_t Qualifier, class Imm>
struct z_pred_imm {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_cpy_zpi(s, z_plain(w, 4, 0, T::code), p_gov(w, g_hi, g_lo, Qualifier), Imm::template value<T>(w));
  }
};
template <auto Kernel, bool Vector>
struct z_pred_scalar {  // Pg 12:10 merging; Rn (31 is sp) or Vn at 9:5
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    if constexpr (Vector)
      return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, P_M), field(w, 9, 5));
    else
      return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, P_M), xsp(w, 9, 5, T::code));
  }
};
struct ext_dup {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_dup_zzi(s, z_plain(w, 4, 0, T::code), z_plain(w, 9, 5, T::code), dup_index::value<T>(w));
  }
};
// INDEX: base at 9:5 and step at 20:16, immediates (signed) or registers.
template <bool BaseReg, bool StepReg>
struct index_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    aarch64_z_reg zd = z_plain(w, 4, 0, T::code);
    aarch64_i_reg rn = x_plain(w, 9, 5, T::code), rm = x_plain(w, 20, 16, T::code);
    int base = sfield(w, 9, 5), step = sfield(w, 20, 16);
    if constexpr (BaseReg && StepReg) return sve_index_zrr(s, zd, rn, rm);
    else if constexpr (BaseReg) return sve_index_zri(s, zd, rn, step);
    else if constexpr (StepReg) return sve_index_zir(s, zd, base, rm);
    else return sve_index_zii(s, zd, base, step);
  }
};
struct sel_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_sel_zpzz(s, z_plain(w, 4, 0, T::code), p_gov(w, 13, 10, P_PLAIN), z_plain(w, 9, 5, T::code),
                        z_plain(w, 20, 16, T::code));
  }
};
template <uint32_t Qualifier>
struct movprfx_pred {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_movprfx_zpz(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, Qualifier), z_plain(w, 9, 5, T::code));
  }
};
struct movprfx_plain {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_movprfx_zz(s, z_plain(w, 4, 0, Z_S), z_plain(w, 9, 5, Z_S));
  }
};

using lib_fcpy = library<to_z<4, 0>, z_in<4, 0>, p_in<19, 16>, imm_in<fp_image>>;
using lib_insr_x = library<to_z<4, 0>, z_in<4, 0>, x_in<9, 5>>;
using lib_insr_v = library<to_z<4, 0>, z_in<4, 0>, v_in<9, 5>>;

}  // namespace sve

using namespace sve;

#define SVE_FP3(X, map, op, ...) X(map, op, F16, __VA_ARGS__) X(map, op, F32, __VA_ARGS__) X(map, op, D64, __VA_ARGS__)
#define SVE_V4(X, map, op, ...) \
  X(map, op, B8, __VA_ARGS__) X(map, op, H16, __VA_ARGS__) X(map, op, F32, __VA_ARGS__) X(map, op, D64, __VA_ARGS__)
#define SVE_INDEX(bits15_10, base_reg, step_reg, sample) \
  "00000100 ss 1 mmmmm " bits15_10 " nnnnn ddddd", direct, (index_shape<base_reg, step_reg>), "index z0.T, " sample

#define BROADCAST(X)                                                                                                  \
  SVE_S4(X, 31_14, DupI, "00100101 ss 111000 11 i iiiiiiii ddddd", direct, (z_imm<sve_dup_zi, dup_imm>), "dup z0.T, #-3") \
  SVE_FP3(X, 31_13, DupI, "00100101 ss 111001 110 iiiiiiii ddddd", direct, (z_imm<sve_fdup_zi, fp_dup_imm>),       \
          "fdup z0.T, #0.5")                                                                                         \
  SVE_S4(X, 31_20__15_14, DupIM, "00000101 ss 01 gggg 01 i iiiiiiii ddddd", direct, (z_pred_imm<19, 16, P_M, dup_imm>), \
         "cpy z0.T, p1/m, #-3")                                                                                      \
  SVE_S4(X, 31_20__15_14, DupIZ, "00000101 ss 01 gggg 00 i iiiiiiii ddddd", direct, (z_pred_imm<19, 16, P_Z, dup_imm>), \
         "cpy z0.T, p1/z, #-3")                                                                                      \
  SVE_FP3(X, 31_20__15_13, DupIM, "00000101 ss 01 gggg 110 iiiiiiii ddddd", library, (lib_fcpy), "fcpy z0.T, p1/m, #0.5") \
  SVE_U4(X, 31_10, DupS, "00000101 ss 1 00000 001110 nnnnn ddddd", direct, (z_rsp<sve_dup_zr>), "dup z0.T, R1")   \
  SVE_U4(X, 31_13, DupSM, "00000101 ss 1 01000 101 ggg nnnnn ddddd", direct, (z_pred_scalar<sve_cpy_zpr, false>), \
         "cpy z0.T, p1/m, R2")                                                                                       \
  SVE_V4(X, 31_13, DupSM, "00000101 ss 1 00000 100 ggg nnnnn ddddd", direct, (z_pred_scalar<sve_cpy_zpv, true>),  \
         "cpy z0.T, p1/m, T2")                                                                                       \
  X(31_24__21_21__16_10, ExtDupVI, U8, "00000101 ii 1 iiii 1 001000 nnnnn ddddd", direct, (ext_dup), "dup z0.b, z1.b[5]") \
  X(31_24__21_21__17_10, ExtDupVI, U16, "00000101 ii 1 iii 10 001000 nnnnn ddddd", direct, (ext_dup), "dup z0.h, z1.h[5]") \
  X(31_24__21_21__18_10, ExtDupVI, U32, "00000101 ii 1 ii 100 001000 nnnnn ddddd", direct, (ext_dup), "dup z0.s, z1.s[5]") \
  X(31_24__21_21__19_10, ExtDupVI, U64, "00000101 ii 1 i 1000 001000 nnnnn ddddd", direct, (ext_dup), "dup z0.d, z1.d[5]") \
  X(31_24__21_10, ExtDupVI, U128, "00000101 ii 1 10000 001000 nnnnn ddddd", direct, (ext_dup), "dup z0.q, z1.q[3]")  \
  SVE_S4(X, 31_21__15_10, IndexII, SVE_INDEX("010000", false, false, "#-3, #5"))                                   \
  SVE_S4(X, 31_21__15_10, IndexIS, SVE_INDEX("010010", false, true, "#-3, R5"))                                    \
  SVE_S4(X, 31_21__15_10, IndexSI, SVE_INDEX("010001", true, false, "R3, #5"))                                     \
  SVE_S4(X, 31_21__15_10, IndexSS, SVE_INDEX("010011", true, true, "R3, R5"))                                      \
  SVE_U4(X, 31_10, InsertS, "00000101 ss 1 00100 001110 mmmmm ddddd", library, (lib_insr_x), "insr z0.T, R1")     \
  SVE_V4(X, 31_10, InsertS, "00000101 ss 1 10100 001110 mmmmm ddddd", library, (lib_insr_v), "insr z0.T, T1")     \
  SVE_U4(X, 31_21__15_14, SelVV, "00000101 ss 1 mmmmm 11 gggg nnnnn ddddd", direct, (sel_shape), "sel z0.T, p1, z2.T, z3.T") \
  SVE_U4(X, 31_13, MovePrefix1VM, "00000100 ss 01000 1 001 ggg nnnnn ddddd", direct, (movprfx_pred<P_M>),          \
         "movprfx z0.T, p1/m, z2.T")                                                                                 \
  SVE_U4(X, 31_13, MovePrefix1VZ, "00000100 ss 01000 0 001 ggg nnnnn ddddd", direct, (movprfx_pred<P_Z>),          \
         "movprfx z0.T, p1/z, z2.T")                                                                                 \
  X(31_10, SpecialMoveV, U32, "00000100 00 1 00000 101111 nnnnn ddddd", direct, (movprfx_plain), "movprfx z0, z1")

SVE_FAMILY(move_broadcast, BROADCAST)
