// A program with SIGILL and SIGSEGV handlers of its own, as crash reporters
// and test harnesses have: it reads its actions back, recovers with
// sigsetjmp from native faults, from SVE loads of an unreadable page and
// from an illegal instruction that is not SVE, repairs a page in a handler
// that returns so that the SVE store that faulted runs again, and uses
// SA_RESETHAND and signal(). SVE code runs between all of these.
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include "signal_programs.h"

static volatile int segv_seen, ill_seen, repairs;
static int32_t data[1000];
static char* page;
static size_t page_size;

static void on_segv(int sig, siginfo_t* info, void* context) {
  (void)sig, (void)info, (void)context;
  ++segv_seen;
  siglongjmp(recover, 1);
}

static void on_ill(int sig) {
  (void)sig;
  ++ill_seen;
  siglongjmp(recover, 1);
}

// Makes the page writable and returns: the instruction that faulted runs
// again and succeeds.
static void repair(int sig, siginfo_t* info, void* context) {
  (void)sig, (void)info, (void)context;
  ++repairs;
  mprotect(page, page_size, PROT_READ | PROT_WRITE);
}

static volatile uintptr_t unmapped = 8;
static void native_fault(void) { *(volatile int*)unmapped = 1; }
static void sve_load_fault(void) {
  svint32_t v = svld1_s32(svptrue_b32(), (const int32_t*)page);
  printf("SVE load of an unreadable page gave %lld\n", (long long)svaddv_s32(svptrue_b32(), v));
}
static void illegal(void) { __asm__ volatile(".inst 0x00000000"); /* permanently undefined */ }

__attribute__((noinline)) void sve_store(int32_t* p) { svst1_s32(svptrue_b32(), p, svindex_s32(5, 3)); }

static void once(int sig) { printf("SIGUSR1 handled once (signal %d)\n", sig); }

int main(void) {
  page_size = (size_t)sysconf(_SC_PAGESIZE);
  for (int i = 0; i < 1000; ++i) data[i] = i * 7 - 3000;
  page = mmap(0, page_size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);

  struct sigaction sa = {0}, back;
  sa.sa_sigaction = on_segv;
  sa.sa_flags = SA_SIGINFO;
  sigemptyset(&sa.sa_mask);
  sigaddset(&sa.sa_mask, SIGUSR2);
  sigaction(SIGSEGV, &sa, 0);
  void (*previous)(int) = signal(SIGILL, on_ill);
  printf("SIGILL's action before: %s\n", previous == SIG_DFL ? "default" : "other");
  sigaction(SIGSEGV, 0, &back);
  printf("SIGSEGV reads back: handler %d, SA_SIGINFO %d, mask SIGUSR2 %d, mask SIGUSR1 %d\n",
         back.sa_sigaction == on_segv, !!(back.sa_flags & SA_SIGINFO), sigismember(&back.sa_mask, SIGUSR2),
         sigismember(&back.sa_mask, SIGUSR1));
  sigaction(SIGILL, 0, &back);
  printf("SIGILL reads back: handler %d\n", back.sa_handler == on_ill);
  printf("sum %lld\n", (long long)sve_sum(data, 1000));

  for (int round = 0; round < 3; ++round)
    printf("round %d: native fault recovered %d, sum %lld\n", round, recovered(native_fault),
           (long long)sve_sum(data, 1000 - round));
  for (int round = 0; round < 3; ++round)
    printf("round %d: SVE load fault recovered %d, sum %lld\n", round, recovered(sve_load_fault),
           (long long)sve_sum(data + round, 900));
  printf("illegal instruction recovered %d, sum %lld\n", recovered(illegal), (long long)sve_sum(data, 999));

  sa.sa_sigaction = repair;
  sigaction(SIGSEGV, &sa, 0);
  sve_store((int32_t*)page);
  __asm__ volatile("" ::: "memory");
  printf("SVE store after a repair: %d %d, repairs %d\n", ((int32_t*)page)[0], ((int32_t*)page)[2], repairs);

  struct sigaction reset = {0};
  reset.sa_handler = once;
  reset.sa_flags = SA_RESETHAND;
  sigaction(SIGUSR1, &reset, 0);
  raise(SIGUSR1);
  sigaction(SIGUSR1, 0, &back);
  printf("SIGUSR1 after SA_RESETHAND: %s\n", back.sa_handler == SIG_DFL ? "default" : "still handled");

  printf("faults %d, illegal instructions %d, sum %lld\n", segv_seen, ill_seen, (long long)sve_sum(data, 1000));
  return 0;
}
