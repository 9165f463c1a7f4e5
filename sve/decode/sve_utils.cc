// The decoder: the decode maps of SVE and SVE2, the lookup that finds an instruction
// word's handler, the decode-and-execute step for embedders, and the
// execution statistics.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "decode.h"
#include "direct.h"
#include "families.h"
#include "../memory/memory_access.h"
#include "stats.h"

namespace sve {

namespace {
constinit const decode_family* const family_list[] = {
#define SVE_FAMILY_POINTER(f) &families::f,
    SVE_FAMILIES(SVE_FAMILY_POINTER)
#undef SVE_FAMILY_POINTER
};
}  // namespace

std::span<const decode_family* const> all_families() { return family_list; }

const decode_entry* entry_of(uint32_t word, sve_handler h) {
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries)
      if (e.handler == h && (word & e.fixed_mask) == e.fixed_value) return &e;
  return nullptr;
}

}  // namespace sve

using namespace sve;

std::atomic<uint64_t> sve_instr_count{0};

// Static initialisation, in this order: the statistics table, the page size,
// then the maps. Objects of one translation unit are initialised in the order
// of their definitions and destroyed in reverse at process exit.
std::map<uint32_t*, std::pair<uint32_t, std::atomic<uint64_t>>> icounts;
sve::spin_lock icounts_mutex;
long page_size = sysconf(_SC_PAGESIZE);

namespace {
std::map<int32_t, sve_handler> build_map(map_id m) {
  std::map<int32_t, sve_handler> map;
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries)
      if (e.map == m) map.emplace(e.key, e.handler);
  return map;
}
}  // namespace

#define SVE_MAP_OBJECT(name, ...) std::map<int32_t, sve_handler> decode_map__##name = build_map(map_id::m##name);
SVE_ALL_DECODE_MAPS(SVE_MAP_OBJECT)
#undef SVE_MAP_OBJECT

std::map<int32_t, sve_handler>* const sve::decode_maps[map_count] = {
#define SVE_MAP_ADDRESS(name, ...) &decode_map__##name,
    SVE_ALL_DECODE_MAPS(SVE_MAP_ADDRESS)
#undef SVE_MAP_ADDRESS
};

// Every SVE and SVE2 encoding has bits 28:25 = 0010, and every map's key
// takes those bits, so no other word can stand in any map: most words of a
// program are turned away by that test alone.
extern "C" sve_handler is_sve(unsigned int word) {
  if ((word >> 25 & 0xf) != 0x2) return nullptr;
  for (int m = 0; m < map_count; ++m) {
    const auto& map = *decode_maps[m];
    auto it = map.find(map_key(word, map_descs[m].mask));
    if (it != map.end()) return it->second;
  }
  return nullptr;
}

namespace {

// Every handler, so that a cache slot can name one by a 32-bit index.
std::vector<sve_handler> handler_list = [] {
  std::vector<sve_handler> v;
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries) v.push_back(e.handler);
  return v;
}();

// The last act of static initialisation: the fault handler of the memory
// instructions, once page_size and every map are in place.
const bool signals_ready = (SVEInitialize(), true);


// A direct-mapped cache of recent lookups: each slot holds a word and the
// index of its handler plus one in one atomic doubleword, so threads share
// it without a lock. The maps never change, so an entry never goes stale.
std::atomic<uint64_t> decode_cache[1024];

}  // namespace

sve_handler sve::cached_is_sve(uint32_t word) {
  std::atomic<uint64_t>& slot = decode_cache[(word ^ word >> 10 ^ word >> 20) % std::size(decode_cache)];
  uint64_t c = slot.load(std::memory_order_relaxed);
  if (uint32_t(c >> 32) == word && uint32_t(c)) return handler_list[uint32_t(c) - 1];
  sve_handler h = is_sve(word);
  auto it = std::find(handler_list.begin(), handler_list.end(), h);
  if (h && it != handler_list.end())
    slot.store(uint64_t(word) << 32 | uint64_t(it - handler_list.begin() + 1), std::memory_order_relaxed);
  return h;
}

extern "C" aarch64_decode_rc execute_sve_instruction(cpu_state* s) {
  uint32_t* pc = s->pc;
  uint32_t word = *pc;
  sve_handler h = cached_is_sve(word);
  if (!h) return aarch64_decode_unknown;
  const host_fp_scope fp(s);
  aarch64_decode_rc rc = h(s, word);
  if (rc != aarch64_decode_ok) return rc;
  update_sve_stats(pc, word);
  s->pc += 1;
  return aarch64_decode_ok;
}

namespace {

// The entries of icounts counted lately, in a direct-mapped table shared by
// all threads. An entry never moves or goes away and its address is never
// rewritten, so a remembered entry is counted with its atomic add alone; the
// lock is taken only to find or make the entry of an address that is not
// remembered. Threads that run at once then hardly ever wait for each other.
using icounts_entry = decltype(icounts)::value_type;
std::atomic<icounts_entry*> remembered[4096];

}  // namespace

std::atomic<uint64_t>& sve::address_count(uint32_t* addr, uint32_t word) {
  std::atomic<icounts_entry*>& slot = remembered[(reinterpret_cast<uintptr_t>(addr) >> 2) % std::size(remembered)];
  icounts_entry* e = slot.load(std::memory_order_acquire);
  if (!e || e->first != addr) {
    std::lock_guard<sve::spin_lock> lock(icounts_mutex);
    auto it = icounts.find(addr);
    if (it == icounts.end())
      it = icounts.emplace(std::piecewise_construct, std::forward_as_tuple(addr), std::forward_as_tuple(word, 0))
               .first;
    e = &*it;
    slot.store(e, std::memory_order_release);
  }
  return e->second.second;
}

extern "C" void update_sve_stats(uint32_t* addr, unsigned int word) {
  std::atomic<uint64_t>& count = address_count(addr, word);
  sve_instr_count.fetch_add(1, std::memory_order_relaxed);
  count.fetch_add(1, std::memory_order_relaxed);
}

extern "C" void dump_sve_stats(void) {
  for (const auto& [addr, entry] : icounts)
    fprintf(stderr, "%p: 0x%08x %ld\n", static_cast<void*>(addr), entry.first, long(entry.second.load()));
}
