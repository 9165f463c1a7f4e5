#include "host_kernels.h"

#include <array>
#include <cstring>
#include <utility>

#include "../decode/sve_emu.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace sve::host {

#if defined(__x86_64__)

namespace {

// TBL: the first 256 bytes of the table in four registers, each index
// element looked up in the first pair and in the second, the pair chosen by
// the index bit above the pair's reach, and the element zeroed when the
// index is at or beyond the table's element count. An index of bytes can
// reach no further than 256 bytes; wider ones are looked up here only in
// tables of at most 256 bytes. Memory is touched only within the vector and
// the table: the loads and stores of a last part shorter than 64 bytes are
// masked.
//
// A part of 32 or 16 bytes is moved as a whole register of its size, not
// masked: the processor forwards a recent store to a load only when neither
// is masked, and the last part of a register is the one most often written
// just before.
[[gnu::target("avx512f")]] __m512i load(const uint8_t* p, unsigned left) {
  if (left >= 64) return _mm512_loadu_si512(p);
  if (left == 32) {
    const __v4di v = __v4di(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
    return __m512i(__builtin_shufflevector(v, __v4di{}, 0, 1, 2, 3, 4, 5, 6, 7));
  }
  if (left == 16) {
    const __v2di v = __v2di(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    return __m512i(__builtin_shufflevector(v, __v2di{}, 0, 1, 2, 3, 2, 3, 2, 3));
  }
  return _mm512_maskz_loadu_epi32(__mmask16((1u << left / 4) - 1), p);
}

[[gnu::target("avx512f")]] void load_table(__m512i (&t)[4], const uint8_t* table, unsigned table_bytes) {
  for (unsigned c = 0; c < 4; ++c)
    t[c] = 64 * c < table_bytes ? load(table + 64 * c, table_bytes - 64 * c) : _mm512_setzero_si512();
}

[[gnu::target("avx512f")]] void store_part(uint8_t* d, unsigned left, __m512i r) {
  if (left >= 64)
    _mm512_storeu_si512(d, r);
  else if (left == 32)
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), __m256i(__builtin_shufflevector(__v8di(r), __v8di(r), 0, 1, 2, 3)));
  else if (left == 16)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), __m128i(__builtin_shufflevector(__v8di(r), __v8di(r), 0, 1)));
  else
    _mm512_mask_storeu_epi32(d, __mmask16((1u << left / 4) - 1), r);
}

template <class T>
[[gnu::target("avx512f,avx512bw")]] void lookup_avx512(uint8_t* d, const uint8_t* table, unsigned table_bytes,
                                                       const uint8_t* index) {
  constexpr unsigned vl = sve_vl_bytes, pair = 128 / sizeof(T);
  const unsigned count = table_bytes / sizeof(T);
  __m512i t[4];
  load_table(t, table, table_bytes);
  for (unsigned i = 0; i < vl; i += 64) {
    const __m512i k = load(index + i, vl - i);
    __m512i r;
    if constexpr (sizeof(T) == 2) {
      const __m512i low = _mm512_permutex2var_epi16(t[0], k, t[1]), high = _mm512_permutex2var_epi16(t[2], k, t[3]);
      r = _mm512_mask_blend_epi16(_mm512_test_epi16_mask(k, _mm512_set1_epi16(short(pair))), low, high);
      r = _mm512_maskz_mov_epi16(_mm512_cmplt_epu16_mask(k, _mm512_set1_epi16(short(count))), r);
    } else if constexpr (sizeof(T) == 4) {
      const __m512i low = _mm512_permutex2var_epi32(t[0], k, t[1]), high = _mm512_permutex2var_epi32(t[2], k, t[3]);
      r = _mm512_mask_blend_epi32(_mm512_test_epi32_mask(k, _mm512_set1_epi32(pair)), low, high);
      r = _mm512_maskz_mov_epi32(_mm512_cmplt_epu32_mask(k, _mm512_set1_epi32(int(count))), r);
    } else {
      const __m512i low = _mm512_permutex2var_epi64(t[0], k, t[1]), high = _mm512_permutex2var_epi64(t[2], k, t[3]);
      r = _mm512_mask_blend_epi64(_mm512_test_epi64_mask(k, _mm512_set1_epi64(pair)), low, high);
      r = _mm512_maskz_mov_epi64(_mm512_cmplt_epu64_mask(k, _mm512_set1_epi64(count)), r);
    }
    store_part(d + i, vl - i, r);
  }
}

