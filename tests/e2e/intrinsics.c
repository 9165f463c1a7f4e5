// SVE intrinsics over the instruction families the emulator carries out:
// predicated arithmetic, compares and selects, reductions, permutes,
// structure loads and stores, and loop control, over data the program makes
// itself. Prints checksums that do not depend on the vector length.
#include <arm_sve.h>
#include <stdint.h>
#include <stdio.h>

#define N 777

static int32_t a[N], b[N], out[N];
static uint8_t bytes[3 * N];

__attribute__((noinline)) int64_t dot_clamped(const int32_t* x, const int32_t* y, int n, int32_t limit) {
  int64_t total = 0;
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32_s32(i, n);
    svint32_t vx = svld1_s32(pg, x + i), vy = svld1_s32(pg, y + i);
    svint32_t prod = svmul_s32_m(pg, vx, vy);
    svbool_t big = svcmpgt_n_s32(pg, prod, limit);
    prod = svsel_s32(big, svdup_n_s32(limit), prod);
    total += svaddv_s32(pg, prod);
  }
  return total;
}

__attribute__((noinline)) void reverse_max(int32_t* dst, const int32_t* x, const int32_t* y, int n) {
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32_s32(i, n);
    svint32_t m = svmax_s32_x(pg, svld1_s32(pg, x + i), svld1_s32(pg, y + i));
    svst1_s32(pg, dst + i, svabs_s32_x(pg, m));
  }
}

__attribute__((noinline)) uint32_t rgb_sum(const uint8_t* rgb, int pixels) {
  uint32_t total = 0;
  for (int i = 0; i < pixels; i += (int)svcntb()) {
    svbool_t pg = svwhilelt_b8_s32(i, pixels);
    svuint8x3_t px = svld3_u8(pg, rgb + 3 * i);
    svuint8_t g = svget3_u8(px, 1);
    total += (uint32_t)svaddv_u8(pg, g);
    total += (uint32_t)svcntp_b8(pg, svcmpeq_n_u8(pg, svget3_u8(px, 0), 0));
  }
  return total;
}

int main(void) {
  volatile uint32_t seed = 2024;
  uint32_t x = seed;
  for (int i = 0; i < N; ++i) {
    x = x * 1664525u + 1013904223u;
    a[i] = (int32_t)(x >> 7) % 50000 - 25000;
    b[i] = (int32_t)(x >> 3) % 3000 - 1500;
  }
  for (int i = 0; i < 3 * N; ++i) bytes[i] = (uint8_t)(i * 37 + (i >> 3));
  for (int n = 0; n <= N; n += 111) {
    reverse_max(out, a, b, n);
    int64_t s = 0;
    for (int i = 0; i < n; ++i) s += out[i] * (int64_t)(i + 1);
    printf("n=%3d dot=%lld absmax=%lld rgb=%u\n", n, (long long)dot_clamped(a, b, n, 1000000), (long long)s,
           rgb_sum(bytes, n));
  }
  return 0;
}
