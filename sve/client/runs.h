// Runs: SVE instructions that follow each other in a block of the
// framework client, carried out by one call into the emulator. The client
// builds a run's record when it translates the block; the record lives as
// long as the process, because every copy of the block's code names it.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "../decode/sve_emu.h"

namespace sve {

// One instruction of a run: its word, its address, its handler and its
// address's counter.
struct site {
  uint32_t word;
  uint32_t* addr;
  sve_handler handler;
  std::atomic<uint64_t>* count;
  bool operator==(const site&) const = default;
};

// A run: its instructions in order, and whether one of them touches memory.
struct run {
  std::vector<site> sites;
  bool memory;
};

// The site of `word` at `addr`, its counter found (address_count).
site site_of(uint32_t word, uint32_t* addr, sve_handler h);

// The record of a run of these sites: the same record for the same sites,
// however often the framework translates the block (its code must come out
// the same each time), and a new one when the code at an address changed.
// Safe from any thread.
const run* intern_run(const std::vector<site>& sites);

// Carries out the run's instructions in order on the thread's state, each
// as emulate_word does (emulate_word_profiled with `profiled`), storing in
// *next the index of the instruction under way: a host that abandons the
// run on a fault learns from it which instruction faulted.
void emulate_run(cpu_state* s, const run& r, bool profiled, volatile uint32_t* next);

}  // namespace sve
