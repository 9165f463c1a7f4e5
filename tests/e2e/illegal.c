// Instructions that the runner cannot carry out, chosen by argv[1]:
//   fp16  a scalar half-precision move, which ARMv8.2 processors have and
//         ARMv8.0 ones lack;
//   sve2  an SVE2 word, outside the emulated set;
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
  else
    __asm__ volatile(".inst 0x2518e3e0" ::: "cc");  // ptrue p0.b
  printf("reached\n");
  return 0;
}
