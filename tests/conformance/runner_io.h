// What both conformance runners share: the fixed mappings of the state block
// and the arena, and the batch protocol on standard input and output.
#pragma once

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "case_state.h"

namespace conf {

// Maps `size` bytes at exactly `addr`, or ends the runner.
inline uint8_t* map_fixed(uint64_t addr, uint64_t size, int prot) {
  void* p = mmap(reinterpret_cast<void*>(addr), size, prot, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
  if (p != reinterpret_cast<void*>(addr)) {
    fprintf(stderr, "conformance runner: cannot map 0x%llx\n", static_cast<unsigned long long>(addr));
    exit(2);
  }
  return static_cast<uint8_t*>(p);
}

// The arena, with the range behind it reserved and inaccessible.
inline uint8_t* map_arena() {
  uint8_t* a = map_fixed(arena_base, arena_size + guard_size, PROT_READ | PROT_WRITE);
  mprotect(a + arena_size, guard_size, PROT_NONE);
  return a;
}

// Reads the whole batch from standard input.
inline std::vector<case_in> read_cases() {
  std::vector<case_in> cases;
  case_in c;
  while (fread(&c, sizeof c, 1, stdin) == 1) cases.push_back(c);
  return cases;
}

// Writes one result; with `dump`, the final state and arena follow.
inline void write_result(const case_out& out, const case_in& c, const state& st, const uint8_t* arena) {
  fwrite(&out, sizeof out, 1, stdout);
  if (c.dump) {
    fwrite(&st, sizeof st, 1, stdout);
    fwrite(arena, arena_size, 1, stdout);
  }
}

}  // namespace conf
