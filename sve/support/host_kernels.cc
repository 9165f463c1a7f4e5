#include "host_kernels.h"

#include <array>
#include <utility>

#include "../decode/sve_emu.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace sve::host {

#if defined(__x86_64__)

namespace {

// AVX2 shifts each doubleword by its own count and gives 0 for a count of 64
// or more, as the instruction does. The arithmetic shift is the logical one
// of x ^ s, then ^ s again, with s the sign of x in every bit: that fills
// with the sign at every count. The blend takes each doubleword by its top
// bit: the predicate bit moved there.
template <shift_kind K>
[[gnu::target("avx2")]] void shift_avx2(uint8_t* d, const uint8_t* count, const uint8_t* p) {
  for (unsigned i = 0; i < sve_vl_bytes; i += 32) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(d + i));
    const __m256i n = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(count + i));
    const __m256i active = _mm256_slli_epi64(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i)), 63);
    const __m256i sign = K == shift_kind::arith ? _mm256_cmpgt_epi64(_mm256_setzero_si256(), x) : _mm256_setzero_si256();
    const __m256i v = _mm256_xor_si256(x, sign);
    const __m256i r = _mm256_xor_si256(K == shift_kind::left ? _mm256_sllv_epi64(v, n) : _mm256_srlv_epi64(v, n), sign);
    const __m256d merged = _mm256_blendv_pd(_mm256_castsi256_pd(x), _mm256_castsi256_pd(r), _mm256_castsi256_pd(active));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm256_castpd_si256(merged));
  }
}

// The whole table in four registers (a vector is at most 256 bytes), each
// index element looked up in the first pair and in the second, and the pair
// chosen by the index bit above the pair's reach. Memory is touched only
// within the vector: the loads and stores of a last part shorter than 64
// bytes are masked.
[[gnu::target("avx512f")]] __m512i load(const uint8_t* p, unsigned left) {
  return left >= 64 ? _mm512_loadu_si512(p) : _mm512_maskz_loadu_epi32(__mmask16((1u << left / 4) - 1), p);
}

template <class T>
[[gnu::target("avx512f")]] void lookup_avx512(uint8_t* d, const uint8_t* table, const uint8_t* index) {
  constexpr unsigned vl = sve_vl_bytes, per_register = 64 / sizeof(T);
  __m512i t[4];
  for (unsigned c = 0; c < 4; ++c) t[c] = 64 * c < vl ? load(table + 64 * c, vl - 64 * c) : _mm512_setzero_si512();
  for (unsigned i = 0; i < vl; i += 64) {
    const __m512i k = load(index + i, vl - i);
    __m512i r;
    if constexpr (sizeof(T) == 4) {
      const __m512i low = _mm512_permutex2var_epi32(t[0], k, t[1]), high = _mm512_permutex2var_epi32(t[2], k, t[3]);
      r = _mm512_mask_blend_epi32(_mm512_test_epi32_mask(k, _mm512_set1_epi32(2 * per_register)), low, high);
      r = _mm512_maskz_mov_epi32(_mm512_cmplt_epu32_mask(k, _mm512_set1_epi32(vl / 4)), r);
    } else {
      const __m512i low = _mm512_permutex2var_epi64(t[0], k, t[1]), high = _mm512_permutex2var_epi64(t[2], k, t[3]);
      r = _mm512_mask_blend_epi64(_mm512_test_epi64_mask(k, _mm512_set1_epi64(2 * per_register)), low, high);
      r = _mm512_maskz_mov_epi64(_mm512_cmplt_epu64_mask(k, _mm512_set1_epi64(vl / 8)), r);
    }
    if (vl - i >= 64)
      _mm512_storeu_si512(d + i, r);
    else
      _mm512_mask_storeu_epi32(d + i, __mmask16((1u << (vl - i) / 4) - 1), r);
  }
}

