// Compute loops of one instruction family each, for counting whole-program
// instructions per emulated SVE instruction: each runs its loop PASSES
// times over an array, so that two runs at different pass counts give the
// cost of the loop's instructions alone, without the program's start and
// exit.
//   family_loops integer|float|memory|predicate PASSES
#include <arm_sve.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define N 4096

static int32_t ia[N], ib[N];
static float fa[N], fb[N];
static uint32_t idx[N];

// WHILELO, LD1W, MUL, ADD, ST1W and INCW: a loop of cheap integer work.
__attribute__((noinline)) static void integer(int32_t* restrict a, const int32_t* restrict b, int32_t k) {
  for (int i = 0; i < N; ++i) a[i] = a[i] * k + b[i];
}

// FMLA on single precision, the body of axpy.
__attribute__((noinline)) static void floating(float* restrict a, const float* restrict b, float k) {
  for (int i = 0; i < N; ++i) a[i] += k * b[i];
}

// A gather through an index array and a contiguous store.
__attribute__((noinline)) static void memory(int32_t* restrict a, const int32_t* restrict b, const uint32_t* idx) {
  for (int i = 0; i < N; ++i) a[i] = b[idx[i]];
}

// Compares and predicate logic: a count of elements inside a range.
__attribute__((noinline)) static int64_t predicate(const int32_t* a, int32_t lo, int32_t hi) {
  svint64_t n = svdup_s64(0);
  for (int i = 0; i < N; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32(i, N);
    svint32_t v = svld1(pg, a + i);
    svbool_t in = svand_z(pg, svcmpge(pg, v, lo), svcmple(pg, v, hi));
    n = svadd_x(svptrue_b64(), n, svdup_s64((int64_t)svcntp_b32(pg, in)));
  }
  return svaddv(svptrue_b64(), n);
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: family_loops integer|float|memory|predicate PASSES\n");
    return 2;
  }
  const long passes = atol(argv[2]);
  for (int i = 0; i < N; ++i) {
    ia[i] = i * 7 - 3000, ib[i] = i ^ 0x155, fa[i] = (float)i / 3.0f, fb[i] = 1.0f / (float)(i + 1);
    idx[i] = (uint32_t)(i * 2654435761u) % N;
  }
  int64_t check = 0;
  for (long p = 0; p < passes; ++p) {
    if (strcmp(argv[1], "integer") == 0) integer(ia, ib, 3);
    else if (strcmp(argv[1], "float") == 0) floating(fa, fb, 0.5f);
    else if (strcmp(argv[1], "memory") == 0) memory(ia, ib, idx);
    else if (strcmp(argv[1], "predicate") == 0) check += predicate(ia, -1000, 1000);
    else {
      fprintf(stderr, "family_loops: no family %s\n", argv[1]);
      return 2;
    }
  }
  printf("%s %ld %d %f %ld\n", argv[1], passes, ia[N / 2], (double)fa[N / 3], (long)check);
  return 0;
}
