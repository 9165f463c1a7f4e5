// The instrumentation framework client: SVE instructions of the main module
// that follow each other in a block make a run, and the run is replaced by
// one call of the emulator with the run's record (each instruction's word,
// address, handler and counter), around which a sequence moves the
// application's registers into the thread's cpu_state and back. Other
// instructions run natively. At exit the client reports how many
// instructions it emulated and how many native instructions it saw in the
// blocks it built.
//
// The call is a plain call on a stack of the thread's own: the sequence has
// saved every register that the emulator reads or writes, so the framework's
// clean call, which saves and restores all of them once more, would only
// double the work and the code. A block holds only as many sequences as fit
// in the framework's largest fragment; the rest of it becomes a block of its
// own.
#include <signal.h>
#include <sys/syscall.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "../decode/stats.h"
#include "../memory/host_memory.h"
#include "predicate_steps.h"
#include "runs.h"
#include "scalar_steps.h"
#include "dr_api.h"
#include "drmgr.h"
#include "droption.h"
#include "drwrap.h"
#include "emulate.h"

namespace {

// The one assertion form: the condition's text after macro expansion.
#define SVE_STR_(x) #x
#define SVE_STR(x) SVE_STR_(x)
#define SVE_ASSERT(cond)                                                                                            \
  do {                                                                                                              \
    if (!(cond)) {                                                                                                  \
      dr_fprintf(STDERR, "ASSERT FAILURE: %s:%d: %s (%s)\n", "sve/client/sve_client", __LINE__, SVE_STR(cond), ""); \
      dr_abort();                                                                                                   \
    }                                                                                                               \
  } while (0)

using dynamorio::droption::DROPTION_SCOPE_CLIENT;
using dynamorio::droption::droption_t;

droption_t<bool> all_modules(DROPTION_SCOPE_CLIENT, "all_modules", false, "Emulate SVE in every module",
                             "Emulate the SVE instructions of shared libraries, those opened with dlopen included, "
                             "as well as those of the main program. By default only the main program's are.");
droption_t<bool> hide_sve(DROPTION_SCOPE_CLIENT, "hide_sve", false, "Tell the program that there is no SVE",
                          "Leave getauxval, prctl, ID_AA64PFR0_EL1 and ID_AA64ZFR0_EL1 to the host, so that a program that chooses "
                          "its code at run time takes its code for processors without SVE.");

droption_t<std::string> profile_file(DROPTION_SCOPE_CLIENT, "profile", "", "Write a profile to this file at exit",
                                     "Record for each SVE instruction its count, how full its governing predicate "
                                     "was and what it moved to and from memory, and write it as JSON to this file "
                                     "at exit (tools/sve-report reads it).");

int tls_idx;
module_data_t* exe;

app_pc exe_start;
std::atomic<uint64_t> aarch64_instr_count;

// Registers of the inserted sequence: X27 holds the address of cpu_state,
// and X28 is the framework's stolen register, whose application value lives
// in a slot of the framework.
constexpr reg_id_t base = DR_REG_X27;

opnd_t field(size_t offset, opnd_size_t size) { return opnd_create_base_disp(base, DR_REG_NULL, 0, int(offset), size); }

// What the client keeps for each thread: the register file, and the top of
// the stack that the emulator runs on, which the sequence loads through the
// base register. The application's stack may be small or may be the one
// that it is switching away from, so the emulator never runs on it.
constexpr size_t emulator_stack_bytes = 256 * 1024;
constexpr unsigned max_kept = 16;
struct thread_data {
  cpu_state state;
  void* dc;  // the thread's context in the framework
  void* stack;
  uintptr_t stack_top;
  // The instruction of a run under way, and after a plain access of an
  // emulated memory instruction faulted, its index plus one (otherwise 0).
  volatile uint32_t next_site;
  uint32_t fault_site;
  // Copies of the registers while handlers of the application run, each
  // with the stack pointer of the code that its signal interrupted.
  unsigned kept;
  cpu_state* copies[max_kept];
  reg_t interrupted_sp[max_kept];
  // An rt_sigaction call of the application under way: its signal (0 for
  // none), handler and flags.
  int setting_signal;
  uint64_t setting_handler, setting_flags;
};
static_assert(offsetof(thread_data, state) == 0);
static_assert(offsetof(thread_data, fault_site) < 16380, "reachable by a load from the base register");

// Slots of the framework's thread-local area, addressed from the stolen
// register, for the code of the inline predicate steps: X0 and X1 spilled
// as a pair, Q0 and Q1 as a pair, and the addresses of P4 and P12 in the
// thread's cpu_state, from which one pair store's offset reaches every byte
// of P0 to P7 and of P8 to P15 respectively.
enum raw_slot : unsigned { x_pair = 0, q_pair = 2, p4_at = 6, p12_at = 7, raw_slots = 8 };
bool have_raw_slots;
reg_id_t raw_base;
uint raw_offset;
int raw_at(raw_slot s) { return int(raw_offset + 8 * s); }

// An address in the page at 0, which no process maps.
constexpr uintptr_t unmapped_address = 16;

// Inserts one instruction that the client builds, translated to the
// application address of the instruction it replaces.
struct inserter {
  void* dc;
  instrlist_t* bb;
  instr_t* where;
  app_pc pc;
  void operator()(instr_t* i) const {
    instr_set_translation(i, pc);
    instrlist_preinsert(bb, where, i);
  }
};

// The framework owns the process's signal handlers: protected reads and
// probes go through its safe read, and a fault of an emulated plain access
// reaches the application as the fault of the replaced instruction, where
// the report of the in-process handler is printed before it is delivered.
bool framework_try_read(const void* addr, void* out, unsigned n) {
  size_t got = 0;
  return dr_safe_read(addr, n, out, &got) && got == n;
}
constexpr sve::memory_host framework_memory{framework_try_read};

thread_data* data_of(void* dc) { return static_cast<thread_data*>(drmgr_get_tls_field(dc, tls_idx)); }

// The application's handlers, as its rt_sigaction system calls set them
// (the kernel's record: handler, then flags), and whether each resets on
// delivery. The client names a signal that it sees only when no handler of
// the application's takes it, so that a program that probes the processor
// with SIGILL runs quietly.
std::atomic<uint64_t> app_handler[NSIG];
std::atomic<bool> app_resets[NSIG];

bool app_handles(int sig) {
  const uint64_t h = app_handler[sig].load(std::memory_order_relaxed);
  return h != uint64_t(SIG_DFL) && h != uint64_t(SIG_IGN);
}

bool event_filter_syscall(void*, int sysnum) { return sysnum == SYS_rt_sigaction || sysnum == SYS_prctl; }

// prctl's SVE vector length, answered for the emulated length without the
// kernel, whose processor has no SVE.
std::atomic<bool> inherit_vl;

bool answer_prctl(void* dc) {
  const int option = int(dr_syscall_get_param(dc, 0));
  if (hide_sve.get_value() || (option != sve::detection::pr_sve_set_vl && option != sve::detection::pr_sve_get_vl))
    return true;
  bool inherit = inherit_vl.load();
  const long status = sve::detection::sve_vl_prctl(option, dr_syscall_get_param(dc, 1), &inherit);
  if (status >= 0) inherit_vl = inherit;
  dr_syscall_set_result(dc, reg_t(status));
  return false;
}

bool event_pre_syscall(void* dc, int sysnum) {
  if (sysnum == SYS_prctl) return answer_prctl(dc);
  if (sysnum != SYS_rt_sigaction) return true;
  thread_data* t = data_of(dc);
  t->setting_signal = 0;
  const int sig = int(dr_syscall_get_param(dc, 0));
  const void* act = reinterpret_cast<const void*>(dr_syscall_get_param(dc, 1));
  uint64_t action[2];
  if (act && sig > 0 && sig < NSIG && framework_try_read(act, action, sizeof action))
    t->setting_signal = sig, t->setting_handler = action[0], t->setting_flags = action[1];
  return true;
}

void event_post_syscall(void* dc, int sysnum) {
  if (sysnum != SYS_rt_sigaction) return;
  thread_data* t = data_of(dc);
  if (t->setting_signal && dr_syscall_get_result(dc) == 0) {
    app_handler[t->setting_signal] = t->setting_handler;
    app_resets[t->setting_signal] = (t->setting_flags & SA_RESETHAND) != 0;
  }
  t->setting_signal = 0;
}

// A handler of the application may run SVE instructions of its own: the
// registers that exist only in cpu_state are kept while it runs and put
// back when it returns, as the kernel's signal frame keeps the SVE
// registers on hardware. The return names the stack pointer that the
// delivery interrupted; copies above it belong to handlers that were left
// by a jump and are dropped.
void event_kernel_xfer(void* dc, const dr_kernel_xfer_info_t* info) {
  thread_data* t = data_of(dc);
  if (info->type == DR_XFER_SIGNAL_DELIVERY) {
    if (info->sig > 0 && info->sig < NSIG && app_resets[info->sig]) app_handler[info->sig] = uint64_t(SIG_DFL);
    if (!info->source_mcontext || t->kept == max_kept) return;
    cpu_state*& copy = t->copies[t->kept];
    if (!copy) copy = static_cast<cpu_state*>(dr_thread_alloc(dc, sizeof(cpu_state)));
    std::memcpy(copy, &t->state, sizeof(cpu_state));
    t->interrupted_sp[t->kept++] = info->source_mcontext->sp;
  } else if (info->type == DR_XFER_SIGNAL_RETURN) {
    for (unsigned i = t->kept; i-- > 0;)
      if (t->interrupted_sp[i] == info->target_xsp) {
        std::memcpy(&t->state, t->copies[i], sizeof(cpu_state));
        t->kept = i;
        return;
      }
  }
}

// getauxval(AT_HWCAP) says SVE and getauxval(AT_HWCAP2) SVE2: the C
// library's function is wrapped where it is loaded, and its result marked on
// the way out.
void before_getauxval(void* wrapcxt, void** type) { *type = drwrap_get_arg(wrapcxt, 0); }
void after_getauxval(void* wrapcxt, void* type) {
  drwrap_set_retval(wrapcxt, reinterpret_cast<void*>(sve::detection::advertised_auxv(
                                 reinterpret_cast<uintptr_t>(type), reinterpret_cast<uint64_t>(drwrap_get_retval(wrapcxt)))));
}

void event_module_load(void*, const module_data_t* mod, bool) {
  for (const char* name : {"getauxval", "__getauxval"})
    if (auto f = reinterpret_cast<app_pc>(dr_get_proc_address(mod->handle, name)))
      drwrap_wrap(f, before_getauxval, after_getauxval);  // the two names may be one function
}

// An illegal instruction of the application, raised by the code that it
// runs (an SVE word in a shared library, or one that the emulator does not
// know), is named before the program dies of it.
dr_signal_action_t event_signal(void*, dr_siginfo_t* info) {
  uint32_t word;
  if (info->sig == SIGILL && !app_handles(SIGILL) && info->mcontext && info->fault_fragment_info.cache_start_pc &&
      framework_try_read(info->mcontext->pc, &word, 4)) {
    if (is_sve(word))
      dr_fprintf(STDERR,
                 "SVE client: SVE instruction 0x%08x at %p lies in a shared library, which the client leaves to "
                 "the processor; the client option -all_modules emulates SVE there too\n",
                 word, info->mcontext->pc);
    else
      sve::report_illegal_instruction("SVE client", reinterpret_cast<const uint32_t*>(info->mcontext->pc));
  }
  if ((info->sig == SIGSEGV || info->sig == SIGBUS) && !app_handles(info->sig) && info->mcontext &&
      is_sve(*reinterpret_cast<const uint32_t*>(info->mcontext->pc)))
    dr_fprintf(STDERR,
               "quorvex's SVESigHandler caught signal %s from the process being emulated, passing it to the default "
               "signal handler.\n",
               info->sig == SIGSEGV ? "SIGSEGV" : "SIGBUS");
  return DR_SIGNAL_DELIVER;
}

// The callee of the sequence: the registers are in the thread's cpu_state,
// X26 to X28 included, and go back from there. A plain access that faults
// inside the client would end the process as a crash of the client, so a
// run that touches memory runs under the framework's recovery; after a
// fault the run is abandoned, and the sequence makes the application fault
// at the instruction whose access faulted (sequence::fault_exits).
void emulate_run(cpu_state* s, const sve::run* r) {
  auto* t = reinterpret_cast<thread_data*>(s);
  const bool profiled = sve::profiling();
  if (!r->memory) return sve::emulate_run(s, *r, profiled, &t->next_site);
  t->fault_site = 0;
  DR_TRY_EXCEPT(
      t->dc, { sve::emulate_run(s, *r, profiled, &t->next_site); },
      {
        t->fault_site = t->next_site + 1;
        if (!profiled) sve::count_done(*r, t->next_site);
      });
}

// The code that stands for a run of SVE instructions that follow each other
// in a block: one save of the application's registers into the thread's
// cpu_state, one call of emulate_run with the run's record, and one load
// back. The address of cpu_state is read from the thread's TLS field by the
// inserted code itself, because blocks are shared between threads. Only the
// base register needs a spill slot: once it holds the address of cpu_state,
// every other register goes straight there, and X0, saved first, is the
// scratch register of the rest.
struct sequence {
  void* dc;
  instrlist_t* bb;
  instr_t* where;
  app_pc pc;

