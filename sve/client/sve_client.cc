// The instrumentation framework client: every SVE instruction of the main
// module is replaced, in the block that holds it, by a sequence that moves
// the application's registers into the thread's cpu_state, calls
// emulate_instruction with the word, its address and its handler as
// constants, and moves the registers back. Other instructions run natively.
// At exit the client reports how many instructions it emulated and how many
// native instructions it saw in the blocks it built.
#include <signal.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <string>

#include "../decode/stats.h"
#include "../memory/host_memory.h"
#include "dr_api.h"
#include "drmgr.h"
#include "droption.h"
#include "drreg.h"
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

int tls_idx;
module_data_t* exe;
app_pc exe_start;
std::atomic<uint64_t> aarch64_instr_count;

// Registers of the inserted sequence: X27 holds the address of cpu_state,
// X26 is scratch, and X28 is the framework's stolen register.
constexpr reg_id_t base = DR_REG_X27, scratch = DR_REG_X26;

opnd_t field(size_t offset, opnd_size_t size) { return opnd_create_base_disp(base, DR_REG_NULL, 0, int(offset), size); }

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

dr_signal_action_t event_signal(void*, dr_siginfo_t* info) {
  if ((info->sig == SIGSEGV || info->sig == SIGBUS) && info->mcontext &&
      is_sve(*reinterpret_cast<const uint32_t*>(info->mcontext->pc)))
    dr_fprintf(STDERR,
               "quorvex's SVESigHandler caught signal %s from the process being emulated, passing it to the default "
               "signal handler.\n",
               info->sig == SIGSEGV ? "SIGSEGV" : "SIGBUS");
  return DR_SIGNAL_DELIVER;
}

void emulate_instruction(unsigned int word, uint8_t* addr, sve_handler handler) {
  void* dc = dr_get_current_drcontext();
  auto* s = static_cast<cpu_state*>(drmgr_get_tls_field(dc, tls_idx));
  s->x[26] = dr_read_saved_reg(dc, SPILL_SLOT_1);
  s->x[27] = dr_read_saved_reg(dc, SPILL_SLOT_2);
  s->x[28] = dr_read_saved_reg(dc, SPILL_SLOT_3);
  sve::emulate_word(s, word, reinterpret_cast<uint32_t*>(addr), handler);
  dr_write_saved_reg(dc, SPILL_SLOT_1, s->x[26]);
  dr_write_saved_reg(dc, SPILL_SLOT_2, s->x[27]);
  dr_write_saved_reg(dc, SPILL_SLOT_3, s->x[28]);
}

// The sequence that stands for one SVE instruction. The address of
// cpu_state is read from the thread's TLS field by the inserted code itself,
// because blocks are shared between threads.
void insert_emulation(void* dc, instrlist_t* bb, instr_t* where, app_pc pc, uint32_t word, sve_handler h) {
  inserter put{dc, bb, where, pc};
  dr_save_reg(dc, bb, where, scratch, SPILL_SLOT_1);
  dr_save_reg(dc, bb, where, base, SPILL_SLOT_2);
  dr_insert_get_stolen_reg_value(dc, bb, where, base);
  dr_save_reg(dc, bb, where, base, SPILL_SLOT_3);
  drmgr_insert_read_tls_field(dc, tls_idx, bb, where, base);

  // SP moves through an add of 0: a register move cannot name it.
  put(INSTR_CREATE_add(dc, opnd_create_reg(scratch), opnd_create_reg(DR_REG_SP), OPND_CREATE_INT(0)));
  put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, sp), OPSZ_8), opnd_create_reg(scratch)));
  auto pair_at = [](int r) { return field(offsetof(cpu_state, x) + size_t(r) * 8, OPSZ_16); };
  for (int r = 0; r < 26; r += 2)
    put(INSTR_CREATE_stp(dc, pair_at(r), opnd_create_reg(reg_id_t(DR_REG_X0 + r)),
                         opnd_create_reg(reg_id_t(DR_REG_X0 + r + 1))));
  put(INSTR_CREATE_stp(dc, pair_at(29), opnd_create_reg(DR_REG_X29), opnd_create_reg(DR_REG_X30)));
  for (int q = 0; q < 32; ++q)
    put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, z) + size_t(q) * sve_vl_bytes, OPSZ_16),
                         opnd_create_reg(reg_id_t(DR_REG_Q0 + q))));
  put(INSTR_CREATE_mrs(dc, opnd_create_reg(scratch), opnd_create_reg(DR_REG_NZCV)));
  put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, nzcv), OPSZ_8), opnd_create_reg(scratch)));
  put(INSTR_CREATE_mrs(dc, opnd_create_reg(scratch), opnd_create_reg(DR_REG_FPSR)));
  put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, fpsr), OPSZ_4), opnd_create_reg(DR_REG_W26)));
  put(INSTR_CREATE_mrs(dc, opnd_create_reg(scratch), opnd_create_reg(DR_REG_FPCR)));
  put(INSTR_CREATE_str(dc, field(offsetof(cpu_state, fpcr), OPSZ_4), opnd_create_reg(DR_REG_W26)));

  // The framework's call keeps the spill slots and its stolen register; it
  // restores the host registers as they were before it, and the loads that
  // follow replace them with what the handler left.
  dr_insert_clean_call(dc, bb, where, reinterpret_cast<void*>(emulate_instruction), false, 3,
                       OPND_CREATE_INT32(int32_t(word)), OPND_CREATE_INTPTR(pc),
                       OPND_CREATE_INTPTR(reinterpret_cast<ptr_int_t>(h)));

  drmgr_insert_read_tls_field(dc, tls_idx, bb, where, base);
  put(INSTR_CREATE_ldr(dc, opnd_create_reg(DR_REG_W26), field(offsetof(cpu_state, fpcr), OPSZ_4)));
  put(INSTR_CREATE_msr(dc, opnd_create_reg(DR_REG_FPCR), opnd_create_reg(scratch)));
  put(INSTR_CREATE_ldr(dc, opnd_create_reg(DR_REG_W26), field(offsetof(cpu_state, fpsr), OPSZ_4)));
  put(INSTR_CREATE_msr(dc, opnd_create_reg(DR_REG_FPSR), opnd_create_reg(scratch)));
  put(INSTR_CREATE_ldr(dc, opnd_create_reg(scratch), field(offsetof(cpu_state, nzcv), OPSZ_8)));
  put(INSTR_CREATE_msr(dc, opnd_create_reg(DR_REG_NZCV), opnd_create_reg(scratch)));
  for (int q = 0; q < 32; ++q)
    put(INSTR_CREATE_ldr(dc, opnd_create_reg(reg_id_t(DR_REG_Q0 + q)),
                         field(offsetof(cpu_state, z) + size_t(q) * sve_vl_bytes, OPSZ_16)));
  for (int r = 0; r < 26; r += 2)
    put(INSTR_CREATE_ldp(dc, opnd_create_reg(reg_id_t(DR_REG_X0 + r)), opnd_create_reg(reg_id_t(DR_REG_X0 + r + 1)),
                         pair_at(r)));
  put(INSTR_CREATE_ldp(dc, opnd_create_reg(DR_REG_X29), opnd_create_reg(DR_REG_X30), pair_at(29)));
  put(INSTR_CREATE_ldr(dc, opnd_create_reg(scratch), field(offsetof(cpu_state, sp), OPSZ_8)));
  put(INSTR_CREATE_add(dc, opnd_create_reg(DR_REG_SP), opnd_create_reg(scratch), OPND_CREATE_INT(0)));
  dr_restore_reg(dc, bb, where, base, SPILL_SLOT_3);
  dr_insert_set_stolen_reg_value(dc, bb, where, base);
  dr_restore_reg(dc, bb, where, base, SPILL_SLOT_2);
  dr_restore_reg(dc, bb, where, scratch, SPILL_SLOT_1);
}

