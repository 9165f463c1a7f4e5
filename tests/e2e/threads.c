// Four threads, each running compiler-vectorised loops on data of its own
// at the same time, so that every thread needs its own register state in
// the emulator. Results are printed after all threads have joined.
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

#define THREADS 4
#define N 2000

struct job {
  int id;
  int32_t x[N], y[N];
  int64_t checksum;
};

__attribute__((noinline)) void saxpy(int32_t* restrict y, const int32_t* restrict x, int32_t k, int n) {
  for (int i = 0; i < n; ++i) y[i] += k * x[i];
}

__attribute__((noinline)) int64_t total(const int32_t* y, int n) {
  int64_t s = 0;
  for (int i = 0; i < n; ++i) s += y[i];
  return s;
}

static void* work(void* arg) {
  struct job* j = arg;
  for (int i = 0; i < N; ++i) {
    j->x[i] = (i * 31 + j->id * 7) % 1001 - 500;
    j->y[i] = i % 13 - j->id;
  }
  j->checksum = 0;
  for (int round = 0; round < 50; ++round) {
    int n = N - 37 * round - j->id;
    saxpy(j->y, j->x, round - 20 + j->id, n);
    j->checksum = j->checksum * 31 + total(j->y, n);
  }
  return 0;
}

int main(void) {
  static struct job jobs[THREADS];
  pthread_t t[THREADS];
  for (int i = 0; i < THREADS; ++i) {
    jobs[i].id = i;
    pthread_create(&t[i], 0, work, &jobs[i]);
  }
  for (int i = 0; i < THREADS; ++i) pthread_join(t[i], 0);
  for (int i = 0; i < THREADS; ++i) printf("thread %d checksum %lld\n", i, (long long)jobs[i].checksum);
  return 0;
}
