// What every host integration does with an emulated instruction and at exit,
// whether the host is the instrumentation framework or the SIGILL runner.
#pragma once

#include <cstdint>

#include "../decode/sve_emu.h"

namespace sve {

// Carries out `word`, found at `addr`, with its handler on the thread's state:
// records the address in pc, runs the handler and counts it. A failing
// handler is reported on stderr and not counted; the registers stay as the
// handler left them and the program goes on.
void emulate_word(cpu_state* s, uint32_t word, uint32_t* addr, sve_handler h);

// The two lines of the exit report, on stderr, named by the basename of the
// main module's path.
void print_exit_report(const char* module_path, uint64_t native_instructions);

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
