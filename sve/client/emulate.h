// What every host integration does with an emulated instruction and at exit,
// whether the host is the instrumentation framework or the SIGILL runner.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "../decode/direct.h"
#include "../decode/profile.h"
#include "../decode/sve_emu.h"
#include "detection.h"

namespace sve {

// Carries out `word`, found at `addr`, with its handler on the thread's state:
// records the address in pc and runs the handler. A failing handler is
// reported on stderr; the registers stay as the handler left them and the
// program goes on. True when the handler succeeded. Inline, because a run
// of the framework client carries out its instructions one after another;
// the run puts the program's FPCR into the processor once for all of them
// (`fpcr_loaded`), since no handler changes it and a write of FPCR is slow
// on many processors.
void report_failed_handler(const uint32_t* addr);
inline bool carry_out(cpu_state* s, uint32_t word, uint32_t* addr, sve_handler h, bool fpcr_loaded = false) {
  s->pc = addr;
  // Native floating point computes under the program's FPCR and adds to its
  // FPSR, whatever the host's own code between the two left in them.
  if (fpcr_loaded)
    load_host_fpsr(s);
  else
    load_host_fp(s);
  if (h(s, word) == aarch64_decode_ok) [[likely]]
    return true;
  report_failed_handler(addr);
  return false;
}

// The same, counted in the statistics when the handler succeeded.
bool emulate_word(cpu_state* s, uint32_t word, uint32_t* addr, sve_handler h);

// The same, recorded in the profile too. A host chooses this one when the
// user asked for a profile, so that without one nothing is added.
bool emulate_word_profiled(cpu_state* s, uint32_t word, uint32_t* addr, sve_handler h);

// Turns the profile on, to be written at exit to `path`: the file is made
// (empty) at once, so that a path that cannot be written is named before
// the program runs. On failure says why on stderr, with `tool` in front,
// and returns false.
bool start_profile(const char* tool, const char* path);

// Whether start_profile succeeded.
bool profiling();

// Writes the profile to the path given to start_profile, if it was started.
void write_profile(const char* tool, const char* host, const char* program, profile::locate_fn locate);

// Whether the instruction of this handler reads or writes memory.
bool accesses_memory(sve_handler h);

// The two lines of the exit report, on stderr, named by the basename of the
// main module's path. A host that cannot see the native instructions passes
// no count, and the second line says that they were not counted.
void print_exit_report(const char* module_path, std::optional<uint64_t> native_instructions);

// Names on stderr, with `tool` in front, an instruction word at `pc` that
// raised SIGILL and is about to get the program's own action, so that a user
// learns why the program dies: an SVE word that the emulator does not know,
// or another word that the processor does not have. Safe in a signal handler.
void report_illegal_instruction(const char* tool, const uint32_t* pc);

// The block rewriting rule: a block is rewritten when it lies in the main
// module or in no module at all (generated code); blocks of shared libraries
// keep their instructions unless every module is emulated. Module starts
// are 0 when unknown.
constexpr bool rewrites_block(bool all_modules, bool in_module, uintptr_t module_start, uintptr_t main_start) {
  return all_modules || !in_module || module_start == main_start;
}

// The room that the sequences of one block have in the framework's code
// cache. A fragment holds at most 32 KiB on AArch64, and the framework adds
// exit stubs and expands some native instructions that it must rewrite;
// a native instruction is reckoned at 16 bytes for that reason. A block's
// first emulated instruction always goes in; the next ones only while they
// fit, at the size that the last sequence took.
class block_budget {
 public:
  static constexpr size_t room = 24 * 1024;
  static constexpr size_t native_bytes = 16;

  bool fits_emulated() const { return used_ == 0 || used_ + sequence_ <= room; }
  void add_native() { used_ += native_bytes; }
  void add_emulated(size_t sequence_bytes) { used_ += sequence_bytes, sequence_ = sequence_bytes; }

 private:
  size_t used_ = 0;
  size_t sequence_ = 1024;  // until the first sequence is measured
};

// Rewrites a block that lies where the client rewrites: written once for the
// framework and for tests. `Block` walks the application instructions with
// first() and next(item) (a null item at the end) and gives word(item);
// replace(item, handler) puts the emulation sequence in the item's place and
// returns its size in bytes; cut(item) takes the item and everything after
// it out of the block, so that they make a block of their own, built when
// control reaches them; with `advertise_sve`, mark_sve(item, t, reg) follows
// an MRS Xt of ID_AA64PFR0_EL1 or ID_AA64ZFR0_EL1 with instructions that
// give the register the advertised value (two that set the SVE field of
// PFR0, detection::advertised_pfr0; three that move
// detection::advertised_zfr0) and returns their number. Returns the count of
// instructions left to run natively.
template <class Block>
uint64_t rewrite_block(Block& block, bool advertise_sve) {
  block_budget budget;
  uint64_t native = 0;
  for (auto i = block.first(), next = i; i; i = next) {
    next = block.next(i);
    const uint32_t word = block.word(i);
    const sve_handler h = is_sve(word);
    unsigned rt;
    if (!h) {
      const detection::id_register reg = detection::reads_id_register(word, &rt);
      if (advertise_sve && reg != detection::id_register::none && rt != 31)
        for (unsigned n = block.mark_sve(i, rt, reg); n > 0; --n) budget.add_native();
      budget.add_native();
      ++native;
    } else if (budget.fits_emulated()) {
      budget.add_emulated(block.replace(i, h));
    } else {
      block.cut(i);
      break;
    }
  }
  return native;
}

}  // namespace sve
