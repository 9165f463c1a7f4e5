#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "machine.h"
#include "sve/decode/decode.h"
#include "sve/decode/stats.h"

using namespace sve;

// Each list, SVE's and SVE2's, is searched widest key first.
TEST(DecodeMaps, AreListedWidestKeyFirstWithTheirNames) {
  ASSERT_EQ(sve_map_count, 44);
  EXPECT_STREQ(map_descs[0].name, "decode_map__31_0");
  EXPECT_STREQ(map_descs[19].name, "decode_map__31_13");
  EXPECT_STREQ(map_descs[43].name, "decode_map__31_21__15_15");
  for (int m = 1; m < map_count; ++m) {
    if (m == sve_map_count) continue;
    EXPECT_GE(__builtin_popcount(map_descs[m - 1].mask), __builtin_popcount(map_descs[m].mask))
        << map_descs[m].name;
  }
}

// The whole SVE instruction set: 1,483 entries, as many in each map, in
// search order, as the published encodings give it.
TEST(DecodeMaps, HoldTheWholeInstructionSet) {
  constexpr size_t per_map[sve_map_count] = {1,  1, 2,  13, 1,   8, 58, 24, 4,  38, 4,   1, 8,   4, 24,
                                         18, 1, 1,  6,  403, 4, 65, 32, 4,  32, 1,   3, 1,   135, 6,
                                         2,  1, 19, 131, 2,  81, 285, 8, 4,  6, 18, 4, 16, 3};
  size_t total = 0;
  for (int m = 0; m < sve_map_count; ++m) {
    EXPECT_EQ(decode_maps[m]->size(), per_map[m]) << map_descs[m].name;
    total += decode_maps[m]->size();
  }
  EXPECT_EQ(total, 1483u);
}

// SVE2 with its AES, SHA3, SM4 and BitPerm extensions: 715 entries, in the
// maps that follow SVE's.
TEST(DecodeMaps, HoldTheWholeSve2Set) {
  constexpr size_t per_map[] = {2, 21, 8, 5, 5, 27, 181, 27, 5, 40, 298, 14, 40, 16, 4, 22};
  ASSERT_EQ(map_count - sve_map_count, int(std::size(per_map)));
  size_t total = 0;
  for (int m = sve_map_count; m < map_count; ++m) {
    EXPECT_EQ(decode_maps[m]->size(), per_map[m - sve_map_count]) << map_descs[m].name;
    total += decode_maps[m]->size();
  }
  EXPECT_EQ(total, 715u);
}

TEST(DecodeMaps, HoldEveryEntryUnderItsKey) {
  size_t entries = 0;
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries) {
      ++entries;
      const auto& map = *decode_maps[int(e.map)];
      auto it = map.find(e.key);
      ASSERT_NE(it, map.end()) << e.name;
      EXPECT_EQ(it->second, e.handler) << e.name;
    }
  size_t held = 0;
  for (auto* m : decode_maps) held += m->size();
  EXPECT_EQ(held, entries);
}

// is_sve turns away every word outside the SVE encoding space (bits 28:25
// = 0010) before it searches: that is only right because every entry fixes
// those bits to 0010.
TEST(IsSve, EveryEntryLiesInTheSveEncodingSpace) {
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries) {
      EXPECT_EQ(e.fixed_mask >> 25 & 0xf, 0xfu) << e.name;
      EXPECT_EQ(e.fixed_value >> 25 & 0xf, 0x2u) << e.name;
    }
}

TEST(IsSve, AnswersTheAddExampleAndRejectsOrdinaryWords) {
  EXPECT_EQ(is_sve(0x04800020), is_sve(0x04800000));  // add z0.s, p0/m, z0.s, z1.s
  EXPECT_NE(is_sve(0x04800020), nullptr);
  EXPECT_EQ(is_sve(0xd503201f), nullptr);  // nop
  EXPECT_EQ(is_sve(0x00000000), nullptr);
  EXPECT_EQ(is_sve(0xffffffff), nullptr);
}

// Installs a handler under a word no family uses, for the lifetime of the
// object, to watch what execute_sve_instruction does with its result.
struct FakeEntry {
  static constexpr uint32_t word = 0x45adbeef;  // unallocated, in the SVE encoding space
  explicit FakeEntry(sve_handler h) { decode_maps[0]->emplace(map_key(word, ~0u), h); }
  ~FakeEntry() { decode_maps[0]->erase(map_key(word, ~0u)); }
};

