// Contiguous and structured loads and stores: LD1 and ST1 at every memory
// and element size, LDNT1 and STNT1, LD2-LD4 and ST2-ST4. One address is
// computed before the element loop.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../integer/kernel_loop.h"
#include "element_loops.h"
#include "memory_access.h"
#include "memory_shapes.h"

namespace sve {

namespace {

template <class M, class T, unsigned N>
aarch64_decode_rc load_structure(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, uint64_t address) {
  load_elements<M, T, N>(s, zt.reg, s->p[pg.reg], address, sve_vl_bytes / sizeof(T));
  return aarch64_decode_ok;
}
template <class M, class T, unsigned N>
aarch64_decode_rc store_structure(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, uint64_t address) {
  store_elements<M, T, N>(s, zt.reg, s->p[pg.reg], address, sve_vl_bytes / sizeof(T));
  return aarch64_decode_ok;
}

// Scalar plus immediate: the immediate counts whole footprints of the access.
template <class M, class T, unsigned N>
uint64_t footprint_address(const cpu_state* s, aarch64_i_rsp_reg rn, int imm) {
  return read_x(s, rn) + uint64_t(int64_t(imm)) * (sve_vl_bytes / sizeof(T) * N * sizeof(M));
}
// Scalar plus scalar: the offset register counts memory elements.
template <class M>
uint64_t scaled_address(const cpu_state* s, aarch64_i_rsp_reg rn, aarch64_i_reg rm) {
  return read_x(s, rn) + read_x(s, rm) * sizeof(M);
}

}  // namespace

#define SVE_MEM_KERNELS(name, op, M, T, N)                                                                       \
  aarch64_decode_rc sve_##name##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg rn,     \
                                      int imm) {                                                                 \
    return op##_structure<M, T, N>(s, zt, pg, footprint_address<M, T, N>(s, rn, imm));                          \
  }                                                                                                              \
  aarch64_decode_rc sve_##name##_scaled_zprr(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg,                   \
                                             aarch64_i_rsp_reg rn, aarch64_i_reg rm) {                          \
    return op##_structure<M, T, N>(s, zt, pg, scaled_address<M>(s, rn, rm));                                     \
  }
