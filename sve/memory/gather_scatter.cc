// Gather loads and scatter stores: every element has an address of its own,
// from a vector of addresses plus an immediate or a register (the
// non-temporal forms), or from a base register plus
// a vector of offsets (whole doublewords, or 32-bit offsets taken with or
// without sign, scaled by the memory size or not). Elements go in ascending
// order; an inactive element's address is never formed, and a gather writes
// 0 to it. Element e of the offset vector is read before element e of Zt is
// written, so Zt may be the offset vector. Prefetches do nothing.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../integer/kernel_loop.h"
#include "../support/marshal.h"
#include "memory_access.h"

namespace sve {

namespace {

// Memory elements M (signed M sign-extends) to or from elements T of Zt at
// base + offset(element e of Z[zv]) * (M or 1).
template <class M, class T, class Off, bool Scaled>
aarch64_decode_rc gather(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, unsigned zv, uint64_t base) {
  const uint8_t* g = s->p[pg.reg];
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) {
    T v = 0;
    if (g[i] & 1) v = T(read_plain<M>(base + Off::of(load<T>(s->z[zv] + i)) * (Scaled ? sizeof(M) : 1)));
    store<T>(s->z[zt.reg] + i, v);
  }
  return aarch64_decode_ok;
}

template <class M, class T, class Off, bool Scaled>
aarch64_decode_rc scatter(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, unsigned zv, uint64_t base) {
  const uint8_t* g = s->p[pg.reg];
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T))
    if (g[i] & 1)
      write_plain<M>(base + Off::of(load<T>(s->z[zv] + i)) * (Scaled ? sizeof(M) : 1), M(load<T>(s->z[zt.reg] + i)));
  return aarch64_decode_ok;
}

// The library route: the same walk on working records, through the element
// readers and writers.
template <class M>
void write_element(uint64_t address, M v) {
  using U = std::make_unsigned_t<M>;
  if constexpr (sizeof(M) == 1)
    WriteMemLib1(U(v), address, nullptr);
  else if constexpr (sizeof(M) == 2)
    WriteMemLib2(U(v), address, nullptr);
  else if constexpr (sizeof(M) == 4)
    WriteMemLib4(U(v), address, nullptr);
  else
    WriteMemLib8(U(v), address, nullptr);
}

template <class M, class T, class Off, bool Scaled>
VecV gather_routine(const PredV& pg, const VecV& zv, uint64_t base, const CpuContext* c) {
  VecV r{};
  for (unsigned e = 0, n = c->elements(sizeof(T) * 8); e < n; ++e)
    if (pg.active(e, sizeof(T)))
      r.set<T>(e, T(M(read_memory_element<M>(base + Off::of(zv.get<T>(e)) * (Scaled ? sizeof(M) : 1)))));
  return r;
}

template <class M, class T, class Off, bool Scaled>
void scatter_routine(const PredV& pg, const VecV& zv, uint64_t base, const VecV& zt, const CpuContext* c) {
  for (unsigned e = 0, n = c->elements(sizeof(T) * 8); e < n; ++e)
    if (pg.active(e, sizeof(T)))
      write_element<M>(base + Off::of(zv.get<T>(e)) * (Scaled ? sizeof(M) : 1), M(zt.get<T>(e)));
}

}  // namespace

// Kernels by shape: vector plus immediate (in memory elements), base plus
// unscaled offsets, base plus scaled offsets.
#define SVE_GS_KERNEL_vec_imm(name, op, M, T, Off)                                                               \
  aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_z_reg zn, unsigned int imm) { \
    return op<M, T, Off, false>(s, zt, pg, zn.reg, uint64_t(imm) * sizeof(M));                                   \
  }
#define SVE_GS_KERNEL_unscaled(name, op, M, T, Off)                                                                  \
  aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_z_reg zm, aarch64_i_rsp_reg rn) { \
    return op<M, T, Off, false>(s, zt, pg, zm.reg, read_x(s, rn));                                                   \
  }
#define SVE_GS_KERNEL_scaled(name, op, M, T, Off)                                                                    \
  aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg rn, aarch64_z_reg zm) { \
    return op<M, T, Off, true>(s, zt, pg, zm.reg, read_x(s, rn));                                                    \
  }
#define SVE_GS_KERNEL_vec_reg(name, op, M, T, Off)                                                                \
  aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_i_reg rm) { \
    return op<M, T, Off, false>(s, zt, pg, zn.reg, read_x(s, rm));                                               \
  }