// Bytes, with the byte permutes of VBMI. A table of 256 bytes or more has
// every byte index in range.
[[gnu::target("avx512f,avx512bw,avx512vbmi")]] void lookup_bytes_vbmi(uint8_t* d, const uint8_t* table,
                                                                      unsigned table_bytes, const uint8_t* index) {
  constexpr unsigned vl = sve_vl_bytes;
  __m512i t[4];
  load_table(t, table, table_bytes);
  const __mmask64 all = ~__mmask64(0);
  for (unsigned i = 0; i < vl; i += 64) {
    const __m512i k = load(index + i, vl - i);
    const __m512i low = _mm512_permutex2var_epi8(t[0], k, t[1]), high = _mm512_permutex2var_epi8(t[2], k, t[3]);
    const __m512i r = _mm512_mask_blend_epi8(_mm512_test_epi8_mask(k, _mm512_set1_epi8(char(0x80))), low, high);
    const __mmask64 in_range = table_bytes >= 256 ? all : _mm512_cmplt_epu8_mask(k, _mm512_set1_epi8(char(table_bytes)));
    store_part(d + i, vl - i, _mm512_maskz_mov_epi8(in_range, r));
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

// SRSHL and URSHL of doublewords: the host's shifts by a vector give 0 (or
// the sign fill) for counts of 64 and more, as the instruction does, so the
// left shift and the rounding right shift by the count's negation n are
// each a shift or two: the value shifted right by n - 1 (which is ~count)
// has its last bit added to itself halved. The count's sign chooses.
template <bool Signed>
[[gnu::target("avx512f,avx512dq")]] void rounding_shift_avx512(uint8_t* d, const uint8_t* m, const uint8_t* p,
                                                               bool reversed) {
  constexpr unsigned vl = sve_vl_bytes;
  // The shifts are the zero-masking forms under an all-ones mask: their
  // plain forms pass an undefined vector through, which this compiler
  // warns of.
  const __m512i one = _mm512_set1_epi64(1);
  const __mmask8 all = 0xff;
  for (unsigned i = 0; i < vl; i += 64) {
    const __m512i x = load(d + i, vl - i), y = load(m + i, vl - i);
    const __m512i v = reversed ? y : x, c = reversed ? x : y;
    const __m512i down = _mm512_ternarylogic_epi64(c, c, c, 0x55);
    const __m512i t = Signed ? _mm512_maskz_srav_epi64(all, v, down) : _mm512_maskz_srlv_epi64(all, v, down);
    const __m512i half = Signed ? _mm512_maskz_srai_epi64(all, t, 1) : _mm512_maskz_srli_epi64(all, t, 1);
    const __m512i right = _mm512_add_epi64(half, _mm512_and_si512(t, one));
    const __m512i r = _mm512_mask_blend_epi64(_mm512_movepi64_mask(c), _mm512_maskz_sllv_epi64(all, v, c), right);
    const __mmask8 active = _mm512_test_epi64_mask(load(p + i, vl - i), one);
    store_part(d + i, vl - i, _mm512_mask_mov_epi64(x, active, r));
  }
}

}  // namespace

bool rounding_shift_doublewords(bool is_signed, bool reversed, uint8_t* d, const uint8_t* m, const uint8_t* p) {
  if (!has_avx512()) return false;
  (is_signed ? rounding_shift_avx512<true> : rounding_shift_avx512<false>)(d, m, p, reversed);
  return true;
}

bool compact_elements(unsigned bytes, uint8_t* d, const uint8_t* a, const uint8_t* p) {
  if (!has_avx512() || (bytes != 4 && bytes != 8)) return false;
  (bytes == 4 ? compact_avx512<uint32_t> : compact_avx512<uint64_t>)(d, a, p);
  return true;
}

bool table_lookup(unsigned bytes, uint8_t* d, const uint8_t* table, unsigned table_bytes, const uint8_t* index) {
  if (bytes == 1) return has_vbmi() && (lookup_bytes_vbmi(d, table, table_bytes, index), true);
  if (!has_avx512() || table_bytes > 256) return false;
  (bytes == 2 ? lookup_avx512<uint16_t> : bytes == 4 ? lookup_avx512<uint32_t> : lookup_avx512<uint64_t>)(
      d, table, table_bytes, index);
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
bool table_lookup(unsigned, uint8_t*, const uint8_t*, unsigned, const uint8_t*) { return false; }
bool compact_elements(unsigned, uint8_t*, const uint8_t*, const uint8_t*) { return false; }
bool rounding_shift_doublewords(bool, bool, uint8_t*, const uint8_t*, const uint8_t*) { return false; }

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

// EXT. Without VBMI, each 16 bytes of the result come from two aligned
// 16-byte pieces of the pair, the bytes picked by a shuffle: reads at an odd
// offset itself would straddle the host's recent writes of the register,
// which the processor cannot forward. The result is written over a in
// place: piece j of the result reads pieces j and later.
#if defined(__SSSE3__)
namespace {

// The aligned 16-byte piece q of a and b laid end to end.
inline const uint8_t* ext_piece(const uint8_t* a, const uint8_t* b, unsigned q) {
  constexpr unsigned pieces = sve_vl_bytes / 16;
  return q < pieces ? a + 16 * q : b + 16 * (q - pieces);
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
void extract_sse(uint8_t* d, const uint8_t* a, const uint8_t* b, unsigned q, const sse_shift& k, unsigned j) {
  const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ext_piece(a, b, q)));
  const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ext_piece(a, b, q + 1)));
  const __m128i r = _mm_or_si128(_mm_shuffle_epi8(x, k.low), _mm_shuffle_epi8(y, k.high));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16 * j), r);
}