TEST(Execute, UnknownWordLeavesStateAndPcAlone) {
  auto s = test::random_state();
  auto before = *s;
  uint32_t code[1] = {0xd503201f};
  s->pc = code;
  before.pc = code;
  EXPECT_EQ(execute_sve_instruction(s.get()), aarch64_decode_unknown);
  EXPECT_EQ(std::memcmp(&before, s.get(), sizeof(cpu_state)), 0);
}

TEST(Execute, AdvancesPcAndCountsTheAddress) {
  auto s = test::random_state();
  uint32_t code[2] = {0x04800020, 0x04800020};  // two addresses, same word
  uint64_t total = sve_instr_count;
  for (int pass = 0; pass < 1000; ++pass) {
    s->pc = code;
    ASSERT_EQ(execute_sve_instruction(s.get()), aarch64_decode_ok);
    EXPECT_EQ(s->pc, code + 1);
  }
  s->pc = code + 1;
  ASSERT_EQ(execute_sve_instruction(s.get()), aarch64_decode_ok);
  EXPECT_EQ(sve_instr_count - total, 1001u);
  EXPECT_EQ(icounts.at(code).second.load(), 1000u);
  EXPECT_EQ(icounts.at(code + 1).second.load(), 1u);
  EXPECT_EQ(s->instr, 0x04800020u);
}

TEST(Execute, FailingHandlerIsNotCounted) {
  FakeEntry fake([](cpu_state*, unsigned) { return aarch64_decode_unknown; });
  auto s = test::random_state();
  uint32_t code[1] = {FakeEntry::word};
  s->pc = code;
  uint64_t total = sve_instr_count;
  EXPECT_EQ(execute_sve_instruction(s.get()), aarch64_decode_unknown);
  EXPECT_EQ(s->pc, code);
  EXPECT_EQ(sve_instr_count, total);
  EXPECT_EQ(icounts.count(code), 0u);
}

// Eight threads make new table entries at once, as the threads of a program
// do when each runs its own code: every entry and every count arrives, and
// each entry keeps the word it was made with.
TEST(Stats, EightThreadsInsertingAtOnceLoseNothing) {
  constexpr int threads_n = 8, sites_n = 500, passes = 3;
  static uint32_t sites[threads_n][sites_n];
  uint64_t total = sve_instr_count;
  std::vector<std::thread> threads;
  for (int t = 0; t < threads_n; ++t)
    threads.emplace_back([t] {
      for (int pass = 0; pass < passes; ++pass)
        for (auto& site : sites[t]) update_sve_stats(&site, uint32_t(t + 100 * pass));
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(sve_instr_count - total, uint64_t(threads_n) * sites_n * passes);
  for (int t = 0; t < threads_n; ++t)
    for (auto& site : sites[t]) {
      ASSERT_EQ(icounts.count(&site), 1u);
      EXPECT_EQ(icounts.at(&site).first, uint32_t(t));
      EXPECT_EQ(icounts.at(&site).second.load(), uint64_t(passes));
    }
}

// The statistics lock excludes: a plain counter that only the holder
// touches ends exact.
TEST(Stats, TheLockExcludes) {
  sve::spin_lock lock;
  uint64_t counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        std::lock_guard hold(lock);
        counter = counter + 1;
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, 160000u);
  EXPECT_TRUE(lock.try_lock());
  EXPECT_FALSE(lock.try_lock());
  lock.unlock();
}

TEST(Stats, DumpPrintsInAddressOrder) {
  static uint32_t sites[3];
  update_sve_stats(&sites[2], 0x33);
  update_sve_stats(&sites[0], 0x11);
  update_sve_stats(&sites[1], 0x22);
  testing::internal::CaptureStderr();
  dump_sve_stats();
  std::string out = testing::internal::GetCapturedStderr();
  std::vector<size_t> at;
  for (int i = 0; i < 3; ++i) {
    char line[64];
    snprintf(line, sizeof line, "%p: 0x%08x 1\n", static_cast<void*>(&sites[i]), 0x11u * (i + 1));
    at.push_back(out.find(line));
    ASSERT_NE(at.back(), std::string::npos) << line << " in\n" << out;
  }
  EXPECT_LT(at[0], at[1]);
  EXPECT_LT(at[1], at[2]);
}
