#include "records.h"

#include "host_isa.h"

#if defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace sve {

namespace {

#if defined(__aarch64__)
// Sixteen bytes at a time: bit 0 of each byte shifted to its place in its
// group of eight, then pairwise sums that fold each group of eight into one
// byte of the packed form (no two bits meet).
const int8x16_t place_in_byte = {0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7};

uint8x16_t placed_bits(const uint8_t* bytes) {
  return vshlq_u8(vandq_u8(vld1q_u8(bytes), vdupq_n_u8(1)), place_in_byte);
}

PredV pack_neon(const uint8_t* bytes) {
  uint8_t packed[sizeof(PredV)] = {};
  unsigned i = 0;
  for (; i + 64 <= sve_vl_bytes; i += 64) {
    const uint8x16_t fours = vpaddq_u8(vpaddq_u8(placed_bits(bytes + i), placed_bits(bytes + i + 16)),
                                       vpaddq_u8(placed_bits(bytes + i + 32), placed_bits(bytes + i + 48)));
    vst1_u8(packed + i / 8, vget_low_u8(vpaddq_u8(fours, fours)));
  }
  for (; i < sve_vl_bytes; i += 16) {
    uint8x16_t sums = placed_bits(bytes + i);
    for (int fold = 0; fold < 3; ++fold) sums = vpaddq_u8(sums, sums);
    vst1q_lane_u16(reinterpret_cast<uint16_t*>(packed + i / 8), vreinterpretq_u16_u8(sums), 0);
  }
  PredV p;
  std::memcpy(p.w, packed, sizeof p.w);
  return p;
}

// Sixteen bytes at a time: each of two packed bytes over eight lanes, each
// lane testing its own bit.
void unpack_neon(const PredV& p, uint8_t* bytes) {
  const uint8x16_t bit_of_lane = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  uint8_t packed[sizeof(PredV)];
  std::memcpy(packed, p.w, sizeof packed);
  for (unsigned i = 0; i < sve_vl_bytes; i += 16) {
    const uint8x16_t spread = vcombine_u8(vdup_n_u8(packed[i / 8]), vdup_n_u8(packed[i / 8 + 1]));
    vst1q_u8(bytes + i, vandq_u8(vtstq_u8(spread, bit_of_lane), vdupq_n_u8(1)));
  }
}

#else
#if !defined(__SSE2__)
// Bit 0 of each of eight bytes, byte i to bit i: the multiplier moves byte
// i's bit to bit 56 + i, and no two partial products meet in the top byte.
unsigned gather_bits(uint64_t bytes) {
  return unsigned((bytes & 0x0101010101010101) * 0x0102040810204080 >> 56);
}
#endif

// Bit i of eight bits to byte i as 0 or 1: each byte keeps its own bit of a
// copy of all eight, and adding 0x7f carries any nonzero byte into its top
// bit without reaching the next byte.
uint64_t spread_bits(uint64_t bits) {
  uint64_t one_each = (bits & 0xff) * 0x0101010101010101 & 0x8040201008040201;
  return (one_each + 0x7f7f7f7f7f7f7f7f) >> 7 & 0x0101010101010101;
}

// Each packed word is built in a register. On x86, pmovmskb takes the top
// bits of sixteen bytes at once (thirty-two with AVX2), where a shift of the
// 16-bit lanes by 7 has put the bit 0 of both their bytes; on hosts other
// than x86 and AArch64 eight bytes at a time go through gather_bits.
#if defined(__SSE2__)
using halves16 = uint16_t __attribute__((vector_size(16)));
using chars16 = char __attribute__((vector_size(16)));

uint64_t top_bits(const uint8_t* bytes) {
  halves16 v;
  std::memcpy(&v, bytes, 16);
  return unsigned(__builtin_ia32_pmovmskb128(chars16(v << 7)));
}

[[gnu::target("avx2")]] PredV pack_avx2(const uint8_t* bytes) {
  using halves32 = uint16_t __attribute__((vector_size(32)));
  using chars32 = char __attribute__((vector_size(32)));
  PredV p{};
  unsigned i = 0;
  for (; i + 32 <= sve_vl_bytes; i += 32) {
    halves32 v;
    std::memcpy(&v, bytes + i, 32);
    p.w[i / 64] |= uint64_t(unsigned(__builtin_ia32_pmovmskb256(chars32(v << 7)))) << i % 64;
  }
  if (i < sve_vl_bytes) p.w[i / 64] |= top_bits(bytes + i) << i % 64;
  return p;
}

#endif

PredV pack_baseline(const uint8_t* bytes) {
  PredV p{};
  for (unsigned k = 0; k < 4; ++k) {
    uint64_t w = 0;
#if defined(__SSE2__)
    for (unsigned j = 0; j < 4 && 64 * k + 16 * j < sve_vl_bytes; ++j)
      w |= top_bits(bytes + 64 * k + 16 * j) << 16 * j;
#else
    for (unsigned j = 0; j < 8 && 64 * k + 8 * j < sve_vl_bytes; ++j) {
      uint64_t v;
      std::memcpy(&v, bytes + 64 * k + 8 * j, 8);
      w |= uint64_t(gather_bits(v)) << 8 * j;
    }
#endif
    p.w[k] = w;
  }
  return p;
}
#endif

}  // namespace

PredV pack(const uint8_t* bytes) {
#if defined(__aarch64__)
  return pack_neon(bytes);
#else
#if defined(__SSE2__)
  if (host::has_avx2()) return pack_avx2(bytes);
#endif
  return pack_baseline(bytes);
#endif
}

void unpack(const PredV& p, uint8_t* bytes) {
#if defined(__aarch64__)
  unpack_neon(p, bytes);
#else
  for (unsigned k = 0; k < 4; ++k)
    for (unsigned j = 0; j < 8 && 64 * k + 8 * j < sve_vl_bytes; ++j) {
      uint64_t v = spread_bits(p.w[k] >> 8 * j);
      std::memcpy(bytes + 64 * k + 8 * j, &v, 8);
    }
#endif
}

uint64_t VecTrueILength(uint64_t pattern, int n) {
  auto fixed = [n](int count) -> uint64_t { return count <= n ? count : 0; };
  switch (pattern) {
    case 0: {  // POW2
      uint64_t r = 1;
      while (int(r * 2) <= n) r *= 2;
      return r;
    }
    case 1: case 2: case 3: case 4: case 5: case 6: case 7: case 8:  // VL1..VL8
      return fixed(int(pattern));
    case 9: case 10: case 11: case 12: case 13:  // VL16..VL256
      return fixed(1 << (pattern - 5));
    case 29:  // MUL4
      return uint64_t(n) & ~3ull;
    case 30:  // MUL3
      return uint64_t(n - n % 3);
    case 31:  // ALL
      return uint64_t(n);
    default:  // unallocated
      return 0;
  }
}

}  // namespace sve
