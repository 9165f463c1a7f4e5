// Instructions that the runner cannot carry out, chosen by argv[1]:
//   fp16  a scalar half-precision move, which ARMv8.2 processors have and
//         ARMv8.0 ones lack;
//   sve2  an SVE2 word, outside the emulated set;
//   fault an emulated SVE load from the page at address 0;
//   ok    one emulated SVE instruction.
// Prints "reached" after the instruction, which only a processor or
// emulator that has it lets the program see.
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  const char* what = argc > 1 ? argv[1] : "ok";
  if (!strcmp(what, "fp16"))
    __asm__ volatile(".inst 0x1eee1000" ::: "v0");  // fmov h0, #1.0
  else if (!strcmp(what, "sve2"))
    __asm__ volatile(".inst 0x44188020" ::: "v0");  // sqadd z0.b, p0/m, z0.b, z1.b
  else if (!strcmp(what, "fault"))
    // ptrue p0.d; ld1d z0.d, p0/z, [x0], with x0 = 0 from argc
    __asm__ volatile("mov x0, %0\n .inst 0x25d8e3e0\n .inst 0xa5e0a000" ::"r"((long)(argc - 2) * 0)
                     : "x0", "v0", "memory");
  else
    __asm__ volatile(".inst 0x2518e3e0" ::: "cc");  // ptrue p0.b
  printf("reached\n");
  return 0;
}
