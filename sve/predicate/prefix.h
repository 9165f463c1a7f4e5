// Predicates whose true elements are the first `count` ones, as PTRUE and the
// WHILE family build them, and so also all-false and all-true byte
// predicates: one copy of the vector's length out of a table that holds the
// all-true pattern of the element size followed by zeros. The copy starts
// `count` elements before the zeros; the pattern repeats every element, so
// any start on an element boundary reads it in phase. A copy of fixed length
// is a few vector moves, where compilers make a string instruction of a
// memset of this size.
#pragma once

#include <cstring>

#include "../decode/sve_emu.h"

namespace sve {

template <class T>
struct prefix_source {
  uint8_t b[2 * sve_vl_bytes];
  constexpr prefix_source() : b{} {
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) b[i] = 1;
  }
};
template <class T>
inline constexpr prefix_source<T> prefix_of{};

// The vector's bytes with the first `count` elements of T true, all other
// bytes 0; count is at most the number of elements.
template <class T>
inline const uint8_t* prefix_bytes(unsigned count) {
  return prefix_of<T>.b + sve_vl_bytes - count * sizeof(T);
}

template <class T>
inline void write_prefix(uint8_t* p, unsigned count) {
  std::memcpy(p, prefix_bytes<T>(count), sve_vl_bytes);
}

// The same for elements of 1 << size_log bytes, chosen at run time: one copy
// serves every size.
inline void write_prefix(uint8_t* p, unsigned count, unsigned size_log) {
  static constexpr const uint8_t* tables[4] = {prefix_of<uint8_t>.b, prefix_of<uint16_t>.b, prefix_of<uint32_t>.b,
                                               prefix_of<uint64_t>.b};
  std::memcpy(p, tables[size_log] + sve_vl_bytes - (count << size_log), sve_vl_bytes);
}

// Predicates whose true elements are the last `count` ones, as the WHILE
// forms that count down build them: the same copy out of a table that holds
// zeros followed by the all-true pattern, starting `count` elements into it.
template <class T>
struct suffix_source {
  uint8_t b[2 * sve_vl_bytes];
  constexpr suffix_source() : b{} {
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) b[sve_vl_bytes + i] = 1;
  }
};
template <class T>
inline constexpr suffix_source<T> suffix_of{};

inline void write_suffix(uint8_t* p, unsigned count, unsigned size_log) {
  static constexpr const uint8_t* tables[4] = {suffix_of<uint8_t>.b, suffix_of<uint16_t>.b, suffix_of<uint32_t>.b,
                                               suffix_of<uint64_t>.b};
  std::memcpy(p, tables[size_log] + (count << size_log), sve_vl_bytes);
}

}  // namespace sve