#define SVE_GS_KERNEL(name, op, shape, M, T, Off) SVE_GS_KERNEL_##shape(name, op, M, T, Off)
SVE_GS_KERNEL(sve_ld1sb_s_sxtw_zpzr, gather, unscaled, int8_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_ld1sh_s_sxtw_scaled_zprz, gather, scaled, int16_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_ld1sh_s_sxtw_zpzr, gather, unscaled, int16_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_ld1sb_d_zpzi, gather, vec_imm, int8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1sb_d_zpzr, gather, unscaled, int8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1sb_d_sxtw_zpzr, gather, unscaled, int8_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_ld1sb_d_uxtw_zpzr, gather, unscaled, int8_t, uint64_t, uxtw)
SVE_GS_KERNEL(sve_ld1sh_d_scaled_zprz, gather, scaled, int16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1sh_d_zpzi, gather, vec_imm, int16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1sh_d_zpzr, gather, unscaled, int16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1sh_d_sxtw_scaled_zprz, gather, scaled, int16_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_ld1sh_d_uxtw_scaled_zprz, gather, scaled, int16_t, uint64_t, uxtw)
SVE_GS_KERNEL(sve_ld1sw_d_scaled_zprz, gather, scaled, int32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1sw_d_zpzi, gather, vec_imm, int32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1sw_d_zpzr, gather, unscaled, int32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1sw_d_sxtw_scaled_zprz, gather, scaled, int32_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_ld1b_s_sxtw_zpzr, gather, unscaled, uint8_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_ld1h_s_sxtw_scaled_zprz, gather, scaled, uint16_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_ld1h_s_sxtw_zpzr, gather, unscaled, uint16_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_ld1w_sxtw_scaled_zprz, gather, scaled, uint32_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_ld1w_sxtw_zpzr, gather, unscaled, uint32_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_st1b_s_sxtw_zpzr, scatter, unscaled, uint8_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_st1h_s_sxtw_scaled_zprz, scatter, scaled, uint16_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_st1h_s_sxtw_zpzr, scatter, unscaled, uint16_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_st1w_sxtw_scaled_zprz, scatter, scaled, uint32_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_st1w_sxtw_zpzr, scatter, unscaled, uint32_t, uint32_t, sxtw)
SVE_GS_KERNEL(sve_ld1b_d_zpzi, gather, vec_imm, uint8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1b_d_zpzr, gather, unscaled, uint8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1b_d_sxtw_zpzr, gather, unscaled, uint8_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_ld1h_d_scaled_zprz, gather, scaled, uint16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1h_d_zpzi, gather, vec_imm, uint16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1h_d_zpzr, gather, unscaled, uint16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1h_d_sxtw_scaled_zprz, gather, scaled, uint16_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_ld1w_d_scaled_zprz, gather, scaled, uint32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1w_d_zpzi, gather, vec_imm, uint32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1w_d_zpzr, gather, unscaled, uint32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1w_d_sxtw_scaled_zprz, gather, scaled, uint32_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_ld1d_scaled_zprz, gather, scaled, uint64_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1d_zpzi, gather, vec_imm, uint64_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1d_zpzr, gather, unscaled, uint64_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ld1d_sxtw_scaled_zprz, gather, scaled, uint64_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_ld1d_uxtw_scaled_zprz, gather, scaled, uint64_t, uint64_t, uxtw)
SVE_GS_KERNEL(sve_st1b_d_zpzi, scatter, vec_imm, uint8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1b_d_zpzr, scatter, unscaled, uint8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1b_d_sxtw_zpzr, scatter, unscaled, uint8_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_st1h_d_scaled_zprz, scatter, scaled, uint16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1h_d_zpzi, scatter, vec_imm, uint16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1h_d_zpzr, scatter, unscaled, uint16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1h_d_sxtw_scaled_zprz, scatter, scaled, uint16_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_st1w_d_scaled_zprz, scatter, scaled, uint32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1w_d_zpzi, scatter, vec_imm, uint32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1w_d_zpzr, scatter, unscaled, uint32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1w_d_sxtw_scaled_zprz, scatter, scaled, uint32_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_st1w_d_uxtw_scaled_zprz, scatter, scaled, uint32_t, uint64_t, uxtw)
SVE_GS_KERNEL(sve_st1d_scaled_zprz, scatter, scaled, uint64_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1d_zpzi, scatter, vec_imm, uint64_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1d_zpzr, scatter, unscaled, uint64_t, uint64_t, whole)
SVE_GS_KERNEL(sve_st1d_sxtw_scaled_zprz, scatter, scaled, uint64_t, uint64_t, sxtw)
SVE_GS_KERNEL(sve_st1d_uxtw_scaled_zprz, scatter, scaled, uint64_t, uint64_t, uxtw)
SVE_GS_KERNEL(sve_ldnt1sb_s_zpzx, gather, vec_reg, int8_t, uint32_t, whole)
SVE_GS_KERNEL(sve_ldnt1b_s_zpzx, gather, vec_reg, uint8_t, uint32_t, whole)
SVE_GS_KERNEL(sve_ldnt1sh_s_zpzx, gather, vec_reg, int16_t, uint32_t, whole)
SVE_GS_KERNEL(sve_ldnt1h_s_zpzx, gather, vec_reg, uint16_t, uint32_t, whole)
SVE_GS_KERNEL(sve_ldnt1w_s_zpzx, gather, vec_reg, uint32_t, uint32_t, whole)
SVE_GS_KERNEL(sve_ldnt1sb_d_zpzx, gather, vec_reg, int8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ldnt1b_d_zpzx, gather, vec_reg, uint8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ldnt1sh_d_zpzx, gather, vec_reg, int16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ldnt1h_d_zpzx, gather, vec_reg, uint16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ldnt1sw_d_zpzx, gather, vec_reg, int32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ldnt1w_d_zpzx, gather, vec_reg, uint32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_ldnt1d_zpzx, gather, vec_reg, uint64_t, uint64_t, whole)
SVE_GS_KERNEL(sve_stnt1b_s_zpzx, scatter, vec_reg, uint8_t, uint32_t, whole)
SVE_GS_KERNEL(sve_stnt1h_s_zpzx, scatter, vec_reg, uint16_t, uint32_t, whole)
SVE_GS_KERNEL(sve_stnt1w_s_zpzx, scatter, vec_reg, uint32_t, uint32_t, whole)
SVE_GS_KERNEL(sve_stnt1b_d_zpzx, scatter, vec_reg, uint8_t, uint64_t, whole)
SVE_GS_KERNEL(sve_stnt1h_d_zpzx, scatter, vec_reg, uint16_t, uint64_t, whole)
SVE_GS_KERNEL(sve_stnt1w_d_zpzx, scatter, vec_reg, uint32_t, uint64_t, whole)
SVE_GS_KERNEL(sve_stnt1d_zpzx, scatter, vec_reg, uint64_t, uint64_t, whole)
#undef SVE_GS_KERNEL
#undef SVE_GS_KERNEL_vec_reg
#undef SVE_GS_KERNEL_vec_imm
#undef SVE_GS_KERNEL_unscaled
#undef SVE_GS_KERNEL_scaled

namespace lib {

// Routines by shape, in the operand order of their handlers: the vector
// before the base when unscaled, the base first when scaled; stores take Zt
// last and return nothing.
#define SVE_GS_ROUTINE_load_vec_imm(name, M, T, Off)                     \
  VecV name(PredV pg, VecV zn, uint64_t imm, CpuContext* c) {            \
    return gather_routine<M, T, Off, false>(pg, zn, imm * sizeof(M), c); \
  }
#define SVE_GS_ROUTINE_load_unscaled(name, M, T, Off)          \
  VecV name(PredV pg, VecV zm, uint64_t base, CpuContext* c) { \
    return gather_routine<M, T, Off, false>(pg, zm, base, c);  \
  }
#define SVE_GS_ROUTINE_load_scaled(name, M, T, Off)            \
  VecV name(PredV pg, uint64_t base, VecV zm, CpuContext* c) { \
    return gather_routine<M, T, Off, true>(pg, zm, base, c);   \
  }
#define SVE_GS_ROUTINE_store_vec_imm(name, M, T, Off)                  \
  void name(PredV pg, VecV zn, uint64_t imm, VecV zt, CpuContext* c) { \
    scatter_routine<M, T, Off, false>(pg, zn, imm * sizeof(M), zt, c); \
  }
#define SVE_GS_ROUTINE_store_unscaled(name, M, T, Off)                  \
  void name(PredV pg, VecV zm, uint64_t base, VecV zt, CpuContext* c) { \
    scatter_routine<M, T, Off, false>(pg, zm, base, zt, c);             \
  }
#define SVE_GS_ROUTINE_store_scaled(name, M, T, Off)                    \
  void name(PredV pg, uint64_t base, VecV zm, VecV zt, CpuContext* c) { \
    scatter_routine<M, T, Off, true>(pg, zm, base, zt, c);              \
  }
#define SVE_GS_ROUTINE(name, op, shape, M, T, Off) SVE_GS_ROUTINE_##op##_##shape(name, M, T, Off)
SVE_GS_ROUTINE(VecS32Load1VIZ, load, vec_imm, int8_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecS32Load1VSZ, load, unscaled, int8_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecS32Load2SVZ, load, scaled, int16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecS32Load2VIZ, load, vec_imm, int16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecS32Load2VSZ, load, unscaled, int16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecS64Load2XVSZ, load, unscaled, int16_t, uint64_t, sxtw)
SVE_GS_ROUTINE(VecS64Load2YVSZ, load, unscaled, int16_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecS64Load4XVSZ, load, unscaled, int32_t, uint64_t, sxtw)
SVE_GS_ROUTINE(VecS64Load4YSVZ, load, scaled, int32_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecS64Load4YVSZ, load, unscaled, int32_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU32Load1VIZ, load, vec_imm, uint8_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Load1VSZ, load, unscaled, uint8_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Load2SVZ, load, scaled, uint16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Load2VIZ, load, vec_imm, uint16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Load2VSZ, load, unscaled, uint16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Load4SVZ, load, scaled, uint32_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Load4VIZ, load, vec_imm, uint32_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Load4VSZ, load, unscaled, uint32_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Store1VIZ, store, vec_imm, uint8_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Store1VSZ, store, unscaled, uint8_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Store2SVZ, store, scaled, uint16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Store2VIZ, store, vec_imm, uint16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Store2VSZ, store, unscaled, uint16_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Store4SVZ, store, scaled, uint32_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Store4VIZ, store, vec_imm, uint32_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU32Store4VSZ, store, unscaled, uint32_t, uint32_t, uxtw)
SVE_GS_ROUTINE(VecU64Load1YVSZ, load, unscaled, uint8_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Load2XVSZ, load, unscaled, uint16_t, uint64_t, sxtw)
SVE_GS_ROUTINE(VecU64Load2YSVZ, load, scaled, uint16_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Load2YVSZ, load, unscaled, uint16_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Load4XVSZ, load, unscaled, uint32_t, uint64_t, sxtw)
SVE_GS_ROUTINE(VecU64Load4YSVZ, load, scaled, uint32_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Load4YVSZ, load, unscaled, uint32_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Load8XVSZ, load, unscaled, uint64_t, uint64_t, sxtw)
SVE_GS_ROUTINE(VecU64Load8YVSZ, load, unscaled, uint64_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Store1YVSZ, store, unscaled, uint8_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Store2XVSZ, store, unscaled, uint16_t, uint64_t, sxtw)
SVE_GS_ROUTINE(VecU64Store2YSVZ, store, scaled, uint16_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Store2YVSZ, store, unscaled, uint16_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Store4XVSZ, store, unscaled, uint32_t, uint64_t, sxtw)
SVE_GS_ROUTINE(VecU64Store4YVSZ, store, unscaled, uint32_t, uint64_t, uxtw)
SVE_GS_ROUTINE(VecU64Store8XVSZ, store, unscaled, uint64_t, uint64_t, sxtw)
SVE_GS_ROUTINE(VecU64Store8YVSZ, store, unscaled, uint64_t, uint64_t, uxtw)
#undef SVE_GS_ROUTINE

}  // namespace lib

