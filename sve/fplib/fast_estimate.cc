#include "fast_estimate.h"

#include <array>

#include "estimates.h"
#include "fast.h"
#include "fast_lanes.h"

namespace sve::fast {

namespace {

// FRECPE of 1.f for each value of the top eight fraction bits f: the
// fraction bits of the estimate, whose exponent field is the operand's
// mirrored about 2 * bias - 1.
template <class T>
const std::array<uint8_t, 256> recip_fractions = [] {
  using f = fp_format<T>;
  std::array<uint8_t, 256> table{};
  for (unsigned i = 0; i < 256; ++i) {
    FPSCR status = 0;
    table[i] = uint8_t(FPRecipEstimate<T>(T(f::one | T(i) << (f::F - 8)), status) >> (f::F - 8));
  }
  return table;
}();

// FEXPA of each index with a zero exponent field: the fraction of 2^(i/n).
template <class T>
constexpr unsigned expa_index_bits = sizeof(T) == 2 ? 5 : 6;
template <class T>
const std::array<T, 64> expa_fractions = [] {
  std::array<T, 64> table{};
  for (unsigned i = 0; i < (1u << expa_index_bits<T>); ++i) table[i] = FPEXPA<T>(T(i));
  return table;
}();

template <class T>
[[gnu::always_inline]] inline lane_set recip_lanes(const uint8_t* x, const T* active, T* r) {
  using f = fp_format<T>;
  constexpr unsigned n = lanes<T>;
  constexpr int mirror = 2 * f::bias - 1;
  const uint8_t* table = recip_fractions<T>.data();
  T any_left = 0;
  alignas(32) T done[n];
  for (unsigned i = 0; i < n; ++i) {
    const T v = lane<T>(x, i);
    const T e = T(v >> f::F & f::max_exp);
    done[i] = T(active[i] & mask<T>((e != 0) & (e < T(mirror))));
    const T estimate = T((v & f::sign) | T(T(mirror) - e) << f::F | T(table[v >> (f::F - 8) & 255]) << (f::F - 8));
    r[i] = pick(done[i], estimate, r[i]);
    any_left |= T(active[i] & ~done[i]);
  }
  return any_left ? left_lanes(active, done) : 0;
}

template <class T>
[[gnu::always_inline]] inline void expa_lanes(const uint8_t* x, T* r) {
  using f = fp_format<T>;
  constexpr unsigned bits = expa_index_bits<T>;
  const T* table = expa_fractions<T>.data();
  for (unsigned i = 0; i < sve_vl_bytes / sizeof(T); ++i) {
    const T v = lane<T>(x, i);
    r[i] = T(T(v >> bits & f::max_exp) << f::F | table[v & ((1u << bits) - 1)]);
  }
}

#if defined(__x86_64__)
// The baseline build and the AVX2 build.
template <class T>
lane_set recip_baseline(const uint8_t* x, const T* active, T* r) {
  return recip_lanes(x, active, r);
}
template <class T>
[[gnu::target("avx2")]] lane_set recip_avx2(const uint8_t* x, const T* active, T* r) {
  return recip_lanes(x, active, r);
}
template <class T>
void expa_baseline(const uint8_t* x, T* r) {
  expa_lanes(x, r);
}
template <class T>
[[gnu::target("avx2")]] void expa_avx2(const uint8_t* x, T* r) {
  expa_lanes(x, r);
}
#endif

}  // namespace

template <class T>
lane_set recip_estimate(const uint8_t* x, const T* active, T* r) {
  if (!fp_fast_path.load(std::memory_order_relaxed)) return every_lane;
#if defined(__x86_64__)
  return (host_avx2() ? recip_avx2<T> : recip_baseline<T>)(x, active, r);
#else
  return recip_lanes(x, active, r);
#endif
}

template <class T>
bool expa(const uint8_t* x, T* r) {
  if (!fp_fast_path.load(std::memory_order_relaxed)) return false;
#if defined(__x86_64__)
  (host_avx2() ? expa_avx2<T> : expa_baseline<T>)(x, r);
#else
  expa_lanes(x, r);
#endif
  return true;
}

template lane_set recip_estimate<uint32_t>(const uint8_t*, const uint32_t*, uint32_t*);
template lane_set recip_estimate<uint64_t>(const uint8_t*, const uint64_t*, uint64_t*);
template bool expa<uint16_t>(const uint8_t*, uint16_t*);
template bool expa<uint32_t>(const uint8_t*, uint32_t*);
template bool expa<uint64_t>(const uint8_t*, uint64_t*);

}  // namespace sve::fast
