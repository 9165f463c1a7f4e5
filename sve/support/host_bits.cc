// The bit permutes BEXT, BDEP and BGRP by the x86 host's PEXT and PDEP.
#include <cstring>

#include "../decode/sve_emu.h"
#include "host_kernels.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace sve::host {

#if defined(__x86_64__)

namespace {

// Each element is widened to 64 bits with zeros above it, which neither
// PEXT nor PDEP moves into the element's width. BGRP skips the shift of the
// bits at the zeros when the mask is all ones of 64 bits: they are none, and
// a shift by 64 would be undefined.
template <class T, bit_move Op>
[[gnu::target("bmi2")]] void move_bits_bmi2(uint8_t* d, const uint8_t* a, const uint8_t* m) {
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) {
    T x, k;
    std::memcpy(&x, a + i, sizeof(T));
    std::memcpy(&k, m + i, sizeof(T));
    uint64_t r;
    if constexpr (Op == bit_move::gather) {
      r = _pext_u64(x, k);
    } else if constexpr (Op == bit_move::scatter) {
      r = _pdep_u64(x, k);
    } else {
      const unsigned low = unsigned(__builtin_popcountll(k));
      r = _pext_u64(x, k) | (low == 64 ? 0 : _pext_u64(x, T(~k)) << low);
    }
    const T out = T(r);
    std::memcpy(d + i, &out, sizeof(T));
  }
}

using bits_kernel = void (*)(uint8_t*, const uint8_t*, const uint8_t*);
template <bit_move Op>
constexpr bits_kernel by_bytes[4] = {&move_bits_bmi2<uint8_t, Op>, &move_bits_bmi2<uint16_t, Op>,
                                     &move_bits_bmi2<uint32_t, Op>, &move_bits_bmi2<uint64_t, Op>};
constexpr const bits_kernel* by_move[3] = {by_bytes<bit_move::gather>, by_bytes<bit_move::scatter>,
                                           by_bytes<bit_move::group>};

}  // namespace

// Every processor with AVX2 has BMI2: the AVX2 level stands for both, as in
// run_avx2.
bool move_bits(bit_move op, unsigned bytes, uint8_t* d, const uint8_t* a, const uint8_t* m) {
  if (!has_avx2()) return false;
  by_move[unsigned(op)][__builtin_ctz(bytes)](d, a, m);
  return true;
}

#else

bool move_bits(bit_move, unsigned, uint8_t*, const uint8_t*, const uint8_t*) { return false; }

#endif

}  // namespace sve::host
