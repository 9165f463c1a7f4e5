// The SIGILL runner: a library preloaded into a program on an AArch64 host
// without SVE. Every SVE instruction of the program raises SIGILL; the
// handler recognises the word, moves the thread's registers into the
// thread's own cpu_state, carries the instruction out and moves them back,
// and the program goes on after it. At exit the runner prints the count of
// emulated instructions as the framework client does; it sees only the
// instructions it emulates, so its second line says that native
// instructions are not counted.
//
// The program may have signal handling of its own. The runner stands in
// front of the C library's functions that set actions and masks, so that
// its handlers stay first and the program still sees and gets what it asked
// for (signal_chain.h): a signal that is the program's reaches the
// program's handler with the program's flags, mask, siginfo and context.
// Programs that set actions by raw system calls go past the runner.
#include <dlfcn.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "../decode/decode.h"
#include "../decode/stats.h"
#include "../memory/memory_access.h"
#include "emulate.h"
#include "signal_chain.h"
#include "signal_state.h"

namespace {

namespace chain = sve::chain;
using sigaction_fn = int (*)(int, const struct sigaction*, struct sigaction*);
using sigmask_fn = int (*)(int, const sigset_t*, sigset_t*);

// The C library's own functions, which those of the runner stand in front of.
struct libc_functions {
  sigaction_fn sigaction = reinterpret_cast<sigaction_fn>(dlsym(RTLD_NEXT, "sigaction"));
  sigmask_fn sigprocmask = reinterpret_cast<sigmask_fn>(dlsym(RTLD_NEXT, "sigprocmask"));
  sigmask_fn pthread_sigmask = reinterpret_cast<sigmask_fn>(dlsym(RTLD_NEXT, "pthread_sigmask"));
};
const libc_functions& libc() {
  static const libc_functions functions;
  return functions;
}

// What the runner keeps for each thread, made on its first SVE instruction
// or first signal. Signal handlers must not allocate through malloc, and an
// initial-exec TLS slot is reached without it.
constexpr unsigned max_kept = 16;
struct thread_data {
  cpu_state state;
  volatile sig_atomic_t emulating;
  // The context of the instruction being emulated, and where the emulation
  // goes back to when one of its accesses faults.
  ucontext_t* interrupted;
  sigjmp_buf abandon;
  // Signals that arrived during an emulation, raised again after it.
  sigset_t delayed;
  siginfo_t delayed_info[NSIG];
  // Copies of the registers while handlers of the program run, and the
  // frame of each delivery.
  unsigned kept;
  cpu_state* copies[max_kept];
  const void* frames[max_kept];
};
[[gnu::tls_model("initial-exec")]] thread_local thread_data* this_thread;
// The program's mask of the guarded signals on this thread (chain::guarded_bits).
[[gnu::tls_model("initial-exec")]] thread_local unsigned program_mask;

void* map_pages(size_t bytes) {
  void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return p == MAP_FAILED ? nullptr : p;
}

thread_data* data_of_this_thread() {
  if (!this_thread) this_thread = static_cast<thread_data*>(map_pages(sizeof(thread_data)));
  return this_thread;
}

// The program's actions, read in handlers while another thread may change
// them: a version count, odd while a change is under way, lets a reader
// take a whole copy. Actions the program never set are the kernel's.
struct program_action {
  std::atomic<unsigned> version;
  bool known;
  struct sigaction action;
};
program_action actions[NSIG];
sve::spin_lock actions_lock;

struct sigaction action_of(int sig) {
  program_action& p = actions[sig];
  for (;;) {
    const unsigned v = p.version.load(std::memory_order_acquire);
    struct sigaction a = p.action;
    const bool known = p.known;
    std::atomic_thread_fence(std::memory_order_acquire);
    if (v % 2 == 0 && p.version.load(std::memory_order_relaxed) == v) {
      if (!known) libc().sigaction(sig, nullptr, &a);
      return a;
    }
  }
}

void on_signal(int sig, siginfo_t* info, void* context);

// Records the program's action and gives the kernel the runner's, with every
// signal blocked so that no handler of this thread sees half a change.
int set_action(int sig, const struct sigaction& program) {
  sigset_t all, before;
  sigfillset(&all);
  libc().pthread_sigmask(SIG_SETMASK, &all, &before);
  actions_lock.lock();
  program_action& p = actions[sig];
  const bool known_before = p.known;
  const struct sigaction action_before = p.action;
  p.version.fetch_add(1, std::memory_order_acq_rel);
  p.action = program;
  sigdelset(&p.action.sa_mask, SIGKILL);
  sigdelset(&p.action.sa_mask, SIGSTOP);
  p.known = true;
  p.version.fetch_add(1, std::memory_order_release);
  const struct sigaction k = chain::kernel_action(sig, program, on_signal);
  const int rc = libc().sigaction(sig, &k, nullptr);
  if (rc != 0) {
    p.version.fetch_add(1, std::memory_order_acq_rel);
    p.action = action_before;
    p.known = known_before;
    p.version.fetch_add(1, std::memory_order_release);
  }
  actions_lock.unlock();
  const int saved_errno = errno;
  libc().pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = saved_errno;
  return rc;
}

bool masked_by_program(int sig) {
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, sig);
  return (chain::guarded_bits(one) & program_mask) != 0;
}

