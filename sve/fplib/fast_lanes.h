// What the whole-vector fast paths share: lane masks, the classes of
// numbers that the host treats as the architecture does, and the host's
// floating-point status register around a computation. Every test gives a
// lane mask (all ones or zero) so that the loops over the lanes vectorise.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "../support/host_isa.h"
#include "fast_vector.h"
#include "format.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace sve::fast {

template <class T>
using host_float = std::conditional_t<sizeof(T) == 4, float, double>;

template <class T>
[[gnu::always_inline]] inline T lane(const uint8_t* v, unsigned i) {
  T x;
  std::memcpy(&x, v + i * sizeof(T), sizeof(T));
  return x;
}

// All ones when c holds.
template <class T>
[[gnu::always_inline]] inline T mask(bool c) {
  return T(T(0) - T(c));
}
template <class T>
[[gnu::always_inline]] inline T pick(T m, T a, T b) {
  return T((a & m) | (b & ~m));
}

// The magnitude's bits are in [1, limit).
template <class T>
[[gnu::always_inline]] inline T nonzero_below(T m, T limit) {
  return mask<T>(T(m - 1) < T(limit - 1));
}

template <class T>
[[gnu::always_inline]] inline T magnitude(T x) {
  return T(x & ~fp_format<T>::sign);
}
template <class T>
[[gnu::always_inline]] inline T is_nan(T x) {
  return mask<T>(magnitude(x) > fp_format<T>::infinity);
}
template <class T>
[[gnu::always_inline]] inline T is_inf(T x) {
  return mask<T>(magnitude(x) == fp_format<T>::infinity);
}
template <class T>
[[gnu::always_inline]] inline T is_denormal(T x) {
  return nonzero_below<T>(magnitude(x), T(T(1) << fp_format<T>::F));
}

// An operand that the host computes otherwise than the architecture: a NaN
// (propagation and the default NaN differ), or under FZ (fz all ones) a
// denormal, which the architecture flushes.
template <class T>
[[gnu::always_inline]] inline T unusual(T x, T fz) {
  return T(is_nan(x) | (is_denormal(x) & fz));
}

// A result that the architecture may produce or flag otherwise: a NaN, an
// infinity from finite operands (overflow, division by zero), one in the
// lowest normal binade (perhaps tiny before rounding, which the host judges
// after rounding) and, under FZ, a denormal or tiny one.
template <class T>
[[gnu::always_inline]] inline T unusual_result(T x, T finite_operands, T fz) {
  constexpr T min_normal = T(T(1) << fp_format<T>::F);
  const T m = magnitude(x);
  return T(is_nan(x) | (is_inf(x) & finite_operands) | mask<T>(m >= min_normal && m < 2 * min_normal) |
           (nonzero_below<T>(m, min_normal) & fz));
}

// The lanes of a whole-vector fast path: `active` from the predicate's
// bytes pg (every lane when pg is null) and `r` the destination's old lanes,
// which `finish` writes back to d unless the caller is left every lane.
// Built and written back inside the fast path's own build: its wide loads
// of arrays that a narrower build had just stored would wait for those
// stores to reach the cache, and so would the caller's next fast path
// after a narrower copy into the register.
template <class T>
struct frame {
  alignas(64) T active[lanes<T>];
  alignas(64) T r[lanes<T>];

  [[gnu::always_inline]] frame(const uint8_t* pg, const uint8_t* d) {
    std::memcpy(r, d, sve_vl_bytes);
    if (pg)
      for (unsigned i = 0; i < lanes<T>; ++i) active[i] = T(T(0) - T(lane<T>(pg, i) & 1));
    else
      std::memset(active, 0xff, sve_vl_bytes);
  }
  [[gnu::always_inline]] lane_set finish(lane_set left, uint8_t* d) const {
    if (left != every_lane) std::memcpy(d, r, sve_vl_bytes);
    return left;
  }
};

// The active lanes that are not done, as a lane set: what a fast path
// leaves to its caller.
template <class T>
lane_set left_lanes(const T* active, const T* done) {
  lane_set left = 0;
  for (unsigned i = 0; i < lanes<T>; ++i) left |= lane_set(active[i] & ~done[i] & 1) << i;
  return left;
}

// A half that is no NaN, exactly in single precision: a denormal is its
// fraction times 2^-24 (a conversion and a product that are exact under
// any rounding), an infinity takes the other format's top exponent.
[[gnu::always_inline]] inline float widen_half(uint16_t h) {
  const uint32_t sign = uint32_t(h >> 15) << 31, e = h >> 10 & 31, f = h & 0x3ff;
  const uint32_t rebias = 127 - 15 + (mask<uint32_t>(e == 31) & (255 - 31 - (127 - 15)));
  const uint32_t normal = sign | (e + rebias) << 23 | f << 13;
  const uint32_t small = sign | std::bit_cast<uint32_t>(float(int32_t(f)) * 0x1p-24f);
  return std::bit_cast<float>(pick(mask<uint32_t>(e != 0), normal, small));
}

