// Kernels that combine registers byte by byte, as the byte-form predicates
// and the bitwise vector instructions do, in pieces of sixteen bytes held in
// the compiler's vector type (SSE or NEON registers). Each piece of the
// result is stored after the same piece of every operand is read, and
// registers either coincide or do not overlap, so the result goes straight
// to its register even when that is also an operand: no temporary and no
// second copy.
#pragma once

#include <cstring>

#include "../decode/sve_emu.h"

namespace sve {

using byte_piece = uint8_t __attribute__((vector_size(16)));
static_assert(sve_vl_bytes % sizeof(byte_piece) == 0);

inline byte_piece piece_at(const uint8_t* p, unsigned i) {
  byte_piece v;
  std::memcpy(&v, p + i, sizeof v);
  return v;
}

// d = op(pieces of src...), piece by piece.
template <class Op, class... Src>
inline void bytewise(uint8_t* d, Op op, const Src*... src) {
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(byte_piece)) {
    byte_piece r = op(piece_at(src, i)...);
    std::memcpy(d + i, &r, sizeof r);
  }
}

// The sum of the bytes of op(pieces of src...), each 0 or 1: added up in
// the vector's lanes (at most 16 in a lane at 2048 bits), then the lanes
// across in 16-bit fields, which hold up to 256.
template <class Op, class... Src>
inline unsigned bytewise_count(Op op, const Src*... src) {
  byte_piece lanes{};
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(byte_piece)) lanes += op(piece_at(src, i)...);
  uint64_t half[2];
  std::memcpy(half, &lanes, sizeof half);
  constexpr uint64_t even = 0x00ff00ff00ff00ff;
  uint64_t fields = (half[0] & even) + (half[0] >> 8 & even) + (half[1] & even) + (half[1] >> 8 & even);
  return unsigned(fields * 0x0001000100010001 >> 48);
}

}  // namespace sve
