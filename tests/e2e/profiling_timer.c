// A profiling timer at a high rate whose handler runs SVE code of its own
// while the main loop runs SVE code, as a sampling profiler with vectorised
// bookkeeping would: every sum, in the handler and in the loop, must be
// exact, and the loop must see its own registers after each interruption.
// The loop runs until the handler has run a fixed number of times, so the
// output does not depend on speed.
#include <arm_sve.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/time.h>

#define RUNS 40

static int32_t loop_data[3001], handler_data[777];
static int64_t loop_expected, handler_expected;
static volatile int handler_runs, handler_wrong;

// Keeps a predicate and an accumulator live in registers across the loop,
// with a tail, so that a handler that changed them would show.
__attribute__((noinline)) int64_t sve_sum(const int32_t* a, int n) {
  svint64_t acc = svdup_s64(0);
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32(i, n);
    svint32_t v = svld1_s32(pg, a + i);
    acc = svadd_s64_x(svptrue_b64(), acc, svunpklo_s64(v));
    acc = svadd_s64_x(svptrue_b64(), acc, svunpkhi_s64(v));
  }
  return svaddv_s64(svptrue_b64(), acc);
}

static void on_prof(int sig) {
  (void)sig;
  if (sve_sum(handler_data, 777) != handler_expected) ++handler_wrong;
  ++handler_runs;
}

int main(void) {
  for (int i = 0; i < 3001; ++i) loop_expected += loop_data[i] = (i * 37) % 2001 - 1000;
  for (int i = 0; i < 777; ++i) handler_expected += handler_data[i] = 5000 - i * 11;

  struct sigaction sa = {0};
  sa.sa_handler = on_prof;
  sa.sa_flags = SA_RESTART;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGPROF, &sa, 0);
  struct itimerval every = {{0, 500}, {0, 500}}, stop = {{0, 0}, {0, 0}};
  setitimer(ITIMER_PROF, &every, 0);
  int loop_wrong = 0;
  while (handler_runs < RUNS)
    if (sve_sum(loop_data, 3001) != loop_expected) ++loop_wrong;
  setitimer(ITIMER_PROF, &stop, 0);

  printf("handler ran at least %d times\n", RUNS);
  printf("wrong sums: loop %d, handler %d\n", loop_wrong, handler_wrong);
  printf("sums: loop %lld, handler %lld\n", (long long)sve_sum(loop_data, 3001), (long long)sve_sum(handler_data, 777));
  return 0;
}
