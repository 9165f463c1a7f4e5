// Public interface of the SVE emulator: the per-thread register file, the
// operand records that handlers pass to direct kernels, the result codes, and
// the four exported operations. An embedder includes only this header, fills a
// cpu_state, points pc at an instruction word and calls
// execute_sve_instruction.
#pragma once

#include <cstddef>
#include <cstdint>

#ifndef SVE_VL_BITS
#define SVE_VL_BITS 1792
#endif

static_assert(SVE_VL_BITS % 128 == 0 && SVE_VL_BITS >= 128 && SVE_VL_BITS <= 2048,
              "the vector length must be a multiple of 128 bits up to 2048");

// The vector length is a build constant; every other size derives from it.
inline constexpr unsigned sve_vl_bits = SVE_VL_BITS;
inline constexpr unsigned sve_vl_bytes = sve_vl_bits / 8;
inline constexpr unsigned sve_vl_dwords = sve_vl_bits / 64;

// Register file of one application thread. The low 16 bytes of z[n] are the
// host's Vn; everything else of z, p and ffr lives only here.
struct cpu_state {
  uint64_t x[31];
  uint64_t sp;  // index 31 of the general array
  uint32_t* pc;
  uint64_t nzcv;  // N bit 31, Z bit 30, C bit 29, V bit 28
  uint32_t fpsr;
  uint32_t fpcr;
  uint32_t fpcr_high;  // never written; ORed into fpcr on the library route
  alignas(16) uint8_t z[32][sve_vl_bytes];
  uint8_t p[16][sve_vl_bytes];  // one byte per vector byte, bit 0 meaningful
  uint8_t ffr[sve_vl_bytes];
  uint64_t instr;
};

static_assert(offsetof(cpu_state, sp) == 31 * 8, "sp stands directly behind x");
static_assert(offsetof(cpu_state, pc) == 32 * 8);
static_assert(offsetof(cpu_state, nzcv) == 33 * 8);
static_assert(offsetof(cpu_state, fpsr) == 34 * 8);
static_assert(offsetof(cpu_state, fpcr) == 34 * 8 + 4);
static_assert(offsetof(cpu_state, fpcr_high) == 35 * 8);
static_assert(offsetof(cpu_state, z) % 16 == 0 && offsetof(cpu_state, z) == 36 * 8);
static_assert(offsetof(cpu_state, p) == offsetof(cpu_state, z) + 32 * sve_vl_bytes);
static_assert(offsetof(cpu_state, ffr) == offsetof(cpu_state, p) + 16 * sve_vl_bytes);
static_assert(offsetof(cpu_state, instr) % 8 == 0 &&
              offsetof(cpu_state, instr) >= offsetof(cpu_state, ffr) + sve_vl_bytes);

enum aarch64_decode_rc : int {
  aarch64_decode_ok = 0,
  aarch64_decode_unknown = 2,
};

// Element codes of the operand records.
enum : uint32_t { Z_B, Z_H, Z_S, Z_D, Z_Q, Z_NONE };
enum : uint32_t { P_B, P_H, P_S, P_D, P_M, P_Z, P_PLAIN, P_NONE };
enum : uint32_t { I_B, I_H, I_W, I_X, I_NONE };

// Operand records, passed by value to direct kernels. `elem` is the suffix of
// an operand that is only read or only written; `rw_elem` (and its copy
// `rw_elem2`) the size of a destructive operand.
struct aarch64_z_reg {
  uint32_t reg, elem, rw_elem, rw_elem2;
  static const char* const zname[32];
  static const char* const zname_b[32];
  static const char* const zname_h[32];
  static const char* const zname_s[32];
  static const char* const zname_d[32];
};

struct aarch64_p_reg {
  uint32_t reg, elem, rw_elem, rw_elem2;
  static const char* const pname[16];
  static const char* const pname_m[16];
  static const char* const pname_z[16];
  static const char* const pname_b[16];
  static const char* const pname_h[16];
  static const char* const pname_s[16];
  static const char* const pname_d[16];
};

// General register where register 31 is the zero register.
struct aarch64_i_reg {
  uint32_t reg, elem, rw_elem, rw_elem2;
  static const char* const xname[32];
  static const char* const wname[32];
};

// General register where register 31 is the stack pointer.
struct aarch64_i_rsp_reg {
  uint32_t reg, elem;
  static const char* const xname[32];
  static const char* const wname[32];
};

static_assert(sizeof(aarch64_z_reg) == 16 && sizeof(aarch64_p_reg) == 16 &&
              sizeof(aarch64_i_reg) == 16 && sizeof(aarch64_i_rsp_reg) == 8);

// Immediate operands.
struct aarch64_sve_logical64_imm {
  uint64_t pattern;  // decoded bit mask, replicated to 64 bits
};

struct aarch64_sve_fp_dup_imm {
  uint16_t fp16_image;
  uint32_t fp32_image;
  uint64_t fp64_image;
};

struct aarch64_sve_fp_arith_imm {
  uint8_t i1;  // selector bit, not a value
};

// A handler carries out one emulated instruction word on a thread's state.
using sve_handler = aarch64_decode_rc (*)(cpu_state*, unsigned int);

#define SVE_EXPORT __attribute__((visibility("default")))

extern "C" {
// The handler of an emulated instruction word, or null for any other word.
SVE_EXPORT sve_handler is_sve(unsigned int word);
// Decodes and carries out the word at s->pc, counts it and advances pc.
SVE_EXPORT aarch64_decode_rc execute_sve_instruction(cpu_state* s);
// Counts one carried-out instruction at `addr`.
SVE_EXPORT void update_sve_stats(uint32_t* addr, unsigned int word);
// Prints the per-address counts on stderr, in address order.
SVE_EXPORT void dump_sve_stats(void);
// Nonzero: floating point computes every operand on the exact integer path.
// By default ordinary operands in round-to-nearest take the host's own
// floating-point unit, with the same bits and flags.
SVE_EXPORT void sve_set_exact_fp(int exact);
}
