// The reference side of the conformance harness: runs each case's word on
// the processor's own SVE unit (under qemu, an independent model of the
// architecture) and reports the final state. A case that faults is reported
// as faulting.
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>

#include <cstring>

#include "layout.h"
#include "runner_io.h"

extern "C" char case_template_start[], case_slot[], case_template_end[];

static_assert(offsetof(conf::state, p) == CONF_P_OFF);
static_assert(offsetof(conf::state, x) == CONF_X_OFF);
static_assert(offsetof(conf::state, sp) == CONF_SP_OFF);
static_assert(offsetof(conf::state, fpcr) == CONF_FPCR_OFF);
static_assert(sizeof(conf::state) == CONF_SAVE_OFF);

namespace {

sigjmp_buf recovery;
volatile sig_atomic_t fault;

void on_fault(int sig, siginfo_t*, void*) {
  fault = sig;
  siglongjmp(recovery, 1);
}

conf::status status_of(int sig) {
  switch (sig) {
    case SIGILL: return conf::sigill;
    case SIGSEGV: return conf::sigsegv;
    case SIGBUS: return conf::sigbus;
    default: return conf::other_signal;
  }
}

}  // namespace

int main() {
  auto* st = reinterpret_cast<conf::state*>(
      conf::map_fixed(CONF_STATE_ADDR, 1 << 16, PROT_READ | PROT_WRITE));
  uint8_t* arena = conf::map_arena();

  // The case code: a private copy of the template with a writable slot.
  size_t code_size = size_t(case_template_end - case_template_start);
  auto* code = static_cast<char*>(
      mmap(nullptr, code_size, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  std::memcpy(code, case_template_start, code_size);
  auto* slot = reinterpret_cast<uint32_t*>(code + (case_slot - case_template_start));
  auto run = reinterpret_cast<void (*)()>(code);

  // Faults are taken on a stack of their own: the case's sp points into the
  // arena and may be anything.
  static char alt_stack[1 << 16];
  stack_t ss{};
  ss.ss_sp = alt_stack;
  ss.ss_size = sizeof alt_stack;
  sigaltstack(&ss, nullptr);
  struct sigaction sa {};
  sa.sa_sigaction = on_fault;
  sa.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  for (int sig : {SIGILL, SIGSEGV, SIGBUS, SIGFPE, SIGTRAP}) sigaction(sig, &sa, nullptr);

  for (const conf::case_in& c : conf::read_cases()) {
    conf::make_state(c.seed, c.size, *st, c.near_end);
    conf::fill_arena(c.seed, arena);
    *slot = c.word;
    __builtin___clear_cache(reinterpret_cast<char*>(slot), reinterpret_cast<char*>(slot + 1));
    fault = 0;
    conf::case_out out{};
    if (sigsetjmp(recovery, 1) == 0) {
      run();
      out.digest = conf::digest(*st, arena);
    } else {
      out.status = status_of(fault);
      // The case's control register may still be in force.
      asm volatile("msr fpcr, xzr");
    }
    conf::write_result(out, c, *st, arena);
  }
  return 0;
}