// COMPACT: each 64-byte part's active elements compressed in a register and
// stored after those of the parts before, then zeros. A store reaches no
// further than the part just read, so d may be a.
template <class T>
[[gnu::target("avx512f")]] void compact_avx512(uint8_t* d, const uint8_t* a, const uint8_t* p) {
  constexpr unsigned vl = sve_vl_bytes;
  unsigned y = 0;
  for (unsigned i = 0; i < vl; i += 64) {
    const __m512i x = load(a + i, vl - i), g = load(p + i, vl - i);
    if constexpr (sizeof(T) == 4) {
      const __mmask16 active = _mm512_test_epi32_mask(g, _mm512_set1_epi32(1));
      const unsigned n = unsigned(__builtin_popcount(active));
      _mm512_mask_storeu_epi32(d + y, __mmask16((1u << n) - 1), _mm512_maskz_compress_epi32(active, x));
      y += 4 * n;
    } else {
      const __mmask8 active = _mm512_test_epi64_mask(g, _mm512_set1_epi64(1));
      const unsigned n = unsigned(__builtin_popcount(active));
      _mm512_mask_storeu_epi64(d + y, __mmask8((1u << n) - 1), _mm512_maskz_compress_epi64(active, x));
      y += 8 * n;
    }
  }
  for (unsigned i = y; i < vl; i += 64) {
    const unsigned words = vl - i >= 64 ? 16 : (vl - i) / 4;
    _mm512_mask_storeu_epi32(d + i, __mmask16((1u << words) - 1), _mm512_setzero_si512());
  }
}

// The AES steps by the host's instructions, whose rounds put the steps in
// another order: AESENCLAST and AESDECLAST with a zero key are (Inv)ShiftRows
// and (Inv)SubBytes alone, which AESE and AESD take after the key; AESENC
// with a zero key after AESDECLAST with one leaves MixColumns alone, the
// byte steps undoing each other; AESIMC is InvMixColumns.
template <aes_step Step>
[[gnu::target("aes")]] void aes_ni(uint8_t* d, const uint8_t* k) {
  const __m128i zero = _mm_setzero_si128();
  for (unsigned i = 0; i < sve_vl_bytes; i += 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i));
    __m128i r;
    if constexpr (Step == aes_step::encrypt || Step == aes_step::decrypt) {
      const __m128i v = _mm_xor_si128(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(k + i)));
      r = Step == aes_step::encrypt ? _mm_aesenclast_si128(v, zero) : _mm_aesdeclast_si128(v, zero);
    } else if constexpr (Step == aes_step::mix) {
      r = _mm_aesenc_si128(_mm_aesdeclast_si128(x, zero), zero);
    } else {
      r = _mm_aesimc_si128(x);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), r);
  }
}

}  // namespace

bool compact_elements(unsigned bytes, uint8_t* d, const uint8_t* a, const uint8_t* p) {
  if (!has_avx512() || (bytes != 4 && bytes != 8)) return false;
  (bytes == 4 ? compact_avx512<uint32_t> : compact_avx512<uint64_t>)(d, a, p);
  return true;
}

bool table_lookup(unsigned bytes, uint8_t* d, const uint8_t* table, const uint8_t* index) {
  if (!has_avx512() || (bytes != 4 && bytes != 8)) return false;
  (bytes == 4 ? lookup_avx512<uint32_t> : lookup_avx512<uint64_t>)(d, table, index);
  return true;
}

bool shift_doublewords(shift_kind kind, uint8_t* d, const uint8_t* count, const uint8_t* p) {
  if (sve_vl_bytes % 32 != 0 || !has_avx2()) return false;
  switch (kind) {
    case shift_kind::left: shift_avx2<shift_kind::left>(d, count, p); break;
    case shift_kind::right: shift_avx2<shift_kind::right>(d, count, p); break;
    case shift_kind::arith: shift_avx2<shift_kind::arith>(d, count, p); break;
  }
  return true;
}

bool aes_blocks(aes_step step, uint8_t* d, const uint8_t* k) {
  if (!has_aes()) return false;
  switch (step) {
    case aes_step::encrypt: aes_ni<aes_step::encrypt>(d, k); break;
    case aes_step::decrypt: aes_ni<aes_step::decrypt>(d, k); break;
    case aes_step::mix: aes_ni<aes_step::mix>(d, k); break;
    case aes_step::inverse_mix: aes_ni<aes_step::inverse_mix>(d, k); break;
  }
  return true;
}

#else

bool aes_blocks(aes_step, uint8_t*, const uint8_t*) { return false; }
bool shift_doublewords(shift_kind, uint8_t*, const uint8_t*, const uint8_t*) { return false; }
bool table_lookup(unsigned, uint8_t*, const uint8_t*, const uint8_t*) { return false; }
bool compact_elements(unsigned, uint8_t*, const uint8_t*, const uint8_t*) { return false; }

#endif

