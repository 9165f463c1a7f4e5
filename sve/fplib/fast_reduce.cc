#include "fast_reduce.h"

#include <bit>
#include <utility>

#include "fast.h"
#include "fast_lanes.h"
#include "fast_vector.h"

namespace sve::fast {

#if defined(__x86_64__)

namespace {

bool usable(FPSCR fpcr) {
  return fp_fast_path.load(std::memory_order_relaxed) && (fpcr >> 22 & 3) == FPRounding_TIEEVEN &&
         host_rounds_to_nearest();
}

// An operand that the sums leave to the exact library: besides the unusual
// ones, an infinity, whose error term is no number.
template <class T>
[[gnu::always_inline]] inline T unusual_addend(T x, T fz) {
  return T(unusual(x, fz) | is_inf(x));
}

template <class T>
[[gnu::always_inline]] inline unsigned add_in_order(T& value, const uint8_t* z, const uint8_t* pg, T fz,
                                                    uint32_t& fpsr) {
  using F = host_float<T>;
  constexpr unsigned n = lanes<T>;
  // Inactive elements add -0, which changes no sum.
  alignas(32) T active[n];
  // sums[i] is the sum before element i is added, sums[i + 1] after.
  alignas(32) F x[n], sums[n + 1];
  for (unsigned i = 0; i < n; ++i) {
    active[i] = mask<T>(pg[i * sizeof(T)] & 1);
    x[i] = std::bit_cast<F>(pick(active[i], lane<T>(z, i), fp_format<T>::sign));
  }
  // The additions themselves, one after the other: nothing else is on the
  // chain of their latencies, and unrolled, little beside it.
  F sum = std::bit_cast<F>(value);
  sums[0] = sum;
#pragma GCC unroll 8
  for (unsigned i = 0; i < n; ++i) sums[i + 1] = sum += x[i];
  // Where an element or its sum is unusual, the sums stop before it; only
  // then are the additions before it looked at once more.
  const auto stop = [&](unsigned i) {
    return T(active[i] & (unusual_addend(std::bit_cast<T>(x[i]), fz) |
                          unusual_result(std::bit_cast<T>(sums[i + 1]), T(~T(0)), fz)));
  };
  const auto inexact = [&](unsigned i) { return mask<T>(sum_error(sums[i], x[i], sums[i + 1]) != 0); };
  T any_stop = 0, any_inexact = 0;
  for (unsigned i = 0; i < n; ++i) {
    any_stop |= stop(i);
    any_inexact |= inexact(i);
  }
  unsigned end = n;
  if (any_stop) {
    any_inexact = 0;
    for (end = 0; !stop(end); ++end) any_inexact |= inexact(end);
  }
  if (any_inexact) fp_set_status(fpsr, FP_IXC);
  value = std::bit_cast<T>(sums[end]);
  return end;
}

template <class T>
[[gnu::always_inline]] inline bool add_pairwise(const uint8_t* z, const uint8_t* pg, T fz, uint32_t& fpsr, T& sum) {
  using F = host_float<T>;
  constexpr unsigned n = lanes<T>, p = std::bit_ceil(n);
  alignas(32) F work[2][p];
  T unusual_any = 0, inexact = 0;
  for (unsigned i = 0; i < n; ++i) {
    const T x = T(lane<T>(z, i) & mask<T>(pg[i * sizeof(T)] & 1));
    unusual_any |= unusual_addend(x, fz);
    work[0][i] = std::bit_cast<F>(x);
  }
  for (unsigned i = n; i < p; ++i) work[0][i] = 0;
  F *from = work[0], *to = work[1];
  // Each level a loop of known length: the compiler unrolls the levels.
#pragma GCC unroll 16
  for (unsigned m = p / 2; m; m /= 2) {
    for (unsigned i = 0; i < m; ++i) {
      const F a = from[2 * i], b = from[2 * i + 1], s = a + b;
      inexact |= mask<T>(sum_error(a, b, s) != 0);
      unusual_any |= unusual_result(std::bit_cast<T>(s), T(~T(0)), fz);
      to[i] = s;
    }
    std::swap(from, to);
  }
  if (unusual_any) return false;
  if (inexact) fp_set_status(fpsr, FP_IXC);
  sum = std::bit_cast<T>(from[0]);
  return true;
}

// The baseline build, the AVX2 build and, for the sums in order, the
// AVX-512 build.
template <class T>
unsigned ordered_baseline(T& value, const uint8_t* z, const uint8_t* pg, T fz, uint32_t& fpsr) {
  return add_in_order(value, z, pg, fz, fpsr);
}
template <class T>
[[gnu::target("avx2")]] unsigned ordered_avx2(T& value, const uint8_t* z, const uint8_t* pg, T fz, uint32_t& fpsr) {
  return add_in_order(value, z, pg, fz, fpsr);
}
template <class T>
[[SVE_TARGET_AVX512]] unsigned ordered_avx512(T& value, const uint8_t* z, const uint8_t* pg, T fz, uint32_t& fpsr) {
  return add_in_order(value, z, pg, fz, fpsr);
}
template <class T>
bool tree_baseline(const uint8_t* z, const uint8_t* pg, T fz, uint32_t& fpsr, T& sum) {
  return add_pairwise(z, pg, fz, fpsr, sum);
}
template <class T>
[[gnu::target("avx2")]] bool tree_avx2(const uint8_t* z, const uint8_t* pg, T fz, uint32_t& fpsr, T& sum) {
  return add_pairwise(z, pg, fz, fpsr, sum);
}

}  // namespace

template <class T>
unsigned ordered_sum(T& value, const uint8_t* z, const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr) {
  const T fz = mask<T>(fpcr >> 24 & 1);
  if (!usable(fpcr) || unusual_addend(value, fz)) return 0;
  const auto build = host::has_avx512() ? ordered_avx512<T> : host::has_avx2() ? ordered_avx2<T> : ordered_baseline<T>;
  return build(value, z, pg, fz, fpsr);
}

template <class T>
bool tree_sum(const uint8_t* z, const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr, T& sum) {
  if (!usable(fpcr)) return false;
  return (host::has_avx2() ? tree_avx2<T> : tree_baseline<T>)(z, pg, mask<T>(fpcr >> 24 & 1), fpsr, sum);
}

#else

// Other hosts add with their own instructions.
template <class T>
unsigned ordered_sum(T&, const uint8_t*, const uint8_t*, FPSCR, uint32_t&) {
  return 0;
}
template <class T>
bool tree_sum(const uint8_t*, const uint8_t*, FPSCR, uint32_t&, T&) {
  return false;
}

#endif

template unsigned ordered_sum<uint32_t>(uint32_t&, const uint8_t*, const uint8_t*, FPSCR, uint32_t&);
template unsigned ordered_sum<uint64_t>(uint64_t&, const uint8_t*, const uint8_t*, FPSCR, uint32_t&);
template bool tree_sum<uint32_t>(const uint8_t*, const uint8_t*, FPSCR, uint32_t&, uint32_t&);
template bool tree_sum<uint64_t>(const uint8_t*, const uint8_t*, FPSCR, uint32_t&, uint64_t&);

}  // namespace sve::fast
