// PTRUE and PTRUES with every pattern at every element size, and PFALSE,
// each on its own between instructions that are not SVE, where the client
// writes the predicate inline. After each one the flags are read (PTRUE
// and PFALSE must leave them) and the predicate is stored and printed. X0,
// X1, Q0 and Q1, which the inline code borrows, carry values through all
// of it that are printed at the end.
#include <stdint.h>
#include <stdio.h>

__asm__(".arch armv8.2-a+sve");

#define CASES (4 * 32 * 2 + 5)

// write_predicates(bytes, flags, canaries): 32 bytes of bytes and one flags
// word per case; canaries holds Q0 and Q1 on entry, and gets them back
// with X0 and X1 as they were after the last case.
void write_predicates(uint8_t* bytes, uint64_t* flags, uint64_t* canaries);
__asm__(
    ".text\n"
    ".global write_predicates\n"
    "write_predicates:\n"
    "  ldp q0, q1, [x2]\n"
    "  .irp size, b, h, s, d\n"
    "  .irp pattern, 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31\n"
    "  cmp x0, x0\n"
    "  ptrue p3.\\size, #\\pattern\n"
    "  mrs x3, nzcv\n"
    "  str x3, [x1], #8\n"
    "  str p3, [x0]\n"
    "  add x0, x0, #32\n"
    "  cmn x0, #1\n"
    "  ptrues p9.\\size, #\\pattern\n"
    "  mrs x3, nzcv\n"
    "  str x3, [x1], #8\n"
    "  str p9, [x0]\n"
    "  add x0, x0, #32\n"
    "  .endr\n"
    "  .endr\n"
    // The first and last predicate of each half of the file.
    "  .irp p, p0, p7, p8, p15\n"
    "  cmp x0, x0\n"
    "  ptrues \\p\\().s, mul3\n"
    "  mrs x3, nzcv\n"
    "  str x3, [x1], #8\n"
    "  str \\p, [x0]\n"
    "  add x0, x0, #32\n"
    "  .endr\n"
    "  cmp x1, x1\n"
    "  pfalse p9.b\n"
    "  mrs x3, nzcv\n"
    "  str x3, [x1], #8\n"
    "  str p9, [x0]\n"
    "  stp q0, q1, [x2]\n"
    "  stp x0, x1, [x2, #32]\n"
    "  ret\n");

static uint8_t bytes[CASES][32];
static uint64_t flags[CASES];
static uint64_t canaries[6] = {0x0123456789abcdef, 0xfedcba9876543210, 0x1111222233334444, 0x5555666677778888};

int main(void) {
  write_predicates(&bytes[0][0], flags, canaries);
  for (int c = 0; c < CASES; ++c) {
    printf("%3d nzcv %08llx", c, (unsigned long long)flags[c]);
    for (int i = 0; i < 32; ++i) printf(" %02x", bytes[c][i]);
    printf("\n");
  }
  printf("q0 %016llx %016llx q1 %016llx %016llx\n", (unsigned long long)canaries[0], (unsigned long long)canaries[1],
         (unsigned long long)canaries[2], (unsigned long long)canaries[3]);
  printf("x0 at %lld x1 at %lld\n", (long long)((uint8_t*)canaries[4] - &bytes[0][0]),
         (long long)((uint8_t*)canaries[5] - (uint8_t*)flags));
  return 0;
}