  void put(instr_t* i) const { inserter{dc, bb, where, pc}(i); }
  static opnd_t x_at(int r, opnd_size_t size) { return field(offsetof(cpu_state, x) + size_t(r) * 8, size); }
  static opnd_t q_at(int q) { return field(offsetof(cpu_state, z) + size_t(q) * sve_vl_bytes, OPSZ_16); }
  static opnd_t reg(int r) { return opnd_create_reg(reg_id_t(DR_REG_X0 + r)); }

  // Every register out to cpu_state, then SP onto the emulator's stack: the
  // application's stack may be small or may be the one that it is switching
  // away from, so the emulator never runs on it.
  void save() const {
    const opnd_t x0 = reg(0), w0 = opnd_create_reg(DR_REG_W0);
    dr_save_reg(dc, bb, where, base, SPILL_SLOT_2);
    drmgr_insert_read_tls_field(dc, tls_idx, bb, where, base);
    for (int r = 0; r < 26; r += 2) put(INSTR_CREATE_stp(dc, x_at(r, OPSZ_16), reg(r), reg(r + 1)));
    put(INSTR_CREATE_str(dc, x_at(26, OPSZ_8), opnd_create_reg(DR_REG_X26)));
    dr_restore_reg(dc, bb, where, DR_REG_X0, SPILL_SLOT_2);
    dr_insert_get_stolen_reg_value(dc, bb, where, DR_REG_X1);
    put(INSTR_CREATE_stp(dc, x_at(27, OPSZ_16), x0, reg(1)));
    put(INSTR_CREATE_stp(dc, x_at(29, OPSZ_16), reg(29), reg(30)));
    // SP moves through an add of 0: a register move cannot name it.
    put(INSTR_CREATE_add(dc, x0, opnd_create_reg(DR_REG_SP), OPND_CREATE_INT(0)));
    put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, sp), OPSZ_8), x0));
    for (int q = 0; q < 32; ++q) put(INSTR_CREATE_str(dc, q_at(q), opnd_create_reg(reg_id_t(DR_REG_Q0 + q))));
    put(INSTR_CREATE_mrs(dc, x0, opnd_create_reg(DR_REG_NZCV)));
    put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, nzcv), OPSZ_8), x0));
    put(INSTR_CREATE_mrs(dc, x0, opnd_create_reg(DR_REG_FPSR)));
    put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, fpsr), OPSZ_4), w0));
    put(INSTR_CREATE_mrs(dc, x0, opnd_create_reg(DR_REG_FPCR)));
    put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, fpcr), OPSZ_4), w0));
    put(INSTR_CREATE_ldr(dc, x0, field(offsetof(thread_data, stack_top), OPSZ_8)));
    put(INSTR_CREATE_add(dc, opnd_create_reg(DR_REG_SP), x0, OPND_CREATE_INT(0)));
  }

  // A plain call. The callee keeps the base register, the stolen register
  // and SP, as the calling convention has it; every other register it may
  // change is loaded back by restore.
  void call(const sve::run* r) const {
    dr_insert_call(dc, bb, where, reinterpret_cast<void*>(emulate_run), 2, opnd_create_reg(base),
                   OPND_CREATE_INTPTR(reinterpret_cast<ptr_int_t>(r)));
  }

  // Every register back from cpu_state but X26 and the base register, which
  // finish() loads. FPCR is not among them: the emulator runs under the
  // application's and leaves it as it was.
  void restore_most() const {
    const opnd_t x0 = reg(0), w0 = opnd_create_reg(DR_REG_W0);
    put(INSTR_CREATE_ldr(dc, w0, field(offsetof(cpu_state, fpsr), OPSZ_4)));
    put(INSTR_CREATE_msr(dc, opnd_create_reg(DR_REG_FPSR), x0));
    put(INSTR_CREATE_ldr(dc, x0, field(offsetof(cpu_state, nzcv), OPSZ_8)));
    put(INSTR_CREATE_msr(dc, opnd_create_reg(DR_REG_NZCV), x0));
    for (int q = 0; q < 32; ++q) put(INSTR_CREATE_ldr(dc, opnd_create_reg(reg_id_t(DR_REG_Q0 + q)), q_at(q)));
    put(INSTR_CREATE_ldr(dc, x0, field(offsetof(cpu_state, sp), OPSZ_8)));
    put(INSTR_CREATE_add(dc, opnd_create_reg(DR_REG_SP), x0, OPND_CREATE_INT(0)));
    put(INSTR_CREATE_ldr(dc, x0, x_at(28, OPSZ_8)));
    dr_insert_set_stolen_reg_value(dc, bb, where, DR_REG_X0);
    put(INSTR_CREATE_ldp(dc, reg(29), reg(30), x_at(29, OPSZ_16)));
    for (int r = 0; r < 26; r += 2) put(INSTR_CREATE_ldp(dc, reg(r), reg(r + 1), x_at(r, OPSZ_16)));
  }

  // After a fault of an emulated access, the application faults at the
  // instruction whose access it was: a load from an unmapped address,
  // translated to the instruction's address, reaches the application as a
  // SIGSEGV of the instruction itself, and the signal event names it before
  // the default action ends the process. The faulting index is counted down
  // in X26 by subtractions, which leave NZCV as the run left it.
  void fault_exits(const sve::run& r) const {
    const opnd_t x26 = opnd_create_reg(DR_REG_X26);
    instr_t* done = INSTR_CREATE_label(dc);
    put(INSTR_CREATE_ldr(dc, opnd_create_reg(DR_REG_W26), field(offsetof(thread_data, fault_site), OPSZ_4)));
    put(INSTR_CREATE_cbz(dc, opnd_create_instr(done), x26));
    uint32_t counted = 0;
    for (uint32_t i = 0; i < r.sites.size(); ++i) {
      if (!r.sites[i].memory) continue;
      instr_t* next = INSTR_CREATE_label(dc);
      put(INSTR_CREATE_sub(dc, x26, x26, OPND_CREATE_INT(int(i + 1 - counted))));
      counted = i + 1;
      put(INSTR_CREATE_cbnz(dc, opnd_create_instr(next), x26));
      const sequence at{dc, bb, where, reinterpret_cast<app_pc>(r.sites[i].addr)};
      at.put(INSTR_CREATE_movz(dc, x26, OPND_CREATE_INT16(unmapped_address), OPND_CREATE_INT8(0)));
      at.put(INSTR_CREATE_ldr(dc, x26, opnd_create_base_disp(DR_REG_X26, DR_REG_NULL, 0, 0, OPSZ_8)));
      instrlist_meta_preinsert(bb, where, next);
    }
    instrlist_meta_preinsert(bb, where, done);
  }

  // The base register is loaded last, from itself.
  void finish() const {
    put(INSTR_CREATE_ldp(dc, opnd_create_reg(DR_REG_X26), opnd_create_reg(base), x_at(26, OPSZ_16)));
  }

  // The save and the call stand for the run's first instruction, the load
  // back for its last: the framework continues a block after the address of
  // its last instruction.
  static void emulate(void* dc, instrlist_t* bb, instr_t* where, const sve::run& r) {
    const sequence start{dc, bb, where, reinterpret_cast<app_pc>(r.sites.front().addr)},
        end{dc, bb, where, reinterpret_cast<app_pc>(r.sites.back().addr)};
    start.save();
    start.call(&r);
    end.restore_most();
    if (r.memory) end.fault_exits(r);
    end.finish();
  }
};

