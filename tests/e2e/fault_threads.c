// One thread faults on purpose, over and over, and recovers in a SIGSEGV
// handler of the program's with sigsetjmp, while the main thread runs
// first-fault loads that stop at an unmapped page: each fault must reach
// the thread that took it, the program's faults its handler and the
// emulator's probes the emulator.
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include "signal_programs.h"

#define ROUNDS 400

static __thread sigjmp_buf thread_recover;
static volatile int faults_caught;
static volatile int running = 1;

static void on_segv(int sig, siginfo_t* info, void* context) {
  (void)sig, (void)info, (void)context;
  siglongjmp(thread_recover, 1);
}

static volatile uintptr_t unmapped = 32;

static void fault_once(void) {
  if (sigsetjmp(thread_recover, 1) == 0) *(volatile int*)unmapped = 1;
  else ++faults_caught;
}

static void* faulter(void* arg) {
  (void)arg;
  for (int i = 0; i < ROUNDS; ++i) fault_once();
  // Stays busy until the loads are done, so that the two overlap.
  while (running) sched_yield();
  return 0;
}

int main(void) {
  size_t page = (size_t)sysconf(_SC_PAGESIZE);
  char* two = mmap(0, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  mprotect(two + page, page, PROT_NONE);
  struct sigaction sa = {0};
  sa.sa_sigaction = on_segv;
  sa.sa_flags = SA_SIGINFO;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGSEGV, &sa, 0);

  pthread_t t;
  pthread_create(&t, 0, faulter, 0);
  int wrong = 0;
  for (int i = 0; i < ROUNDS; ++i) {
    // ffr may stop short of the page's end, never before the first element.
    const int k = 1 + i % 7;
    const uint64_t n = readable_words((const int32_t*)(two + page) - k);
    if (n < 1 || n > (uint64_t)k) ++wrong;
  }
  running = 0;
  pthread_join(t, 0);
  printf("first-fault loads: %d rounds, %d narrowed wrongly\n", ROUNDS, wrong);
  printf("faults caught by the program's handler: %d\n", faults_caught);
  return 0;
}
