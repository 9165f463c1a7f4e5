#include "runs.h"

#include <map>
#include <mutex>
#include <tuple>

#include "../decode/stats.h"
#include "emulate.h"

namespace sve {

site site_of(uint32_t word, uint32_t* addr, sve_handler h) {
  return {word, addr, h, &address_count(addr, word), accesses_memory(h)};
}

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
  for (const site& s : sites) memory |= s.memory;
  auto it = runs().emplace(std::piecewise_construct, std::forward_as_tuple(sites.front().addr), std::forward_as_tuple());
  it->second.sites = sites;
  it->second.memory = memory;
  return &it->second;
}

namespace {

void count_site(const site& x) {
  x.count->fetch_add(1, std::memory_order_relaxed);
  sve_instr_count.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

void count_done(const run& r, uint32_t done) {
  for (uint32_t i = 0; i < done; ++i) count_site(r.sites[i]);
}

void emulate_run(cpu_state* s, const run& r, bool profiled, volatile uint32_t* next) {
  const site* const sites = r.sites.data();
  const uint32_t n = uint32_t(r.sites.size());
  bool whole = true;
  load_host_fp(s);
  for (uint32_t i = 0; i < n; ++i) {
    *next = i;
    const site& x = sites[i];
    if (profiled) {
      emulate_word_profiled(s, x.word, x.addr, x.handler);
    } else if (!carry_out(s, x.word, x.addr, x.handler, true)) {
      // A handler failed: those before it are counted now, and the rest
      // each by itself.
      if (whole) count_done(r, i);
      whole = false;
    } else if (!whole) {
      count_site(x);
    }
  }
  if (whole && !profiled) r.whole.fetch_add(1, std::memory_order_relaxed);
}

void fold_run_counts() {
  std::lock_guard<spin_lock> lock(runs_mutex);
  for (auto& [addr, r] : runs()) {
    const uint64_t whole = r.whole.exchange(0, std::memory_order_relaxed);
    if (!whole) continue;
    for (const site& x : r.sites) x.count->fetch_add(whole, std::memory_order_relaxed);
    sve_instr_count.fetch_add(whole * r.sites.size(), std::memory_order_relaxed);
  }
}

}  // namespace sve
