// Sorts arrays with Highway's vectorised quicksort (hwy::Sorter in
// libhwy_contrib), which picks its SVE code at run time, and checks every
// result against std::sort of the same keys: equal keys are equal bit for
// bit (no NaN, no negative zero), so there is exactly one right answer, and
// a wrong one is reported wherever it comes from. It prints a few elements
// and an order-sensitive hash of each sorted array. The size is argv[1]
// (20000 keys of each type by default).
//
// 64-bit keys are sorted only on vectors of at most 512 bits: Highway 1.0.3
// runs its sorting network on up to 16 lanes, and its 64-bit shuffles there
// assume at most 8 (traits-inl.h, "Assumes max vector size = 512"), so
// wider vectors give wrong orders, on the reference as under the emulator.
#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include <sys/prctl.h>

#include "hwy/contrib/sort/vqsort.h"
#include "hwy/targets.h"

namespace {

// Deterministic keys: the same on the reference and under the emulator.
uint64_t splitmix64(uint64_t& state) {
  uint64_t z = (state += 0x9e3779b97f4a7c15u);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

template <typename T>
uint64_t bits_of(T key) {
  uint64_t bits = 0;
  std::memcpy(&bits, &key, sizeof key);
  return bits;
}

// FNV-1a over the keys' bits in order: a misplaced key changes it.
template <typename T>
uint64_t order_hash(const std::vector<T>& keys) {
  uint64_t hash = 0xcbf29ce484222325u;
  for (T key : keys) {
    hash = (hash ^ bits_of(key)) * 0x100000001b3u;
  }
  return hash;
}

void print_key(uint64_t key) { std::printf("%" PRIu64, key); }
void print_key(uint32_t key) { std::printf("%" PRIu32, key); }
void print_key(int16_t key) { std::printf("%d", key); }
void print_key(float key) { std::printf("%.2f", static_cast<double>(key)); }

// Sorts keys with the library in the order of Tag and compares with
// std::sort under Compare; returns whether they agree.
template <typename T, class Tag, class Compare>
bool check_sort(const hwy::Sorter& sorter, const char* name, std::vector<T> keys) {
  std::vector<T> expected = keys;
  std::sort(expected.begin(), expected.end(), Compare());
  sorter(keys.data(), keys.size(), Tag());

  std::printf("%s: n=%zu first=", name, keys.size());
  print_key(keys.front());
  std::printf(" middle=");
  print_key(keys[keys.size() / 2]);
  std::printf(" last=");
  print_key(keys.back());
  std::printf(" hash=%016" PRIx64 "\n", order_hash(keys));

  const auto mismatch = std::mismatch(keys.begin(), keys.end(), expected.begin(),
                                      [](T a, T b) { return bits_of(a) == bits_of(b); });
  if (mismatch.first == keys.end()) return true;
  std::printf("%s: WRONG at index %zu: ", name, static_cast<size_t>(mismatch.first - keys.begin()));
  print_key(*mismatch.first);
  std::printf(" where std::sort has ");
  print_key(*mismatch.second);
  // Out of order, or keys lost and duplicated?
  std::vector<T> resorted = keys;
  std::sort(resorted.begin(), resorted.end(), Compare());
  std::printf(" (in order: %s, same keys: %s)\n", std::is_sorted(keys.begin(), keys.end(), Compare()) ? "yes" : "no",
              resorted == expected ? "yes" : "no");
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const size_t n = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 20000;
  if (n == 0) {
    std::printf("usage: hwy_sort [NUMBER_OF_KEYS > 0]\n");
    return 2;
  }
  uint64_t state = 42;
  // Full-range keys, and a quarter of them drawn from few values, so that
  // the partitions also meet runs of equal keys.
  std::vector<uint64_t> u64(n);
  std::vector<uint32_t> u32(n);
  for (size_t i = 0; i < n; ++i) {
    const uint64_t r = splitmix64(state);
    u64[i] = i % 4 == 0 ? r % 50 : r;
    u32[i] = static_cast<uint32_t>(i % 4 == 0 ? r % 50 : r >> 32);
  }
  // Multiples of 1/4 between -250000 and 250000: exact in a float, with
  // duplicates; zero is always +0.
  std::vector<float> f32(n);
  for (size_t i = 0; i < n; ++i) {
    const int32_t r = static_cast<int32_t>(splitmix64(state) % 2000001) - 1000000;
    f32[i] = static_cast<float>(r) * 0.25f;
  }
  // 16-bit keys take another way through the library (promoted to 32 bits
  // for compression).
  std::vector<int16_t> i16(n);
  for (size_t i = 0; i < n; ++i) {
    i16[i] = static_cast<int16_t>(splitmix64(state) >> 48);
  }

  // The library sorts with its best target. Saying whether that is of the
  // SVE family makes a run that fell back to NEON differ from the
  // reference, whose sorted keys are the same either way.
  const int64_t targets = hwy::SupportedTargets() & HWY_ATTAINABLE_TARGETS;
  const int64_t best = targets & -targets;
  std::printf("SVE family target: %s\n",
              (best & (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)) != 0 ? "yes" : "no");

  const hwy::Sorter sorter;
  bool ok = true;
  ok &= check_sort<uint32_t, hwy::SortAscending, std::less<uint32_t>>(sorter, "uint32 ascending", u32);
  ok &= check_sort<uint32_t, hwy::SortDescending, std::greater<uint32_t>>(sorter, "uint32 descending", u32);
  ok &= check_sort<float, hwy::SortAscending, std::less<float>>(sorter, "float ascending", f32);
  ok &= check_sort<float, hwy::SortDescending, std::greater<float>>(sorter, "float descending", f32);
  ok &= check_sort<int16_t, hwy::SortAscending, std::less<int16_t>>(sorter, "int16 ascending", i16);
  ok &= check_sort<int16_t, hwy::SortDescending, std::greater<int16_t>>(sorter, "int16 descending", i16);
  // Without SVE, prctl fails, and the library's NEON code sorts any key.
  const int vl = prctl(PR_SVE_GET_VL);
  if (vl < 0 || (vl & PR_SVE_VL_LEN_MASK) <= 64) {
    ok &= check_sort<uint64_t, hwy::SortAscending, std::less<uint64_t>>(sorter, "uint64 ascending", u64);
    ok &= check_sort<uint64_t, hwy::SortDescending, std::greater<uint64_t>>(sorter, "uint64 descending", u64);
  } else {
    std::printf("uint64: not sorted with %d-byte vectors (the library handles 64-bit keys on at most 64)\n",
                vl & PR_SVE_VL_LEN_MASK);
  }
  std::printf("%s\n", ok ? "all sorted" : "SORT FAILED");
  return ok ? 0 : 1;
}
