// The direct route: a handler takes the operand fields out of the word,
// builds the operand records, stores the word in `instr` and calls its
// kernel, which works on cpu_state in place. One struct per shape holds the
// field extraction; the element size comes from the handler's type.
#pragma once

#include "fields.h"
#include "sve_emu.h"

namespace sve {

// Records as handlers build them.
constexpr aarch64_z_reg z_dst_src(uint32_t w, int hi, int lo, uint32_t c) {  // Zdn
  return {field(w, hi, lo), Z_NONE, c, c};
}
constexpr aarch64_z_reg z_plain(uint32_t w, int hi, int lo, uint32_t c) {  // Zd, Zn, Zm
  return {field(w, hi, lo), c, Z_NONE, Z_NONE};
}
constexpr aarch64_p_reg p_gov(uint32_t w, int hi, int lo, uint32_t q) {  // P_M, P_Z, P_PLAIN
  return {field(w, hi, lo), q, P_NONE, P_NONE};
}
constexpr aarch64_p_reg p_plain(uint32_t w, int hi, int lo, uint32_t c) {  // Pd, Pn of a size
  return {field(w, hi, lo), c, P_NONE, P_NONE};
}
constexpr aarch64_p_reg p_dst_src(uint32_t w, int hi, int lo, uint32_t c) {  // Pdn
  return {field(w, hi, lo), P_NONE, c, c};
}
constexpr aarch64_i_reg x_plain(uint32_t w, int hi, int lo, uint32_t view) {
  return {field(w, hi, lo), view, I_NONE, I_NONE};
}
constexpr aarch64_i_reg x_dst_src(uint32_t w, int hi, int lo, uint32_t view) {
  return {field(w, hi, lo), I_NONE, view, view};
}
constexpr aarch64_i_rsp_reg xsp(uint32_t w, int hi, int lo, uint32_t view) {
  return {field(w, hi, lo), view};
}

// Read and write general registers by the rule of each record type.
inline uint64_t read_x(const cpu_state* s, aarch64_i_reg r) { return r.reg == 31 ? 0 : s->x[r.reg]; }
inline void write_x(cpu_state* s, aarch64_i_reg r, uint64_t v) {
  if (r.reg != 31) s->x[r.reg] = v;
}
inline uint64_t read_x(const cpu_state* s, aarch64_i_rsp_reg r) { return r.reg == 31 ? s->sp : s->x[r.reg]; }
inline void write_x(cpu_state* s, aarch64_i_rsp_reg r, uint64_t v) { (r.reg == 31 ? s->sp : s->x[r.reg]) = v; }

// A scalar result of `bytes` bytes in a vector register: element 0, with
// zeros in the rest of the register. Written as whole 16-byte stores, which a
// later read of the register can take straight from the store queue.
inline void write_v(cpu_state* s, unsigned reg, uint64_t v, unsigned bytes) {
  const uint64_t low[2] = {bytes < 8 ? v & ((uint64_t(1) << 8 * bytes) - 1) : v, 0};
  __builtin_memcpy(s->z[reg], low, sizeof low);
  __builtin_memset(s->z[reg] + sizeof low, 0, sve_vl_bytes - sizeof low);
}

// Host floating-point status. Kernels that compute with the host's own
// floating-point arithmetic leave their exception flags in the host's FPSR;
// their handlers copy it into the emulated register afterwards. On a host
// without the native route the kernels maintain `fpsr` themselves.
#if defined(__aarch64__)
inline uint32_t host_fpsr() {
  uint64_t v;
  asm volatile("mrs %0, fpsr" : "=r"(v));
  return uint32_t(v);
}
inline void copy_host_fpsr(cpu_state* s) { s->fpsr = host_fpsr(); }
// Puts the thread's FPCR and FPSR into the processor, for a host that takes
// the registers from somewhere else than the running program (a signal
// frame, a test case): the native kernels then compute under the program's
// controls and add to its flags.
inline void load_host_fp(const cpu_state* s) {
  asm volatile("msr fpcr, %0\n\tmsr fpsr, %1" : : "r"(uint64_t(s->fpcr)), "r"(uint64_t(s->fpsr)));
}
// FPSR alone, for a host that put FPCR in already: no handler changes FPCR.
inline void load_host_fpsr(const cpu_state* s) { asm volatile("msr fpsr, %0" : : "r"(uint64_t(s->fpsr))); }
// For an embedder: the instruction runs under the FPCR and FPSR of its
// cpu_state, and the embedder's own floating-point environment is restored
// afterwards.
struct host_fp_scope {
  uint64_t fpcr, fpsr;
  explicit host_fp_scope(const cpu_state* s) {
    asm volatile("mrs %0, fpcr\n\tmrs %1, fpsr" : "=r"(fpcr), "=r"(fpsr));
    load_host_fp(s);
  }
  ~host_fp_scope() { asm volatile("msr fpcr, %0\n\tmsr fpsr, %1" : : "r"(fpcr), "r"(fpsr)); }
  host_fp_scope(const host_fp_scope&) = delete;
  host_fp_scope& operator=(const host_fp_scope&) = delete;
};
#else
inline void copy_host_fpsr(cpu_state*) {}
inline void load_host_fp(const cpu_state*) {}
inline void load_host_fpsr(const cpu_state*) {}
struct host_fp_scope {
  explicit host_fp_scope(const cpu_state*) {}
};
#endif

// Direct-route handler bodies by shape. `NativeFp` marks the handlers whose
// kernel computes with native floating point.
template <auto Kernel, bool NativeFp = false>
struct direct_base {
  template <class... R>
  static aarch64_decode_rc call(cpu_state* s, uint32_t w, R... records) {
    s->instr = w;
    aarch64_decode_rc rc = Kernel(s, records...);
    if constexpr (NativeFp) copy_host_fpsr(s);
    return rc;
  }
};

// Zdn 4:0, Pg 12:10 merging, Zm 9:5.
template <auto Kernel, bool NativeFp = false>
struct vvm : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vvm::call(s, w, z_dst_src(w, 4, 0, T::code), p_gov(w, 12, 10, P_M), z_plain(w, 9, 5, T::code));
  }
};

