// Compiler-vectorised floating-point loops: fused a * x + y in single and
// double precision, division and square root, a conditional negation, a
// clamp with fminf and fmaxf, and in-order sums. The data are made with
// integer arithmetic and bit patterns, so that no conversion instruction is
// needed, and printed bit for bit with the floating-point status flags.
#include <fenv.h>
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define N 1003

__attribute__((noinline)) void axpyf(float* restrict y, const float* restrict x, float a, int n) {
  for (int i = 0; i < n; ++i) y[i] = a * x[i] + y[i];
}

__attribute__((noinline)) void axpyd(double* restrict y, const double* restrict x, double a, int n) {
  for (int i = 0; i < n; ++i) y[i] = a * x[i] + y[i];
}

__attribute__((noinline)) void divide_root(double* restrict r, const double* restrict p, const double* restrict q,
                                           int n) {
  for (int i = 0; i < n; ++i) r[i] = sqrt(p[i] * p[i] + q[i] * q[i]) / (q[i] - 0.5);
}

__attribute__((noinline)) void flip_negative(float* restrict a, const float* restrict b, int n) {
  for (int i = 0; i < n; ++i) a[i] = b[i] < 0.0f ? -a[i] : a[i] - b[i];
}

__attribute__((noinline)) void clamp(float* restrict a, float lo, float hi, int n) {
  for (int i = 0; i < n; ++i) a[i] = fminf(fmaxf(a[i], lo), hi);
}

__attribute__((noinline)) float sumf(const float* a, int n) {
  float s = 0.0f;
  for (int i = 0; i < n; ++i) s += a[i];
  return s;
}

__attribute__((noinline)) double dot(const double* a, const double* b, int n) {
  double s = 0.0;
  for (int i = 0; i < n; ++i) s += a[i] * b[i];
  return s;
}

// A float in [-2, 2) from 23 random bits, by its bit pattern.
static float from_bits(uint32_t x) {
  uint32_t bits = 0x3f800000u | (x & 0x7fffffu) | (x & 0x80000000u);
  float f;
  memcpy(&f, &bits, sizeof f);
  return f;
}

static uint64_t checksum(const void* p, size_t bytes) {
  const unsigned char* b = p;
  uint64_t h = 0xcbf29ce484222325ull;
  for (size_t i = 0; i < bytes; ++i) h = (h ^ b[i]) * 0x100000001b3ull;
  return h;
}

int main(int argc, char** argv) {
  int n = argc > 1 ? atoi(argv[1]) : N;
  static float xf[N], yf[N], af[N];
  static double xd[N], yd[N], rd[N];
  uint32_t x = 2024;
  for (int i = 0; i < N; ++i) {
    x = x * 1103515245u + 12345u;
    xf[i] = from_bits(x);
    x = x * 1103515245u + 12345u;
    yf[i] = from_bits(x);
    af[i] = from_bits(x ^ 0x80000000u);
    xd[i] = xf[i];
    yd[i] = yf[i] * 3.0;
  }
  feclearexcept(FE_ALL_EXCEPT);
  axpyf(yf, xf, 1.1f, n);
  axpyd(yd, xd, -0.3, n);
  divide_root(rd, xd, yd, n);
  flip_negative(af, yf, n);
  clamp(af, -0.75f, 0.5f, n);
  float s = sumf(yf, n);
  double d = dot(xd, yd, n);
  int flags = fetestexcept(FE_ALL_EXCEPT);
  printf("axpyf %016llx\n", (unsigned long long)checksum(yf, sizeof yf));
  printf("axpyd %016llx\n", (unsigned long long)checksum(yd, sizeof yd));
  printf("root  %016llx\n", (unsigned long long)checksum(rd, sizeof rd));
  printf("flip  %016llx\n", (unsigned long long)checksum(af, sizeof af));
  printf("sumf  %a\n", s);
  printf("dot   %a\n", d);
  printf("flags inexact %d invalid %d divbyzero %d\n", !!(flags & FE_INEXACT), !!(flags & FE_INVALID),
         !!(flags & FE_DIVBYZERO));
  return 0;
}
