// Passes every one of the 2^32 instruction words through is_sve, on every
// processor of the machine, and reports for each decode map the number of
// words that it accepts beside the number that its entries fix: an entry
// whose key has k bits accepts 2^(32-k) words, and no word may match two
// entries. It also checks that the first map that holds a word's key gives
// the handler that is_sve gives. Exits 1 on any disagreement.
//   is_sve_census [THREADS]
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "sve/decode/decode.h"

using namespace sve;

int main(int argc, char** argv) {
  const unsigned threads = argc > 1 ? unsigned(atoi(argv[1])) : std::max(1u, std::thread::hardware_concurrency());
  std::vector<std::atomic<uint64_t>> accepted(map_count);
  std::atomic<uint64_t> disagreements{0}, next_block{0};
  constexpr uint64_t block = 1 << 20, blocks = (uint64_t(1) << 32) / block;
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::thread> pool;
  for (unsigned t = 0; t < threads; ++t)
    pool.emplace_back([&] {
      std::vector<uint64_t> mine(map_count);
      uint64_t bad = 0;
      for (uint64_t b; (b = next_block++) < blocks;)
        for (uint64_t w = b * block; w < (b + 1) * block; ++w) {
          const uint32_t word = uint32_t(w);
          sve_handler found = nullptr;
          if ((word >> 25 & 0xf) == 0x2)
            for (int m = 0; m < map_count && !found; ++m) {
              auto it = decode_maps[m]->find(map_key(word, map_descs[m].mask));
              if (it != decode_maps[m]->end()) found = it->second, ++mine[m];
            }
          bad += is_sve(word) != found;
        }
      for (int m = 0; m < map_count; ++m) accepted[m] += mine[m];
      disagreements += bad;
    });
  for (auto& t : pool) t.join();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  printf("%-40s %8s %12s %12s\n", "map", "entries", "accepted", "fixed");
  uint64_t total = 0, total_entries = 0;
  bool ok = disagreements == 0;
  for (int m = 0; m < map_count; ++m) {
    const uint64_t entries = decode_maps[m]->size();
    const uint64_t fixed = entries << (32 - __builtin_popcount(map_descs[m].mask));
    printf("%-40s %8lu %12lu %12lu%s\n", map_descs[m].name, static_cast<unsigned long>(entries),
           static_cast<unsigned long>(accepted[m].load()), static_cast<unsigned long>(fixed),
           accepted[m] == fixed ? "" : "  (words of this map match an entry of an earlier one)");
    ok = ok && accepted[m] == fixed;
    total += accepted[m], total_entries += entries;
  }
  printf("%lu entries accept %lu of the 2^32 words; %lu disagreements with is_sve; %u threads, %.0f s\n",
         static_cast<unsigned long>(total_entries), static_cast<unsigned long>(total),
         static_cast<unsigned long>(disagreements.load()), threads, seconds);
  return ok ? 0 : 1;
}
