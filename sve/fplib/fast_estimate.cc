#include "fast_estimate.h"

#include <array>
#include <cstring>
#include <iterator>

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

// Each lane is read before it is written, so r may be x. Writing the
// destination itself, lane by lane, spares a copy through a temporary whose
// wide reads would wait on its narrow writes.
template <class T>
[[gnu::always_inline]] inline void expa_lanes(const uint8_t* x, uint8_t* r) {
  using f = fp_format<T>;
  constexpr unsigned bits = expa_index_bits<T>;
  const T* table = expa_fractions<T>.data();
  for (unsigned i = 0; i < sve_vl_bytes / sizeof(T); ++i) {
    const T v = lane<T>(x, i);
    const T e = T(T(v >> bits & f::max_exp) << f::F | table[v & ((1u << bits) - 1)]);
    std::memcpy(r + i * sizeof(T), &e, sizeof(T));
  }
}

// Every lane of x is active.
template <class T>
[[gnu::always_inline]] inline lane_set recip_frame(const uint8_t* x, uint8_t* d) {
  frame<T> f(nullptr, d);
  return f.finish(recip_lanes(x, f.active, f.r), d);
}

#if defined(__x86_64__)
// The baseline build and the AVX2 build.
template <class T>
lane_set recip_baseline(const uint8_t* x, uint8_t* d) {
  return recip_frame<T>(x, d);
}
template <class T>
[[gnu::target("avx2")]] lane_set recip_avx2(const uint8_t* x, uint8_t* d) {
  return recip_frame<T>(x, d);
}
template <class T>
void expa_baseline(const uint8_t* x, uint8_t* r) {
  expa_lanes<T>(x, r);
}
// With AVX-512 the table lives in registers: a permute of two registers
// reads 16 double or 32 single entries by the low index bits, and the high
// bits choose among the reads. Half precision stays lane by lane.
template <class T>
[[SVE_TARGET_AVX512, gnu::always_inline]] inline __m512i expa_register(__m512i v, const __m512i* t) {
  using f = fp_format<T>;
  constexpr int bits = expa_index_bits<T>;
  if constexpr (sizeof(T) == 8) {
    const __m512i low = _mm512_permutex2var_epi64(t[0], v, t[1]), mid = _mm512_permutex2var_epi64(t[2], v, t[3]);
    const __m512i high = _mm512_permutex2var_epi64(t[4], v, t[5]), top = _mm512_permutex2var_epi64(t[6], v, t[7]);
    const __mmask8 b4 = _mm512_test_epi64_mask(v, _mm512_set1_epi64(16));
    const __mmask8 b5 = _mm512_test_epi64_mask(v, _mm512_set1_epi64(32));
    const __m512i fraction =
        _mm512_mask_blend_epi64(b5, _mm512_mask_blend_epi64(b4, low, mid), _mm512_mask_blend_epi64(b4, high, top));
    using u64x8 [[gnu::vector_size(64)]] = uint64_t;
    return _mm512_or_si512(__m512i((u64x8(v) >> bits & f::max_exp) << f::F), fraction);
  } else {
    const __m512i low = _mm512_permutex2var_epi32(t[0], v, t[1]), high = _mm512_permutex2var_epi32(t[2], v, t[3]);
    const __m512i fraction = _mm512_mask_blend_epi32(_mm512_test_epi32_mask(v, _mm512_set1_epi32(32)), low, high);
    using u32x16 [[gnu::vector_size(64)]] = uint32_t;
    return _mm512_or_si512(__m512i((u32x16(v) >> bits & f::max_exp) << f::F), fraction);
  }
}
template <class T>
[[SVE_TARGET_AVX512]] void expa_avx512(const uint8_t* x, uint8_t* r) {
  if constexpr (sizeof(T) == 2) {
    expa_lanes<T>(x, r);
  } else {
    __m512i table[64 * sizeof(T) / 64];
    for (unsigned k = 0; k < std::size(table); ++k)
      table[k] = _mm512_loadu_si512(expa_fractions<T>.data() + k * 64 / sizeof(T));
    // Whole registers, and a last half register by 256-bit moves: on some
    // hosts masked moves cost more than the lookup.
    for (unsigned i = 0; i < sve_vl_bytes; i += 64) {
      const unsigned left = sve_vl_bytes - i;
      if (left >= 64) {
        _mm512_storeu_si512(r + i, expa_register<T>(_mm512_loadu_si512(x + i), table));
      } else if (left == 32) {
        const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(x + i));
        const __m512i e = expa_register<T>(_mm512_maskz_inserti64x4(0xff, _mm512_setzero_si512(), low, 0), table);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(r + i), _mm512_maskz_extracti64x4_epi64(0xf, e, 0));
      } else {
        const __mmask16 lanes = __mmask16((1u << left / 4) - 1);
        _mm512_mask_storeu_epi32(r + i, lanes, expa_register<T>(_mm512_maskz_loadu_epi32(lanes, x + i), table));
      }
    }
  }
}
#endif

}  // namespace

template <class T>
lane_set recip_estimate(const uint8_t* x, uint8_t* d) {
  if (!fp_fast_path.load(std::memory_order_relaxed)) return every_lane;
#if defined(__x86_64__)
  return (host::has_avx2() ? recip_avx2<T> : recip_baseline<T>)(x, d);
#else
  return recip_frame<T>(x, d);
#endif
}

template <class T>
bool expa(const uint8_t* x, uint8_t* r) {
  if (!fp_fast_path.load(std::memory_order_relaxed)) return false;
#if defined(__x86_64__)
  (host::has_avx512() ? expa_avx512<T> : expa_baseline<T>)(x, r);
#else
  expa_lanes<T>(x, r);
#endif
  return true;
}

template lane_set recip_estimate<uint32_t>(const uint8_t*, uint8_t*);
template lane_set recip_estimate<uint64_t>(const uint8_t*, uint8_t*);
template bool expa<uint16_t>(const uint8_t*, uint8_t*);
template bool expa<uint32_t>(const uint8_t*, uint8_t*);
template bool expa<uint64_t>(const uint8_t*, uint8_t*);

}  // namespace sve::fast