// Keeps the thread's registers while a handler of the program runs and puts
// them back when it returns, as the kernel's signal frame keeps the SVE
// registers on hardware: the handler's SVE instructions change only the
// handler's view. A handler that leaves by a jump does not come back; its
// copy is dropped by the next delivery at or above its frame.
class kept_registers {
 public:
  explicit kept_registers(thread_data* t) : t_(t) {
    if (!t_) return;
    const void* frame = __builtin_frame_address(0);
    while (t_->kept && t_->frames[t_->kept - 1] <= frame) --t_->kept;
    if (t_->kept == max_kept) return;
    cpu_state*& copy = t_->copies[t_->kept];
    if (!copy) copy = static_cast<cpu_state*>(map_pages(sizeof(cpu_state)));
    if (!copy) return;
    std::memcpy(copy, &t_->state, sizeof(cpu_state));
    t_->frames[t_->kept] = frame;
    slot_ = ++t_->kept;
  }
  ~kept_registers() {
    if (!slot_) return;
    std::memcpy(&t_->state, t_->copies[slot_ - 1], sizeof(cpu_state));
    t_->kept = slot_ - 1;
  }
  kept_registers(const kept_registers&) = delete;
  kept_registers& operator=(const kept_registers&) = delete;

 private:
  thread_data* t_;
  unsigned slot_ = 0;
};

