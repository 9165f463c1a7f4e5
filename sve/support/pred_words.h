// Byte-form predicates of cpu_state read eight bytes at a time. An element
// of T stands as bit 0 of its first byte; `lead_bits<T>` keeps those bits of
// a word, so that a scan over 28 words (at 1792 bits) finds the first or
// last true element without walking 224 bytes, and whole words combine
// predicates without a branch.
#pragma once

#include "../integer/kernel_loop.h"

namespace sve {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "byte i of a predicate word is bits 8i..8i+7");

inline constexpr unsigned pred_words = sve_vl_bytes / 8;

// Bit 0 of the first byte of every element of T in a word.
template <class T>
inline constexpr uint64_t lead_bits = sizeof(T) == 8 ? 1 : ~0ull / ((1ull << (8 * (sizeof(T) % 8))) - 1);

// The same for elements of 1 << size_log bytes, chosen at run time.
inline uint64_t lead_bits_of(unsigned size_log) {
  static constexpr uint64_t leads[4] = {lead_bits<uint8_t>, lead_bits<uint16_t>, lead_bits<uint32_t>,
                                        lead_bits<uint64_t>};
  return leads[size_log & 3];
}

inline uint64_t pred_word(const uint8_t* p, unsigned k) { return load<uint64_t>(p + 8 * k); }

// Whether every element of T is true: bit 0 of each element's first byte.
template <class T>
inline bool all_active(const uint8_t* p) {
  uint64_t all = lead_bits<T>;
  for (unsigned k = 0; k < pred_words; ++k) all &= pred_word(p, k);
  return all == lead_bits<T>;
}

// The byte of the lowest set bit over the words word(k), from byte `from`
// on, or -1 when there is none.
template <class Word>
inline int first_set_byte(Word word, unsigned from = 0) {
  for (unsigned k = from / 8; k < pred_words; ++k) {
    uint64_t w = word(k);
    if (k == from / 8) w &= ~0ull << 8 * (from % 8);
    if (w) return int(8 * k + unsigned(__builtin_ctzll(w)) / 8);
  }
  return -1;
}

// The byte of the highest set bit, or -1.
template <class Word>
inline int last_set_byte(Word word) {
  for (unsigned k = pred_words; k-- > 0;)
    if (uint64_t w = word(k)) return int(8 * k + unsigned(63 - __builtin_clzll(w)) / 8);
  return -1;
}

}  // namespace sve
