// The SVE2 intrinsics of arm_sve.h, one group of instructions per function,
// over data that is not a multiple of any vector length: widening
// multiply-accumulate, saturating narrowing, absolute-difference sums,
// bitwise ternary, rounding shifts, pairwise and complex arithmetic,
// histograms and matches, two-register tables, the new loop controls,
// non-temporal gathers, floating-point conversions and the crypto and
// bit-permute extensions. Each group prints a hash of its results.
#include <arm_sve.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#define N 999

static int8_t s8a[N], s8b[N];
static uint8_t u8a[N], u8b[N];
static int16_t s16a[N], s16b[N];
static int32_t s32a[N], s32b[N];
static uint32_t u32a[N];
static uint64_t u64a[N], u64b[N];
static float f32a[N];
static double f64a[N];
static uint64_t hash = 1469598103934665603ull;

static void mix(const void* p, size_t bytes) {
  const uint8_t* b = p;
  for (size_t i = 0; i < bytes; ++i) hash = (hash ^ b[i]) * 0x100000001b3ull;
}

static void report(const char* what) { printf("%-12s %016llx\n", what, (unsigned long long)hash); }

// Widening multiply-accumulate: the even and odd halfword products of each
// word lane, summed into words.
__attribute__((noinline)) void widening(int n) {
  static int32_t out[N];
  for (int i = 0; i < n; i += svcntw()) {
    svbool_t pw = svwhilelt_b32(i, n);
    svint16_t a = svld1(svwhilelt_b16(2 * i, 2 * n), s16a + (2 * i) % (N - 2 * (int)svcnth()));
    svint16_t b = svld1(svwhilelt_b16(2 * i, 2 * n), s16b + (2 * i) % (N - 2 * (int)svcnth()));
    svint32_t acc = svld1(pw, s32a + i);
    acc = svmlalb(acc, a, b);
    acc = svmlslt(acc, a, b);
    acc = svadd_x(pw, acc, svaddlb(a, b));
    acc = svadd_x(pw, acc, svqdmullt(a, b));
    svst1(pw, out + i, acc);
  }
  mix(out, sizeof out);
  report("widening");
}

// Saturating narrowing of words to halfwords, bottom then top.
__attribute__((noinline)) void narrowing(int n) {
  static int16_t out[N];
  static uint16_t uout[N];
  for (int i = 0; i < n; i += svcnth()) {
    svbool_t ph = svwhilelt_b16(i, n);
    svint32_t lo = svld1(svptrue_b32(), s32a + (i % (N - 2 * (int)svcntw())));
    svint32_t hi = svld1(svptrue_b32(), s32b + (i % (N - 2 * (int)svcntw())));
    svint16_t r = svqxtnt(svqxtnb(lo), hi);
    svuint16_t u = svqxtunt(svqxtunb(hi), lo);
    svint16_t s = svqrshrnt(svshrnb(lo, 7), hi, 11);
    svst1(ph, out + i, svadd_x(ph, r, s));
    svst1(ph, uout + i, svaddhnt(svaddhnb(svreinterpret_u32(lo), svreinterpret_u32(hi)), svreinterpret_u32(hi),
                                 svreinterpret_u32(lo)));
    svst1(ph, uout + i, svadd_x(ph, svld1(ph, uout + i), u));
  }
  mix(out, sizeof out);
  mix(uout, sizeof uout);
  report("narrowing");
}

// Sum of absolute differences of bytes, accumulated in halfwords.
__attribute__((noinline)) void abs_diff(int n) {
  svuint16_t acc = svdup_u16(0);
  svint32_t sacc = svdup_s32(0);
  for (int i = 0; i < n; i += svcntb()) {
    svbool_t pb = svwhilelt_b8(i, n);
    svuint8_t a = svld1(pb, u8a + i), b = svld1(pb, u8b + i);
    acc = svabalb(acc, a, b);
    acc = svabalt(acc, a, b);
    svint16_t d = svabdlb(svld1(pb, s8a + i), svld1(pb, s8b + i));
    sacc = svadalp_x(svptrue_b32(), sacc, d);
  }
  uint64_t total = svaddv(svptrue_b16(), acc), stotal = (uint64_t)svaddv(svptrue_b32(), sacc);
  mix(&total, sizeof total);
  mix(&stotal, sizeof stotal);
  report("abs_diff");
}

// Bitwise ternary operations and rotate-after-xor.
__attribute__((noinline)) void ternary(int n) {
  static uint64_t out[N];
  for (int i = 0; i < n; i += svcntd()) {
    svbool_t pd = svwhilelt_b64(i, n);
    svuint64_t a = svld1(pd, u64a + i), b = svld1(pd, u64b + i), c = svld1(pd, (uint64_t*)f64a + i);
    svuint64_t r = sveor3(a, b, c);
    r = svbcax(r, a, c);
    r = svbsl(r, b, a);
    r = svnbsl(r, c, b);
    r = svbsl1n(r, a, c);
    r = svbsl2n(r, b, c);
    r = svxar(r, a, 17);
    svst1(pd, out + i, r);
  }
  mix(out, sizeof out);
  report("ternary");
}

