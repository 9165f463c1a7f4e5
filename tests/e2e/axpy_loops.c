// Compiler-vectorised loops: a[i] = b[i] * k + c[i] over int32_t and int64_t,
// a conditional update, and a sum, with trip counts that are not multiples
// of any vector length.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#define N 1003

__attribute__((noinline)) void axpy32(int32_t* restrict a, const int32_t* restrict b, const int32_t* restrict c,
                                      int32_t k, int n) {
  for (int i = 0; i < n; ++i) a[i] = b[i] * k + c[i];
}

__attribute__((noinline)) void axpy64(int64_t* restrict a, const int64_t* restrict b, const int64_t* restrict c,
                                      int64_t k, int n) {
  for (int i = 0; i < n; ++i) a[i] = b[i] * k + c[i];
}

__attribute__((noinline)) void clamp(int32_t* restrict a, int32_t lo, int32_t hi, int n) {
  for (int i = 0; i < n; ++i) a[i] = a[i] < lo ? lo : a[i] > hi ? hi : a[i];
}

__attribute__((noinline)) int64_t sum(const int32_t* a, int n) {
  int64_t s = 0;
  for (int i = 0; i < n; ++i) s += a[i];
  return s;
}

int main(int argc, char** argv) {
  int n = argc > 1 ? atoi(argv[1]) : N;
  static int32_t a[N], b[N], c[N];
  static int64_t a64[N], b64[N], c64[N];
  uint32_t x = 12345;
  for (int i = 0; i < N; ++i) {
    x = x * 1103515245u + 12345u;
    b[i] = (int32_t)(x >> 8) - (1 << 23);
    c[i] = (int32_t)x;
    b64[i] = (int64_t)b[i] << 20;
    c64[i] = (int64_t)c[i] * 3;
  }
  for (int m = 0; m <= n; m += n / 7 + 1) {
    axpy32(a, b, c, 7 + m, m);
    axpy64(a64, b64, c64, -5 - m, m);
    clamp(a, -1000000, 1000000, m);
    int64_t s64 = 0;
    for (int i = 0; i < m; ++i) s64 ^= a64[i] + i;
    printf("n=%4d sum32=%lld mix64=%016llx a[0]=%d a[n-1]=%d\n", m, (long long)sum(a, m), (unsigned long long)s64,
           m ? a[0] : 0, m ? a[m - 1] : 0);
  }
  return 0;
}