// Zt 4:0, Pg 12:10; Zn 9:5 with the immediate 20:16, or Rn 9:5 (31 is sp)
// with Zm 20:16.
struct gs_imm {
  template <class T>
  static uint64_t value(uint32_t w) {
    return field(w, 20, 16);
  }
};
template <auto Kernel, uint32_t Qualifier>
struct gs_vec_imm {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, Qualifier), z_plain(w, 9, 5, T::code),
                  field(w, 20, 16));
  }
};
template <auto Kernel, uint32_t Qualifier>
struct gs_unscaled {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, Qualifier), z_plain(w, 20, 16, T::code),
                  xsp(w, 9, 5, I_X));
  }
};
template <auto Kernel, uint32_t Qualifier>
struct gs_scaled {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, Qualifier), xsp(w, 9, 5, I_X),
                  z_plain(w, 20, 16, T::code));
  }
};

// Zt 4:0, Pg 12:10, Zn 9:5 with Rm 20:16 (31 is zero): the non-temporal
// forms, whose vector holds the addresses and the register an offset.
template <auto Kernel, uint32_t Qualifier>
struct gs_vec_reg {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, Qualifier), z_plain(w, 9, 5, T::code),
                  x_plain(w, 20, 16, I_X));
  }
};

using lib_gather_vec_imm = library<to_z<4, 0>, p_in<12, 10>, z_in<9, 5>, imm_in<gs_imm>>;
using lib_gather_unscaled = library<to_z<4, 0>, p_in<12, 10>, z_in<20, 16>, xsp_in<9, 5>>;
using lib_gather_scaled = library<to_z<4, 0>, p_in<12, 10>, xsp_in<9, 5>, z_in<20, 16>>;
using lib_scatter_vec_imm = library<to_nothing, p_in<12, 10>, z_in<9, 5>, imm_in<gs_imm>, z_in<4, 0>>;
using lib_scatter_unscaled = library<to_nothing, p_in<12, 10>, z_in<20, 16>, xsp_in<9, 5>, z_in<4, 0>>;
using lib_scatter_scaled = library<to_nothing, p_in<12, 10>, xsp_in<9, 5>, z_in<20, 16>, z_in<4, 0>>;

}  // namespace sve

using namespace sve;

