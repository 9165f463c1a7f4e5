#include "profile.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "decode.h"

namespace sve::profile {

struct slot {
  std::atomic<uintptr_t> address{0};  // 0 while free
  std::atomic<bool> ready{false};     // word and shape written
  uint32_t word = 0;
  shape sh;
  std::atomic<uint64_t> executed{0}, active{0}, slots{0}, loaded{0}, stored{0}, gathered{0}, scattered{0},
      narrowed{0};
};

namespace {

constexpr int capacity_bits = 15;  // 32,768 distinct addresses; a large program has a few thousand
constexpr size_t capacity = size_t(1) << capacity_bits;
slot* table;
std::atomic<uint64_t> overflow{0};

// The slot of an address, claimed and described on its first execution;
// null when the table is full.
slot* slot_of(const uint32_t* addr, uint32_t word, sve_handler h) {
  const auto a = reinterpret_cast<uintptr_t>(addr);
  size_t i = size_t((a >> 2) * 0x9e3779b97f4a7c15 >> (64 - capacity_bits));
  for (size_t probes = 0; probes < capacity; ++probes, i = (i + 1) % capacity) {
    slot& s = table[i];
    uintptr_t seen = s.address.load(std::memory_order_acquire);
    if (seen == 0 && s.address.compare_exchange_strong(seen, a, std::memory_order_acq_rel)) {
      s.word = word;
      if (const decode_entry* e = entry_of(word, h)) s.sh = shape_of(*e);
      s.ready.store(true, std::memory_order_release);
      return &s;
    }
    if (seen == a) {
      // Another thread claimed it a moment ago and is describing it.
      while (!s.ready.load(std::memory_order_acquire)) {
      }
      return &s;
    }
  }
  return nullptr;
}

counts sums(const slot& s) {
  counts c;
  c.executed = s.executed, c.active = s.active, c.slots = s.slots, c.bytes_loaded = s.loaded;
  c.bytes_stored = s.stored, c.gathered = s.gathered, c.scattered = s.scattered, c.narrowed = s.narrowed;
  return c;
}

const uint8_t* governing(const cpu_state* s, const slot& sl) {
  const uint32_t word = sl.word;
  return s->p[word >> sl.sh.governing_lo & ((1u << sl.sh.governing_bits) - 1)];
}

}  // namespace

bool start() {
  if (!table) table = new (std::nothrow) slot[capacity];
  return table != nullptr;
}

observation::observation(const cpu_state* s, uint32_t word, const uint32_t* addr, sve_handler h)
    : slot_(slot_of(addr, word, h)), active_(0) {
  if (!slot_) {
    overflow.fetch_add(1, std::memory_order_relaxed);
    return;
  }
  const shape& sh = slot_->sh;
  if (sh.governing_bits) active_ = active_elements(governing(s, *slot_), sh.element_bytes, sve_vl_bytes);
  if (sh.first_fault) std::memcpy(ffr_, s->ffr, sizeof ffr_);
}

void observation::finish(const cpu_state* s) {
  if (!slot_) return;
  slot& sl = *slot_;
  const shape& sh = sl.sh;
  constexpr auto relaxed = std::memory_order_relaxed;
  sl.executed.fetch_add(1, relaxed);
  if (sh.governing_bits) {
    sl.active.fetch_add(active_, relaxed);
    sl.slots.fetch_add(sve_vl_bytes / sh.element_bytes, relaxed);
  }
  if (sh.memory == direction::none) return;
  uint64_t elements = 0, bytes = 0;
  switch (sh.moved) {
    case extent::whole_register: bytes = sh.whole_bytes; break;
    case extent::one_element: elements = active_ != 0; break;
    case extent::quadword: elements = active_elements(governing(s, sl), sh.element_bytes, 16); break;
    case extent::active:
      elements = active_;
      if (sh.first_fault) {
        // Elements from the first one that this load cleared in FFR were
        // not read.
        unsigned k = 0;
        while (k < sve_vl_bytes && !((ffr_[k] & 1) && !(s->ffr[k] & 1))) k += sh.element_bytes;
        if (k < sve_vl_bytes) {
          elements = active_elements(governing(s, sl), sh.element_bytes, k);
          sl.narrowed.fetch_add(1, relaxed);
        }
      }
      break;
  }
  if (sh.moved != extent::whole_register) bytes = elements * sh.memory_bytes * sh.registers;
  (sh.memory == direction::load ? sl.loaded : sl.stored).fetch_add(bytes, relaxed);
  if (sh.vector_addresses) (sh.memory == direction::load ? sl.gathered : sl.scattered).fetch_add(elements, relaxed);
}

counts counts_at(const uint32_t* addr) {
  const auto a = reinterpret_cast<uintptr_t>(addr);
  for (size_t i = 0; table && i < capacity; ++i)
    if (table[i].address.load(std::memory_order_acquire) == a) return sums(table[i]);
  return {};
}

uint64_t unprofiled() { return overflow.load(); }

namespace {

void append(std::string& out, const char* format, auto... args) {
  char buffer[512];
  const int n = snprintf(buffer, sizeof buffer, format, args...);
  out.append(buffer, size_t(std::clamp(n, 0, int(sizeof buffer) - 1)));
}

void append_string(std::string& out, const std::string& text) {
  out += '"';
  for (const unsigned char c : text) {
    if (c == '"' || c == '\\') out += '\\', out += char(c);
    else if (c < 0x20) append(out, "\\u%04x", unsigned(c));
    else out += char(c);
  }
  out += '"';
}

}  // namespace

std::string to_json(const char* host, const char* program, locate_fn locate) {
  std::vector<const slot*> used;
  for (size_t i = 0; table && i < capacity; ++i)
    if (table[i].ready.load(std::memory_order_acquire) && table[i].executed.load() != 0) used.push_back(&table[i]);
  std::sort(used.begin(), used.end(), [](const slot* a, const slot* b) { return a->address < b->address; });

  counts total;
  std::string out;
  out += "{\n  \"format\": \"sve-profile\",\n  \"version\": 1,\n";
  append(out, "  \"vector_bits\": %u,\n  \"host\": ", unsigned(sve_vl_bits));
  append_string(out, host);
  out += ",\n  \"program\": ";
  append_string(out, program);
  out += ",\n  \"instructions\": [";
  const char* separator = "\n";
  for (const slot* s : used) {
    const uintptr_t a = s->address.load();
    place where{"", a};
    const bool in_module = locate(a, &where);
    const shape& sh = s->sh;
    const counts c = sums(*s);
    total.executed += c.executed, total.bytes_loaded += c.bytes_loaded, total.bytes_stored += c.bytes_stored;
    total.gathered += c.gathered, total.scattered += c.scattered, total.narrowed += c.narrowed;
    out += separator;
    separator = ",\n";
    append(out, "    {\"address\": \"0x%" PRIxPTR "\", \"module\": ", a);
    if (in_module) append_string(out, where.module);
    else out += "null";
    append(out, ", \"offset\": \"0x%" PRIx64 "\", \"word\": \"0x%08x\", \"mnemonic\": \"%s\", \"count\": %" PRIu64,
           where.linked, s->word, sh.mnemonic, c.executed);
    if (sh.governing_bits)
      append(out, ", \"element_bytes\": %u, \"active_elements\": %" PRIu64 ", \"element_slots\": %" PRIu64
                  ", \"utilisation\": %.6f",
             unsigned(sh.element_bytes), c.active, c.slots, c.slots ? double(c.active) / double(c.slots) : 0.0);
    if (sh.memory != direction::none)
      append(out, ", \"bytes_loaded\": %" PRIu64 ", \"bytes_stored\": %" PRIu64 ", \"elements_gathered\": %" PRIu64
                  ", \"elements_scattered\": %" PRIu64,
             c.bytes_loaded, c.bytes_stored, c.gathered, c.scattered);
    if (sh.first_fault) append(out, ", \"ffr_narrowed\": %" PRIu64, c.narrowed);
    out += "}";
  }
  out += "\n  ],\n";
  append(out,
         "  \"totals\": {\"sve_instructions\": %" PRIu64 ", \"unprofiled_instructions\": %" PRIu64
         ", \"addresses\": %zu, \"bytes_loaded\": %" PRIu64 ", \"bytes_stored\": %" PRIu64
         ", \"elements_gathered\": %" PRIu64 ", \"elements_scattered\": %" PRIu64 ", \"ffr_narrowed\": %" PRIu64 "}\n}\n",
         total.executed, unprofiled(), used.size(), total.bytes_loaded, total.bytes_stored, total.gathered,
         total.scattered, total.narrowed);
  return out;
}

}  // namespace sve::profile
