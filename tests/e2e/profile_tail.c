// A compiler-vectorised loop whose trip count is no multiple of the vector:
// its last pass runs with a partly filled predicate, which the profile's
// utilisation shows. The profile test checks the counts of saxpy against
// the trip count (profile.sh).
#include <stdio.h>
#include <stdlib.h>

enum { length = 1000, calls = 10 };
float x[length], y[length];

__attribute__((noipa)) void saxpy(float a, float* restrict out, const float* restrict in, int n) {
  for (int i = 0; i < n; i++) out[i] += a * in[i];  // the profiled loop
}

int main(int argc, char** argv) {
  // The length comes from outside, so that the compiler cannot fold it.
  const int n = argc > 1 ? atoi(argv[1]) : length;
  for (int i = 0; i < n; i++) x[i] = (float)i * 0.5f, y[i] = 1.0f;
  for (int c = 0; c < calls; c++) saxpy(2.0f, y, x, n);
  double sum = 0;
  for (int i = 0; i < n; i++) sum += y[i];
  printf("n %d, sum %.1f, y[n-1] %.1f\n", n, sum, (double)y[n - 1]);
  return 0;
}
