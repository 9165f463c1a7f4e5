// Steps of a register or vector by a count, shared by the forms that count a
// predicate pattern and those that count the active elements of a predicate:
// the count tables of the direct kernels and the saturating steps of the
// library routines.
#pragma once

#include "../support/routine_loop.h"
#include "../support/saturate.h"
#include "kernel_loop.h"

namespace sve {

// The count of every pattern at every element size of this vector length,
// so that kernels do no counting work when they run.
struct pattern_table {
  uint32_t count[4][32];  // [size code][pattern]
};
extern const pattern_table pattern_counts;

inline uint32_t pattern_count(uint32_t code, uint32_t pattern) { return pattern_counts.count[code][pattern & 31]; }

// The element size code of an unsigned element type.
template <class T>
inline constexpr uint32_t code_of = uint32_t(__builtin_ctz(sizeof(T)));

// A general register stepped up or down by `amount` with saturation at the
// register's width. A 32-bit signed result is sign-extended to 64 bits; a
// 32-bit unsigned one already fits its 32 bits.
template <unsigned Width, int IsUnsigned, bool Down>
uint64_t saturating_step(uint64_t reg, uint64_t amount) {
  uint64_t r = Down ? SatSub(reg, amount, Width, IsUnsigned) : SatAdd(reg, amount, Width, IsUnsigned);
  if constexpr (Width == 32 && IsUnsigned != 1) return uint64_t(int64_t(int32_t(uint32_t(r))));
  return r;
}

// Every element stepped by `amount`, the exact result clamped to the element.
template <class T, int IsUnsigned, bool Down>
VecV saturating_step(const VecV& z, uint64_t amount, const CpuContext* c) {
  constexpr unsigned n = sizeof(T) * 8;
  return routine_all<T>(z, c, [=](T a) {
    wide_int x = Int(a, n, IsUnsigned), d = wide_int(amount);
    return T(SatQ(Down ? x - d : x + d, n, IsUnsigned).value);
  });
}

// Every element stepped by `amount`, wrapping at the element width.
template <class T, bool Down>
VecV wrapping_step(const VecV& z, uint64_t amount, const CpuContext* c) {
  return routine_all<T>(z, c, [=](T a) { return Down ? T(a - T(amount)) : T(a + T(amount)); });
}

// Element types of the count routines, by the bits of the handler's type.
template <unsigned Bits>
using uint_bits = std::conditional_t<Bits == 8, uint8_t,
                  std::conditional_t<Bits == 16, uint16_t, std::conditional_t<Bits == 32, uint32_t, uint64_t>>>;

}  // namespace sve
