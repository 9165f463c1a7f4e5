// A program whose count of SVE instructions is known: 1000 WHILELO, one
// PTRUE and one INDEX, all in inline assembly of a program otherwise built
// without SVE. Prints the number of loop iterations that WHILELO allowed.
#include <stdint.h>
#include <stdio.h>

__asm__(".arch armv8.2-a+sve");

int main(void) {
  uint64_t limit = 3;
  int taken = 0;
  __asm__ volatile("ptrue p0.b\n index z0.s, #0, #1" ::: "p0", "z0");
  for (uint64_t i = 0; i < 1000; ++i) {
    int first;
    __asm__ volatile("whilelo p1.s, %1, %2\n cset %w0, mi" : "=r"(first) : "r"(i), "r"(limit) : "p1", "cc");
    taken += first;
  }
  printf("whilelo allowed %d iterations\n", taken);
  return 0;
}