#define SVE_MEM_SIZES(prefix, op, N)                  \
  SVE_MEM_KERNELS(prefix##b, op, uint8_t, uint8_t, N)    \
  SVE_MEM_KERNELS(prefix##h, op, uint16_t, uint16_t, N) \
  SVE_MEM_KERNELS(prefix##w, op, uint32_t, uint32_t, N) \
  SVE_MEM_KERNELS(prefix##d, op, uint64_t, uint64_t, N)
SVE_MEM_SIZES(ld1, load, 1)
SVE_MEM_SIZES(ldnt1, load, 1)
SVE_MEM_SIZES(ld2, load, 2)
SVE_MEM_SIZES(ld3, load, 3)
SVE_MEM_SIZES(ld4, load, 4)
SVE_MEM_SIZES(st1, store, 1)
SVE_MEM_SIZES(stnt1, store, 1)
SVE_MEM_SIZES(st2, store, 2)
SVE_MEM_SIZES(st3, store, 3)
SVE_MEM_SIZES(st4, store, 4)
SVE_MEM_KERNELS(ld1b_h, load, uint8_t, uint16_t, 1)
SVE_MEM_KERNELS(ld1b_s, load, uint8_t, uint32_t, 1)
SVE_MEM_KERNELS(ld1b_d, load, uint8_t, uint64_t, 1)
SVE_MEM_KERNELS(ld1sb_h, load, int8_t, uint16_t, 1)
SVE_MEM_KERNELS(ld1sb_s, load, int8_t, uint32_t, 1)
SVE_MEM_KERNELS(ld1sb_d, load, int8_t, uint64_t, 1)
SVE_MEM_KERNELS(ld1h_s, load, uint16_t, uint32_t, 1)
SVE_MEM_KERNELS(ld1h_d, load, uint16_t, uint64_t, 1)
SVE_MEM_KERNELS(ld1sh_s, load, int16_t, uint32_t, 1)
SVE_MEM_KERNELS(ld1sh_d, load, int16_t, uint64_t, 1)
SVE_MEM_KERNELS(ld1w_d, load, uint32_t, uint64_t, 1)
SVE_MEM_KERNELS(ld1sw_d, load, int32_t, uint64_t, 1)
SVE_MEM_KERNELS(st1b_h, store, uint8_t, uint16_t, 1)
SVE_MEM_KERNELS(st1b_s, store, uint8_t, uint32_t, 1)
SVE_MEM_KERNELS(st1b_d, store, uint8_t, uint64_t, 1)
SVE_MEM_KERNELS(st1h_s, store, uint16_t, uint32_t, 1)
SVE_MEM_KERNELS(st1h_d, store, uint16_t, uint64_t, 1)
SVE_MEM_KERNELS(st1w_d, store, uint32_t, uint64_t, 1)
#undef SVE_MEM_SIZES
#undef SVE_MEM_KERNELS

}  // namespace sve

using namespace sve;

// Both shapes of one access; the samples share their head, the register
// list and base.
#define SVE_MEM(X, type, op, imm_bits, reg_bits, kernel, qualifier, head, imm, shift)                         \
  X(31_20__15_13, op##SIZ, type, imm_bits, direct, (mem_imm<sve_##kernel##_zpri, qualifier>),               \
    head ", " imm ", mul vl]")                                                                              \
  X(31_21__15_13, op##LSSZ, type, reg_bits, direct, (mem_reg<sve_##kernel##_scaled_zprr, qualifier>),        \
    head ", x3" shift "]")
// LD1: "1010010 dtype 0 iiii 101" and "1010010 dtype mmmmm 010".
#define SVE_LD1(X, type, op, dtype, kernel, mn, t, shift)                                                       \
  SVE_MEM(X, type, op, "1010010 " dtype " 0 iiii 101 ggg nnnnn ttttt", "1010010 " dtype " mmmmm 010 ggg nnnnn ttttt", \
          kernel, P_Z, mn " {z0." t "}, p1/z, [x2", "#-3", shift)
// ST1: "1110010 msz size 0 iiii 111" and "1110010 msz size mmmmm 010".
#define SVE_ST1(X, type, op, msz_size, kernel, mn, t, shift)                                                    \
  SVE_MEM(X, type, op, "1110010 " msz_size " 0 iiii 111 ggg nnnnn ttttt",                                    \
          "1110010 " msz_size " mmmmm 010 ggg nnnnn ttttt", kernel, P_PLAIN, mn " {z0." t "}, p1, [x2", "#-3", shift)
// LDNT1 and LDn: "1010010 msz nn 0 iiii 111" and "1010010 msz nn mmmmm 110".
#define SVE_LDN(X, type, op, msz, nn, kernel, mn, regs, imm, shift)                                             \
  SVE_MEM(X, type, op, "1010010 " msz " " nn " 0 iiii 111 ggg nnnnn ttttt",                                  \
          "1010010 " msz " " nn " mmmmm 110 ggg nnnnn ttttt", kernel, P_Z, mn " {" regs "}, p1/z, [x2", imm, shift)
// STNT1 and STn: "1110010 msz nn 1 iiii 111" and "1110010 msz nn mmmmm 011".
#define SVE_STN(X, type, op, msz, nn, kernel, mn, regs, imm, shift)                                             \
  SVE_MEM(X, type, op, "1110010 " msz " " nn " 1 iiii 111 ggg nnnnn ttttt",                                  \
          "1110010 " msz " " nn " mmmmm 011 ggg nnnnn ttttt", kernel, P_PLAIN, mn " {" regs "}, p1, [x2", imm, shift)
#define SVE_REGS_1(t) "z0." t
#define SVE_REGS_2(t) "z0." t ", z1." t
#define SVE_REGS_3(t) SVE_REGS_2(t) ", z2." t
#define SVE_REGS_4(t) SVE_REGS_3(t) ", z3." t
#define SVE_IMM_1 "#-3"
#define SVE_IMM_2 "#-6"
#define SVE_IMM_3 "#-9"
#define SVE_IMM_4 "#-12"
// One form of N registers at the four sizes, E = M.
#define SVE_BY_MSZ(X, FORM, op, nn, kernel, mn, n)                                                             \
  FORM(X, U8, op##1, "00", nn, kernel##b, mn "b", SVE_REGS_##n("b"), SVE_IMM_##n, "")                        \
  FORM(X, U16, op##2, "01", nn, kernel##h, mn "h", SVE_REGS_##n("h"), SVE_IMM_##n, ", lsl #1")               \
  FORM(X, U32, op##4, "10", nn, kernel##w, mn "w", SVE_REGS_##n("s"), SVE_IMM_##n, ", lsl #2")               \
  FORM(X, U64, op##8, "11", nn, kernel##d, mn "d", SVE_REGS_##n("d"), SVE_IMM_##n, ", lsl #3")

#define CONTIGUOUS(X)                                                                                            \
  SVE_LD1(X, U8, CLoad1, "0000", ld1b, "ld1b", "b", "")                                                          \
  SVE_LD1(X, U16, CLoad1, "0001", ld1b_h, "ld1b", "h", "")                                                       \
  SVE_LD1(X, U32, CLoad1, "0010", ld1b_s, "ld1b", "s", "")                                                       \
  SVE_LD1(X, U64, CLoad1, "0011", ld1b_d, "ld1b", "d", "")                                                       \
  SVE_LD1(X, S64, CLoad4, "0100", ld1sw_d, "ld1sw", "d", ", lsl #2")                                             \
  SVE_LD1(X, U16, CLoad2, "0101", ld1h, "ld1h", "h", ", lsl #1")                                                 \
  SVE_LD1(X, U32, CLoad2, "0110", ld1h_s, "ld1h", "s", ", lsl #1")                                               \
  SVE_LD1(X, U64, CLoad2, "0111", ld1h_d, "ld1h", "d", ", lsl #1")                                               \
  SVE_LD1(X, S64, CLoad2, "1000", ld1sh_d, "ld1sh", "d", ", lsl #1")                                             \
  SVE_LD1(X, S32, CLoad2, "1001", ld1sh_s, "ld1sh", "s", ", lsl #1")                                             \
  SVE_LD1(X, U32, CLoad4, "1010", ld1w, "ld1w", "s", ", lsl #2")                                                 \
  SVE_LD1(X, U64, CLoad4, "1011", ld1w_d, "ld1w", "d", ", lsl #2")                                               \
  SVE_LD1(X, S64, CLoad1, "1100", ld1sb_d, "ld1sb", "d", "")                                                     \
  SVE_LD1(X, S32, CLoad1, "1101", ld1sb_s, "ld1sb", "s", "")                                                     \
  SVE_LD1(X, S16, CLoad1, "1110", ld1sb_h, "ld1sb", "h", "")                                                     \
  SVE_LD1(X, U64, CLoad8, "1111", ld1d, "ld1d", "d", ", lsl #3")                                                 \
  SVE_ST1(X, U8, CStore1, "00 00", st1b, "st1b", "b", "")                                                        \
  SVE_ST1(X, U16, CStore1, "00 01", st1b_h, "st1b", "h", "")                                                     \
  SVE_ST1(X, U32, CStore1, "00 10", st1b_s, "st1b", "s", "")                                                     \
  SVE_ST1(X, U64, CStore1, "00 11", st1b_d, "st1b", "d", "")                                                     \
  SVE_ST1(X, U16, CStore2, "01 01", st1h, "st1h", "h", ", lsl #1")                                               \
  SVE_ST1(X, U32, CStore2, "01 10", st1h_s, "st1h", "s", ", lsl #1")                                             \
  SVE_ST1(X, U64, CStore2, "01 11", st1h_d, "st1h", "d", ", lsl #1")                                             \
  SVE_ST1(X, U32, CStore4, "10 10", st1w, "st1w", "s", ", lsl #2")                                               \
  SVE_ST1(X, U64, CStore4, "10 11", st1w_d, "st1w", "d", ", lsl #2")                                             \
  SVE_ST1(X, U64, CStore8, "11 11", st1d, "st1d", "d", ", lsl #3")                                               \
  SVE_BY_MSZ(X, SVE_LDN, CLoadNT, "00", ldnt1, "ldnt1", 1)                                                       \
  SVE_BY_MSZ(X, SVE_STN, CStoreNT, "00", stnt1, "stnt1", 1)                                                      \
  SVE_BY_MSZ(X, SVE_LDN, E2Load, "01", ld2, "ld2", 2)                                                            \
  SVE_BY_MSZ(X, SVE_LDN, E3Load, "10", ld3, "ld3", 3)                                                            \
  SVE_BY_MSZ(X, SVE_LDN, E4Load, "11", ld4, "ld4", 4)                                                            \
  SVE_BY_MSZ(X, SVE_STN, E2Store, "01", st2, "st2", 2)                                                           \
  SVE_BY_MSZ(X, SVE_STN, E3Store, "10", st3, "st3", 3)                                                           \
  SVE_BY_MSZ(X, SVE_STN, E4Store, "11", st4, "st4", 4)

SVE_FAMILY(memory_contiguous, CONTIGUOUS)
