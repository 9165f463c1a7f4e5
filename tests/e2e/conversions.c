// Compiler-vectorised conversions and roundings: between int32_t, int64_t,
// float, double and _Float16 both ways, and floor, ceil, round, trunc, rint
// and nearbyint, under each rounding mode and with flush to zero. Most loops
// become SVE FCVT*, SCVTF, UCVTF and FRINT* instructions; the compiler keeps
// a few scalar (int64_t to float, _Float16 to and from int32_t), which then
// run natively between the emulated ones.
// The operands mix NaNs, infinities, signed zeros, denormals, ties and values
// just inside and outside the integer ranges; they are made at run time so
// that nothing is folded. Each loop prints a checksum of its results and the
// floating-point status flags it raised.
#include <fenv.h>
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define N 1003

// Each loop: its name, result and operand types, the expression, and the
// arrays it runs on. Floating point to integer is undefined in C out of
// range; the instructions saturate, and the reference and the emulator run
// the same instructions.
#define LOOPS(X) \
  X(f_to_i32, int32_t, float, (int32_t)a[i], ri, af)              \
  X(f_to_i64, int64_t, float, (int64_t)a[i], rl, af)              \
  X(d_to_i32, int32_t, double, (int32_t)a[i], ri, ad)             \
  X(d_to_i64, int64_t, double, (int64_t)a[i], rl, ad)             \
  X(d_to_u32, uint32_t, double, (uint32_t)a[i], ru, ad)           \
  X(h_to_i32, int32_t, _Float16, (int32_t)a[i], ri, ah)           \
  X(h_to_i16, int16_t, _Float16, (int16_t)a[i], rs, ah)           \
  X(i32_to_f, float, int32_t, (float)a[i], rf, ai)                \
  X(i32_to_d, double, int32_t, (double)a[i], rd, ai)              \
  X(i64_to_d, double, int64_t, (double)a[i], rd, al)              \
  X(i64_to_f, float, int64_t, (float)a[i], rf, al)                \
  X(u64_to_f, float, uint64_t, (float)a[i], rf, aul)              \
  X(u32_to_f, float, uint32_t, (float)a[i], rf, au)               \
  X(i32_to_h, _Float16, int32_t, (_Float16)a[i], rh, ai)          \
  X(i16_to_h, _Float16, int16_t, (_Float16)a[i], rh, as)          \
  X(f_to_d, double, float, (double)a[i], rd, af)                  \
  X(d_to_f, float, double, (float)a[i], rf, ad)                   \
  X(f_to_h, _Float16, float, (_Float16)a[i], rh, af)              \
  X(d_to_h, _Float16, double, (_Float16)a[i], rh, ad)             \
  X(h_to_f, float, _Float16, (float)a[i], rf, ah)                 \
  X(h_to_d, double, _Float16, (double)a[i], rd, ah)               \
  X(floor_d, double, double, floor(a[i]), rd, ad)                 \
  X(ceil_d, double, double, ceil(a[i]), rd, ad)                   \
  X(round_d, double, double, round(a[i]), rd, ad)                 \
  X(trunc_d, double, double, trunc(a[i]), rd, ad)                 \
  X(rint_d, double, double, rint(a[i]), rd, ad)                   \
  X(nearbyint_d, double, double, nearbyint(a[i]), rd, ad)         \
  X(floor_f, float, float, floorf(a[i]), rf, af)                  \
  X(ceil_f, float, float, ceilf(a[i]), rf, af)                    \
  X(round_f, float, float, roundf(a[i]), rf, af)                  \
  X(trunc_f, float, float, truncf(a[i]), rf, af)                  \
  X(rint_f, float, float, rintf(a[i]), rf, af)                    \
  X(nearbyint_f, float, float, nearbyintf(a[i]), rf, af)          \
  X(rint_h, _Float16, _Float16, (_Float16)rintf(a[i]), rh, ah)    \
  X(floor_h, _Float16, _Float16, (_Float16)floorf(a[i]), rh, ah)

#define DEFINE(name, To, From, expr, results, operands)                                \
  __attribute__((noinline)) void name(To* restrict r, const From* restrict a, int n) { \
    for (int i = 0; i < n; ++i) r[i] = (expr);                                         \
  }
LOOPS(DEFINE)

static uint64_t checksum(const void* p, size_t bytes) {
  const unsigned char* b = p;
  uint64_t h = 0xcbf29ce484222325ull;
  for (size_t i = 0; i < bytes; ++i) h = (h ^ b[i]) * 0x100000001b3ull;
  return h;
}

static uint64_t rnd(void) {
  static uint64_t s = 0x2545f4914f6cdd1dull;
  s ^= s << 13;
  s ^= s >> 7;
  s ^= s << 17;
  return s;
}

