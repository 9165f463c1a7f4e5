// Eight threads, each running a straight-line block of 300 SVE instructions
// 25 times at once: blocks far longer than one fragment of the framework's
// cache holds, on threads that all count into the same statistics. Each
// pass runs 304 SVE instructions, so the report must say 8 * 25 * 304 =
// 60800. Prints each thread's last result after all have joined.
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

__asm__(".arch armv8.2-a+sve");

#define THREADS 8
#define PASSES 25

static uint64_t results[THREADS];

static void* work(void* arg) {
  uint64_t id = (uint64_t)(uintptr_t)arg, r = 0;
  for (uint64_t pass = 0; pass < PASSES; ++pass) {
    uint64_t start = id * 1000 + pass;
    __asm__ volatile(
        "index z0.d, %1, #1\n"
        "index z1.d, %2, #0\n"
        ".rept 300\n add z0.d, z0.d, z1.d\n .endr\n"
        "ptrue p0.d\n"
        "lastb %0, p0, z0.d\n"
        : "=r"(r)
        : "r"(start), "r"(id + 1)
        : "z0", "z1", "p0");
  }
  results[id] = r;
  return 0;
}

int main(void) {
  pthread_t t[THREADS];
  for (uintptr_t i = 0; i < THREADS; ++i) pthread_create(&t[i], 0, work, (void*)i);
  for (int i = 0; i < THREADS; ++i) pthread_join(t[i], 0);
  for (int i = 0; i < THREADS; ++i) printf("thread %d last element %llu\n", i, (unsigned long long)results[i]);
  return 0;
}