// Sixteen bytes at a time: the bytes widened to halfwords, multiplied and
// summed in pairs to words (exact: a pair of byte products fits a word), and
// adjacent pairs summed. Each accumulator is read before its place is
// written, so d may be a source.
bool dot_words(bool is_signed, uint8_t* d, const uint8_t* a, const uint8_t* b) {
#if defined(__SSE4_1__)
  auto widen = [is_signed](__m128i v) { return is_signed ? _mm_cvtepi8_epi16(v) : _mm_cvtepu8_epi16(v); };
  for (unsigned i = 0; i < sve_vl_bytes; i += 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
    const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
    const __m128i low = _mm_madd_epi16(widen(x), widen(y));
    const __m128i high = _mm_madd_epi16(widen(_mm_srli_si128(x, 8)), widen(_mm_srli_si128(y, 8)));
    __m128i* acc = reinterpret_cast<__m128i*>(d + i);
    _mm_storeu_si128(acc, _mm_add_epi32(_mm_loadu_si128(acc), _mm_hadd_epi32(low, high)));
  }
  return true;
#else
  (void)is_signed, (void)d, (void)a, (void)b;
  return false;
#endif
}

// EXT. Each 16 bytes of the result come from two aligned 16-byte pieces of
// the pair, the bytes picked by a shuffle: reads at an odd offset itself
// would straddle the host's recent writes of the register, which the
// processor cannot forward. The result is written over d in place: piece j
// of the result reads pieces j and later.
#if defined(__SSSE3__)
namespace {

// The aligned 16-byte piece q of d and m laid end to end.
inline const uint8_t* ext_piece(const uint8_t* d, const uint8_t* m, unsigned q) {
  constexpr unsigned pieces = sve_vl_bytes / 16;
  return q < pieces ? d + 16 * q : m + 16 * (q - pieces);
}

// The byte shuffles that take 16 bytes from byte `shift` of two pieces:
// `low` picks from the first, `high` from the second.
struct sse_shift {
  __m128i low, high;
  explicit sse_shift(unsigned shift) {
    // Byte k - 16 at k in [16, 32), else a shuffle index that gives 0.
    alignas(16) static constexpr uint8_t picks[48] = {
        0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
        0,    1,    2,    3,    4,    5,    6,    7,    8,    9,    10,   11,   12,   13,   14,   15,
        0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
    low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(picks + 16 + shift));
    high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(picks + shift));
  }
};

// Piece j of the result: 16 bytes from pieces q and q + 1.
void extract_sse(uint8_t* d, const uint8_t* m, unsigned q, const sse_shift& k, unsigned j) {
  const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ext_piece(d, m, q)));
  const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ext_piece(d, m, q + 1)));
  const __m128i r = _mm_or_si128(_mm_shuffle_epi8(x, k.low), _mm_shuffle_epi8(y, k.high));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16 * j), r);
}

void extract_baseline(uint8_t* d, const uint8_t* m, unsigned from) {
  const sse_shift k(from % 16);
  for (unsigned j = 0; j < sve_vl_bytes / 16; ++j) extract_sse(d, m, from / 16 + j, k, j);
}

// With AVX2, 32 bytes at a time: the pieces q, q + 1 and q + 1, q + 2 side
// by side in two registers, and one byte-align of the pair by the shift,
// which is an immediate: one build for each.
template <int Shift>
[[gnu::target("avx2")]] void extract_avx2(uint8_t* d, const uint8_t* m, unsigned from) {
  auto load = [&](unsigned q) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(ext_piece(d, m, q))); };
  unsigned j = 0;
  __m128i a = load(from / 16);
  for (; 16 * j + 32 <= sve_vl_bytes; j += 2) {
    const unsigned q = from / 16 + j;
    const __m128i b = load(q + 1), c = load(q + 2);
    const __m256i x = _mm256_set_m128i(b, a), y = _mm256_set_m128i(c, b);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 16 * j), _mm256_alignr_epi8(y, x, Shift));
    a = c;
  }
  if (16 * j < sve_vl_bytes) extract_sse(d, m, from / 16 + j, sse_shift(Shift), j);
}
template <size_t... S>
constexpr auto extract_avx2_builds(std::index_sequence<S...>) {
  return std::array{&extract_avx2<int(S)>...};
}

}  // namespace
#endif

bool extract_bytes(uint8_t* d, const uint8_t* m, unsigned from) {
#if defined(__SSSE3__)
  static constexpr auto avx2_builds = extract_avx2_builds(std::make_index_sequence<16>{});
  if (has_avx2()) return avx2_builds[from % 16](d, m, from), true;
  extract_baseline(d, m, from);
  return true;
#else
  (void)d, (void)m, (void)from;
  return false;
#endif
}

}  // namespace sve::host
