// Kernels of the integer and permute families written with the x86 host's
// vector instructions, beside the families' portable loops, whose results
// they give bit for bit. Each takes the registers' bytes and returns false
// when the host lacks what it needs (AVX2 and AVX-512 are tested at run time
// by host_isa.h, SSSE3 and SSE4.1 come with the build's baseline); the family
// then runs its own loop.
// Floating point has its own such layer in sve/fplib/fast_*.
#pragma once

#include <cstdint>

#include "host_isa.h"

namespace sve::host {

// Active doublewords of d shifted by the doublewords of `count`, the
// predicate's bytes in p; inactive ones keep their value.
enum class shift_kind { left, right, arith };
bool shift_doublewords(shift_kind kind, uint8_t* d, const uint8_t* count, const uint8_t* p);

// SDOT and UDOT into words: d += the sums of four byte products.
bool dot_words(bool is_signed, uint8_t* d, const uint8_t* a, const uint8_t* b);

// TBL on words or doublewords (`bytes` 4 or 8): element i of d is the
// element of `table` that element i of `index` names, or 0 when that is
// beyond the vector. d may be either source.
bool table_lookup(unsigned bytes, uint8_t* d, const uint8_t* table, const uint8_t* index);

// COMPACT on words or doublewords (`bytes` 4 or 8): the elements of a that
// the predicate's bytes p make active, in order, then zeros. d may be a.
bool compact_elements(unsigned bytes, uint8_t* d, const uint8_t* a, const uint8_t* p);

// EXT: d = the vector's length of bytes from byte `from` of d and m laid end
// to end; m is not d.
bool extract_bytes(uint8_t* d, const uint8_t* m, unsigned from);

// The AES steps on each 16-byte block of d, in place: AESE and AESD with the
// round key k (the same block of the second register), AESMC and AESIMC,
// which take no key (k unused).
enum class aes_step { encrypt, decrypt, mix, inverse_mix };
bool aes_blocks(aes_step step, uint8_t* d, const uint8_t* k);

}  // namespace sve::host
