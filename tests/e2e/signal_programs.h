// What the programs with signal handling of their own share: an SVE sum
// with a tail, a first-fault probe of readable words, and a call that a
// handler may leave by siglongjmp.
#pragma once

#include <arm_sve.h>
#include <setjmp.h>
#include <stdint.h>

static sigjmp_buf recover;

__attribute__((noinline)) int64_t sve_sum(const int32_t* a, int n) {
  int64_t sum = 0;
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32(i, n);
    sum += svaddv_s32(pg, svld1_s32(pg, a + i));
  }
  return sum;
}

// The words readable from p by one first-fault load.
__attribute__((noinline)) uint64_t readable_words(const int32_t* p) {
  svsetffr();
  svint32_t v = svldff1_s32(svptrue_b32(), p);
  (void)v;
  return svcntp_b32(svptrue_b32(), svrdffr());
}

// Runs f and tells whether a handler left it by siglongjmp(recover, ...).
static inline int recovered(void (*f)(void)) {
  if (sigsetjmp(recover, 1) == 0) {
    f();
    return 0;
  }
  return 1;
}