void extract_baseline(uint8_t* d, const uint8_t* a, const uint8_t* b, unsigned from) {
  const sse_shift k(from % 16);
  for (unsigned j = 0; j < sve_vl_bytes / 16; ++j) extract_sse(d, a, b, from / 16 + j, k, j);
}

// With AVX2, 32 bytes at a time: the pieces q, q + 1 and q + 1, q + 2 side
// by side in two registers, and one byte-align of the pair by the shift,
// which is an immediate: one build for each.
template <int Shift>
[[gnu::target("avx2")]] void extract_avx2(uint8_t* d, const uint8_t* a, const uint8_t* b, unsigned from) {
  auto load = [&](unsigned q) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(ext_piece(a, b, q))); };
  unsigned j = 0;
  __m128i x = load(from / 16);
  for (; 16 * j + 32 <= sve_vl_bytes; j += 2) {
    const unsigned q = from / 16 + j;
    const __m128i y = load(q + 1), z = load(q + 2);
    const __m256i low = _mm256_set_m128i(y, x), high = _mm256_set_m128i(z, y);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 16 * j), _mm256_alignr_epi8(high, low, Shift));
    x = z;
  }
  if (16 * j < sve_vl_bytes) extract_sse(d, a, b, from / 16 + j, sse_shift(Shift), j);
}
template <size_t... S>
constexpr auto extract_avx2_builds(std::index_sequence<S...>) {
  return std::array{&extract_avx2<int(S)>...};
}

// The 16-byte pieces' kernels write d as they go, so a b that is d is read
// from a copy. A function of its own, so that the route with VBMI keeps no
// frame for the copy.
[[gnu::noinline]] void extract_pieces(uint8_t* d, const uint8_t* a, const uint8_t* b, unsigned from) {
  static constexpr auto avx2_builds = extract_avx2_builds(std::make_index_sequence<16>{});
  alignas(16) uint8_t copy[sve_vl_bytes];
  if (b == d) b = static_cast<const uint8_t*>(std::memcpy(copy, b, sve_vl_bytes));
  if (has_avx2()) return avx2_builds[from % 16](d, a, b, from);
  extract_baseline(d, a, b, from);
}

// With VBMI, when the length is a whole number of 32-byte parts: the parts
// of the pair that the window touches, each read whole from a or b, and one
// byte permute of each two neighbours by the offset within a part, its
// index vector read from a table at that offset. Every part is read before
// any is written, so d may be a, b or both. Parts of 32 bytes rather than 64
// leave no part straddling the end of a, and the host's forwarding of the
// registers' recent stores to these reads, which is what a run of
// instructions on one register waits for, is quicker for them. The first
// part of the window is fixed in each build, so that every read is at a
// constant place.
alignas(64) constexpr auto ext_index = [] {
  std::array<uint8_t, 64> a{};
  for (unsigned k = 0; k < 64; ++k) a[k] = uint8_t(k);
  return a;
}();

template <unsigned First>
[[gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi")]] aarch64_decode_rc extract_vbmi(uint8_t* d, const uint8_t* a,
                                                                                      const uint8_t* b,
                                                                                      unsigned shift) {
  constexpr unsigned parts = sve_vl_bytes / 32;
  const __m256i index = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(ext_index.data() + shift));
  __m256i w[parts + 1];
#pragma GCC unroll 16
  for (unsigned k = 0; k <= parts; ++k) {
    const unsigned q = First + k;
    w[k] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(q < parts ? a + 32 * q : b + 32 * (q - parts)));
  }
#pragma GCC unroll 16
  for (unsigned k = 0; k < parts; ++k)
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32 * k), _mm256_permutex2var_epi8(w[k], index, w[k + 1]));
  return aarch64_decode_ok;
}
template <size_t... F>
constexpr auto extract_vbmi_builds(std::index_sequence<F...>) {
  return std::array{&extract_vbmi<unsigned(F)>...};
}

}  // namespace

aarch64_decode_rc extract_bytes(uint8_t* d, const uint8_t* a, const uint8_t* b, unsigned from) {
  if constexpr (sve_vl_bytes % 32 == 0) {
    static constexpr auto vbmi_builds = extract_vbmi_builds(std::make_index_sequence<sve_vl_bytes / 32>{});
    if (has_vbmi()) return vbmi_builds[from / 32](d, a, b, from % 32);
  }
  extract_pieces(d, a, b, from);
  return aarch64_decode_ok;
}
#endif

}  // namespace sve::host
