// A compiler-vectorised loop that gathers through an index array: the
// profile counts the elements gathered and the bytes moved, which the
// profile test checks against the loop's length (profile.sh).
#include <stdio.h>
#include <stdlib.h>

enum { length = 777, calls = 5 };
float table[length], out[length];
int order[length];

__attribute__((noipa)) void gather(float* restrict y, const float* restrict x, const int* restrict idx, int n) {
  for (int i = 0; i < n; i++) y[i] = x[idx[i]];  // the profiled loop
}

int main(int argc, char** argv) {
  const int n = argc > 1 ? atoi(argv[1]) : length;
  for (int i = 0; i < n; i++) table[i] = (float)(i * i % 1009), order[i] = (i * 37) % n;
  double sum = 0;
  for (int c = 0; c < calls; c++) {
    gather(out, table, order, n);
    sum += out[c] + out[n - 1 - c];
  }
  printf("n %d, sum %.1f, out[1] %.1f\n", n, sum, (double)out[1]);
  return 0;
}
