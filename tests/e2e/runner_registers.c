// The register transfer of the runner, seen from the program: general
// registers up to x28 and the flags written by emulated instructions reach
// the program, and a native SIMD write between two emulated instructions
// gives the second one the new low 16 bytes with the old upper bytes of the
// Z register. Prints "register transfer ok" or what went wrong.
#include <stdint.h>
#include <stdio.h>

__asm__(".arch armv8.2-a+sve");

static int failures;
static void check(const char* what, uint64_t got, uint64_t want) {
  if (got != want) {
    printf("%s: got %#llx, want %#llx\n", what, (unsigned long long)got, (unsigned long long)want);
    ++failures;
  }
}

int main(void) {
  uint64_t x26, x27, x28;
  __asm__ volatile(
      "ptrue p0.d\n"
      "index z1.d, #7, #0\n index z2.d, #8, #0\n index z3.d, #9, #0\n"
      "lastb x26, p0, z1.d\n lastb x27, p0, z2.d\n lastb x28, p0, z3.d\n"
      "mov %0, x26\n mov %1, x27\n mov %2, x28\n"
      : "=r"(x26), "=r"(x27), "=r"(x28)
      :
      : "x26", "x27", "x28", "p0", "z1", "z2", "z3");
  check("x26", x26, 7);
  check("x27", x27, 8);
  check("x28", x28, 9);

  // WHILELO with 0 < 5 sets N, clears Z and sets C (the last element is
  // false); with 5 < 5 it sets Z and C.
  uint64_t lo = 0, hi = 5, nzcv_first, nzcv_none;
  __asm__ volatile("msr nzcv, xzr\n whilelo p1.s, %2, %3\n mrs %0, nzcv\n whilelo p1.s, %3, %3\n mrs %1, nzcv"
                   : "=&r"(nzcv_first), "=&r"(nzcv_none)
                   : "r"(lo), "r"(hi)
                   : "p1", "cc");
  check("nzcv after whilelo 0 < 5", nzcv_first, 0xa0000000);
  check("nzcv after whilelo 5 < 5", nzcv_none, 0x60000000);
  int first;
  __asm__ volatile("whilelo p1.s, %1, %2\n cset %w0, mi" : "=r"(first) : "r"(lo), "r"(hi) : "p1", "cc");
  check("b.first after whilelo", first, 1);

  // z0 = 1, 2, 3, ... emulated; a native write of its low 16 bytes; then
  // element 0 and the last byte read by emulated instructions.
  uint64_t low, last, last_index;
  __asm__ volatile(
      "ptrue p0.b\n index z0.b, #1, #1\n index z2.b, #0, #1\n"
      "movi v0.16b, #0xff\n"
      "pfalse p1.b\n lasta w9, p1, z0.b\n lastb w10, p0, z0.b\n lastb w11, p0, z2.b\n"
      "mov %0, x9\n mov %1, x10\n mov %2, x11\n"
      : "=r"(low), "=r"(last), "=r"(last_index)
      :
      : "x9", "x10", "x11", "p0", "p1", "z0", "z2");
  check("low byte after a native write", low, 0xff);
  check("last byte after a native write", last, (last_index + 1) & 0xff);
  if (!failures) printf("register transfer ok\n");
  return failures != 0;
}
