// A program that chooses its code at run time, as libraries built for
// several processors do: built for ARMv8.0, it asks getauxval and prctl
// whether the processor has SVE, and SVE2 with which extensions, and how
// long its vectors are, and runs its SVE code only when told so. Arguments:
//   (none)  what it was told, which code it chose, and the result;
//   id      also ID_AA64PFR0_EL1's SVE field, the SVE2 fields of
//           ID_AA64ZFR0_EL1 and prctl as a raw system call;
//   other   the answer to PR_SVE_SET_VL for 256 bytes, a length the
//           emulated processor lacks;
//   auxv    also what /proc/self/auxv says.
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#pragma GCC push_options
#pragma GCC target("+sve")
#include <arm_sve.h>
__attribute__((noinline)) static int64_t sum_sve(const int32_t* a, int n) {
  int64_t sum = 0;
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32(i, n);
    sum += svaddv_s32(pg, svld1_s32(pg, a + i));
  }
  return sum;
}
#pragma GCC pop_options

__attribute__((noinline)) static int64_t sum_scalar(const int32_t* a, int n) {
  int64_t sum = 0;
  for (int i = 0; i < n; ++i) sum += a[i];
  return sum;
}

int main(int argc, char** argv) {
  const char* mode = argc > 1 ? argv[1] : "";
  static int32_t data[1001];
  for (int i = 0; i < 1001; ++i) data[i] = i * 3 - 1000;

  const int sve = (getauxval(AT_HWCAP) & HWCAP_SVE) != 0;
  const int vl = prctl(PR_SVE_GET_VL);
  printf("getauxval: SVE %s\n", sve ? "yes" : "no");
  // SVE2, AES, PMULL, BitPerm, SHA3 and SM4.
  printf("getauxval: SVE2 bits %#lx\n", getauxval(AT_HWCAP2) & 0x7e);
  if (vl >= 0)
    printf("prctl: %d bytes a vector\n", vl & PR_SVE_VL_LEN_MASK);
  else
    printf("prctl: no vector length (%s)\n", strerror(errno));
  if (sve) {
    printf("PR_SVE_SET_VL of its own length: %d\n", prctl(PR_SVE_SET_VL, vl & PR_SVE_VL_LEN_MASK));
    errno = 0;
    printf("PR_SVE_SET_VL of 100 bytes: %d (%s)\n", prctl(PR_SVE_SET_VL, 100), strerror(errno));
  }
  if (!strcmp(mode, "id")) {
    uint64_t pfr0;
    __asm__ volatile("mrs %0, ID_AA64PFR0_EL1" : "=r"(pfr0));
    printf("ID_AA64PFR0_EL1: SVE field %d\n", (int)(pfr0 >> 32 & 15));
    uint64_t zfr0;
    __asm__ volatile("mrs %0, S3_0_C0_C4_4" : "=r"(zfr0));  // ID_AA64ZFR0_EL1
    printf("ID_AA64ZFR0_EL1: SVEver %d AES %d BitPerm %d SHA3 %d SM4 %d\n", (int)(zfr0 & 15), (int)(zfr0 >> 4 & 15),
           (int)(zfr0 >> 16 & 15), (int)(zfr0 >> 32 & 15), (int)(zfr0 >> 40 & 15));
    printf("raw prctl: %ld\n", syscall(SYS_prctl, PR_SVE_GET_VL, 0, 0, 0, 0));
  }
  if (!strcmp(mode, "auxv")) {
    FILE* f = fopen("/proc/self/auxv", "r");
    unsigned long entry[2] = {0, 0};
    unsigned long hwcap = 0, hwcap2 = 0;
    while (f && fread(entry, sizeof entry, 1, f) == 1 && entry[0] != AT_NULL) {
      if (entry[0] == AT_HWCAP) hwcap = entry[1];
      if (entry[0] == AT_HWCAP2) hwcap2 = entry[1];
    }
    printf("/proc/self/auxv: SVE %s, SVE2 bits %#lx\n", hwcap & HWCAP_SVE ? "yes" : "no", hwcap2 & 0x7e);
    if (f) fclose(f);
  }
  if (!strcmp(mode, "other")) printf("PR_SVE_SET_VL of 256 bytes: %d\n", prctl(PR_SVE_SET_VL, 256));

  if (sve && vl > 0)
    printf("SVE code: sum %lld\n", (long long)sum_sve(data, 1001));
  else
    printf("scalar code: sum %lld\n", (long long)sum_scalar(data, 1001));
  return 0;
}