// Zd 4:0, Pg 12:10 merging, Zn 9:5.
template <auto Kernel, bool NativeFp = false>
struct vm : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vm::call(s, w, z_plain(w, 4, 0, T::code), p_gov(w, 12, 10, P_M), z_plain(w, 9, 5, T::code));
  }
};

// Zd 4:0, Zn 9:5, Zm 20:16, unpredicated.
template <auto Kernel, bool NativeFp = false>
struct vvx : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vvx::call(s, w, z_plain(w, 4, 0, T::code), z_plain(w, 9, 5, T::code), z_plain(w, 20, 16, T::code));
  }
};

// Zda 4:0, Pg 12:10 merging, Zn 9:5, Zm 20:16: multiply-accumulate forms.
template <auto Kernel, bool NativeFp = false>
struct vvvm_acc : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code;
    return vvvm_acc::call(s, w, z_dst_src(w, 4, 0, c), p_gov(w, 12, 10, P_M), z_plain(w, 9, 5, c),
                          z_plain(w, 20, 16, c));
  }
};

// Zdn 4:0, Pg 12:10 merging, Zm 20:16, Za 9:5: multiply-add forms, where the
// destination is a factor and Za the addend.
template <auto Kernel, bool NativeFp = false>
struct vvvm_mad : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code;
    return vvvm_mad::call(s, w, z_dst_src(w, 4, 0, c), p_gov(w, 12, 10, P_M), z_plain(w, 20, 16, c),
                          z_plain(w, 9, 5, c));
  }
};

// Zdn 4:0, Pg 12:10 merging, the i1 selector at bit 5: floating-point
// arithmetic with an immediate.
template <auto Kernel, bool NativeFp = false>
struct vim_fp : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vim_fp::call(s, w, z_dst_src(w, 4, 0, T::code), p_gov(w, 12, 10, P_M),
                        aarch64_sve_fp_arith_imm{uint8_t(field(w, 5, 5))});
  }
};

// Vd 4:0 (a plain register number), Pg 12:10, Zn 9:5: reductions to a
// SIMD&FP scalar.
template <auto Kernel, bool NativeFp = false>
struct vpz : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vpz::call(s, w, field(w, 4, 0), p_gov(w, 12, 10, P_PLAIN), z_plain(w, 9, 5, T::code));
  }
};

// Pd 3:0 at the element size, Pg 12:10 zeroing, Zn 9:5, Zm 20:16: compares
// of two vectors.
template <auto Kernel, bool NativeFp = false>
struct cmp_vv : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return cmp_vv::call(s, w, p_plain(w, 3, 0, T::code), p_gov(w, 12, 10, P_Z), z_plain(w, 9, 5, T::code),
                        z_plain(w, 20, 16, T::code));
  }
};

// Pd 3:0 at the element size, Pg 12:10 zeroing, Zn 9:5: compares with zero.
template <auto Kernel, bool NativeFp = false>
struct cmp_v0 : direct_base<Kernel, NativeFp> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return cmp_v0::call(s, w, p_plain(w, 3, 0, T::code), p_gov(w, 12, 10, P_Z), z_plain(w, 9, 5, T::code));
  }
};

}  // namespace sve