#define GATHER_SCATTER(X)                                                                                              \
  X(31_21__15_13, Load1VIZ, S32, "1000010 00 01 mmmmm 100 ggg nnnnn ttttt", library, (lib_gather_vec_imm),             \
    "ld1sb {z0.s}, p1/z, [z2.s, #3]")                                                                                  \
  X(31_21__15_13, Load1VSZ, S32, "1000010 00 00 mmmmm 000 ggg nnnnn ttttt", library, (lib_gather_unscaled),            \
    "ld1sb {z0.s}, p1/z, [x2, z3.s, uxtw]")                                                                            \
  X(31_21__15_13, Load1XVSZ, S32, "1000010 00 10 mmmmm 000 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_ld1sb_s_sxtw_zpzr, P_Z>), "ld1sb {z0.s}, p1/z, [x2, z3.s, sxtw]")                                 \
  X(31_21__15_13, Load2SVZ, S32, "1000010 01 01 mmmmm 000 ggg nnnnn ttttt", library, (lib_gather_scaled),              \
    "ld1sh {z0.s}, p1/z, [x2, z3.s, uxtw #1]")                                                                         \
  X(31_21__15_13, Load2VIZ, S32, "1000010 01 01 mmmmm 100 ggg nnnnn ttttt", library, (lib_gather_vec_imm),             \
    "ld1sh {z0.s}, p1/z, [z2.s, #6]")                                                                                  \
  X(31_21__15_13, Load2VSZ, S32, "1000010 01 00 mmmmm 000 ggg nnnnn ttttt", library, (lib_gather_unscaled),            \
    "ld1sh {z0.s}, p1/z, [x2, z3.s, uxtw]")                                                                            \
  X(31_21__15_13, Load2XSVZ, S32, "1000010 01 11 mmmmm 000 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1sh_s_sxtw_scaled_zprz, P_Z>), "ld1sh {z0.s}, p1/z, [x2, z3.s, sxtw #1]")                         \
  X(31_21__15_13, Load2XVSZ, S32, "1000010 01 10 mmmmm 000 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_ld1sh_s_sxtw_zpzr, P_Z>), "ld1sh {z0.s}, p1/z, [x2, z3.s, sxtw]")                                 \
  X(31_21__15_13, Load1VIZ, S64, "1100010 00 01 mmmmm 100 ggg nnnnn ttttt", direct,                                    \
    (gs_vec_imm<sve_ld1sb_d_zpzi, P_Z>), "ld1sb {z0.d}, p1/z, [z2.d, #3]")                                             \
  X(31_21__15_13, Load1VSZ, S64, "1100010 00 10 mmmmm 100 ggg nnnnn ttttt", direct,                                    \
    (gs_unscaled<sve_ld1sb_d_zpzr, P_Z>), "ld1sb {z0.d}, p1/z, [x2, z3.d]")                                            \
  X(31_21__15_13, Load1XVSZ, S64, "1100010 00 10 mmmmm 000 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_ld1sb_d_sxtw_zpzr, P_Z>), "ld1sb {z0.d}, p1/z, [x2, z3.d, sxtw]")                                 \
  X(31_21__15_13, Load1YVSZ, S64, "1100010 00 00 mmmmm 000 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_ld1sb_d_uxtw_zpzr, P_Z>), "ld1sb {z0.d}, p1/z, [x2, z3.d, uxtw]")                                 \
  X(31_21__15_13, Load2SVZ, S64, "1100010 01 11 mmmmm 100 ggg nnnnn ttttt", direct,                                    \
    (gs_scaled<sve_ld1sh_d_scaled_zprz, P_Z>), "ld1sh {z0.d}, p1/z, [x2, z3.d, lsl #1]")                               \
  X(31_21__15_13, Load2VIZ, S64, "1100010 01 01 mmmmm 100 ggg nnnnn ttttt", direct,                                    \
    (gs_vec_imm<sve_ld1sh_d_zpzi, P_Z>), "ld1sh {z0.d}, p1/z, [z2.d, #6]")                                             \
  X(31_21__15_13, Load2VSZ, S64, "1100010 01 10 mmmmm 100 ggg nnnnn ttttt", direct,                                    \
    (gs_unscaled<sve_ld1sh_d_zpzr, P_Z>), "ld1sh {z0.d}, p1/z, [x2, z3.d]")                                            \
  X(31_21__15_13, Load2XSVZ, S64, "1100010 01 11 mmmmm 000 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1sh_d_sxtw_scaled_zprz, P_Z>), "ld1sh {z0.d}, p1/z, [x2, z3.d, sxtw #1]")                         \
  X(31_21__15_13, Load2XVSZ, S64, "1100010 01 10 mmmmm 000 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1sh {z0.d}, p1/z, [x2, z3.d, sxtw]")                                                                            \
  X(31_21__15_13, Load2YSVZ, S64, "1100010 01 01 mmmmm 000 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1sh_d_uxtw_scaled_zprz, P_Z>), "ld1sh {z0.d}, p1/z, [x2, z3.d, uxtw #1]")                         \
  X(31_21__15_13, Load2YVSZ, S64, "1100010 01 00 mmmmm 000 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1sh {z0.d}, p1/z, [x2, z3.d, uxtw]")                                                                            \
  X(31_21__15_13, Load4SVZ, S64, "1100010 10 11 mmmmm 100 ggg nnnnn ttttt", direct,                                    \
    (gs_scaled<sve_ld1sw_d_scaled_zprz, P_Z>), "ld1sw {z0.d}, p1/z, [x2, z3.d, lsl #2]")                               \
  X(31_21__15_13, Load4VIZ, S64, "1100010 10 01 mmmmm 100 ggg nnnnn ttttt", direct,                                    \
    (gs_vec_imm<sve_ld1sw_d_zpzi, P_Z>), "ld1sw {z0.d}, p1/z, [z2.d, #12]")                                            \
  X(31_21__15_13, Load4VSZ, S64, "1100010 10 10 mmmmm 100 ggg nnnnn ttttt", direct,                                    \
    (gs_unscaled<sve_ld1sw_d_zpzr, P_Z>), "ld1sw {z0.d}, p1/z, [x2, z3.d]")                                            \
  X(31_21__15_13, Load4XSVZ, S64, "1100010 10 11 mmmmm 000 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1sw_d_sxtw_scaled_zprz, P_Z>), "ld1sw {z0.d}, p1/z, [x2, z3.d, sxtw #2]")                         \
  X(31_21__15_13, Load4XVSZ, S64, "1100010 10 10 mmmmm 000 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1sw {z0.d}, p1/z, [x2, z3.d, sxtw]")                                                                            \
  X(31_21__15_13, Load4YSVZ, S64, "1100010 10 01 mmmmm 000 ggg nnnnn ttttt", library, (lib_gather_scaled),             \
    "ld1sw {z0.d}, p1/z, [x2, z3.d, uxtw #2]")                                                                         \
  X(31_21__15_13, Load4YVSZ, S64, "1100010 10 00 mmmmm 000 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1sw {z0.d}, p1/z, [x2, z3.d, uxtw]")                                                                            \
  X(31_21__15_13, Load1VIZ, U32, "1000010 00 01 mmmmm 110 ggg nnnnn ttttt", library, (lib_gather_vec_imm),             \
    "ld1b {z0.s}, p1/z, [z2.s, #3]")                                                                                   \
  X(31_21__15_13, Load1VSZ, U32, "1000010 00 00 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),            \
    "ld1b {z0.s}, p1/z, [x2, z3.s, uxtw]")                                                                             \
  X(31_21__15_13, Load1XVSZ, U32, "1000010 00 10 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_ld1b_s_sxtw_zpzr, P_Z>), "ld1b {z0.s}, p1/z, [x2, z3.s, sxtw]")                                   \
  X(31_21__15_13, Load2SVZ, U32, "1000010 01 01 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_scaled),              \
    "ld1h {z0.s}, p1/z, [x2, z3.s, uxtw #1]")                                                                          \
  X(31_21__15_13, Load2VIZ, U32, "1000010 01 01 mmmmm 110 ggg nnnnn ttttt", library, (lib_gather_vec_imm),             \
    "ld1h {z0.s}, p1/z, [z2.s, #6]")                                                                                   \
  X(31_21__15_13, Load2VSZ, U32, "1000010 01 00 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),            \
    "ld1h {z0.s}, p1/z, [x2, z3.s, uxtw]")                                                                             \
  X(31_21__15_13, Load2XSVZ, U32, "1000010 01 11 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1h_s_sxtw_scaled_zprz, P_Z>), "ld1h {z0.s}, p1/z, [x2, z3.s, sxtw #1]")                           \
  X(31_21__15_13, Load2XVSZ, U32, "1000010 01 10 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_ld1h_s_sxtw_zpzr, P_Z>), "ld1h {z0.s}, p1/z, [x2, z3.s, sxtw]")                                   \
  X(31_21__15_13, Load4SVZ, U32, "1000010 10 01 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_scaled),              \
    "ld1w {z0.s}, p1/z, [x2, z3.s, uxtw #2]")                                                                          \
  X(31_21__15_13, Load4VIZ, U32, "1000010 10 01 mmmmm 110 ggg nnnnn ttttt", library, (lib_gather_vec_imm),             \
    "ld1w {z0.s}, p1/z, [z2.s, #12]")                                                                                  \
  X(31_21__15_13, Load4VSZ, U32, "1000010 10 00 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),            \
    "ld1w {z0.s}, p1/z, [x2, z3.s, uxtw]")                                                                             \
  X(31_21__15_13, Load4XSVZ, U32, "1000010 10 11 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1w_sxtw_scaled_zprz, P_Z>), "ld1w {z0.s}, p1/z, [x2, z3.s, sxtw #2]")                             \
  X(31_21__15_13, Load4XVSZ, U32, "1000010 10 10 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_ld1w_sxtw_zpzr, P_Z>), "ld1w {z0.s}, p1/z, [x2, z3.s, sxtw]")                                     \
  X(31_21__15_13, Store1VIZ, U32, "1110010 00 11 mmmmm 101 ggg nnnnn ttttt", library, (lib_scatter_vec_imm),           \
    "st1b {z0.s}, p1, [z2.s, #3]")                                                                                     \
  X(31_21__15_13, Store1VSZ, U32, "1110010 00 10 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_unscaled),          \
    "st1b {z0.s}, p1, [x2, z3.s, uxtw]")                                                                               \
  X(31_21__15_13, Store1XVSZ, U32, "1110010 00 10 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_unscaled<sve_st1b_s_sxtw_zpzr, P_PLAIN>), "st1b {z0.s}, p1, [x2, z3.s, sxtw]")                                 \
  X(31_21__15_13, Store2SVZ, U32, "1110010 01 11 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_scaled),            \
    "st1h {z0.s}, p1, [x2, z3.s, uxtw #1]")                                                                            \
  X(31_21__15_13, Store2VIZ, U32, "1110010 01 11 mmmmm 101 ggg nnnnn ttttt", library, (lib_scatter_vec_imm),           \
    "st1h {z0.s}, p1, [z2.s, #6]")                                                                                     \
  X(31_21__15_13, Store2VSZ, U32, "1110010 01 10 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_unscaled),          \
    "st1h {z0.s}, p1, [x2, z3.s, uxtw]")                                                                               \
  X(31_21__15_13, Store2XSVZ, U32, "1110010 01 11 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_scaled<sve_st1h_s_sxtw_scaled_zprz, P_PLAIN>), "st1h {z0.s}, p1, [x2, z3.s, sxtw #1]")                         \
  X(31_21__15_13, Store2XVSZ, U32, "1110010 01 10 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_unscaled<sve_st1h_s_sxtw_zpzr, P_PLAIN>), "st1h {z0.s}, p1, [x2, z3.s, sxtw]")                                 \
  X(31_21__15_13, Store4SVZ, U32, "1110010 10 11 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_scaled),            \
    "st1w {z0.s}, p1, [x2, z3.s, uxtw #2]")                                                                            \
  X(31_21__15_13, Store4VIZ, U32, "1110010 10 11 mmmmm 101 ggg nnnnn ttttt", library, (lib_scatter_vec_imm),           \
    "st1w {z0.s}, p1, [z2.s, #12]")                                                                                    \
  X(31_21__15_13, Store4VSZ, U32, "1110010 10 10 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_unscaled),          \
    "st1w {z0.s}, p1, [x2, z3.s, uxtw]")                                                                               \
  X(31_21__15_13, Store4XSVZ, U32, "1110010 10 11 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_scaled<sve_st1w_sxtw_scaled_zprz, P_PLAIN>), "st1w {z0.s}, p1, [x2, z3.s, sxtw #2]")                           \
  X(31_21__15_13, Store4XVSZ, U32, "1110010 10 10 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_unscaled<sve_st1w_sxtw_zpzr, P_PLAIN>), "st1w {z0.s}, p1, [x2, z3.s, sxtw]")                                   \
  X(31_21__15_13, Load1VIZ, U64, "1100010 00 01 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_vec_imm<sve_ld1b_d_zpzi, P_Z>), "ld1b {z0.d}, p1/z, [z2.d, #3]")                                               \
  X(31_21__15_13, Load1VSZ, U64, "1100010 00 10 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_unscaled<sve_ld1b_d_zpzr, P_Z>), "ld1b {z0.d}, p1/z, [x2, z3.d]")                                              \
  X(31_21__15_13, Load1XVSZ, U64, "1100010 00 10 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_ld1b_d_sxtw_zpzr, P_Z>), "ld1b {z0.d}, p1/z, [x2, z3.d, sxtw]")                                   \
  X(31_21__15_13, Load1YVSZ, U64, "1100010 00 00 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1b {z0.d}, p1/z, [x2, z3.d, uxtw]")                                                                             \
  X(31_21__15_13, Load2SVZ, U64, "1100010 01 11 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_scaled<sve_ld1h_d_scaled_zprz, P_Z>), "ld1h {z0.d}, p1/z, [x2, z3.d, lsl #1]")                                 \
  X(31_21__15_13, Load2VIZ, U64, "1100010 01 01 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_vec_imm<sve_ld1h_d_zpzi, P_Z>), "ld1h {z0.d}, p1/z, [z2.d, #6]")                                               \
  X(31_21__15_13, Load2VSZ, U64, "1100010 01 10 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_unscaled<sve_ld1h_d_zpzr, P_Z>), "ld1h {z0.d}, p1/z, [x2, z3.d]")                                              \
  X(31_21__15_13, Load2XSVZ, U64, "1100010 01 11 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1h_d_sxtw_scaled_zprz, P_Z>), "ld1h {z0.d}, p1/z, [x2, z3.d, sxtw #1]")                           \
  X(31_21__15_13, Load2XVSZ, U64, "1100010 01 10 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1h {z0.d}, p1/z, [x2, z3.d, sxtw]")                                                                             \
  X(31_21__15_13, Load2YSVZ, U64, "1100010 01 01 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_scaled),             \
    "ld1h {z0.d}, p1/z, [x2, z3.d, uxtw #1]")                                                                          \
  X(31_21__15_13, Load2YVSZ, U64, "1100010 01 00 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1h {z0.d}, p1/z, [x2, z3.d, uxtw]")                                                                             \
  X(31_21__15_13, Load4SVZ, U64, "1100010 10 11 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_scaled<sve_ld1w_d_scaled_zprz, P_Z>), "ld1w {z0.d}, p1/z, [x2, z3.d, lsl #2]")                                 \
  X(31_21__15_13, Load4VIZ, U64, "1100010 10 01 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_vec_imm<sve_ld1w_d_zpzi, P_Z>), "ld1w {z0.d}, p1/z, [z2.d, #12]")                                              \
  X(31_21__15_13, Load4VSZ, U64, "1100010 10 10 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_unscaled<sve_ld1w_d_zpzr, P_Z>), "ld1w {z0.d}, p1/z, [x2, z3.d]")                                              \
  X(31_21__15_13, Load4XSVZ, U64, "1100010 10 11 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1w_d_sxtw_scaled_zprz, P_Z>), "ld1w {z0.d}, p1/z, [x2, z3.d, sxtw #2]")                           \
  X(31_21__15_13, Load4XVSZ, U64, "1100010 10 10 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1w {z0.d}, p1/z, [x2, z3.d, sxtw]")                                                                             \
  X(31_21__15_13, Load4YSVZ, U64, "1100010 10 01 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_scaled),             \
    "ld1w {z0.d}, p1/z, [x2, z3.d, uxtw #2]")                                                                          \
  X(31_21__15_13, Load4YVSZ, U64, "1100010 10 00 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1w {z0.d}, p1/z, [x2, z3.d, uxtw]")                                                                             \
  X(31_21__15_13, Load8SVZ, U64, "1100010 11 11 mmmmm 110 ggg nnnnn ttttt", direct,                                    \
    (gs_scaled<sve_ld1d_scaled_zprz, P_Z>), "ld1d {z0.d}, p1/z, [x2, z3.d, lsl #3]")                                   \
  X(31_21__15_13, Load8VIZ, U64, "1100010 11 01 mmmmm 110 ggg nnnnn ttttt", direct, (gs_vec_imm<sve_ld1d_zpzi, P_Z>),  \
    "ld1d {z0.d}, p1/z, [z2.d, #24]")                                                                                  \
  X(31_21__15_13, Load8VSZ, U64, "1100010 11 10 mmmmm 110 ggg nnnnn ttttt", direct, (gs_unscaled<sve_ld1d_zpzr, P_Z>), \
    "ld1d {z0.d}, p1/z, [x2, z3.d]")                                                                                   \
  X(31_21__15_13, Load8XSVZ, U64, "1100010 11 11 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1d_sxtw_scaled_zprz, P_Z>), "ld1d {z0.d}, p1/z, [x2, z3.d, sxtw #3]")                             \
  X(31_21__15_13, Load8XVSZ, U64, "1100010 11 10 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1d {z0.d}, p1/z, [x2, z3.d, sxtw]")                                                                             \
  X(31_21__15_13, Load8YSVZ, U64, "1100010 11 01 mmmmm 010 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_ld1d_uxtw_scaled_zprz, P_Z>), "ld1d {z0.d}, p1/z, [x2, z3.d, uxtw #3]")                             \
  X(31_21__15_13, Load8YVSZ, U64, "1100010 11 00 mmmmm 010 ggg nnnnn ttttt", library, (lib_gather_unscaled),           \
    "ld1d {z0.d}, p1/z, [x2, z3.d, uxtw]")                                                                             \
  X(31_21__15_13, Store1VIZ, U64, "1110010 00 10 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_vec_imm<sve_st1b_d_zpzi, P_PLAIN>), "st1b {z0.d}, p1, [z2.d, #3]")                                             \
  X(31_21__15_13, Store1VSZ, U64, "1110010 00 00 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_st1b_d_zpzr, P_PLAIN>), "st1b {z0.d}, p1, [x2, z3.d]")                                            \
  X(31_21__15_13, Store1XVSZ, U64, "1110010 00 00 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_unscaled<sve_st1b_d_sxtw_zpzr, P_PLAIN>), "st1b {z0.d}, p1, [x2, z3.d, sxtw]")                                 \
  X(31_21__15_13, Store1YVSZ, U64, "1110010 00 00 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_unscaled),         \
    "st1b {z0.d}, p1, [x2, z3.d, uxtw]")                                                                               \
  X(31_21__15_13, Store2SVZ, U64, "1110010 01 01 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_st1h_d_scaled_zprz, P_PLAIN>), "st1h {z0.d}, p1, [x2, z3.d, lsl #1]")                               \
  X(31_21__15_13, Store2VIZ, U64, "1110010 01 10 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_vec_imm<sve_st1h_d_zpzi, P_PLAIN>), "st1h {z0.d}, p1, [z2.d, #6]")                                             \
  X(31_21__15_13, Store2VSZ, U64, "1110010 01 00 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_st1h_d_zpzr, P_PLAIN>), "st1h {z0.d}, p1, [x2, z3.d]")                                            \
  X(31_21__15_13, Store2XSVZ, U64, "1110010 01 01 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_scaled<sve_st1h_d_sxtw_scaled_zprz, P_PLAIN>), "st1h {z0.d}, p1, [x2, z3.d, sxtw #1]")                         \
  X(31_21__15_13, Store2XVSZ, U64, "1110010 01 00 mmmmm 110 ggg nnnnn ttttt", library, (lib_scatter_unscaled),         \
    "st1h {z0.d}, p1, [x2, z3.d, sxtw]")                                                                               \
  X(31_21__15_13, Store2YSVZ, U64, "1110010 01 01 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_scaled),           \
    "st1h {z0.d}, p1, [x2, z3.d, uxtw #1]")                                                                            \
  X(31_21__15_13, Store2YVSZ, U64, "1110010 01 00 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_unscaled),         \
    "st1h {z0.d}, p1, [x2, z3.d, uxtw]")                                                                               \
  X(31_21__15_13, Store4SVZ, U64, "1110010 10 01 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_st1w_d_scaled_zprz, P_PLAIN>), "st1w {z0.d}, p1, [x2, z3.d, lsl #2]")                               \
  X(31_21__15_13, Store4VIZ, U64, "1110010 10 10 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_vec_imm<sve_st1w_d_zpzi, P_PLAIN>), "st1w {z0.d}, p1, [z2.d, #12]")                                            \
  X(31_21__15_13, Store4VSZ, U64, "1110010 10 00 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_st1w_d_zpzr, P_PLAIN>), "st1w {z0.d}, p1, [x2, z3.d]")                                            \
  X(31_21__15_13, Store4XSVZ, U64, "1110010 10 01 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_scaled<sve_st1w_d_sxtw_scaled_zprz, P_PLAIN>), "st1w {z0.d}, p1, [x2, z3.d, sxtw #2]")                         \
  X(31_21__15_13, Store4XVSZ, U64, "1110010 10 00 mmmmm 110 ggg nnnnn ttttt", library, (lib_scatter_unscaled),         \
    "st1w {z0.d}, p1, [x2, z3.d, sxtw]")                                                                               \
  X(31_21__15_13, Store4YSVZ, U64, "1110010 10 01 mmmmm 100 ggg nnnnn ttttt", direct,                                  \
    (gs_scaled<sve_st1w_d_uxtw_scaled_zprz, P_PLAIN>), "st1w {z0.d}, p1, [x2, z3.d, uxtw #2]")                         \
  X(31_21__15_13, Store4YVSZ, U64, "1110010 10 00 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_unscaled),         \
    "st1w {z0.d}, p1, [x2, z3.d, uxtw]")                                                                               \
  X(31_21__15_13, Store8SVZ, U64, "1110010 11 01 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_scaled<sve_st1d_scaled_zprz, P_PLAIN>), "st1d {z0.d}, p1, [x2, z3.d, lsl #3]")                                 \
  X(31_21__15_13, Store8VIZ, U64, "1110010 11 10 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_vec_imm<sve_st1d_zpzi, P_PLAIN>), "st1d {z0.d}, p1, [z2.d, #24]")                                              \
  X(31_21__15_13, Store8VSZ, U64, "1110010 11 00 mmmmm 101 ggg nnnnn ttttt", direct,                                   \
    (gs_unscaled<sve_st1d_zpzr, P_PLAIN>), "st1d {z0.d}, p1, [x2, z3.d]")                                              \
  X(31_21__15_13, Store8XSVZ, U64, "1110010 11 01 mmmmm 110 ggg nnnnn ttttt", direct,                                  \
    (gs_scaled<sve_st1d_sxtw_scaled_zprz, P_PLAIN>), "st1d {z0.d}, p1, [x2, z3.d, sxtw #3]")                           \
  X(31_21__15_13, Store8XVSZ, U64, "1110010 11 00 mmmmm 110 ggg nnnnn ttttt", library, (lib_scatter_unscaled),         \
    "st1d {z0.d}, p1, [x2, z3.d, sxtw]")                                                                               \
  X(31_21__15_13, Store8YSVZ, U64, "1110010 11 01 mmmmm 100 ggg nnnnn ttttt", direct,                                  \
    (gs_scaled<sve_st1d_uxtw_scaled_zprz, P_PLAIN>), "st1d {z0.d}, p1, [x2, z3.d, uxtw #3]")                           \
  X(31_21__15_13, Store8YVSZ, U64, "1110010 11 00 mmmmm 100 ggg nnnnn ttttt", library, (lib_scatter_unscaled),         \
    "st1d {z0.d}, p1, [x2, z3.d, uxtw]")

SVE_FAMILY(memory_gather_scatter, GATHER_SCATTER)

// Prefetches: a hint that the emulator drops; the handler reads no field of
// the word, so a bad address has no effect.
#define PREFETCH(X)                                                                             \
  X(31_22__15_13__4_4, Prefetch1SI, U8, "1000010 11 1 iiiiii 000 ggg nnnnn 0 oooo", self, (),   \
    "prfb pldl1keep, p1, [x2, #3, mul vl]")                                                     \
  X(31_21__15_13__4_4, Prefetch1LSS, U8, "1000010 00 00 iiiii 110 ggg nnnnn 0 oooo", self, (),  \
    "prfb pldl1keep, p1, [x2, x3]")                                                             \
  X(31_21__15_13__4_4, Prefetch1VI, U32, "1000010 00 00 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfb pldl1keep, p1, [z2.s, #3]")                                                           \
  X(31_21__15_13__4_4, Prefetch1XSV, U32, "1000010 00 11 iiiii 000 ggg nnnnn 0 oooo", self, (), \
    "prfb pldl1keep, p1, [x2, z3.s, sxtw]")                                                     \
  X(31_21__15_13__4_4, Prefetch1YSV, U32, "1000010 00 01 iiiii 000 ggg nnnnn 0 oooo", self, (), \
    "prfb pldl1keep, p1, [x2, z3.s, uxtw]")                                                     \
  X(31_21__15_13__4_4, Prefetch1VI, U64, "1100010 00 00 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfb pldl1keep, p1, [z2.d, #3]")                                                           \
  X(31_21__15_13__4_4, Prefetch1XSV, U64, "1100010 00 11 iiiii 000 ggg nnnnn 0 oooo", self, (), \
    "prfb pldl1keep, p1, [x2, z3.d, sxtw]")                                                     \
  X(31_21__15_13__4_4, Prefetch1YSV, U64, "1100010 00 01 iiiii 000 ggg nnnnn 0 oooo", self, (), \
    "prfb pldl1keep, p1, [x2, z3.d, uxtw]")                                                     \
  X(31_21__15_13__4_4, Prefetch1SV, U64, "1100010 00 11 iiiii 100 ggg nnnnn 0 oooo", self, (),  \
    "prfb pldl1keep, p1, [x2, z3.d]")                                                           \
  X(31_22__15_13__4_4, Prefetch2SI, U16, "1000010 11 1 iiiiii 001 ggg nnnnn 0 oooo", self, (),  \
    "prfh pldl1keep, p1, [x2, #3, mul vl]")                                                     \
  X(31_21__15_13__4_4, Prefetch2LSS, U16, "1000010 01 00 iiiii 110 ggg nnnnn 0 oooo", self, (), \
    "prfh pldl1keep, p1, [x2, x3, lsl #1]")                                                     \
  X(31_21__15_13__4_4, Prefetch2VI, U32, "1000010 01 00 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfh pldl1keep, p1, [z2.s, #6]")                                                           \
  X(31_21__15_13__4_4, Prefetch2XSV, U32, "1000010 00 11 iiiii 001 ggg nnnnn 0 oooo", self, (), \
    "prfh pldl1keep, p1, [x2, z3.s, sxtw #1]")                                                  \
  X(31_21__15_13__4_4, Prefetch2YSV, U32, "1000010 00 01 iiiii 001 ggg nnnnn 0 oooo", self, (), \
    "prfh pldl1keep, p1, [x2, z3.s, uxtw #1]")                                                  \
  X(31_21__15_13__4_4, Prefetch2VI, U64, "1100010 01 00 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfh pldl1keep, p1, [z2.d, #6]")                                                           \
  X(31_21__15_13__4_4, Prefetch2XSV, U64, "1100010 00 11 iiiii 001 ggg nnnnn 0 oooo", self, (), \
    "prfh pldl1keep, p1, [x2, z3.d, sxtw #1]")                                                  \
  X(31_21__15_13__4_4, Prefetch2YSV, U64, "1100010 00 01 iiiii 001 ggg nnnnn 0 oooo", self, (), \
    "prfh pldl1keep, p1, [x2, z3.d, uxtw #1]")                                                  \
  X(31_21__15_13__4_4, Prefetch2SV, U64, "1100010 00 11 iiiii 101 ggg nnnnn 0 oooo", self, (),  \
    "prfh pldl1keep, p1, [x2, z3.d, lsl #1]")                                                   \
  X(31_22__15_13__4_4, Prefetch4SI, U32, "1000010 11 1 iiiiii 010 ggg nnnnn 0 oooo", self, (),  \
    "prfw pldl1keep, p1, [x2, #3, mul vl]")                                                     \
  X(31_21__15_13__4_4, Prefetch4LSS, U32, "1000010 10 00 iiiii 110 ggg nnnnn 0 oooo", self, (), \
    "prfw pldl1keep, p1, [x2, x3, lsl #2]")                                                     \
  X(31_21__15_13__4_4, Prefetch4VI, U32, "1000010 10 00 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfw pldl1keep, p1, [z2.s, #12]")                                                          \
  X(31_21__15_13__4_4, Prefetch4XSV, U32, "1000010 00 11 iiiii 010 ggg nnnnn 0 oooo", self, (), \
    "prfw pldl1keep, p1, [x2, z3.s, sxtw #2]")                                                  \
  X(31_21__15_13__4_4, Prefetch4YSV, U32, "1000010 00 01 iiiii 010 ggg nnnnn 0 oooo", self, (), \
    "prfw pldl1keep, p1, [x2, z3.s, uxtw #2]")                                                  \
  X(31_21__15_13__4_4, Prefetch4VI, U64, "1100010 10 00 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfw pldl1keep, p1, [z2.d, #12]")                                                          \
  X(31_21__15_13__4_4, Prefetch4XSV, U64, "1100010 00 11 iiiii 010 ggg nnnnn 0 oooo", self, (), \
    "prfw pldl1keep, p1, [x2, z3.d, sxtw #2]")                                                  \
  X(31_21__15_13__4_4, Prefetch4YSV, U64, "1100010 00 01 iiiii 010 ggg nnnnn 0 oooo", self, (), \
    "prfw pldl1keep, p1, [x2, z3.d, uxtw #2]")                                                  \
  X(31_21__15_13__4_4, Prefetch4SV, U64, "1100010 00 11 iiiii 110 ggg nnnnn 0 oooo", self, (),  \
    "prfw pldl1keep, p1, [x2, z3.d, lsl #2]")                                                   \
  X(31_22__15_13__4_4, Prefetch8SI, U64, "1000010 11 1 iiiiii 011 ggg nnnnn 0 oooo", self, (),  \
    "prfd pldl1keep, p1, [x2, #3, mul vl]")                                                     \
  X(31_21__15_13__4_4, Prefetch8LSS, U64, "1000010 11 00 iiiii 110 ggg nnnnn 0 oooo", self, (), \
    "prfd pldl1keep, p1, [x2, x3, lsl #3]")                                                     \
  X(31_21__15_13__4_4, Prefetch8VI, U32, "1000010 11 00 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfd pldl1keep, p1, [z2.s, #24]")                                                          \
  X(31_21__15_13__4_4, Prefetch8XSV, U32, "1000010 00 11 iiiii 011 ggg nnnnn 0 oooo", self, (), \
    "prfd pldl1keep, p1, [x2, z3.s, sxtw #3]")                                                  \
  X(31_21__15_13__4_4, Prefetch8YSV, U32, "1000010 00 01 iiiii 011 ggg nnnnn 0 oooo", self, (), \
    "prfd pldl1keep, p1, [x2, z3.s, uxtw #3]")                                                  \
  X(31_21__15_13__4_4, Prefetch8VI, U64, "1100010 11 00 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfd pldl1keep, p1, [z2.d, #24]")                                                          \
  X(31_21__15_13__4_4, Prefetch8XSV, U64, "1100010 00 11 iiiii 011 ggg nnnnn 0 oooo", self, (), \
    "prfd pldl1keep, p1, [x2, z3.d, sxtw #3]")                                                  \
  X(31_21__15_13__4_4, Prefetch8YSV, U64, "1100010 00 01 iiiii 011 ggg nnnnn 0 oooo", self, (), \
    "prfd pldl1keep, p1, [x2, z3.d, uxtw #3]")                                                  \
  X(31_21__15_13__4_4, Prefetch8SV, U64, "1100010 00 11 iiiii 111 ggg nnnnn 0 oooo", self, (),  \
    "prfd pldl1keep, p1, [x2, z3.d, lsl #3]")

SVE_FAMILY(memory_prefetch, PREFETCH)

// Non-temporal gathers and scatters: vector plus scalar, each element's
// address an element of Zn (a word taken without sign) plus Xm. The hint
// that the data will not be used again changes nothing here.
#define SVE_NT_LOAD(X, type, op, bits, kernel, mnemonic, t)                                                             \
  X(sve2_31_21__15_13, op, type, bits, direct, (gs_vec_reg<kernel, P_Z>), mnemonic " {z0." t "}, p1/z, [z2." t ", x3]")
#define SVE_NT_STORE(X, type, op, bits, kernel, mnemonic, t)                                                            \
  X(sve2_31_21__15_13, op, type, bits, direct, (gs_vec_reg<kernel, P_PLAIN>), mnemonic " {z0." t "}, p1, [z2." t ", x3]")

#define NONTEMPORAL_GATHER(X)                                                                                        \
  SVE_NT_LOAD(X, S32, LoadNT1VRZ, "1000010 00 00 mmmmm 100 ggg nnnnn ttttt", sve_ldnt1sb_s_zpzx, "ldnt1sb", "s")        \
  SVE_NT_LOAD(X, U32, LoadNT1VRZ, "1000010 00 00 mmmmm 101 ggg nnnnn ttttt", sve_ldnt1b_s_zpzx, "ldnt1b", "s")          \
  SVE_NT_LOAD(X, S32, LoadNT2VRZ, "1000010 01 00 mmmmm 100 ggg nnnnn ttttt", sve_ldnt1sh_s_zpzx, "ldnt1sh", "s")        \
  SVE_NT_LOAD(X, U32, LoadNT2VRZ, "1000010 01 00 mmmmm 101 ggg nnnnn ttttt", sve_ldnt1h_s_zpzx, "ldnt1h", "s")          \
  SVE_NT_LOAD(X, U32, LoadNT4VRZ, "1000010 10 00 mmmmm 101 ggg nnnnn ttttt", sve_ldnt1w_s_zpzx, "ldnt1w", "s")          \
  SVE_NT_LOAD(X, S64, LoadNT1VRZ, "1100010 00 00 mmmmm 100 ggg nnnnn ttttt", sve_ldnt1sb_d_zpzx, "ldnt1sb", "d")        \
  SVE_NT_LOAD(X, U64, LoadNT1VRZ, "1100010 00 00 mmmmm 110 ggg nnnnn ttttt", sve_ldnt1b_d_zpzx, "ldnt1b", "d")          \
  SVE_NT_LOAD(X, S64, LoadNT2VRZ, "1100010 01 00 mmmmm 100 ggg nnnnn ttttt", sve_ldnt1sh_d_zpzx, "ldnt1sh", "d")        \
  SVE_NT_LOAD(X, U64, LoadNT2VRZ, "1100010 01 00 mmmmm 110 ggg nnnnn ttttt", sve_ldnt1h_d_zpzx, "ldnt1h", "d")          \
  SVE_NT_LOAD(X, S64, LoadNT4VRZ, "1100010 10 00 mmmmm 100 ggg nnnnn ttttt", sve_ldnt1sw_d_zpzx, "ldnt1sw", "d")        \
  SVE_NT_LOAD(X, U64, LoadNT4VRZ, "1100010 10 00 mmmmm 110 ggg nnnnn ttttt", sve_ldnt1w_d_zpzx, "ldnt1w", "d")          \
  SVE_NT_LOAD(X, U64, LoadNT8VRZ, "1100010 11 00 mmmmm 110 ggg nnnnn ttttt", sve_ldnt1d_zpzx, "ldnt1d", "d")            \
  SVE_NT_STORE(X, U32, StoreNT1VRZ, "1110010 00 10 mmmmm 001 ggg nnnnn ttttt", sve_stnt1b_s_zpzx, "stnt1b", "s")        \
  SVE_NT_STORE(X, U32, StoreNT2VRZ, "1110010 01 10 mmmmm 001 ggg nnnnn ttttt", sve_stnt1h_s_zpzx, "stnt1h", "s")        \
  SVE_NT_STORE(X, U32, StoreNT4VRZ, "1110010 10 10 mmmmm 001 ggg nnnnn ttttt", sve_stnt1w_s_zpzx, "stnt1w", "s")        \
  SVE_NT_STORE(X, U64, StoreNT1VRZ, "1110010 00 00 mmmmm 001 ggg nnnnn ttttt", sve_stnt1b_d_zpzx, "stnt1b", "d")        \
  SVE_NT_STORE(X, U64, StoreNT2VRZ, "1110010 01 00 mmmmm 001 ggg nnnnn ttttt", sve_stnt1h_d_zpzx, "stnt1h", "d")        \
  SVE_NT_STORE(X, U64, StoreNT4VRZ, "1110010 10 00 mmmmm 001 ggg nnnnn ttttt", sve_stnt1w_d_zpzx, "stnt1w", "d")        \
  SVE_NT_STORE(X, U64, StoreNT8VRZ, "1110010 11 00 mmmmm 001 ggg nnnnn ttttt", sve_stnt1d_zpzx, "stnt1d", "d")

SVE_FAMILY(memory_nontemporal_gather, NONTEMPORAL_GATHER)