// Calls the program's handler as the kernel would: under the mask of the
// interrupted code with the action's mask and, unless SA_NODEFER, the
// signal itself; after SA_RESETHAND has put back the default action.
void deliver(int sig, siginfo_t* info, ucontext_t* uc, const struct sigaction& a) {
  if (a.sa_flags & SA_RESETHAND) {
    struct sigaction by_default {};
    by_default.sa_handler = SIG_DFL;
    set_action(sig, by_default);
  }
  sigset_t during = uc->uc_sigmask, before;
  sigorset(&during, &during, &a.sa_mask);
  if (!(a.sa_flags & SA_NODEFER)) sigaddset(&during, sig);
  chain::strip_guarded(&during);
  libc().pthread_sigmask(SIG_SETMASK, &during, &before);
  {
    kept_registers keep(this_thread);
    if (a.sa_flags & SA_SIGINFO)
      a.sa_sigaction(sig, info, uc);
    else
      a.sa_handler(sig);
  }
  libc().pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// The kernel's default action. An illegal instruction or a fault is named
// first, as without the runner nothing would say why the program died; the
// instruction then runs again and raises the signal under the default
// action. A signal sent by a process is sent again.
void take_default(int sig, const siginfo_t* info, const ucontext_t* uc) {
  const bool fault = chain::raised_by_instruction(sig, info->si_code);
  if (sig == SIGILL && fault) sve::report_illegal_instruction("sve-run", reinterpret_cast<uint32_t*>(uc->uc_mcontext.pc));
  if (sig == SIGSEGV || sig == SIGBUS) sve::report_memory_fault(sig);
  struct sigaction by_default {};
  by_default.sa_handler = SIG_DFL;
  libc().sigaction(sig, &by_default, nullptr);
  if (!fault) raise(sig);
}

// Sends the signals that waited for an emulation to end to this thread
// again, blocked until the kernel puts back the program's mask on the way
// out of the handler: the program's handlers then run at the instruction
// after the emulated one, with the program's context.
void raise_delayed(thread_data* t) {
  if (sigisemptyset(&t->delayed)) return;
  sigset_t pending = t->delayed;
  sigemptyset(&t->delayed);
  libc().pthread_sigmask(SIG_BLOCK, &pending, nullptr);
  const pid_t pid = getpid(), tid = pid_t(syscall(SYS_gettid));
  for (int sig = 1; sig < NSIG; ++sig) {
    if (sigismember(&pending, sig) != 1) continue;
    siginfo_t info = t->delayed_info[sig];
    // The kernel takes a kernel's code only from the thread whose id is the
    // process's; other threads send the signal as queued.
    if (syscall(SYS_rt_tgsigqueueinfo, pid, tid, sig, &info) != 0) {
      info.si_code = SI_QUEUE;
      syscall(SYS_rt_tgsigqueueinfo, pid, tid, sig, &info);
    }
  }
}

void emulate(uint32_t* pc, sve_handler h, ucontext_t* uc, const siginfo_t* info) {
  thread_data* t = data_of_this_thread();
  if (!t || !sve::state_from_signal(uc, &t->state)) return take_default(SIGILL, info, uc);
  t->interrupted = uc;
  t->emulating = 1;
  if (sigsetjmp(t->abandon, 0) == 0) {
    (sve::profiling() ? sve::emulate_word_profiled : sve::emulate_word)(&t->state, *pc, pc, h);
    sve::state_to_signal(&t->state, uc);
    uc->uc_mcontext.pc += 4;
  }
  t->emulating = 0;
  raise_delayed(t);
}

// An access of the instruction being emulated faulted, and the program has
// a handler for the fault. The program's handler gets it where the kernel
// puts it (on the alternate stack if the action asks), with the context of
// the instruction, which has not happened; when the handler returns, the
// emulation is left and the instruction runs again, as on hardware.
[[noreturn]] void abandon(thread_data* t, int sig, siginfo_t* info) {
  sigjmp_buf back;
  std::memcpy(back, t->abandon, sizeof back);  // the handler's own SVE instructions set it anew
  t->emulating = 0;
  deliver(sig, info, t->interrupted, action_of(sig));
  siglongjmp(back, 1);
}

// The one handler of the runner, for every signal that it stands in front of.
void on_signal(int sig, siginfo_t* info, void* context) {
  const int saved_errno = errno;
  auto* uc = static_cast<ucontext_t*>(context);
  auto* pc = reinterpret_cast<uint32_t*>(uc->uc_mcontext.pc);
  thread_data* t = this_thread;
  const struct sigaction program = action_of(sig);
  chain::signal_facts facts{};
  facts.sig = sig;
  facts.sent = !chain::raised_by_instruction(sig, info->si_code);
  const sve_handler h = sig == SIGILL && !facts.sent ? sve::cached_is_sve(*pc) : nullptr;
  facts.sve_word = h != nullptr;
  facts.in_probe = sig != SIGILL && sve::in_protected_read();
  facts.emulating = t && t->emulating;
  facts.program = chain::disposition_of(program);
  facts.blocked = masked_by_program(sig);
  switch (chain::decide(facts)) {
    case chain::route::emulate: emulate(pc, h, uc, info); break;
    case chain::route::resume_probe: sve::resume_protected_read(); break;
    case chain::route::delay:
      t->delayed_info[sig] = *info;
      sigaddset(&t->delayed, sig);
      break;
    case chain::route::abandon: abandon(t, sig, info);
    case chain::route::deliver: deliver(sig, info, uc, program); break;
    case chain::route::default_action: take_default(sig, info, uc); break;
    case chain::route::ignore: break;
  }
  errno = saved_errno;
}

// The mask functions: the kernel's mask never holds a guarded signal, and
// the program reads back its own. The emulator's own calls, made while it
// emulates, are the kernel's business alone.
int change_mask(sigmask_fn real, int how, const sigset_t* set, sigset_t* old) {
  if (this_thread && this_thread->emulating) return real(how, set, old);
  const unsigned view = program_mask;
  sigset_t stripped;
  if (set) {
    stripped = *set;
    chain::strip_guarded(&stripped);
  }
  const unsigned next = set ? chain::apply_mask_change(view, how, *set) : view;
  const int rc = real(how, set ? &stripped : nullptr, old);
  if (rc != 0) return rc;
  program_mask = next;
  if (old) chain::add_guarded_bits(old, view);
  return rc;
}

[[gnu::constructor]] void install() {
  for (int sig : {SIGILL, SIGSEGV, SIGBUS}) {
    struct sigaction inherited {};
    libc().sigaction(sig, nullptr, &inherited);
    set_action(sig, inherited);
  }
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

// The emulator installs no fault handlers of its own: the runner's take
// the emulator's probes.
extern "C" bool sve_host_owns_signals() { return true; }

#define SVE_INTERPOSED extern "C" [[gnu::visibility("default")]]

SVE_INTERPOSED int sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
  if (sig <= 0 || sig >= NSIG || sig == SIGKILL || sig == SIGSTOP) return libc().sigaction(sig, act, old);
  const struct sigaction previous = action_of(sig);
  if (act && set_action(sig, *act) != 0) return -1;
  if (old) *old = previous;
  return 0;
}

SVE_INTERPOSED int sigprocmask(int how, const sigset_t* set, sigset_t* old) {
  return change_mask(libc().sigprocmask, how, set, old);
}
SVE_INTERPOSED int pthread_sigmask(int how, const sigset_t* set, sigset_t* old) {
  return change_mask(libc().pthread_sigmask, how, set, old);
}

namespace {

using simple_handler = void (*)(int);

// signal() and its relatives, as the C library defines them over sigaction.
simple_handler set_simple(int sig, simple_handler h, int flags, bool mask_itself) {
  struct sigaction a {}, old{};
  a.sa_handler = h;
  a.sa_flags = flags;
  sigemptyset(&a.sa_mask);
  if (h == SIG_ERR || sig <= 0 || sig >= NSIG) {
    errno = EINVAL;
    return SIG_ERR;
  }
  if (mask_itself) sigaddset(&a.sa_mask, sig);
  if (sigaction(sig, &a, &old) != 0) return SIG_ERR;
  return old.sa_handler;
}

}  // namespace

SVE_INTERPOSED simple_handler signal(int sig, simple_handler h) { return set_simple(sig, h, SA_RESTART, true); }
SVE_INTERPOSED simple_handler bsd_signal(int sig, simple_handler h) { return set_simple(sig, h, SA_RESTART, true); }
SVE_INTERPOSED simple_handler sysv_signal(int sig, simple_handler h) {
  return set_simple(sig, h, SA_RESETHAND | SA_NODEFER, false);
}
SVE_INTERPOSED simple_handler __sysv_signal(int sig, simple_handler h) { return sysv_signal(sig, h); }