dr_emit_flags_t event_instruction_change(void* dc, void* tag, instrlist_t* bb, bool, bool) {
  module_data_t* mod = dr_lookup_module(dr_fragment_app_pc(tag));
  uintptr_t start = mod ? reinterpret_cast<uintptr_t>(mod->start) : 0;
  if (mod) dr_free_module_data(mod);
  if (!sve::rewrites_block(mod != nullptr, start, reinterpret_cast<uintptr_t>(exe_start))) return DR_EMIT_DEFAULT;
  for (instr_t *i = instrlist_first_app(bb), *next; i; i = next) {
    next = instr_get_next_app(i);
    const byte* raw = instr_get_raw_bits(i);
    uint32_t word = *reinterpret_cast<const uint32_t*>(raw ? raw : instr_get_app_pc(i));
    sve_handler h = is_sve(word);
    if (!h) {
      aarch64_instr_count.fetch_add(1, std::memory_order_relaxed);
      continue;
    }
    app_pc pc = instr_get_app_pc(i);
    word = *reinterpret_cast<const uint32_t*>(pc);
    SVE_ASSERT(dr_get_stolen_reg() == DR_REG_X28);
    insert_emulation(dc, bb, i, pc, word, h);
    instrlist_remove(bb, i);
    instr_destroy(dc, i);
  }
  return DR_EMIT_DEFAULT;
}

void event_thread_init(void* dc) { drmgr_set_tls_field(dc, tls_idx, dr_thread_alloc(dc, sizeof(cpu_state))); }

void event_thread_exit(void* dc) {
  void* data = drmgr_get_tls_field(dc, tls_idx);
  SVE_ASSERT(data != NULL);
  dr_thread_free(dc, data, sizeof(cpu_state));
}

void event_exit() {
  dr_log(nullptr, DR_LOG_ALL, 1, "SVE client exiting\n");
  sve::print_exit_report(exe ? exe->full_path : "", aarch64_instr_count.load());
  if (exe) dr_free_module_data(exe);
  if (!drmgr_unregister_bb_app2app_event(event_instruction_change) || drreg_exit() != DRREG_SUCCESS) SVE_ASSERT(false);
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
  drreg_options_t ops = {sizeof(ops), 0, false, nullptr, false};
  if (!drmgr_init() || drreg_init(&ops) != DRREG_SUCCESS) SVE_ASSERT(false);
  exe = dr_get_main_module();
  if (exe) exe_start = exe->start;
  drmgr_register_thread_init_event(event_thread_init);
  drmgr_register_thread_exit_event(event_thread_exit);
  drmgr_register_exit_event(event_exit);
  if (!drmgr_register_bb_app2app_event(event_instruction_change, nullptr)) SVE_ASSERT(false);
  drmgr_register_signal_event(event_signal);
  sve::set_memory_host(framework_memory);
  tls_idx = drmgr_register_tls_field();
  sve_instr_count = 0;
  aarch64_instr_count = 0;
  dr_log(nullptr, DR_LOG_ALL, 1, "SVE client initializing\n");
}