// Whether steps go inline: with the processor's single-instruction atomic
// add (LSE), which counts them exactly among threads, and without a
// profile, which wants the emulator to see every instruction. Predicate
// steps also need the thread-local slots, within a pair store's reach of
// the stolen register.
bool inline_steps, inline_predicates;

// The count of an inline step: one atomic add of X1, which holds 1, on the
// counter of a run that is the instruction alone, through X0. The
// statistics fold it in at exit, as they do every run's.
void insert_count(void* dc, instrlist_t* bb, instr_t* where, app_pc pc, const sve::site& site) {
  const sve::run* alone = sve::intern_run({site});
  instrlist_insert_mov_immed_ptrsz(dc, reinterpret_cast<ptr_int_t>(&alone->whole), opnd_create_reg(DR_REG_X0), bb, where,
                                   nullptr, nullptr);
  inserter{dc, bb, where, pc}(INSTR_CREATE_ldadd(dc, opnd_create_reg(DR_REG_X1), opnd_create_reg(DR_REG_XZR),
                                                 opnd_create_base_disp(DR_REG_X0, DR_REG_NULL, 0, 0, OPSZ_8)));
}

// A scalar step in the instruction's place: its count, then the add or
// move itself, 10 instructions in all for most steps. Refused (false) when a
// register is the framework's stolen one or c does not fit an add's
// immediate; the instruction is then emulated as any other.
bool insert_step(void* dc, instrlist_t* bb, instr_t* where, app_pc pc, const sve::site& site, const sve::scalar_step& st) {
  const int64_t magnitude = st.c < 0 ? -st.c : st.c;
  if (st.rd == 28 || (!st.from_zero && st.rn == 28) || (!st.from_zero && magnitude >= 4096)) return false;
  inserter put{dc, bb, where, pc};
  dr_save_reg(dc, bb, where, DR_REG_X0, SPILL_SLOT_3);
  dr_save_reg(dc, bb, where, DR_REG_X1, SPILL_SLOT_4);
  put(INSTR_CREATE_movz(dc, opnd_create_reg(DR_REG_X1), OPND_CREATE_INT16(1), OPND_CREATE_INT8(0)));
  insert_count(dc, bb, where, pc, site);
  dr_restore_reg(dc, bb, where, DR_REG_X0, SPILL_SLOT_3);
  dr_restore_reg(dc, bb, where, DR_REG_X1, SPILL_SLOT_4);
  // Register 31 is SP for ADDVL and ADDPL; for the others it is XZR, whose
  // write is dropped (an add into register 31 would write SP).
  if (st.rd == 31 && !st.sp) return true;
  auto x = [&](unsigned r) { return opnd_create_reg(r == 31 ? reg_id_t(DR_REG_SP) : reg_id_t(DR_REG_X0 + r)); };
  if (st.from_zero)
    instrlist_insert_mov_immed_ptrsz(dc, st.c, x(st.rd), bb, where, nullptr, nullptr);
  else if (st.c >= 0)
    put(INSTR_CREATE_add(dc, x(st.rd), x(st.rn), OPND_CREATE_INT(int(st.c))));
  else
    put(INSTR_CREATE_sub(dc, x(st.rd), x(st.rn), OPND_CREATE_INT(int(-st.c))));
  return true;
}

