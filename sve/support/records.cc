#include "records.h"

namespace sve {

PredV pack(const uint8_t* bytes) {
  PredV p{};
  for (unsigned b = 0; b < sve_vl_bytes; ++b) p.w[b / 64] |= uint64_t(bytes[b] & 1) << (b % 64);
  return p;
}

void unpack(const PredV& p, uint8_t* bytes) {
  for (unsigned b = 0; b < sve_vl_bytes; ++b) bytes[b] = p.w[b / 64] >> (b % 64) & 1;
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
