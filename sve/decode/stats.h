// Execution statistics, kept by the decoder and read by the host
// integration for its exit report.
#pragma once

#include <sched.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <utility>

namespace sve {

// The lock of the statistics: one atomic word, taken by exchange. It does not
// go through the C library's mutex, because inside the instrumentation
// framework the emulator runs on the framework's private copy of the C
// library, which believes the process has one thread and lets a pthread
// mutex skip its atomic operations. A waiter spins on plain loads and gives
// its processor away after a while, so that a holder that was preempted can
// finish.
class spin_lock {
 public:
  void lock() noexcept {
    for (unsigned spins = 0; held_.exchange(true, std::memory_order_acquire);)
      while (held_.load(std::memory_order_relaxed))
        if (++spins % 64 == 0) sched_yield();
  }
  bool try_lock() noexcept { return !held_.exchange(true, std::memory_order_acquire); }
  void unlock() noexcept { held_.store(false, std::memory_order_release); }

 private:
  std::atomic<bool> held_{false};
};

}  // namespace sve

// Emulated instructions carried out, all threads.
extern std::atomic<uint64_t> sve_instr_count;
// Per-address counts: the word of the first execution there and the count.
extern std::map<uint32_t*, std::pair<uint32_t, std::atomic<uint64_t>>> icounts;
extern sve::spin_lock icounts_mutex;

namespace sve {
// The count of `addr` in icounts, made (for `word`) when there is none yet.
// An entry never moves, so code that counts the address itself, as the
// client's inline steps do, may keep the counter's address.
std::atomic<uint64_t>& address_count(uint32_t* addr, uint32_t word);
}  // namespace sve
// The operating system's page size, read once at load.
extern long page_size;