// A predicate step in the instruction's place: the pattern and zero in Q0
// and Q1, 32 bytes a pair store into the predicate's bytes in cpu_state,
// the flags for PTRUES, and one atomic add on the counter of a run that is
// this instruction alone, which the statistics fold in at exit. With the
// spills, 18 instructions for PFALSE or a PTRUE of the whole vector at
// 1792 bits, 19 for a PTRUE of part of it (pattern and zero both), and two
// more for the flags of PTRUES. Refused (false) when the predicate lies out
// of a pair store's reach.
bool insert_predicate_step(void* dc, instrlist_t* bb, instr_t* where, app_pc pc, const sve::site& site,
                           const sve::predicate_step& st) {
  static_assert(sve_vl_bytes % 32 == 0, "stores go in pairs of 16-byte segments");
  const int first = int(st.pd - (st.pd < 8 ? 4 : 12)) * int(sve_vl_bytes);
  if (first < -1024 || first + int(sve_vl_bytes) - 32 > 1008) return false;
  bool patterned = false, zeroed = false;
  for (bool f : st.full) (f ? patterned : zeroed) = true;
  // Accesses through the stolen register go in as the client's own code:
  // the framework would rewrite an application instruction that names it.
  inserter put{dc, bb, where, pc};
  auto put_meta = [&](instr_t* i) {
    instr_set_translation(i, pc);
    instrlist_meta_preinsert(bb, where, i);
  };
  const opnd_t x0 = opnd_create_reg(DR_REG_X0), x1 = opnd_create_reg(DR_REG_X1);
  const opnd_t q0 = opnd_create_reg(DR_REG_Q0), q1 = opnd_create_reg(DR_REG_Q1);
  auto raw = [&](raw_slot s, opnd_size_t size) { return opnd_create_base_disp(raw_base, DR_REG_NULL, 0, raw_at(s), size); };
  put_meta(INSTR_CREATE_stp(dc, raw(x_pair, OPSZ_16), x0, x1));
  put_meta(INSTR_CREATE_stp(dc, raw(q_pair, OPSZ_32), q0, q1));
  put(INSTR_CREATE_movz(dc, x1, OPND_CREATE_INT16(1), OPND_CREATE_INT8(0)));
  if (patterned) {
    const opnd_t width = st.esize == 1   ? OPND_CREATE_BYTE()
                         : st.esize == 2 ? OPND_CREATE_HALF()
                         : st.esize == 4 ? OPND_CREATE_SINGLE()
                                         : OPND_CREATE_DOUBLE();
    put(instr_create_1dst_2src(dc, OP_dup, q0, opnd_create_reg(st.esize == 8 ? DR_REG_X1 : DR_REG_W1), width));
  }
  if (zeroed) put(instr_create_1dst_2src(dc, OP_dup, q1, opnd_create_reg(DR_REG_XZR), OPND_CREATE_DOUBLE()));
  put_meta(INSTR_CREATE_ldr(dc, x0, raw(st.pd < 8 ? p4_at : p12_at, OPSZ_8)));
  for (unsigned seg = 0; seg < sve::predicate_segments; seg += 2)
    put(INSTR_CREATE_stp(dc, opnd_create_base_disp(DR_REG_X0, DR_REG_NULL, 0, first + int(16 * seg), OPSZ_32),
                         st.full[seg] ? q0 : q1, st.full[seg + 1] ? q0 : q1));
  put_meta(INSTR_CREATE_ldp(dc, q0, q1, raw(q_pair, OPSZ_32)));
  if (st.nzcv) {
    put(INSTR_CREATE_movz(dc, x0, OPND_CREATE_INT16(*st.nzcv >> 16), OPND_CREATE_INT8(16)));
    put(INSTR_CREATE_msr(dc, opnd_create_reg(DR_REG_NZCV), x0));
  }
  insert_count(dc, bb, where, pc, site);
  put_meta(INSTR_CREATE_ldp(dc, x0, x1, raw(x_pair, OPSZ_16)));
  return true;
}

