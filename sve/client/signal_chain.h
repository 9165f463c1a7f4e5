// How the SIGILL runner shares the process's signals with the program.
//
// The runner's handlers stay installed in the kernel for SIGILL, SIGSEGV and
// SIGBUS (the guarded signals) whatever the program does: SIGILL carries
// every SVE instruction, and the fault signals carry the probes of
// first-fault and non-fault loads. The program's own actions are kept
// aside, read back by the program as it set them, and given the signals
// that are the program's, as the kernel would give them. For the other
// signals the kernel keeps the program's action, with a handler of the
// runner's in front of the program's handler: a signal that arrives while
// an instruction is being emulated waits until the instruction is done, as
// it would on hardware, where an instruction is never interrupted half-way;
// and the handler's own SVE instructions leave the interrupted code's
// registers as they were, as the kernel's signal frame does.
//
// The decisions are plain functions, apart from the runner, so that they
// can be tested on any host.
#pragma once

#include <signal.h>

namespace sve::chain {

constexpr bool guarded(int sig) { return sig == SIGILL || sig == SIGSEGV || sig == SIGBUS; }

// Takes the guarded signals out of a set: the kernel never blocks them, so
// that SVE instructions and probes work in any handler and under any mask.
void strip_guarded(sigset_t* set);

// What the program asked for a signal.
enum class disposition { by_default, ignored, handled };
disposition disposition_of(const struct sigaction& a);

// The action given to the kernel for the program's action `program`.
// Guarded signals always reach `runner_handler`, with SA_NODEFER so that an
// SVE instruction in any handler, even the runner's, is emulated; a fault
// signal goes to the alternate stack where the program's action asks for
// it, so that a program that survives a stack overflow still does. Another
// signal with a handler of the program's reaches `runner_handler` with the
// program's flags and mask, but for SA_RESETHAND, which the runner carries
// out itself so that a delayed signal still finds the program's handler.
// Anything else is the program's own action. Masks never hold a guarded
// signal.
struct sigaction kernel_action(int sig, const struct sigaction& program,
                               void (*runner_handler)(int, siginfo_t*, void*));

// What becomes of one signal that reached the runner's handler.
enum class route {
  emulate,         // an SVE instruction: carry it out
  resume_probe,    // a fault of the emulator's own probe: the read fails
  delay,           // arrived during an emulation: raise it again once it is done
  abandon,         // a fault of an emulated access: undo the instruction, then deliver
  deliver,         // call the program's handler as the kernel would
  default_action,  // the kernel's default action: for a fault, the program dies of it
  ignore,          // the program ignores it
};

// Whether a signal was raised by the instruction that the thread was running
// (a fault or an illegal instruction), rather than sent by a process, a
// timer or the kernel: only a guarded signal with a fault's code is.
constexpr bool raised_by_instruction(int sig, int si_code) { return guarded(sig) && si_code > 0 && si_code != SI_KERNEL; }

struct signal_facts {
  int sig;
  bool sent;           // not raised by an instruction (raised_by_instruction)
  bool sve_word;       // SIGILL at a word that the emulator carries out
  bool in_probe;       // a fault inside a protected read of this thread
  bool emulating;      // this thread is inside an emulation
  disposition program;
  bool blocked;        // the program's mask blocks the signal
};

// A fault that the program blocks or ignores ends it, as the kernel forces
// the default action of a fault it cannot deliver.
route decide(const signal_facts& f);

// The program's view of its mask for the guarded signals, one bit each, which
// the kernel's mask never holds: `how` and `set` are those of sigprocmask.
unsigned guarded_bits(const sigset_t& set);
unsigned apply_mask_change(unsigned view, int how, const sigset_t& set);
void add_guarded_bits(sigset_t* set, unsigned view);

}  // namespace sve::chain
