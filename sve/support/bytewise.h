// Kernels that combine registers byte by byte, as the byte-form predicates
// and the bitwise vector instructions do, in pieces held in the compiler's
// vector types: sixteen bytes (SSE or NEON registers), or thirty-two and
// sixty-four on an x86 host with AVX2 or AVX-512. Each piece of the result
// is stored after the same piece of every operand is read, and registers
// either coincide or do not overlap, so the result goes straight to its
// register even when that is also an operand: no temporary and no second
// copy.
//
// An op is generic over the piece's type: op(r, pieces of the operands...)
// sets r. It takes every piece by reference, because a function that passes
// or returns a wider vector by value has another calling convention
// without AVX, and the op itself is built for the baseline.
#pragma once

#include <cstring>
#include <type_traits>
#include <utility>

#include "../decode/sve_emu.h"
#include "host_isa.h"

namespace sve {

using byte_piece = uint8_t __attribute__((vector_size(16)));
static_assert(sve_vl_bytes % sizeof(byte_piece) == 0);

// The piece type of an op's argument, for the casts inside ops.
template <class V>
using piece_of = std::remove_cvref_t<V>;

inline byte_piece piece_at(const uint8_t* p, unsigned i) {
  byte_piece v;
  std::memcpy(&v, p + i, sizeof v);
  return v;
}

namespace detail {

// The pieces of type Piece from byte i on while a whole one fits; returns
// where it stopped.
template <class Piece, class Op, class... Src>
[[gnu::always_inline]] inline unsigned bytewise_pieces(uint8_t* d, unsigned i, Op& op, const Src*... src) {
  for (; i + sizeof(Piece) <= sve_vl_bytes; i += sizeof(Piece)) {
    Piece in[sizeof...(Src)], r;
    unsigned k = 0;
    (std::memcpy(&in[k++], src + i, sizeof(Piece)), ...);
    [&]<size_t... K>(std::index_sequence<K...>) { op(r, in[K]...); }(std::index_sequence_for<Src...>{});
    std::memcpy(d + i, &r, sizeof r);
  }
  return i;
}

#if defined(__x86_64__)
using wide_piece = uint8_t __attribute__((vector_size(32)));
using widest_piece = uint8_t __attribute__((vector_size(64)));

// Both builds are calls of their own, so that the caller, which only
// chooses, keeps a short frame and jumps to either.
template <class Op, class... Src>
[[gnu::target("avx2")]] void bytewise_avx2(uint8_t* d, Op op, const Src*... src) {
  bytewise_pieces<byte_piece>(d, bytewise_pieces<wide_piece>(d, 0, op, src...), op, src...);
}
template <class Op, class... Src>
[[gnu::target("avx512f,avx512bw,avx512vl")]] void bytewise_avx512(uint8_t* d, Op op, const Src*... src) {
  unsigned i = bytewise_pieces<widest_piece>(d, 0, op, src...);
  bytewise_pieces<byte_piece>(d, bytewise_pieces<wide_piece>(d, i, op, src...), op, src...);
}
template <class Op, class... Src>
[[gnu::noinline]] void bytewise_baseline(uint8_t* d, Op op, const Src*... src) {
  bytewise_pieces<byte_piece>(d, 0, op, src...);
}
#endif

}  // namespace detail

// d = op(pieces of src...), piece by piece.
template <class Op, class... Src>
inline void bytewise(uint8_t* d, Op op, const Src*... src) {
#if defined(__x86_64__)
  if (host::has_avx512()) return detail::bytewise_avx512(d, op, src...);
  if (host::has_avx2()) return detail::bytewise_avx2(d, op, src...);
  return detail::bytewise_baseline(d, op, src...);
#else
  detail::bytewise_pieces<byte_piece>(d, 0, op, src...);
#endif
}

// The sum of the bytes of op(pieces of src...), each 0 or 1: added up in
// the vector's lanes (at most 16 in a lane at 2048 bits), then the lanes
// across in 16-bit fields, which hold up to 256.
template <class Op, class... Src>
inline unsigned bytewise_count(Op op, const Src*... src) {
  byte_piece lanes{};
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(byte_piece)) {
    byte_piece r;
    op(r, piece_at(src, i)...);
    lanes += r;
  }
  uint64_t half[2];
  std::memcpy(half, &lanes, sizeof half);
  constexpr uint64_t even = 0x00ff00ff00ff00ff;
  uint64_t fields = (half[0] & even) + (half[0] >> 8 & even) + (half[1] & even) + (half[1] >> 8 & even);
  return unsigned(fields * 0x0001000100010001 >> 48);
}

// v rotated by K elements: element (i + K) mod n in lane i.
template <size_t K, class V, size_t... I>
[[gnu::always_inline]] inline V rotated(const V& v, std::index_sequence<I...>) {
  return V(__builtin_shufflevector(v, v, ((I + K) % sizeof...(I))...));
}

// f(v rotated by k elements) for each k of the 16-byte piece v: every
// element of the segment brought to every lane in turn, one shuffle each,
// for the instructions that compare each element with all of a segment.
template <class V, class F>
[[gnu::always_inline]] inline void for_each_rotation(const V& v, F&& f) {
  constexpr size_t n = sizeof(V) / sizeof(v[0]);
  [&]<size_t... K>(std::index_sequence<K...>) {
    (f(rotated<K>(v, std::make_index_sequence<n>{})), ...);
  }(std::make_index_sequence<n>{});
}

}  // namespace sve
