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

// One instruction of a run: its word, its address, its handler, its
// address's counter, and whether it touches memory.
struct site {
  uint32_t word;
  uint32_t* addr;
  sve_handler handler;
  std::atomic<uint64_t>* count;
  bool memory;
  bool operator==(const site&) const = default;
};

// A run: its instructions in order, whether one of them touches memory, and
// how often it was carried out whole since the last fold_run_counts. A run
// carried out whole is counted once, with one atomic add; the statistics
// of its instructions get it at the fold.
struct run {
  std::vector<site> sites;
  bool memory;
  mutable std::atomic<uint64_t> whole{0};
};

// The site of `word` at `addr`, its counter found (address_count) and its
// handler looked up among the memory families (accesses_memory).
site site_of(uint32_t word, uint32_t* addr, sve_handler h);

// The record of a run of these sites: the same record for the same sites,
// however often the framework translates the block (its code must come out
// the same each time), and a new one when the code at an address changed.
// Safe from any thread.
const run* intern_run(const std::vector<site>& sites);

// Carries out the run's instructions in order on the thread's state, each
// as carry_out does, storing in *next the index of the instruction under
// way: a host that abandons the run on a fault learns from it which
// instruction faulted, and counts those before it with count_done. With
// `profiled` each instruction is recorded in the profile and counted by
// itself (emulate_word_profiled). An instruction whose handler fails is not
// counted.
void emulate_run(cpu_state* s, const run& r, bool profiled, volatile uint32_t* next);

// Counts the first `done` instructions of the run, each by itself.
void count_done(const run& r, uint32_t done);

// Adds the whole runs to the statistics: to the count of each instruction's
// address and to the total. A host calls it before it reports them.
void fold_run_counts();

}  // namespace sve
