// Working records of the library routines. Routines know nothing of
// cpu_state: they take vectors and predicates by value, scalars as 64-bit
// values, and a CpuContext for flags, floating-point control and status, the
// vector length and the first-fault register.
#pragma once

#include <cstdint>
#include <cstring>

#include "../decode/sve_emu.h"

namespace sve {

// A vector, room for 2048 bits; bytes past the vector length carry nothing.
struct VecV {
  alignas(16) uint8_t b[256];

  template <class T>
  T get(unsigned i) const {
    T v;
    std::memcpy(&v, b + i * sizeof(T), sizeof(T));
    return v;
  }
  template <class T>
  void set(unsigned i, T v) {
    std::memcpy(b + i * sizeof(T), &v, sizeof(T));
  }
};

// A packed predicate: bit b stands for vector byte b, word b / 64.
struct PredV {
  uint64_t w[4];

  bool bit(unsigned b) const { return w[b / 64] >> (b % 64) & 1; }
  void set_bit(unsigned b, bool v) {
    w[b / 64] = (w[b / 64] & ~(1ull << (b % 64))) | uint64_t(v) << (b % 64);
  }
  // Element i of `ebytes` bytes is active when its lowest bit is set.
  bool active(unsigned i, unsigned ebytes) const { return bit(i * ebytes); }
};

struct CpuContext {
  uint32_t nzcv;  // N bit 31, Z bit 30, C bit 29, V bit 28
  uint32_t fpsr;
  uint32_t fpcr;
  uint32_t vl_dwords;
  PredV ffr;
  uint64_t reserved[4];  // room that nothing uses

  // Number of elements of `ebits` bits in a vector.
  unsigned elements(unsigned ebits) const { return ebits ? vl_dwords * 64 / ebits : 0; }
};

// The condition flags at their positions in nzcv.
enum : uint32_t { FLAG_N = 1u << 31, FLAG_Z = 1u << 30, FLAG_C = 1u << 29, FLAG_V = 1u << 28 };

// Byte-per-bit predicate of cpu_state to packed form: only bit 0 of a byte counts.
PredV pack(const uint8_t* bytes);
// Packed to byte-per-bit: every one of the vector's bytes gets 0 or 1.
void unpack(const PredV& p, uint8_t* bytes);

// Number of elements that a predicate constraint pattern selects out of n.
uint64_t VecTrueILength(uint64_t pattern, int n);

}  // namespace sve
