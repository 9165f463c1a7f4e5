// The runner's decisions about signals that the program shares with it.
#include "sve/client/signal_chain.h"

#include <gtest/gtest.h>

namespace {

using sve::chain::disposition;
using sve::chain::route;

void runner_handler(int, siginfo_t*, void*) {}
void program_handler(int) {}

struct sigaction handled(int flags) {
  struct sigaction a {};
  a.sa_handler = program_handler;
  a.sa_flags = flags;
  sigemptyset(&a.sa_mask);
  sigaddset(&a.sa_mask, SIGUSR1);
  sigaddset(&a.sa_mask, SIGILL);
  sigaddset(&a.sa_mask, SIGSEGV);
  return a;
}

struct sigaction by_default() {
  struct sigaction a {};
  a.sa_handler = SIG_DFL;
  return a;
}

TEST(SignalChain, WhatReachesTheProgramAndWhatStaysWithTheRunner) {
  struct row {
    const char* what;
    sve::chain::signal_facts facts;
    route expected;
  };
  constexpr auto handler = disposition::handled, dfl = disposition::by_default, ign = disposition::ignored;
  // sig, sent, sve_word, in_probe, emulating, program, blocked
  const row rows[] = {
      {"SVE word", {SIGILL, false, true, false, false, handler, false}, route::emulate},
      {"SVE word, SIGILL blocked", {SIGILL, false, true, false, false, dfl, true}, route::emulate},
      {"SVE word in a handler during an emulation", {SIGILL, false, true, false, true, handler, false},
       route::emulate},
      {"SIGILL sent by a process at an SVE word", {SIGILL, true, false, false, false, handler, false},
       route::deliver},
      {"illegal word, program handler", {SIGILL, false, false, false, false, handler, false}, route::deliver},
      {"illegal word, no handler", {SIGILL, false, false, false, false, dfl, false}, route::default_action},
      {"illegal word, ignored", {SIGILL, false, false, false, false, ign, false}, route::default_action},
      {"illegal word, blocked", {SIGILL, false, false, false, false, handler, true}, route::default_action},
      {"probe fault", {SIGSEGV, false, false, true, true, handler, false}, route::resume_probe},
      {"probe fault, SIGSEGV blocked", {SIGSEGV, false, false, true, true, dfl, true}, route::resume_probe},
      {"probe bus error", {SIGBUS, false, false, true, true, dfl, false}, route::resume_probe},
      {"emulated access faults, handler", {SIGSEGV, false, false, false, true, handler, false}, route::abandon},
      {"emulated access faults, no handler", {SIGSEGV, false, false, false, true, dfl, false},
       route::default_action},
      {"emulated access faults, blocked", {SIGSEGV, false, false, false, true, handler, true},
       route::default_action},
      {"native fault, handler", {SIGSEGV, false, false, false, false, handler, false}, route::deliver},
      {"native fault, no handler", {SIGSEGV, false, false, false, false, dfl, false}, route::default_action},
      {"native fault, ignored", {SIGSEGV, false, false, false, false, ign, false}, route::default_action},
      {"SIGSEGV sent, ignored", {SIGSEGV, true, false, false, false, ign, false}, route::ignore},
      {"SIGSEGV sent during an emulation", {SIGSEGV, true, false, false, true, handler, false}, route::delay},
      {"timer during an emulation", {SIGPROF, true, false, false, true, handler, false}, route::delay},
      {"timer between instructions", {SIGPROF, true, false, false, false, handler, false}, route::deliver},
      {"timer, handler just removed", {SIGPROF, true, false, false, false, dfl, false}, route::default_action},
  };
  for (const row& r : rows) EXPECT_EQ(sve::chain::decide(r.facts), r.expected) << r.what;
}

TEST(SignalChain, OnlyFaultCodesOfGuardedSignalsAreRaisedByAnInstruction) {
  EXPECT_TRUE(sve::chain::raised_by_instruction(SIGILL, ILL_ILLOPC));
  EXPECT_TRUE(sve::chain::raised_by_instruction(SIGSEGV, SEGV_MAPERR));
  EXPECT_TRUE(sve::chain::raised_by_instruction(SIGBUS, BUS_ADRALN));
  EXPECT_FALSE(sve::chain::raised_by_instruction(SIGSEGV, SI_USER));
  EXPECT_FALSE(sve::chain::raised_by_instruction(SIGSEGV, SI_TKILL));
  EXPECT_FALSE(sve::chain::raised_by_instruction(SIGSEGV, SI_KERNEL));
  EXPECT_FALSE(sve::chain::raised_by_instruction(SIGPROF, SI_KERNEL));
  EXPECT_FALSE(sve::chain::raised_by_instruction(SIGTRAP, TRAP_BRKPT));
}

TEST(SignalChain, GuardedSignalsAlwaysReachTheRunnerUnblocked) {
  for (int sig : {SIGILL, SIGSEGV, SIGBUS}) {
    for (const struct sigaction& program : {by_default(), handled(SA_RESETHAND | SA_ONSTACK)}) {
      const struct sigaction k = sve::chain::kernel_action(sig, program, runner_handler);
      EXPECT_EQ(k.sa_sigaction, runner_handler) << sig;
      EXPECT_TRUE(k.sa_flags & SA_SIGINFO);
      EXPECT_TRUE(k.sa_flags & SA_NODEFER) << "an SVE instruction in any handler is emulated";
      EXPECT_FALSE(k.sa_flags & SA_RESETHAND);
      EXPECT_EQ(sigismember(&k.sa_mask, SIGUSR1), 0);
    }
  }
  // Only a fault handler of the program's moves to the alternate stack:
  // emulation runs where the SVE instruction ran.
  EXPECT_TRUE(sve::chain::kernel_action(SIGSEGV, handled(SA_ONSTACK), runner_handler).sa_flags & SA_ONSTACK);
  EXPECT_FALSE(sve::chain::kernel_action(SIGSEGV, by_default(), runner_handler).sa_flags & SA_ONSTACK);
  EXPECT_FALSE(sve::chain::kernel_action(SIGILL, handled(SA_ONSTACK), runner_handler).sa_flags & SA_ONSTACK);
}

TEST(SignalChain, OtherHandlersKeepTheProgramsFlagsAndMask) {
  const struct sigaction k =
      sve::chain::kernel_action(SIGPROF, handled(SA_RESTART | SA_ONSTACK | SA_RESETHAND), runner_handler);
  EXPECT_EQ(k.sa_sigaction, runner_handler);
  EXPECT_EQ(k.sa_flags & (SA_RESTART | SA_ONSTACK | SA_SIGINFO), SA_RESTART | SA_ONSTACK | SA_SIGINFO);
  EXPECT_FALSE(k.sa_flags & SA_RESETHAND) << "reset by the runner, so that a delayed signal finds the handler";
  EXPECT_EQ(sigismember(&k.sa_mask, SIGUSR1), 1);
  EXPECT_EQ(sigismember(&k.sa_mask, SIGILL), 0);
  EXPECT_EQ(sigismember(&k.sa_mask, SIGSEGV), 0);

  struct sigaction ignored = by_default();
  ignored.sa_handler = SIG_IGN;
  sigaddset(&ignored.sa_mask, SIGBUS);
  const struct sigaction kept = sve::chain::kernel_action(SIGPROF, ignored, runner_handler);
  EXPECT_EQ(kept.sa_handler, SIG_IGN);
  EXPECT_EQ(sigismember(&kept.sa_mask, SIGBUS), 0);
}

TEST(SignalChain, TheProgramsMaskOfGuardedSignals) {
  sigset_t ill_usr1, segv, none;
  sigemptyset(&ill_usr1);
  sigaddset(&ill_usr1, SIGILL);
  sigaddset(&ill_usr1, SIGUSR1);
  sigemptyset(&segv);
  sigaddset(&segv, SIGSEGV);
  sigemptyset(&none);
  unsigned view = 0;
  view = sve::chain::apply_mask_change(view, SIG_BLOCK, ill_usr1);
  view = sve::chain::apply_mask_change(view, SIG_BLOCK, segv);
  EXPECT_EQ(view, sve::chain::guarded_bits(ill_usr1) | sve::chain::guarded_bits(segv));
  view = sve::chain::apply_mask_change(view, SIG_UNBLOCK, ill_usr1);
  EXPECT_EQ(view, sve::chain::guarded_bits(segv));
  EXPECT_EQ(sve::chain::apply_mask_change(view, SIG_SETMASK, none), 0u);
  EXPECT_EQ(sve::chain::apply_mask_change(view, 12345, none), view) << "an invalid how changes nothing";

  sigset_t read_back;
  sigemptyset(&read_back);
  sve::chain::add_guarded_bits(&read_back, sve::chain::guarded_bits(ill_usr1));
  EXPECT_EQ(sigismember(&read_back, SIGILL), 1);
  EXPECT_EQ(sigismember(&read_back, SIGSEGV), 0);
  sve::chain::strip_guarded(&ill_usr1);
  EXPECT_EQ(sigismember(&ill_usr1, SIGILL), 0);
  EXPECT_EQ(sigismember(&ill_usr1, SIGUSR1), 1);
}

}  // namespace
