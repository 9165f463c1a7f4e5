// The register state that the speed table runs every instruction on, the
// same on the emulator's side and on the reference's: ordinary values of the
// instruction's element type (floating-point values near 1.0 of either sign,
// so that repeated arithmetic stays ordinary for the length of a run), all
// predicates true, x0 to x7 pointing into a buffer and x8 to x15 small
// counts, so that memory forms and loop-control forms do real work.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace speed {

inline constexpr unsigned buffer_bytes = 1 << 20;

// What the Z registers hold.
enum class fill { integer, f16, f32, f64, offsets32, offsets64 };

inline bool parse_fill(std::string_view s, fill& f) {
  constexpr std::pair<std::string_view, fill> names[] = {
      {"int", fill::integer}, {"f16", fill::f16},           {"f32", fill::f32},
      {"f64", fill::f64},     {"off32", fill::offsets32}, {"off64", fill::offsets64}};
  for (auto [name, value] : names)
    if (s == name) return f = value, true;
  return false;
}

// A small deterministic generator: both sides fill the same bytes.
struct lcg {
  uint64_t x = 0x9e3779b97f4a7c15ull;
  uint64_t next() { return x = x * 6364136223846793005ull + 1442695040888963407ull, x >> 11; }
};

// Fills `vl` bytes of each of the 32 Z registers (z[n * vl + i]), the eight
// pointers and eight counts of x[0..15], and the buffer.
inline void fill_state(fill f, unsigned vl, uint8_t* z, uint64_t* x, uint8_t* buffer) {
  lcg g;
  for (unsigned n = 0; n < 32; ++n) {
    uint8_t* v = z + size_t(n) * vl;
    for (unsigned i = 0; i < vl;) {
      const uint64_t r = g.next();
      const uint64_t sign = r >> 40 & 1, frac = r & 0x3ff;  // values within 1 +- 1/1000 or so
      switch (f) {
        case fill::integer: v[i++] = uint8_t(r); break;
        case fill::f16: {
          const uint16_t h = uint16_t(sign << 15 | (frac & 1 ? 0x3bff - (frac >> 7) : 0x3c00 + (frac >> 7)));
          std::memcpy(v + i, &h, 2), i += 2;
        } break;
        case fill::f32: {
          const uint32_t s = uint32_t(sign << 31 | (frac & 1 ? 0x3f7fffffu - (frac << 3) : 0x3f800000u + (frac << 3)));
          std::memcpy(v + i, &s, 4), i += 4;
        } break;
        case fill::f64: {
          const uint64_t d = sign << 63 | (frac & 1 ? 0x3fefffffffffffffull - (frac << 32) : 0x3ff0000000000000ull + (frac << 32));
          std::memcpy(v + i, &d, 8), i += 8;
        } break;
        case fill::offsets32: {
          const uint32_t o = uint32_t(r % 4096) * 8;
          std::memcpy(v + i, &o, 4), i += 4;
        } break;
        case fill::offsets64: {
          const uint64_t o = r % 4096 * 8;
          std::memcpy(v + i, &o, 8), i += 8;
        } break;
      }
    }
  }
  for (unsigned i = 0; i < buffer_bytes; ++i) buffer[i] = uint8_t(g.next());
  for (unsigned n = 0; n < 8; ++n) x[n] = reinterpret_cast<uint64_t>(buffer) + 4096 * (n + 1);
  for (unsigned n = 8; n < 16; ++n) x[n] = n - 5;
}

}  // namespace speed