// The application instructions of a block as the rewriter walks them.
struct framework_block {
  void* dc;
  instrlist_t* bb;

  instr_t* first() const { return instrlist_first_app(bb); }
  instr_t* next(instr_t* i) const { return instr_get_next_app(i); }
  uint32_t word(instr_t* i) const {
    const byte* raw = instr_get_raw_bits(i);
    return *reinterpret_cast<const uint32_t*>(raw ? raw : instr_get_app_pc(i));
  }
  // The sequence takes the instruction's place; every instruction that the
  // sequence consists of is one 4-byte word once encoded.
  // PFR0: the register's SVE field, bits 35:32, cleared and set to 1. ZFR0:
  // the advertised value, moved in 16 bits at a time (its fourth halfword
  // is zero).
  unsigned mark_sve(instr_t* i, unsigned rt, sve::detection::id_register reg) const {
    const opnd_t x = opnd_create_reg(reg_id_t(DR_REG_X0 + rt));
    instr_t* after = instr_get_next(i);
    inserter put{dc, bb, after, instr_get_app_pc(i)};
    if (reg == sve::detection::id_register::pfr0) {
      put(INSTR_CREATE_and(dc, x, x, OPND_CREATE_INT64(~(int64_t(0xf) << 32))));
      put(INSTR_CREATE_orr(dc, x, x, OPND_CREATE_INT64(int64_t(1) << 32)));
      return 2;
    }
    constexpr uint64_t v = sve::detection::advertised_zfr0;
    static_assert(v >> 48 == 0);
    put(INSTR_CREATE_movz(dc, x, OPND_CREATE_INT16(v & 0xffff), OPND_CREATE_INT8(0)));
    put(INSTR_CREATE_movk(dc, x, OPND_CREATE_INT16(v >> 16 & 0xffff), OPND_CREATE_INT8(16)));
    put(INSTR_CREATE_movk(dc, x, OPND_CREATE_INT16(v >> 32 & 0xffff), OPND_CREATE_INT8(32)));
    return 3;
  }
  // An SVE instruction joins the run that the instructions before it left
  // open, or opens one; the run's code goes in when an instruction that is
  // not SVE follows, in place of its last instruction. Until then the
  // instruction leaves no code, and the size returned is what its run's
  // code will take for it. A scalar or predicate step goes inline when no
  // run is open: inside one it is an instruction of the run like the others.
  size_t replace(instr_t* i, sve_handler h) {
    app_pc pc = instr_get_app_pc(i);
    SVE_ASSERT(dr_get_stolen_reg() == DR_REG_X28);
    instr_t* before = instr_get_prev(i);
    const uint32_t word = *reinterpret_cast<const uint32_t*>(pc);
    const sve::site site = sve::site_of(word, reinterpret_cast<uint32_t*>(pc), h);
    bool inlined = false;
    if (inline_steps && pending.empty()) {
      if (const std::optional<sve::scalar_step> step = sve::scalar_step_of(word, h))
        inlined = insert_step(dc, bb, i, pc, site, *step);
      else if (const std::optional<sve::predicate_step> step = sve::predicate_step_of(word, h); step && inline_predicates)
        inlined = insert_predicate_step(dc, bb, i, pc, site, *step);
    }
    size_t bytes = 0;
    if (!inlined) {
      bytes = pending.empty() ? run_bytes : 0;
      pending.push_back(site);
      if (pending.back().memory) bytes += fault_exit_bytes;
      instr_t* after = next(i);
      if (!after || !is_sve(this->word(after)) || pending.size() == max_run) close_run(i);
    }
    for (instr_t* n = before ? instr_get_next(before) : instrlist_first(bb); n != i; n = instr_get_next(n)) bytes += 4;
    instrlist_remove(bb, i);
    instr_destroy(dc, i);
    return bytes;
  }
  // The block falls through to the first instruction taken out, after the
  // code of a run that was left open for it.
  void cut(instr_t* from) {
    if (!pending.empty()) close_run(from);
    for (instr_t *i = from, *n; i; i = n) {
      n = instr_get_next(i);
      instrlist_remove(bb, i);
      instr_destroy(dc, i);
    }
  }

