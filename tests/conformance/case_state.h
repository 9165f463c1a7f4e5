// The state of one conformance case, as both the reference runner (real SVE
// code) and the emulator runner see it. A case is an instruction word and a
// seed; each runner regenerates the same initial state from the seed, so a
// batch of cases is small, and reports the final state as a digest, or whole
// when asked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#ifndef SVE_VL_BITS
#error "SVE_VL_BITS must be defined"
#endif

namespace conf {

constexpr unsigned vl = SVE_VL_BITS / 8;  // vector bytes
constexpr unsigned pl = vl / 8;           // predicate bytes

// Memory that base registers point into, at the same address in every
// runner, with an unmapped page behind it.
constexpr uint64_t arena_base = 0x40000000;
constexpr uint64_t arena_size = 64 * 1024;
constexpr uint64_t guard_size = 64 * 1024;  // covers any page size

// Architectural state, laid out for the reference runner's loads and stores:
// vector and predicate registers first, at multiples of their lengths.
struct state {
  uint8_t z[32][vl];
  uint8_t p[16][pl];  // one bit per vector byte
  uint8_t ffr[pl];
  uint8_t pad[(16 - (17 * pl) % 16) % 16];
  uint64_t x[31];
  uint64_t sp;
  uint64_t nzcv;
  uint64_t fpsr;
  uint64_t fpcr;
};

// What a runner reports for a case.
enum status : uint32_t { ran = 0, sigill = 1, sigsegv = 2, sigbus = 3, other_signal = 4 };

struct case_in {
  uint32_t word;
  uint32_t dump;  // 1: report the whole final state and arena
  uint64_t seed;
  uint32_t size;  // element size code of the entry, bit 8 for a conversion: picks the special values
  uint32_t near_end;  // 1: addresses next to the arena's end (loads that survive faults)
};

struct case_out {
  uint32_t status;
  uint32_t pad;
  uint64_t digest;
};

// splitmix64: small, fast, and the same on every host.
struct rng {
  uint64_t s;
  uint64_t next() {
    uint64_t z = (s += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  unsigned below(unsigned n) { return unsigned(next() % n); }
};

// Values that break emulators, by element size: integer limits, signed
// zeros, infinities, quiet and signalling NaNs, denormals and values next to
// rounding boundaries; for conversions, ties, the limits of the integer
// ranges and of the narrower formats, and integers that round.
inline uint64_t special(rng& r, unsigned size) {
  static const uint64_t b[] = {0, 0xff, 0x80, 0x7f, 1, 0xfe};
  static const uint64_t h[] = {0, 0xffff, 0x8000, 0x7fff, 0x7c00, 0xfc00, 0x7e00, 0x7d00, 0x0001, 0x03ff,
                               0x3c00, 0xbc00, 0x7bff, 0x3c01, 0x0400, 0x8001, 0x3800, 0xb800, 0x3e00,
                               0x4100, 0x7800, 0xf800, 0x0801, 0xfff0};
  static const uint64_t s[] = {0, 0xffffffff, 0x80000000, 0x7fffffff, 0x7f800000, 0xff800000, 0x7fc00000,
                               0x7fa00000, 0x00000001, 0x007fffff, 0x3f800000, 0xbf800000, 0x7f7fffff,
                               0x3f800001, 0x00800000, 0x4b000000, 0x3effffff, 0x80000001, 0x3f000000,
                               0xbfc00000, 0x40200000, 0x4f000000, 0xcf000000, 0xcf000001, 0x4effffff,
                               0x4f800000, 0x5f000000, 0xdf000000, 0x5f800000, 0x477ff000, 0x477fe000,
                               0x33c00000, 0x01000001, 0x0000fff0};
  static const uint64_t d[] = {0, ~0ull, 0x8000000000000000, 0x7fffffffffffffff, 0x7ff0000000000000,
                               0xfff0000000000000, 0x7ff8000000000000, 0x7ff4000000000000, 1,
                               0x000fffffffffffff, 0x3ff0000000000000, 0xbff0000000000000,
                               0x7fefffffffffffff, 0x3ff0000000000001, 0x0010000000000000,
                               0x4330000000000000, 0x8000000000000001, 0x3fe0000000000000,
                               0xbff8000000000000, 0x4004000000000000, 0x41e0000000000000,
                               0xc1e0000000200000, 0x41dfffffffe00000, 0x41f0000000000000,
                               0x41effffffff00000, 0x43e0000000000000, 0xc3e0000000000000,
                               0x43dfffffffffffff, 0x43f0000000000000, 0x40effe0000000000,
                               0x3f0ffc0000000000, 0x3690000000000000, 0x47effffff0000000,
                               0x3ff0000010000000, 0x0020000000000001, 0x0000000001000001};
  switch (size) {
    case 0: return b[r.below(sizeof b / 8)];
    case 1: return h[r.below(sizeof h / 8)];
    case 2: return s[r.below(sizeof s / 8)];
    default: return d[r.below(sizeof d / 8)];
  }
}

// An address in the arena: aligned or not, near its end now and then so
// that accesses run into the unmapped page behind it.
inline uint64_t arena_address(rng& r) {
  switch (r.below(4)) {
    case 0: return arena_base + arena_size - 8 * r.below(64);
    case 1: return arena_base + r.below(unsigned(arena_size));
    default: return arena_base + 16 * r.below(unsigned(arena_size / 32)) + arena_size / 4;
  }
}

// An address within two vectors of the arena's end, so that an access of a
// vector from it runs into the unmapped page about half of the time.
inline uint64_t near_end_address(rng& r) { return arena_base + arena_size - 1 - r.below(2 * vl); }

// A special value of the element size, or, for the conversions (`narrow`),
// now and then one of a narrower size in the element's low bits, extended
// by its sign or by zeros: their sources are narrower than their elements.
inline uint64_t special_in(rng& r, unsigned size, bool narrow) {
  const unsigned k = narrow ? r.below(size + 1) : size;
  const uint64_t v = special(r, k);
  if (k == size || r.below(2)) return v;
  const unsigned shift = 64 - (8u << k);
  return uint64_t(int64_t(v << shift) >> shift);
}

// The initial state of a case. `size` is the element size code of the
// instruction, which decides where special values are put; its bit 8 marks
// a conversion (see special_in). With `near_end`,
// even-numbered general and vector registers hold addresses next to the
// arena's end and odd-numbered ones small offsets, rising along a vector so
// that the first elements of a gather stay readable and later ones may not.
inline void make_state(uint64_t seed, unsigned size, state& st, bool near_end = false) {
  rng r{seed};
  std::memset(&st, 0, sizeof st);
  const bool narrow = size >> 8 & 1;
  size &= 0xff;
  unsigned e = 1u << (size > 3 ? 3 : size);
  // Vectors of random bytes and special values, and now and then vectors of
  // arena addresses or of small offsets (some negative as 32-bit numbers)
  // for the gathers and scatters.
  for (auto& z : st.z) {
    unsigned kind = r.below(6);
    for (unsigned i = 0; i < vl; i += e) {
      uint64_t v = kind == 0 || r.below(4) ? r.next() : special_in(r, size > 3 ? 3 : size, narrow);
      if (kind == 1 && r.below(2)) v = special_in(r, size > 3 ? 3 : size, narrow);
      if (kind == 4) v = arena_address(r);
      if (kind == 5) v = r.below(8) ? r.below(512) : uint32_t(-int32_t(r.below(64)));
      std::memcpy(&z[i], &v, e);
    }
  }
  // Predicates of every density: all true, all false, sparse, random, and
  // true on element boundaries only.
  for (unsigned k = 0; k < 17; ++k) {
    uint8_t* p = k < 16 ? st.p[k] : st.ffr;
    unsigned kind = r.below(6);
    for (unsigned b = 0; b < vl; ++b) {
      bool bit;
      switch (kind) {
        case 0: bit = true; break;
        case 1: bit = false; break;
        case 2: bit = r.below(16) == 0; break;
        case 3: bit = b % e == 0; break;
        case 4: bit = b % e == 0 && r.below(2); break;
        default: bit = r.below(2); break;
      }
      p[b / 8] |= uint8_t(bit) << (b % 8);
    }
  }
  for (auto& x : st.x) {
    switch (r.below(5)) {
      case 0: case 1: x = arena_address(r); break;
      case 2: x = special(r, r.below(4)); break;
      case 3: x = r.below(300); break;
      default: x = r.next(); break;
    }
  }
  if (near_end) {
    for (unsigned k = 0; k < 32; ++k) {
      uint64_t start = k % 2 ? r.below(8) : near_end_address(r), step = r.below(9);
      for (unsigned i = 0; i < vl; i += e) {
        uint64_t v = start + i / e * step;
        std::memcpy(&st.z[k][i], &v, e);
      }
    }
    for (unsigned k = 0; k < 31; ++k) st.x[k] = k % 2 ? r.below(8) : near_end_address(r);
    // qemu's contiguous first-fault loads take the wrong elements after a
    // first active element other than element 0 (its LD1 is right): element
    // 0 is active in every predicate here, and the unit tests cover the rest.
    for (auto& p : st.p) p[0] |= 1;
  }
  st.sp = arena_base + arena_size / 2 + 16 * r.below(256);
  st.nzcv = uint64_t(r.below(16)) << 28;
  // FPCR: each rounding mode, with FZ, DN, AHP and FZ16 on and off.
  st.fpcr = uint64_t(r.below(4)) << 22 | uint64_t(r.below(2)) << 24 | uint64_t(r.below(2)) << 25 |
            uint64_t(r.below(2)) << 26 | uint64_t(r.below(2)) << 19;
  st.fpsr = 0;
}

// The arena's initial bytes, from the case's seed.
inline void fill_arena(uint64_t seed, uint8_t* arena) {
  rng r{seed ^ 0x5a5a5a5a5a5a5a5aull};
  for (uint64_t i = 0; i < arena_size; i += 8) {
    uint64_t v = r.next();
    std::memcpy(arena + i, &v, 8);
  }
}

// FNV-1a over the final state and the arena.
inline uint64_t digest(const state& st, const uint8_t* arena) {
  uint64_t h = 0xcbf29ce484222325ull;
  auto mix = [&](const void* p, size_t n) {
    const uint8_t* b = static_cast<const uint8_t*>(p);
    for (size_t i = 0; i < n; ++i) h = (h ^ b[i]) * 0x100000001b3ull;
  };
  mix(st.z, sizeof st.z);
  mix(st.p, sizeof st.p);
  mix(st.ffr, sizeof st.ffr);
  mix(st.x, sizeof st.x);
  mix(&st.sp, 8);
  mix(&st.nzcv, 8);
  mix(&st.fpsr, 8);
  mix(&st.fpcr, 8);
  mix(arena, arena_size);
  return h;
}

}  // namespace conf
