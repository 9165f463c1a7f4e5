// Instructions that the runner cannot carry out, chosen by argv[1]:
//   fp16  a scalar half-precision move, which ARMv8.2 processors have and
//         ARMv8.0 ones lack;
//   bf16  an SVE word of the BFloat16 extension, outside the emulated set;
//   fault an emulated SVE load from the page at address 0;
//   probe an instruction that no processor has, taken by a SIGILL handler
//         of the program's, as programs that probe the processor do;
//   ok    one emulated SVE instruction.
// Prints "reached" after the instruction, which only a processor or
// emulator that has it lets the program see.
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>

static sigjmp_buf probe;
static void on_sigill(int sig) { siglongjmp(probe, sig); }

int main(int argc, char** argv) {
  const char* what = argc > 1 ? argv[1] : "ok";
  if (!strcmp(what, "fp16"))
    __asm__ volatile(".inst 0x1eee1000" ::: "v0");  // fmov h0, #1.0
  else if (!strcmp(what, "bf16"))
    __asm__ volatile(".inst 0x64628020" ::: "v0");  // bfdot z0.s, z1.h, z2.h
  else if (!strcmp(what, "fault"))
    // ptrue p0.d; ld1d z0.d, p0/z, [x0], with x0 = 0 from argc
    __asm__ volatile("mov x0, %0\n .inst 0x25d8e3e0\n .inst 0xa5e0a000" ::"r"((long)(argc - 2) * 0)
                     : "x0", "v0", "memory");
  else if (!strcmp(what, "probe")) {
    signal(SIGILL, on_sigill);
    if (sigsetjmp(probe, 1) == 0) __asm__ volatile(".inst 0x00000000");  // permanently undefined
    __asm__ volatile(".inst 0x2518e3e0" ::: "cc");                        // ptrue p0.b
  } else
    __asm__ volatile(".inst 0x2518e3e0" ::: "cc");  // ptrue p0.b
  printf("reached\n");
  return 0;
}