  void close_run(instr_t* where) {
    sequence::emulate(dc, bb, where, *sve::intern_run(pending));
    pending.clear();
  }

  // The instructions of the open run.
  std::vector<sve::site> pending = {};
  // The code of a run (save, call, restore: about 130 instructions), and
  // of each fault exit, for the block's budget; a run's length is bounded
  // so that its fault exits count it down with 12-bit immediates.
  static constexpr size_t run_bytes = 640, fault_exit_bytes = 16, max_run = 256;
};

dr_emit_flags_t event_instruction_change(void* dc, void* tag, instrlist_t* bb, bool, bool) {
  module_data_t* mod = dr_lookup_module(dr_fragment_app_pc(tag));
  uintptr_t start = mod ? reinterpret_cast<uintptr_t>(mod->start) : 0;
  if (mod) dr_free_module_data(mod);
  if (!sve::rewrites_block(all_modules.get_value(), mod != nullptr, start, reinterpret_cast<uintptr_t>(exe_start)))
    return DR_EMIT_DEFAULT;
  framework_block block{dc, bb};
  aarch64_instr_count.fetch_add(sve::rewrite_block(block, !hide_sve.get_value()), std::memory_order_relaxed);
  return DR_EMIT_DEFAULT;
}

void event_thread_init(void* dc) {
  auto* t = static_cast<thread_data*>(dr_thread_alloc(dc, sizeof(thread_data)));
  std::memset(t, 0, sizeof(thread_data));
  t->dc = dc;
  t->stack = dr_raw_mem_alloc(emulator_stack_bytes, DR_MEMPROT_READ | DR_MEMPROT_WRITE, nullptr);
  t->stack_top = reinterpret_cast<uintptr_t>(t->stack) + emulator_stack_bytes;
  drmgr_set_tls_field(dc, tls_idx, &t->state);
  if (inline_predicates) {
    auto* slots = static_cast<byte*>(dr_get_dr_segment_base(raw_base));
    *reinterpret_cast<void**>(slots + raw_at(p4_at)) = t->state.p[4];
    *reinterpret_cast<void**>(slots + raw_at(p12_at)) = t->state.p[12];
  }
}

