// Compiler-vectorised loops built for ARMv9, where the compiler chooses
// SVE2: bitwise ternary operations (EOR3, BCAX, BSL), halving and rounding
// averages (UHADD, URHADD), the high half of a product (UMULH), shift right
// and accumulate (USRA), and the run-time alias check of a loop whose
// pointers may overlap (WHILEWR). Trip counts are not multiples of any
// vector length, and the overlapping call really overlaps.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#define N 1003

__attribute__((noinline)) void xor3(uint64_t* restrict d, const uint64_t* a, const uint64_t* b, const uint64_t* c,
                                    int n) {
  for (int i = 0; i < n; ++i) d[i] = a[i] ^ b[i] ^ c[i];
}

__attribute__((noinline)) void clear_xor(uint64_t* restrict d, const uint64_t* a, const uint64_t* b,
                                         const uint64_t* c, int n) {
  for (int i = 0; i < n; ++i) d[i] = a[i] ^ (b[i] & ~c[i]);
}

__attribute__((noinline)) void select_bits(uint32_t* restrict d, const uint32_t* a, const uint32_t* b,
                                           const uint32_t* m, int n) {
  for (int i = 0; i < n; ++i) d[i] = (a[i] & m[i]) | (b[i] & ~m[i]);
}

__attribute__((noinline)) void averages(uint8_t* restrict lo, uint8_t* restrict up, const uint8_t* a,
                                        const uint8_t* b, int n) {
  for (int i = 0; i < n; ++i) lo[i] = (a[i] + b[i]) >> 1;
  for (int i = 0; i < n; ++i) up[i] = (a[i] + b[i] + 1) >> 1;
}

__attribute__((noinline)) void product_high(uint16_t* restrict d, const uint16_t* a, const uint16_t* b, int n) {
  for (int i = 0; i < n; ++i) d[i] = ((uint32_t)a[i] * b[i]) >> 16;
}

__attribute__((noinline)) void add_shifted(uint32_t* restrict d, const uint32_t* a, int n) {
  for (int i = 0; i < n; ++i) d[i] += a[i] >> 3;
}

// d and a may overlap: the vector loop runs only as far as the check allows.
__attribute__((noinline)) void scale(int32_t* d, const int32_t* a, int n) {
  for (int i = 0; i < n; ++i) d[i] = a[i] * 3 + 1;
}

static uint64_t mix(uint64_t h, uint64_t v) { return (h ^ v) * 0x100000001b3ull; }

int main(int argc, char** argv) {
  int n = argc > 1 ? atoi(argv[1]) : N;
  static uint64_t a64[N], b64[N], c64[N], d64[N];
  static uint32_t a32[N], b32[N], m32[N], d32[N];
  static uint16_t a16[N], b16[N], d16[N];
  static uint8_t a8[N], b8[N], lo8[N], up8[N];
  static int32_t s32[N + 64];
  uint64_t x = 88172645463325252ull;
  for (int i = 0; i < N; ++i) {
    x ^= x << 13, x ^= x >> 7, x ^= x << 17;
    a64[i] = x, b64[i] = x * 31, c64[i] = ~x >> 3;
    a32[i] = (uint32_t)x, b32[i] = (uint32_t)(x >> 32), m32[i] = (uint32_t)(x >> 16);
    a16[i] = (uint16_t)(x >> 5), b16[i] = (uint16_t)(x >> 37);
    a8[i] = (uint8_t)(x >> 11), b8[i] = (uint8_t)(x >> 43);
    s32[i] = (int32_t)(x >> 20);
  }
  uint64_t h = 1469598103934665603ull;
  xor3(d64, a64, b64, c64, n);
  for (int i = 0; i < N; ++i) h = mix(h, d64[i]);
  printf("eor3 %016llx\n", (unsigned long long)h);
  clear_xor(d64, a64, b64, c64, n);
  for (int i = 0; i < N; ++i) h = mix(h, d64[i]);
  printf("bcax %016llx\n", (unsigned long long)h);
  select_bits(d32, a32, b32, m32, n);
  for (int i = 0; i < N; ++i) h = mix(h, d32[i]);
  printf("bsl %016llx\n", (unsigned long long)h);
  averages(lo8, up8, a8, b8, n);
  for (int i = 0; i < N; ++i) h = mix(h, (uint64_t)lo8[i] << 8 | up8[i]);
  printf("averages %016llx\n", (unsigned long long)h);
  product_high(d16, a16, b16, n);
  for (int i = 0; i < N; ++i) h = mix(h, d16[i]);
  printf("umulh %016llx\n", (unsigned long long)h);
  add_shifted(d32, a32, n);
  for (int i = 0; i < N; ++i) h = mix(h, d32[i]);
  printf("usra %016llx\n", (unsigned long long)h);
  // Apart, then overlapping both ways at distances shorter than a vector.
  scale(s32 + 40, s32, n - 40);
  scale(s32, s32 + 3, n - 3);
  scale(s32 + 5, s32, n - 5);
  for (int i = 0; i < N; ++i) h = mix(h, (uint32_t)s32[i]);
  printf("alias %016llx\n", (unsigned long long)h);
  return 0;
}
