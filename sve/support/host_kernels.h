// Kernels of the integer and permute families written with the x86 host's
// vector instructions, beside the families' portable loops, whose results
// they give bit for bit. Each takes the registers' bytes and returns false
// when the host lacks what it needs (AVX2 and AVX-512 are tested at run time
// by host_isa.h, SSSE3 and SSE4.1 come with the build's baseline); the family
// then runs its own loop.
// Floating point has its own such layer in sve/fplib/fast_*.
#pragma once

#include <cstdint>

#include "../decode/sve_emu.h"
#include "host_isa.h"

namespace sve::host {

// Runs `loop`, a family's own element loop, built again for the host's
// widest vector unit, AVX-512 (F, BW, VL and DQ) or else AVX2, with every
// call inside it inlined so that the compiler vectorises the whole with the
// wider registers and the per-lane shifts, byte permutes and unsigned
// compares that the baseline lacks. The results are the loop's own, bit for
// bit. Returns false without running it when the host has neither.
#if defined(__x86_64__)
template <class F>
[[gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx2,fma,bmi,bmi2"), gnu::flatten]] void run_avx512(F& loop) {
  loop();
}
template <class F>
[[gnu::target("avx2,fma,bmi,bmi2"), gnu::flatten]] void run_avx2(F& loop) {
  loop();
}
#endif
template <class F>
inline bool widest(F&& loop) {
#if defined(__x86_64__)
  if (has_avx512()) return run_avx512(loop), true;
  if (has_avx2()) return run_avx2(loop), true;
#endif
  (void)loop;
  return false;
}

// SRSHL and URSHL (or their reversed forms) of doublewords: the active
// doublewords of d shifted by the signed counts in m (the values in m and
// the counts in d when reversed), rounding, the predicate's bytes in p.
bool rounding_shift_doublewords(bool is_signed, bool reversed, uint8_t* d, const uint8_t* m, const uint8_t* p);

// SDOT and UDOT into words: d += the sums of four byte products.
bool dot_words(bool is_signed, uint8_t* d, const uint8_t* a, const uint8_t* b);

// TBL on elements of `bytes` bytes: element i of d is the element of
// `table` (`table_bytes` long: one register or two) that element i of
// `index` names, or 0 when that is beyond the table. d may be either source.
bool table_lookup(unsigned bytes, uint8_t* d, const uint8_t* table, unsigned table_bytes, const uint8_t* index);

// COMPACT on words or doublewords (`bytes` 4 or 8): the elements of a that
// the predicate's bytes p make active, in order, then zeros. d may be a.
bool compact_elements(unsigned bytes, uint8_t* d, const uint8_t* a, const uint8_t* p);

// EXT: d = the vector's length of bytes from byte `from` of a and b laid end
// to end; d may be either or both. Unlike the kernels above it does not
// answer whether it ran: every x86 host has a build of it (SSSE3 is in the
// baseline), and extracts_bytes says at compile time whether there is one,
// so that the family keeps no operands for a portable loop after the call.
// It returns aarch64_decode_ok for a handler to return in turn, which makes
// the call the handler's last step. Other hosts have no definition.
#if defined(__SSSE3__)
inline constexpr bool extracts_bytes = true;
#else
inline constexpr bool extracts_bytes = false;
#endif
aarch64_decode_rc extract_bytes(uint8_t* d, const uint8_t* a, const uint8_t* b, unsigned from);

// BEXT, BDEP and BGRP on elements of `bytes` bytes: each element of d is
// that of a with its bits at the ones of m's element gathered at the bottom
// (gather), its low bits scattered to the ones of m's (scatter), or the bits
// at the ones gathered below those at the zeros, gathered too (group). d may
// be a or m. In host_bits.cc.
enum class bit_move { gather, scatter, group };
bool move_bits(bit_move op, unsigned bytes, uint8_t* d, const uint8_t* a, const uint8_t* m);

// The AES steps on each 16-byte block of d, in place: AESE and AESD with the
// round key k (the same block of the second register), AESMC and AESIMC,
// which take no key (k unused).
enum class aes_step { encrypt, decrypt, mix, inverse_mix };
bool aes_blocks(aes_step step, uint8_t* d, const uint8_t* k);

}  // namespace sve::host
