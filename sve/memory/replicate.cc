// Replicating loads: LD1R reads one element and writes it to every active
// element (each active element reads the address again; with none active
// nothing is read), LD1RQ reads one quadword and repeats it over the vector.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../integer/kernel_loop.h"
#include "../support/marshal.h"
#include "memory_access.h"

namespace sve {

namespace {

// The immediate counts memory elements. Memory is read once, and only when
// an element is active, so an all-false predicate reads nothing.
template <class M, class T>
aarch64_decode_rc load_replicate(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg rn,
                                 unsigned imm) {
  uint64_t address = read_x(s, rn) + uint64_t(imm) * sizeof(M);
  const uint8_t* g = s->p[pg.reg];
  unsigned any = 0;
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) any |= g[i] & 1;
  const T v = any ? T(read_plain<M>(address)) : T(0);
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) store<T>(s->z[zt.reg] + i, (g[i] & 1) ? v : T(0));
  return aarch64_decode_ok;
}

// The first 16 / E elements of Pg choose what is read of the quadword; the
// block then fills the vector.
template <class T>
VecV load_quadword(const PredV& pg, uint64_t address, const CpuContext* c) {
  uint64_t (*read)(unsigned long, int, bool*, CpuContext*) =
      sizeof(T) == 1 ? ReadMemLib1 : sizeof(T) == 2 ? ReadMemLib2 : sizeof(T) == 4 ? ReadMemLib4 : ReadMemLib8;
  VecV r{};
  for (unsigned i = 0; i < 16 / sizeof(T); ++i)
    if (pg.bit(i * sizeof(T))) r.set<T>(i, T(read(address + i * sizeof(T), 0, nullptr, nullptr)));
  for (unsigned b = 1; b < c->vl_dwords / 2; ++b) std::memcpy(r.b + 16 * b, r.b, 16);
  return r;
}

}  // namespace

#define SVE_LD1R(name, M, T)                                                                                    \
  aarch64_decode_rc sve_##name##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg rn,  \
                                      unsigned int imm) {                                                       \
    return load_replicate<M, T>(s, zt, pg, rn, imm);                                                            \
  }
SVE_LD1R(ld1rb, uint8_t, uint8_t)
SVE_LD1R(ld1rb_h, uint8_t, uint16_t)
SVE_LD1R(ld1rb_s, uint8_t, uint32_t)
SVE_LD1R(ld1rb_d, uint8_t, uint64_t)
SVE_LD1R(ld1rsb_h, int8_t, uint16_t)
SVE_LD1R(ld1rsb_s, int8_t, uint32_t)
SVE_LD1R(ld1rsb_d, int8_t, uint64_t)
SVE_LD1R(ld1rh, uint16_t, uint16_t)
SVE_LD1R(ld1rh_s, uint16_t, uint32_t)
SVE_LD1R(ld1rh_d, uint16_t, uint64_t)
SVE_LD1R(ld1rsh_s, int16_t, uint32_t)
SVE_LD1R(ld1rsh_d, int16_t, uint64_t)
SVE_LD1R(ld1rw, uint32_t, uint32_t)
SVE_LD1R(ld1rw_d, uint32_t, uint64_t)
SVE_LD1R(ld1rsw_d, int32_t, uint64_t)
SVE_LD1R(ld1rd, uint64_t, uint64_t)
#undef SVE_LD1R

namespace lib {

// Scalar plus immediate: the immediate counts quadwords; scalar plus scalar:
// the register counts elements.
#define SVE_LD1RQ(type, bytes, T)                                                                               \
  VecV Vec##type##LoadDup##bytes##QSIZ(PredV pg, uint64_t base, int64_t imm, CpuContext* c) {                  \
    return load_quadword<T>(pg, base + uint64_t(imm) * 16, c);                                                  \
  }                                                                                                             \
  VecV Vec##type##LoadDup##bytes##QSSZ(PredV pg, uint64_t base, uint64_t index, CpuContext* c) {               \
    return load_quadword<T>(pg, base + index * bytes, c);                                                       \
  }
SVE_LD1RQ(U8, 1, uint8_t)
SVE_LD1RQ(U16, 2, uint16_t)
SVE_LD1RQ(U32, 4, uint32_t)
SVE_LD1RQ(U64, 8, uint64_t)
#undef SVE_LD1RQ

}  // namespace lib

