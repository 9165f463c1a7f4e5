// The SIGILL runner: a library preloaded into a program on an AArch64 host
// without SVE. Every SVE instruction of the program raises SIGILL; the
// handler recognises the word, moves the thread's registers into the
// thread's own cpu_state, carries the instruction out and moves them back,
// and the program goes on after it. Any other SIGILL gets the action that
// was there before the runner, so the program dies as it would without it.
// At exit the runner prints the count of emulated instructions as the
// framework client does; it sees only the instructions it emulates, so its
// second line says that native instructions are not counted.
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

#include "emulate.h"
#include "signal_state.h"

namespace {

struct sigaction previous_action;

// Each thread's state, made on its first SVE instruction. Signal handlers
// must not allocate through malloc, and an initial-exec TLS slot is reached
// without it.
[[gnu::tls_model("initial-exec")]] thread_local cpu_state* thread_state;

cpu_state* state_of_this_thread() {
  if (!thread_state) {
    void* p = mmap(nullptr, sizeof(cpu_state), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p != MAP_FAILED) thread_state = static_cast<cpu_state*>(p);
  }
  return thread_state;
}

// Gives the signal back to the action that the runner replaced: for a fault
// the instruction runs again and faults under it; a signal sent by a process
// is raised again.
void pass_on(const siginfo_t* info) {
  sigaction(SIGILL, &previous_action, nullptr);
  if (info->si_code <= 0) raise(SIGILL);
}

void on_sigill(int, siginfo_t* info, void* context) {
  auto* uc = static_cast<ucontext_t*>(context);
  auto* pc = reinterpret_cast<uint32_t*>(uc->uc_mcontext.pc);
  sve_handler h = info->si_code > 0 ? is_sve(*pc) : nullptr;
  cpu_state* s = h ? state_of_this_thread() : nullptr;
  if (!s || !sve::state_from_signal(uc, s)) {
    if (info->si_code > 0) sve::report_illegal_instruction("sve-run", pc);
    return pass_on(info);
  }
  sve::emulate_word(s, *pc, pc, h);
  sve::state_to_signal(s, uc);
  uc->uc_mcontext.pc += 4;
}

[[gnu::constructor]] void install() {
  struct sigaction sa {};
  sa.sa_sigaction = on_sigill;
  sa.sa_flags = SA_SIGINFO;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGILL, &sa, &previous_action);
}

// The program's buffered output goes first, so that the report follows it.
[[gnu::destructor]] void report() {
  fflush(nullptr);
  char path[PATH_MAX] = "?";
  ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n > 0) path[n] = 0;
  sve::print_exit_report(path, std::nullopt);
}

}  // namespace