void event_thread_exit(void* dc) {
  void* data = drmgr_get_tls_field(dc, tls_idx);
  SVE_ASSERT(data != NULL);
  auto* t = static_cast<thread_data*>(data);
  for (cpu_state* copy : t->copies)
    if (copy) dr_thread_free(dc, copy, sizeof(cpu_state));
  dr_raw_mem_free(t->stack, emulator_stack_bytes);
  dr_thread_free(dc, data, sizeof(thread_data));
}

// The module of an address and the address as the module was linked: the
// framework knows where each module's lowest segment was meant to be.
bool locate(uintptr_t address, sve::profile::place* out) {
  module_data_t* mod = dr_lookup_module(reinterpret_cast<app_pc>(address));
  if (!mod) return false;
  out->module = mod->full_path ? mod->full_path : "?";
  out->linked = address - reinterpret_cast<uintptr_t>(mod->start) + reinterpret_cast<uintptr_t>(mod->preferred_base);
  dr_free_module_data(mod);
  return true;
}

void event_exit() {
  dr_log(nullptr, DR_LOG_ALL, 1, "SVE client exiting\n");
  sve::fold_run_counts();
  sve::print_exit_report(exe ? exe->full_path : "", aarch64_instr_count.load());
  sve::write_profile("SVE client", "client", exe ? exe->full_path : "?", locate);
  if (exe) dr_free_module_data(exe);
  if (!hide_sve.get_value()) drwrap_exit();
  if (!drmgr_unregister_bb_app2app_event(event_instruction_change)) SVE_ASSERT(false);
  if (have_raw_slots) dr_raw_tls_cfree(raw_offset, raw_slots);
  drmgr_exit();
}

}  // namespace