// A double that is a special value, a tie, a value at an integer limit, or
// a random number of random magnitude.
static double operand(void) {
  static const double edges[] = {0.0, -0.0, 0.5, -0.5, 1.5, 2.5, -2.5, 0.49999999999999994, 65504.0, 65520.0,
                                 65519.0, 2147483647.0, 2147483647.5, 2147483648.0, -2147483648.0,
                                 -2147483649.0, 4294967295.5, 4294967296.0, 9223372036854775807.0,
                                 -9223372036854775808.0, 18446744073709551616.0, 1e300, -1e300, 3.4028235e38,
                                 3.4028236e38, 1e-40, -1e-45, 6e-8, 3e-8, 5.9604644775390625e-8, 1e-310};
  uint64_t x = rnd();
  switch (x % 8) {
    case 0: return edges[(x >> 8) % (sizeof edges / sizeof edges[0])];
    case 1: return (double)(int64_t)(x >> 20) / 4.0 - (double)(1ll << 40);  // quarters: ties and exact values
    case 2: {
      uint64_t bits = (x & 0x800fffffffffffffull) | (uint64_t)(1023 - 30 + (x >> 52) % 100) << 52;
      double d;
      memcpy(&d, &bits, sizeof d);
      return d;
    }
    case 3: return (x >> 9) % 2 ? INFINITY : -NAN;
    default: return ((double)(int64_t)x / 9223372036854775808.0) * ldexp(1.0, (int)((x >> 3) % 80) - 20);
  }
}

static double ad[N], rd[N];
static float af[N], rf[N];
static _Float16 ah[N], rh[N];
static int32_t ai[N], ri[N];
static int64_t al[N], rl[N];
static uint64_t aul[N];
static uint32_t au[N], ru[N];
static int16_t as[N], rs[N];

static void report(const char* name, const void* r, size_t bytes) {
  int flags = fetestexcept(FE_ALL_EXCEPT);
  printf("%-12s %016llx  invalid %d inexact %d overflow %d underflow %d\n", name,
         (unsigned long long)checksum(r, bytes), !!(flags & FE_INVALID), !!(flags & FE_INEXACT),
         !!(flags & FE_OVERFLOW), !!(flags & FE_UNDERFLOW));
  feclearexcept(FE_ALL_EXCEPT);
}

#define RUN(name, To, From, expr, results, operands) \
  (name(results, operands, n), report(#name, results, sizeof results));

static void all_loops(int n) { LOOPS(RUN) }

int main(int argc, char** argv) {
  int n = argc > 1 ? atoi(argv[1]) : N;
  for (int i = 0; i < N; ++i) {
    ad[i] = operand();
    af[i] = (float)operand();
    ah[i] = (_Float16)operand();
    uint64_t x = rnd();
    // Integers at every magnitude, and now and then at the limits.
    al[i] = x % 7 == 0 ? (int64_t)(x >> 60 ? 0x7fffffffffffffffull : 0x8000000000000000ull) + (int64_t)(x >> 61)
                       : (int64_t)x >> (x % 64);
    aul[i] = (uint64_t)al[i];
    ai[i] = (int32_t)(al[i] >> 32) >> ((x >> 8) % 32);
    au[i] = (uint32_t)al[i];
    as[i] = (int16_t)(ai[i] >> ((x >> 16) % 16));
  }
  // The first half holds no NaN, so that the flags of the other operands
  // show; the second half gets signalling NaNs too, by their bits: a
  // conversion in C would quieten them.
  for (int i = 0; i < N / 2; ++i) {
    if (isnan(ad[i])) ad[i] = 0.75;
    if (isnan(af[i])) af[i] = -0.75f;
    if (isnan(ah[i])) ah[i] = (_Float16)2.5f;
  }
  for (int i = N / 2; i < N; i += 37) {
    const uint64_t d = 0x7ff4000000000001ull | (uint64_t)(i & 1) << 63;
    const uint32_t f = 0x7fa00001u | (uint32_t)(i & 1) << 31;
    const uint16_t h = 0x7d01;
    memcpy(&ad[i], &d, sizeof d);
    memcpy(&af[i], &f, sizeof f);
    memcpy(&ah[i], &h, sizeof h);
  }
  static const int modes[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};
  static const char* const names[] = {"to nearest", "upward", "downward", "towards zero"};
  for (int m = 0; m < 4; ++m) {
    printf("rounding %s\n", names[m]);
    fesetround(modes[m]);
    feclearexcept(FE_ALL_EXCEPT);
    all_loops(n);
  }
  fesetround(FE_TONEAREST);
  printf("without NaNs\n");
  feclearexcept(FE_ALL_EXCEPT);
  all_loops(n < N / 2 ? n : N / 2);
  // Flush to zero (FPCR.FZ, bit 24) and half-precision flush (FZ16, bit 19).
  printf("flush to zero\n");
  __builtin_aarch64_set_fpcr(__builtin_aarch64_get_fpcr() | 1u << 24 | 1u << 19);
  all_loops(n);
  return 0;
}
