// Signal masks and stacks around SVE code: SIGILL, SIGSEGV and SIGBUS
// blocked while SVE code and first-fault loads run, the mask read back as
// set; a fault handler on an alternate stack that runs SVE code there, for
// a native fault and for a fault of an SVE load; and a handler with and
// without SA_NODEFER that raises its own signal.
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include "signal_programs.h"

#define ALT_BYTES 65536

static int32_t data[1000];
static char* alt;
static volatile int on_alt_stack, alt_runs;
static volatile long long alt_sum;
static volatile int depth, deepest, raised;

static void on_segv(int sig, siginfo_t* info, void* context) {
  (void)sig, (void)info, (void)context;
  char here;
  on_alt_stack = &here >= alt && &here < alt + ALT_BYTES;
  alt_sum = sve_sum(data, 1000);
  ++alt_runs;
  siglongjmp(recover, 1);
}

static volatile uintptr_t unmapped = 16;
static const int32_t* unreadable;
static void native_fault(void) { *(volatile int*)unmapped = 1; }
static void sve_fault(void) { printf("not reached %lld\n", (long long)sve_sum(unreadable, 8)); }

static void nested(int sig) {
  ++depth;
  if (depth > deepest) deepest = depth;
  if (!raised) {
    raised = 1;
    raise(sig);
  }
  --depth;
}

static int nested_depth(int flags) {
  struct sigaction sa = {0};
  sa.sa_handler = nested;
  sa.sa_flags = flags;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGUSR2, &sa, 0);
  depth = deepest = raised = 0;
  raise(SIGUSR2);
  return deepest;
}

int main(void) {
  for (int i = 0; i < 1000; ++i) data[i] = (i * 13) % 101 - 50;
  size_t page = (size_t)sysconf(_SC_PAGESIZE);
  char* two = mmap(0, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  mprotect(two + page, page, PROT_NONE);
  const int32_t* ten_words = (const int32_t*)(two + page) - 10;

  sigset_t block, now;
  sigemptyset(&block);
  sigaddset(&block, SIGILL);
  sigaddset(&block, SIGSEGV);
  sigaddset(&block, SIGBUS);
  sigaddset(&block, SIGUSR1);
  sigprocmask(SIG_BLOCK, &block, 0);
  printf("blocked: sum %lld, readable words %llu\n", (long long)sve_sum(data, 1000),
         (unsigned long long)readable_words(ten_words));
  sigprocmask(SIG_BLOCK, 0, &now);
  printf("mask: SIGILL %d, SIGSEGV %d, SIGBUS %d, SIGUSR1 %d, SIGUSR2 %d\n", sigismember(&now, SIGILL),
         sigismember(&now, SIGSEGV), sigismember(&now, SIGBUS), sigismember(&now, SIGUSR1),
         sigismember(&now, SIGUSR2));
  sigprocmask(SIG_UNBLOCK, &block, 0);
  sigprocmask(SIG_BLOCK, 0, &now);
  printf("unblocked: SIGILL %d, SIGSEGV %d, sum %lld\n", sigismember(&now, SIGILL), sigismember(&now, SIGSEGV),
         (long long)sve_sum(data, 999));

  alt = malloc(ALT_BYTES);
  stack_t ss = {.ss_sp = alt, .ss_size = ALT_BYTES, .ss_flags = 0};
  sigaltstack(&ss, 0);
  struct sigaction sa = {0};
  sa.sa_sigaction = on_segv;
  sa.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGSEGV, &sa, 0);
  const int native = recovered(native_fault);
  printf("native fault %d: handler on the alternate stack %d, its sum %lld\n", native, on_alt_stack, alt_sum);
  on_alt_stack = 0, alt_sum = 0;
  unreadable = (const int32_t*)(two + page);
  const int sve = recovered(sve_fault);
  printf("SVE fault %d: handler on the alternate stack %d, its sum %lld, runs %d\n", sve, on_alt_stack, alt_sum,
         alt_runs);

  printf("SIGUSR2 nested depth: without SA_NODEFER %d, with SA_NODEFER %d\n", nested_depth(0),
         nested_depth(SA_NODEFER));
  printf("sum %lld\n", (long long)sve_sum(data, 1000));
  return 0;
}