// The exact error of a sum: a + b == s + err when s is the sum rounded to
// nearest (TwoSum). An error term that overflowed is no number.
template <class F>
[[gnu::always_inline]] inline F sum_error(F a, F b, F s) {
  const F bb = s - a;
  return (a - (s - bb)) + (b - bb);
}

#if defined(__x86_64__)

// The n values of v rounded to integral values in Mode (not ties away), in
// place, by the host's rounding instruction with its exceptions suppressed:
// it raises nothing, whatever MXCSR holds.
template <FPRounding Mode, class F>
[[gnu::always_inline]] inline void round_integral(F* v, unsigned n) {
  constexpr int mode = _MM_FROUND_NO_EXC | (Mode == FPRounding_TIEEVEN  ? _MM_FROUND_TO_NEAREST_INT
                                            : Mode == FPRounding_POSINF ? _MM_FROUND_TO_POS_INF
                                            : Mode == FPRounding_NEGINF ? _MM_FROUND_TO_NEG_INF
                                                                        : _MM_FROUND_TO_ZERO);
  auto round16 = [](F* p) {
    if constexpr (sizeof(F) == 4)
      _mm_storeu_ps(p, _mm_round_ps(_mm_loadu_ps(p), mode));
    else
      _mm_storeu_pd(p, _mm_round_pd(_mm_loadu_pd(p), mode));
  };
  constexpr unsigned per = 16 / sizeof(F);
  unsigned i = 0;
  for (; i + per <= n; i += per) round16(v + i);
  // Fewer lanes than a register holds at the end (vector lengths that are
  // not a multiple of 256 bits): through a register-sized buffer.
  if (i < n) {
    alignas(16) F part[per] = {};
    std::memcpy(part, v + i, (n - i) * sizeof(F));
    round16(part);
    std::memcpy(v + i, part, (n - i) * sizeof(F));
  }
}

// Whether the host computes in its default mode, round to nearest without
// flushing, in which its arithmetic is correctly rounded.
inline bool host_rounds_to_nearest() { return (_mm_getcsr() & 0xe040) == 0; }

// The fast paths have builds for AVX2 with FMA and for AVX-512 beside the
// baseline one, chosen by host::has_avx2() and host::has_avx512(). With
// AVX-512 an unsigned compare or a blend is one instruction, which makes the
// lane masks cheap. GCC would otherwise vectorise the AVX-512 builds' loops
// 256 bits wide; clang (the sanitizer build) has no such option.
#if defined(__clang__)
#define SVE_TARGET_AVX512 gnu::target("avx512f,avx512vl,avx512dq,avx512bw,fma")
#else
#define SVE_TARGET_AVX512 gnu::target("avx512f,avx512vl,avx512dq,avx512bw,fma,prefer-vector-width=512")
#endif

// MXCSR: every exception masked, round to nearest, no flushing, no flags;
// the rounding control of another mode at bits 14:13.
inline constexpr uint32_t mxcsr_clean = 0x1f80;
enum : uint32_t { mx_invalid = 1, mx_denormal = 2, mx_divide = 4, mx_overflow = 8, mx_underflow = 16, mx_inexact = 32 };

// The MXCSR rounding control of an FPSCR's rounding mode.
inline uint32_t mxcsr_rounding(FPSCR fpcr) {
  constexpr uint32_t rc[4] = {0, 2, 1, 3};  // to nearest, up, down, towards zero
  return rc[fpcr >> 22 & 3] << 13;
}

// The host status of what runs between start() and stop(), with the
// caller's MXCSR saved and restored. The operands and results of that work
// must go through memory: the status instructions are told they may touch
// any of it, so the compiler keeps the arithmetic between them. Writing
// MXCSR costs more than the arithmetic of a whole vector on some hosts, so
// it is written only when it differs: at the start when the caller's is not
// the control word (most often it is), at the stop when a flag was raised.
class host_status {
 public:
  explicit host_status(uint32_t control = mxcsr_clean) {
    asm volatile("stmxcsr %0" : "=m"(saved_) : : "memory");
    if (saved_ != control) asm volatile("ldmxcsr %0" : : "m"(control) : "memory");
  }
  uint32_t stop() {
    uint32_t status;
    asm volatile("stmxcsr %0" : "=m"(status) : : "memory");
    if (status != saved_) asm volatile("ldmxcsr %0" : : "m"(saved_) : "memory");
    return status;
  }

 private:
  uint32_t saved_;
};

#endif

}  // namespace sve::fast
