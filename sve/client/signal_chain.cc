#include "signal_chain.h"

#include <iterator>

namespace sve::chain {

namespace {

constexpr int guarded_signals[] = {SIGILL, SIGSEGV, SIGBUS};

}  // namespace

void strip_guarded(sigset_t* set) {
  for (int sig : guarded_signals) sigdelset(set, sig);
}

disposition disposition_of(const struct sigaction& a) {
  if (!(a.sa_flags & SA_SIGINFO) && a.sa_handler == SIG_DFL) return disposition::by_default;
  if (!(a.sa_flags & SA_SIGINFO) && a.sa_handler == SIG_IGN) return disposition::ignored;
  return disposition::handled;
}

struct sigaction kernel_action(int sig, const struct sigaction& program,
                               void (*runner_handler)(int, siginfo_t*, void*)) {
  struct sigaction k = program;
  if (guarded(sig)) {
    k.sa_sigaction = runner_handler;
    k.sa_flags = SA_SIGINFO | SA_NODEFER | SA_RESTART;
    if (sig != SIGILL && disposition_of(program) == disposition::handled) k.sa_flags |= program.sa_flags & SA_ONSTACK;
    sigemptyset(&k.sa_mask);
    return k;
  }
  if (disposition_of(program) == disposition::handled) {
    k.sa_sigaction = runner_handler;
    k.sa_flags = (program.sa_flags | SA_SIGINFO) & ~SA_RESETHAND;
  }
  strip_guarded(&k.sa_mask);
  return k;
}

route decide(const signal_facts& f) {
  if (f.sig == SIGILL && !f.sent && f.sve_word) return route::emulate;
  if (guarded(f.sig) && f.sig != SIGILL && !f.sent && f.in_probe) return route::resume_probe;
  if (f.emulating && f.sent) return route::delay;
  const bool forced = !f.sent && guarded(f.sig);  // raised by an instruction: it cannot wait
  if (forced && (f.blocked || f.program != disposition::handled)) return route::default_action;
  if (forced && f.emulating) return route::abandon;
  switch (f.program) {
    case disposition::handled: return route::deliver;
    case disposition::ignored: return route::ignore;
    case disposition::by_default: break;
  }
  return route::default_action;
}

unsigned guarded_bits(const sigset_t& set) {
  unsigned bits = 0;
  for (unsigned i = 0; i < std::size(guarded_signals); ++i)
    if (sigismember(&set, guarded_signals[i]) == 1) bits |= 1u << i;
  return bits;
}

unsigned apply_mask_change(unsigned view, int how, const sigset_t& set) {
  const unsigned bits = guarded_bits(set);
  switch (how) {
    case SIG_BLOCK: return view | bits;
    case SIG_UNBLOCK: return view & ~bits;
    case SIG_SETMASK: return bits;
  }
  return view;
}

void add_guarded_bits(sigset_t* set, unsigned view) {
  for (unsigned i = 0; i < std::size(guarded_signals); ++i)
    if (view >> i & 1) sigaddset(set, guarded_signals[i]);
}

}  // namespace sve::chain
