// SVE code in a shared library: a library linked with the program and the
// same code opened with dlopen, built for SVE while the program is not.
#include <arm_sve.h>
#include <stdint.h>

int64_t library_sum(const int32_t* a, int n) {
  int64_t sum = 0;
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32(i, n);
    sum += svaddv_s32(pg, svld1_s32(pg, a + i));
  }
  return sum;
}