// Zt 4:0, Pg 12:10 zeroing, Rn 9:5 (31 is sp), the unsigned immediate 21:16.
template <auto Kernel>
struct ld1r_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, P_Z), xsp(w, 9, 5, I_X), field(w, 21, 16));
  }
};
struct quad_imm {
  template <class T>
  static int64_t value(uint32_t w) { return sfield(w, 19, 16); }
};
using lib_ld1rq_imm = library<to_z<4, 0>, p_in<12, 10>, xsp_in<9, 5>, imm_in<quad_imm>>;
using lib_ld1rq_reg = library<to_z<4, 0>, p_in<12, 10>, xsp_in<9, 5>, x_in<20, 16>>;

}  // namespace sve

using namespace sve;

// LD1R: "1000010 dtypeh 1 iiiiii 1 dtypel ggg nnnnn ttttt".
#define SVE_LD1R(X, type, op, dh, dl, kernel, mn, t, scale)                                                    \
  X(31_22__15_13, op, type, "1000010 " dh " 1 iiiiii 1 " dl " ggg nnnnn ttttt", direct, (ld1r_shape<sve_##kernel##_zpri>), \
    mn " {z0." t "}, p1/z, [x2, #" scale "]")
// LD1RQ: "1010010 msz 00 0 iiii 001" and "1010010 msz 00 mmmmm 000".
#define SVE_LD1RQ(X, type, bits, msz, mn, t, shift)                                                            \
  X(31_20__15_13, LoadDup##bits##QSIZ, type, "1010010 " msz " 00 0 iiii 001 ggg nnnnn ttttt", library, (lib_ld1rq_imm), \
    mn " {z0." t "}, p1/z, [x2, #-32]")                                                                         \
  X(31_21__15_13, LoadDup##bits##QSSZ, type, "1010010 " msz " 00 mmmmm 000 ggg nnnnn ttttt", library, (lib_ld1rq_reg), \
    mn " {z0." t "}, p1/z, [x2, x3" shift "]")

#define REPLICATE(X)                                                                                           \
  SVE_LD1R(X, U8, LoadDup1SIZ, "00", "00", ld1rb, "ld1rb", "b", "5")                                         \
  SVE_LD1R(X, U16, LoadDup1SIZ, "00", "01", ld1rb_h, "ld1rb", "h", "5")                                      \
  SVE_LD1R(X, U32, LoadDup1SIZ, "00", "10", ld1rb_s, "ld1rb", "s", "5")                                      \
  SVE_LD1R(X, U64, LoadDup1SIZ, "00", "11", ld1rb_d, "ld1rb", "d", "5")                                      \
  SVE_LD1R(X, S64, LoadDup4SIZ, "01", "00", ld1rsw_d, "ld1rsw", "d", "12")                                   \
  SVE_LD1R(X, U16, LoadDup2SIZ, "01", "01", ld1rh, "ld1rh", "h", "10")                                       \
  SVE_LD1R(X, U32, LoadDup2SIZ, "01", "10", ld1rh_s, "ld1rh", "s", "10")                                     \
  SVE_LD1R(X, U64, LoadDup2SIZ, "01", "11", ld1rh_d, "ld1rh", "d", "10")                                     \
  SVE_LD1R(X, S64, LoadDup2SIZ, "10", "00", ld1rsh_d, "ld1rsh", "d", "10")                                   \
  SVE_LD1R(X, S32, LoadDup2SIZ, "10", "01", ld1rsh_s, "ld1rsh", "s", "10")                                   \
  SVE_LD1R(X, U32, LoadDup4SIZ, "10", "10", ld1rw, "ld1rw", "s", "12")                                       \
  SVE_LD1R(X, U64, LoadDup4SIZ, "10", "11", ld1rw_d, "ld1rw", "d", "12")                                     \
  SVE_LD1R(X, S64, LoadDup1SIZ, "11", "00", ld1rsb_d, "ld1rsb", "d", "5")                                    \
  SVE_LD1R(X, S32, LoadDup1SIZ, "11", "01", ld1rsb_s, "ld1rsb", "s", "5")                                    \
  SVE_LD1R(X, S16, LoadDup1SIZ, "11", "10", ld1rsb_h, "ld1rsb", "h", "5")                                    \
  SVE_LD1R(X, U64, LoadDup8SIZ, "11", "11", ld1rd, "ld1rd", "d", "16")                                       \
  SVE_LD1RQ(X, U8, 1, "00", "ld1rqb", "b", "")                                                                 \
  SVE_LD1RQ(X, U16, 2, "01", "ld1rqh", "h", ", lsl #1")                                                       \
  SVE_LD1RQ(X, U32, 4, "10", "ld1rqw", "s", ", lsl #2")                                                       \
  SVE_LD1RQ(X, U64, 8, "11", "ld1rqd", "d", ", lsl #3")

SVE_FAMILY(memory_replicate, REPLICATE)