// Tells the emulator's static initialisation not to install signal handlers
// of its own.
extern "C" bool sve_host_owns_signals() { return true; }

DR_EXPORT void dr_client_main(client_id_t, int argc, const char* argv[]) {
  dr_set_client_name("Ostrel SVE emulation client", "the Ostrel SVE emulator maintainers");
  std::string parse_error;
  using namespace dynamorio::droption;
  if (!droption_parser_t::parse_argv(DROPTION_SCOPE_CLIENT, argc, argv, &parse_error, nullptr)) {
    dr_fprintf(STDERR, "Usage error: %s\n", parse_error.c_str());
    dr_abort();
  }
  if (!profile_file.get_value().empty() && !sve::start_profile("SVE client", profile_file.get_value().c_str()))
    dr_exit_process(1);
  if (!drmgr_init()) SVE_ASSERT(false);
  exe = dr_get_main_module();
  if (exe) exe_start = exe->start;
  drmgr_register_thread_init_event(event_thread_init);
  drmgr_register_thread_exit_event(event_thread_exit);
  drmgr_register_exit_event(event_exit);
  if (!drmgr_register_bb_app2app_event(event_instruction_change, nullptr)) SVE_ASSERT(false);
  if (!hide_sve.get_value() && (!drwrap_init() || !drmgr_register_module_load_event(event_module_load)))
    SVE_ASSERT(false);
  drmgr_register_signal_event(event_signal);
  if (!drmgr_register_filter_syscall_event(event_filter_syscall) || !drmgr_register_pre_syscall_event(event_pre_syscall) || !drmgr_register_post_syscall_event(event_post_syscall) ||
      !drmgr_register_kernel_xfer_event(event_kernel_xfer))
    SVE_ASSERT(false);
  sve::set_memory_host(framework_memory);
  inline_steps = proc_has_feature(FEATURE_LSE) && !sve::profiling();
  // A pair store of X registers reaches 504 bytes from its base.
  have_raw_slots = dr_raw_tls_calloc(&raw_base, &raw_offset, raw_slots, 16);
  inline_predicates = inline_steps && have_raw_slots && raw_base == dr_get_stolen_reg() && raw_offset + 8 * raw_slots <= 512;
  // The framework's private copy of the C library has no page size of its
  // own to give the emulator's static initialisation; the framework knows it.
  page_size = long(dr_page_size());
  tls_idx = drmgr_register_tls_field();
  sve_instr_count = 0;
  aarch64_instr_count = 0;
  dr_log(nullptr, DR_LOG_ALL, 1, "SVE client initializing\n");
}
