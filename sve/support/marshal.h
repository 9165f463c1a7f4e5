// The library route: a handler copies the registers that the instruction
// names out of cpu_state into working records, calls the routine of its own
// name, and copies the result and the context back. One adapter serves every
// library handler; a shape is the list of its operands.
//
//   using lib_vvm = library<to_z<4, 0>, z_in<4, 0>, p_in<12, 10>, z_in<9, 5>>;
//
// Operand readers take the handler's element type T, so that an immediate can
// depend on it.
#pragma once

#include <cstring>
#include <type_traits>

#include "../decode/direct.h"
#include "../decode/fields.h"
#include "records.h"

namespace sve {

inline CpuContext load_context(const cpu_state* s) {
  CpuContext c{};
  c.nzcv = uint32_t(s->nzcv);
  c.fpsr = s->fpsr;
  c.fpcr = s->fpcr | s->fpcr_high;
  c.vl_dwords = sve_vl_dwords;
  c.ffr = pack(s->ffr);
  return c;
}

// `ffr` is the context's ffr as loaded: only the first-fault loads change
// it, and the thread's ffr is written back only when it changed.
inline void store_context(cpu_state* s, const CpuContext& c, const PredV& ffr) {
  s->nzcv = c.nzcv;
  s->fpsr = c.fpsr;
  s->fpcr = c.fpcr;
  if (std::memcmp(c.ffr.w, ffr.w, sizeof ffr.w) != 0) unpack(c.ffr, s->ffr);
}

// Sources.
template <int hi, int lo>
struct z_in {
  template <class T>
  static VecV read(const cpu_state* s, uint32_t w) {
    VecV v;
    std::memcpy(v.b, s->z[field(w, hi, lo)], sve_vl_bytes);
    std::memset(v.b + sve_vl_bytes, 0, sizeof v.b - sve_vl_bytes);  // room past the vector holds nothing
    return v;
  }
};

template <int hi, int lo>
struct p_in {
  template <class T>
  static PredV read(const cpu_state* s, uint32_t w) { return pack(s->p[field(w, hi, lo)]); }
};

// General register, register 31 reading as zero.
template <int hi, int lo>
struct x_in {
  template <class T>
  static uint64_t read(const cpu_state* s, uint32_t w) {
    uint32_t r = field(w, hi, lo);
    return r == 31 ? 0 : s->x[r];
  }
};

// General register in an address base position, register 31 reading as sp.
template <int hi, int lo>
struct xsp_in {
  template <class T>
  static uint64_t read(const cpu_state* s, uint32_t w) {
    uint32_t r = field(w, hi, lo);
    return r == 31 ? s->sp : s->x[r];
  }
};

// The low doubleword of a vector register: a SIMD&FP scalar source.
template <int hi, int lo>
struct v_in {
  template <class T>
  static uint64_t read(const cpu_state* s, uint32_t w) {
    uint64_t v;
    std::memcpy(&v, s->z[field(w, hi, lo)], 8);
    return v;
  }
};

// Any immediate: Decode::template value<T>(w).
template <class Decode>
struct imm_in {
  template <class T>
  static auto read(const cpu_state*, uint32_t w) { return Decode::template value<T>(w); }
};

// A plain field of the word, for imm_in.
template <int hi, int lo>
struct field_in {
  template <class T>
  static uint64_t value(uint32_t w) { return field(w, hi, lo); }
};

// Destinations.
template <int hi, int lo>
struct to_z {
  static void write(cpu_state* s, uint32_t w, const VecV& v) {
    std::memcpy(s->z[field(w, hi, lo)], v.b, sve_vl_bytes);
  }
};

template <int hi, int lo>
struct to_p {
  static void write(cpu_state* s, uint32_t w, const PredV& p) { unpack(p, s->p[field(w, hi, lo)]); }
};

// General register; a write to register 31 is dropped. W32 results are
// zero-extended from 32 bits.
template <int hi, int lo, bool W32 = false>
struct to_x {
  static void write(cpu_state* s, uint32_t w, uint64_t v) {
    uint32_t r = field(w, hi, lo);
    if (r != 31) s->x[r] = W32 ? uint32_t(v) : v;
  }
};

// SIMD&FP scalar of `bytes` bytes into the low bytes of a Z register; the
// rest of the register is cleared.
template <int hi, int lo, unsigned bytes>
struct to_v {
  static void write(cpu_state* s, uint32_t w, uint64_t v) { write_v(s, field(w, hi, lo), v, bytes); }
};

struct to_nothing {};

template <class Dst, class... Src>
struct library {
  template <class T, auto Routine>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    CpuContext ctx = load_context(s);
    const PredV ffr = ctx.ffr;
    if constexpr (std::is_same_v<Dst, to_nothing>)
      Routine(Src::template read<T>(s, w)..., &ctx);
    else
      Dst::write(s, w, Routine(Src::template read<T>(s, w)..., &ctx));
    store_context(s, ctx, ffr);
    return aarch64_decode_ok;
  }
};

// Shapes shared by several families.
using lib_vvm = library<to_z<4, 0>, z_in<4, 0>, p_in<12, 10>, z_in<9, 5>>;
using lib_vm = library<to_z<4, 0>, z_in<4, 0>, p_in<12, 10>, z_in<9, 5>>;
using lib_vvx = library<to_z<4, 0>, z_in<9, 5>, z_in<20, 16>>;

}  // namespace sve
