// Execution statistics, kept by the decoder and read by the host
// integration for its exit report.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

// Emulated instructions carried out, all threads.
extern std::atomic<uint64_t> sve_instr_count;
// Per-address counts: the word of the first execution there and the count.
extern std::map<uint32_t*, std::pair<uint32_t, std::atomic<uint64_t>>> icounts;
extern std::mutex icounts_mutex;
// The operating system's page size, read once at load.
extern long page_size;
