#include "records.h"

#include "host_isa.h"

namespace sve {

namespace {

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
// 16-bit lanes by 7 has put the bit 0 of both their bytes; elsewhere eight
// bytes at a time go through gather_bits.
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

}  // namespace

PredV pack(const uint8_t* bytes) {
#if defined(__SSE2__)
  if (host::has_avx2()) return pack_avx2(bytes);
#endif
  return pack_baseline(bytes);
}

void unpack(const PredV& p, uint8_t* bytes) {
  for (unsigned k = 0; k < 4; ++k)
    for (unsigned j = 0; j < 8 && 64 * k + 8 * j < sve_vl_bytes; ++j) {
      uint64_t v = spread_bits(p.w[k] >> 8 * j);
      std::memcpy(bytes + 64 * k + 8 * j, &v, 8);
    }
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