// Rounding, saturating and accumulating shifts, and halving arithmetic.
__attribute__((noinline)) void shifts(int n) {
  static int32_t out[N];
  for (int i = 0; i < n; i += svcntw()) {
    svbool_t pw = svwhilelt_b32(i, n);
    svint32_t a = svld1(pw, s32a + i), b = svld1(pw, s32b + i);
    svint32_t amounts = svasr_x(pw, b, 26);
    svint32_t r = svrshl_m(pw, a, amounts);
    r = svqshl_m(pw, r, svasr_x(pw, a, 27));
    r = svrsra(r, b, 5);
    r = svsli(r, a, 9);
    r = svhadd_m(pw, r, a);
    r = svrhadd_m(pw, r, b);
    r = svqsub_m(pw, r, a);
    r = svqrdmulh(r, b);
    svst1(pw, out + i, r);
  }
  mix(out, sizeof out);
  report("shifts");
}

// Pairwise operations and complex integer arithmetic.
__attribute__((noinline)) void pairwise_complex(int n) {
  static int16_t out[N];
  for (int i = 0; i < n; i += svcnth()) {
    svbool_t ph = svwhilelt_b16(i, n);
    svint16_t a = svld1(ph, s16a + i), b = svld1(ph, s16b + i);
    svint16_t r = svaddp_m(ph, a, b);
    r = svmaxp_m(ph, r, a);
    r = svcadd(r, b, 90);
    r = svcmla(r, a, b, 270);
    r = svqrdcmlah(r, a, b, 180);
    r = svqcadd(r, a, 270);
    svst1(ph, out + i, r);
  }
  mix(out, sizeof out);
  report("complex");
}

// Histograms, matches and tables of two registers.
__attribute__((noinline)) void match_tables(int n) {
  static uint32_t counts[N];
  static uint8_t bytes[N];
  uint64_t matched = 0;
  svuint8_t keys = svld1(svptrue_b8(), u8b);
  svuint8_t t0 = svld1(svptrue_b8(), u8a), t1 = svld1(svptrue_b8(), u8b + 17);
  for (int i = 0; i < n; i += svcntw()) {
    svbool_t pw = svwhilelt_b32(i, n);
    svuint32_t c = svhistcnt_z(pw, svld1(pw, u32a + i), svld1(pw, (uint32_t*)s32b + i));
    svst1(pw, counts + i, c);
  }
  for (int i = 0; i < n; i += svcntb()) {
    svbool_t pb = svwhilelt_b8(i, n);
    svuint8_t v = svand_x(pb, svld1(pb, u8a + i), svdup_u8(0x3f));
    svbool_t m = svmatch(pb, v, keys);
    matched += svcntp_b8(pb, m) + 3 * svcntp_b8(pb, svnmatch(pb, v, keys));
    svuint8_t t = svtbl2(svcreate2(t0, t1), v);
    t = svtbx(t, t1, svld1(pb, u8b + i));
    svst1(pb, bytes + i, svadd_x(pb, t, svhistseg(v, keys)));
  }
  mix(counts, sizeof counts);
  mix(bytes, sizeof bytes);
  mix(&matched, sizeof matched);
  report("match");
}

// The loop controls of SVE2: counting down with WHILEGE and WHILEGT, and the
// alias checks of two pointers.
__attribute__((noinline)) void loop_controls(int n) {
  static int32_t out[N];
  uint64_t lanes = 0;
  for (int64_t i = n - 1; i >= 0; i -= svcntw()) {
    svbool_t pw = svwhilege_b32(i, (int64_t)0);
    svint32_t v = svld1(pw, s32a + (i + 1 - (int64_t)svcntw() > 0 ? i + 1 - svcntw() : 0));
    svst1(pw, out + (i + 1 - (int64_t)svcntw() > 0 ? i + 1 - svcntw() : 0), svneg_x(pw, v));
    lanes += svcntp_b32(pw, pw) + svcntp_b32(pw, svwhilegt_b32(i, (int64_t)5));
  }
  for (int d = -40; d <= 40; d += 3) {
    lanes = lanes * 7 + svcntp_b8(svptrue_b8(), svwhilerw(s8a + 100, s8a + 100 + d));
    lanes = lanes * 7 + svcntp_b32(svptrue_b32(), svwhilewr(s32a + 100, s32a + 100 + d));
    lanes = lanes * 7 + svcntp_b64(svptrue_b64(), svwhilegt_b64((uint64_t)(100 + d), (uint64_t)90));
  }
  mix(out, sizeof out);
  mix(&lanes, sizeof lanes);
  report("loops");
}

