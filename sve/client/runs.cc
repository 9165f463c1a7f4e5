#include "runs.h"

#include <map>
#include <mutex>

#include "../decode/stats.h"
#include "emulate.h"

namespace sve {

site site_of(uint32_t word, uint32_t* addr, sve_handler h) { return {word, addr, h, &address_count(addr, word)}; }

namespace {

// Records by the address of their first instruction; an address whose
// instructions changed keeps its old records for the code that still names
// them.
spin_lock runs_mutex;
std::multimap<uint32_t*, run>& runs() {
  static auto* all = new std::multimap<uint32_t*, run>;  // outlives the blocks that name its records
  return *all;
}

}  // namespace

const run* intern_run(const std::vector<site>& sites) {
  std::lock_guard<spin_lock> lock(runs_mutex);
  auto [first, last] = runs().equal_range(sites.front().addr);
  for (auto it = first; it != last; ++it)
    if (it->second.sites == sites) return &it->second;
  bool memory = false;
  for (const site& s : sites) memory |= accesses_memory(s.handler);
  return &runs().emplace(sites.front().addr, run{sites, memory})->second;
}

void emulate_run(cpu_state* s, const run& r, bool profiled, volatile uint32_t* next) {
  const uint32_t n = uint32_t(r.sites.size());
  for (uint32_t i = 0; i < n; ++i) {
    *next = i;
    const site& x = r.sites[i];
    if (profiled)
      emulate_word_profiled(s, x.word, x.addr, x.handler);
    else
      emulate_word(s, x.word, x.addr, x.handler, x.count);
  }
}

}  // namespace sve
