#include "emulate.h"

#include <cstdio>
#include <cstring>

#include "../decode/direct.h"
#include "../decode/stats.h"

namespace sve {

void emulate_word(cpu_state* s, uint32_t word, uint32_t* addr, sve_handler h) {
  s->pc = addr;
  // Native floating point computes under the program's FPCR and adds to its
  // FPSR, whatever the host's own code between the two left in them.
  load_host_fp(s);
  if (h(s, word) == aarch64_decode_ok)
    update_sve_stats(addr, word);
  else
    fprintf(stderr, "Error: failed to emulate SVE instruction 0x%08x at PC %p\n", *addr, static_cast<void*>(addr));
}

void print_exit_report(const char* module_path, uint64_t native_instructions) {
  const char* slash = std::strrchr(module_path, '/');
  const char* name = slash ? slash + 1 : module_path;
  fprintf(stderr, "%s: %lu SVE instructions executed\n", name, static_cast<unsigned long>(sve_instr_count.load()));
  fprintf(stderr, "%s: %lu Non-SVE AArch64 instructions executed\n", name,
          static_cast<unsigned long>(native_instructions));
}

}  // namespace sve