// Non-temporal gathers and scatters, vector plus scalar.
__attribute__((noinline)) void nontemporal(int n) {
  static uint64_t out[N];
  static uint32_t words[N];
  for (int i = 0; i < n; i += svcntd()) {
    svbool_t pd = svwhilelt_b64(i, n);
    svuint64_t idx = svand_x(pd, svld1(pd, u64a + i), svdup_u64(511));
    svuint64_t offsets = svlsl_x(pd, idx, svdup_u64(3));
    svuint64_t v = svldnt1_gather_offset(pd, u64b, offsets);
    svint64_t sw = svldnt1sw_gather_offset_s64(pd, s32a, svlsl_x(pd, idx, svdup_u64(2)));
    svst1(pd, out + i, svadd_x(pd, v, svreinterpret_u64(sw)));
    svstnt1w_scatter_offset(pd, words, svlsl_x(pd, svand_x(pd, idx, svdup_u64(255)), svdup_u64(2)), v);
  }
  mix(out, sizeof out);
  mix(words, sizeof words);
  report("nontemporal");
}

// Floating-point pairwise operations, conversions of halves and the base-2
// logarithm of the exponent.
__attribute__((noinline)) void floating(int n) {
  static float out[N];
  static int32_t logs[N];
  for (int i = 0; i < n; i += svcntw()) {
    svbool_t pw = svwhilelt_b32(i, n);
    svfloat32_t a = svld1(pw, f32a + i), b = svld1(pw, f32a + (N - 1 - i - (int)svcntw() > 0 ? N - 1 - i - svcntw() : 0));
    svfloat32_t r = svaddp_m(pw, a, b);
    r = svmaxnmp_m(pw, r, a);
    r = svminp_m(pw, r, b);
    svfloat16_t h = svcvtnt_f16_m(svcvt_f16_x(pw, a), pw, b);
    r = svadd_x(pw, r, svcvtlt_f32_x(pw, h));
    r = svmlalb(r, h, svcvt_f16_x(pw, r));
    svst1(pw, out + i, r);
    svst1(pw, logs + i, svlogb_x(pw, a));
  }
  for (int i = 0; i < n; i += svcntd()) {
    svbool_t pd = svwhilelt_b64(i, n);
    svfloat32_t x = svcvtx_f32_x(pd, svld1(pd, f64a + i));
    svst1_u64(pd, (uint64_t*)out + i / 2, svreinterpret_u64(x));
  }
  mix(out, sizeof out);
  mix(logs, sizeof logs);
  report("floating");
}

// AES rounds, SM4, SHA3's rotate-and-xor, bit deposit and extract, and
// 64-bit polynomial products.
__attribute__((noinline)) void crypto(int n) {
  static uint64_t out[N];
  for (int i = 0; i < n; i += svcntd()) {
    svbool_t pd = svwhilelt_b64(i, n);
    svuint64_t a = svld1(pd, u64a + i), b = svld1(pd, u64b + i);
    svuint8_t state = svreinterpret_u8(a), key = svreinterpret_u8(b);
    state = svaesmc(svaese(state, key));
    state = svaesimc(svaesd(state, key));
    svuint32_t w = svsm4e(svreinterpret_u32(state), svreinterpret_u32(b));
    w = svsm4ekey(w, svreinterpret_u32(a));
    svuint64_t r = svrax1(svreinterpret_u64(w), a);
    r = sveor_x(pd, r, svbdep(a, b));
    r = sveor_x(pd, r, svbext(b, a));
    r = sveor_x(pd, r, svbgrp(a, r));
    r = sveor_x(pd, r, svpmullb_pair(a, b));
    r = sveor_x(pd, r, svpmullt_pair(r, b));
    svst1(pd, out + i, r);
  }
  mix(out, sizeof out);
  report("crypto");
}

int main(int argc, char** argv) {
  int n = argc > 1 ? atoi(argv[1]) : N;
  uint64_t x = 0x9e3779b97f4a7c15ull;
  for (int i = 0; i < N; ++i) {
    x ^= x << 13, x ^= x >> 7, x ^= x << 17;
    s8a[i] = (int8_t)x, s8b[i] = (int8_t)(x >> 8), u8a[i] = (uint8_t)(x >> 16), u8b[i] = (uint8_t)(x >> 24);
    s16a[i] = (int16_t)(x >> 32), s16b[i] = (int16_t)(x >> 48);
    // Some words near the limits, so that saturation happens.
    s32a[i] = i % 7 == 0 ? INT32_MAX - (int32_t)(x & 3) : (int32_t)(x >> 7);
    s32b[i] = i % 5 == 0 ? INT32_MIN + (int32_t)(x & 3) : (int32_t)(x >> 29);
    u32a[i] = (uint32_t)(x % 23);
    u64a[i] = x, u64b[i] = x * 0x2545f4914f6cdd1dull;
    f32a[i] = (float)((int32_t)(x >> 40) - (1 << 23)) / 1024.0f;
    f64a[i] = (double)(int64_t)x / 3.0e9;
  }
  widening(n);
  narrowing(n);
  abs_diff(n);
  ternary(n);
  shifts(n);
  pairwise_complex(n);
  match_tables(n);
  loop_controls(n);
  nontemporal(n);
  floating(n);
  crypto(n);
  return 0;
}
