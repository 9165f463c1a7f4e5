#include "emulate.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "../decode/decode.h"
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

bool accesses_memory(sve_handler h) {
  for (const decode_family* f : all_families())
    if (std::string_view(f->name).starts_with("memory_"))
      for (const decode_entry& e : f->entries)
        if (e.handler == h) return true;
  return false;
}

void print_exit_report(const char* module_path, std::optional<uint64_t> native_instructions) {
  const char* slash = std::strrchr(module_path, '/');
  const char* name = slash ? slash + 1 : module_path;
  fprintf(stderr, "%s: %lu SVE instructions executed\n", name, static_cast<unsigned long>(sve_instr_count.load()));
  if (native_instructions)
    fprintf(stderr, "%s: %lu Non-SVE AArch64 instructions executed\n", name,
            static_cast<unsigned long>(*native_instructions));
  else
    fprintf(stderr, "%s: Non-SVE AArch64 instructions are not counted in this mode (the framework client counts them)\n",
            name);
}

void report_illegal_instruction(const char* tool, const uint32_t* pc) {
  const uint32_t word = *pc;
  // Bits 28:25 = 0010 is the SVE encoding space.
  const bool sve_space = (word >> 25 & 0xf) == 0x2;
  char text[160];
  const int n = snprintf(text, sizeof text,
                         sve_space ? "%s: SVE instruction 0x%08x at %p is not emulated\n"
                                   : "%s: instruction 0x%08x at %p is not SVE and this processor does not have it\n",
                         tool, word, static_cast<const void*>(pc));
  if (n > 0) (void)!write(STDERR_FILENO, text, size_t(n) < sizeof text ? size_t(n) : sizeof text - 1);
}

}  // namespace sve
