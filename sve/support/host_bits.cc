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

// Each element is widened to 64 bits: the bits of its mask above its width
// are zero, so they take no part. BGRP's mask of zeros is cut to the width
// before it is widened for the same reason; its shift by a count of 64 (a
// mask of all ones, when the zeros gather nothing) would be undefined.
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

// BMI2 comes with AVX2 on every host that has both.
bool move_bits(bit_move op, unsigned bytes, uint8_t* d, const uint8_t* a, const uint8_t* m) {
  if (!has_avx2()) return false;
  by_move[unsigned(op)][__builtin_ctz(bytes)](d, a, m);
  return true;
}

#else

bool move_bits(bit_move, unsigned, uint8_t*, const uint8_t*, const uint8_t*) { return false; }

#endif

}  // namespace sve::host
