// What every host integration does with an emulated instruction and at exit,
// whether the host is the instrumentation framework or the SIGILL runner.
#pragma once

#include <cstdint>
#include <optional>

#include "../decode/sve_emu.h"

namespace sve {

// Carries out `word`, found at `addr`, with its handler on the thread's state:
// records the address in pc, runs the handler and counts it. A failing
// handler is reported on stderr and not counted; the registers stay as the
// handler left them and the program goes on.
void emulate_word(cpu_state* s, uint32_t word, uint32_t* addr, sve_handler h);

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
// keep their instructions. Module starts are 0 when unknown.
constexpr bool rewrites_block(bool in_module, uintptr_t module_start, uintptr_t main_start) {
  return !in_module || module_start == main_start;
}

// Walks the words of a block that is rewritten: calls replace(i, handler) for
// each word that the emulator knows and returns the count of the others,
// which run natively.
template <class Words, class Replace>
uint64_t plan_block(const Words& words, Replace&& replace) {
  uint64_t native = 0;
  unsigned i = 0;
  for (uint32_t w : words) {
    if (sve_handler h = is_sve(w)) replace(i, h);
    else ++native;
    ++i;
  }
  return native;
}

}  // namespace sve
