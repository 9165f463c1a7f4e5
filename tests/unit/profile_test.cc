// The profile: the shape each entry gets (governed element size, memory
// extent), the active-element arithmetic, and what recording around real
// handlers adds up to, under threads too.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "machine.h"
#include "sve/client/emulate.h"
#include "sve/decode/profile.h"

using namespace sve;
using profile::direction;
using profile::extent;

namespace {

constexpr unsigned vl = sve_vl_bytes;

// Every governed entry gets an element size, and every load or store a
// memory element size or a whole register: nothing is left unknown.
TEST(ProfileShape, EveryEntryIsDescribed) {
  int governed = 0, memory = 0;
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries) {
      const profile::shape s = profile::shape_of(e);
      SCOPED_TRACE(e.sample);
      EXPECT_STRNE(s.mnemonic, "");
      if (s.governing_bits) {
        ++governed;
        EXPECT_TRUE(s.element_bytes == 1 || s.element_bytes == 2 || s.element_bytes == 4 || s.element_bytes == 8 ||
                    s.element_bytes == 16);
        EXPECT_TRUE(s.governing_bits == 3 || s.governing_bits == 4);
      }
      if (s.memory != direction::none) {
        ++memory;
        EXPECT_TRUE(s.moved == extent::whole_register ? s.whole_bytes != 0 : s.memory_bytes != 0);
      }
    }
  EXPECT_EQ(governed, 1244);
  EXPECT_EQ(memory, 361);
}

TEST(ProfileShape, GovernedSizeAndMemoryOfEachKind) {
  struct row {
    const char* name;
    unsigned element_bytes;
    direction memory;
    extent moved;
    unsigned memory_bytes, registers;
    bool vector_addresses, first_fault;
  };
  const row rows[] = {
      // A wide compare is governed at its result's size, a narrowing
      // conversion at its wider source.
      {"VecS8CmpFlgEQVWZ", 1, direction::none, extent::active, 0, 1, false, false},
      {"VecF64TruncDVM", 8, direction::none, extent::active, 0, 1, false, false},
      {"VecPBreakAPZ", 1, direction::none, extent::active, 0, 1, false, false},
      {"VecU32Load4XSVZ", 4, direction::load, extent::active, 4, 1, true, false},
      {"VecU32E2Store4LSSZ", 4, direction::store, extent::active, 4, 2, false, false},
      {"VecU64LoadDup4SIZ", 8, direction::load, extent::one_element, 4, 1, false, false},
      {"VecU32LoadDup4QSSZ", 4, direction::load, extent::quadword, 4, 1, false, false},
      {"VecU32CLoadFF4LSSZ", 4, direction::load, extent::active, 4, 1, false, true},
      {"VecU64CLoadNF4SIZ", 8, direction::load, extent::active, 4, 1, false, true},
  };
  for (const row& r : rows) {
    SCOPED_TRACE(r.name);
    const profile::shape s = profile::shape_of(test::entry(r.name));
    EXPECT_EQ(s.element_bytes, r.element_bytes);
    EXPECT_EQ(s.memory, r.memory);
    EXPECT_EQ(s.moved, r.moved);
    EXPECT_EQ(s.memory_bytes, r.memory_bytes);
    EXPECT_EQ(s.registers, r.registers);
    EXPECT_EQ(s.vector_addresses, r.vector_addresses);
    EXPECT_EQ(s.first_fault, r.first_fault);
  }
  EXPECT_EQ(profile::shape_of(test::entry("VecPFillSI")).whole_bytes, vl / 8);
  EXPECT_EQ(profile::shape_of(test::entry("VecU64SpillSI")).whole_bytes, vl);
  EXPECT_EQ(profile::shape_of(test::entry("VecU64SpillSI")).governing_bits, 0);
}

TEST(ProfileShape, ActiveElementsCountFirstBytesOnly) {
  uint8_t p[vl];
  for (unsigned i = 0; i < vl; ++i) p[i] = i % 3 == 0 ? 1 : 0xfe;  // bit 0 set at every third byte
  for (unsigned size : {1u, 2u, 4u, 8u, 16u}) {
    unsigned want = 0, want_prefix = 0;
    for (unsigned i = 0; i < vl; i += size) want += i % 3 == 0, want_prefix += i % 3 == 0 && i < 40;
    EXPECT_EQ(profile::active_elements(p, size, vl), want) << size;
    EXPECT_EQ(profile::active_elements(p, size, 40), want_prefix) << size;
  }
}

// A code slot of its own for each recorded instruction.
struct code_slot {
  uint32_t word;
  bool run(cpu_state* s) { return emulate_word_profiled(s, word, &word, is_sve(word)); }
};

// Zt 4:0, Pg 12:10, Rn 9:5, Rm or Zm 20:16.
uint32_t ld(const char* name, unsigned t, unsigned g, unsigned n, unsigned m) {
  return test::word(name) | t | g << 10 | n << 5 | m << 16;
}

profile::counts since(const profile::counts& a, const profile::counts& b) {
  return {b.executed - a.executed, b.active - a.active, b.slots - a.slots, b.bytes_loaded - a.bytes_loaded,
          b.bytes_stored - a.bytes_stored, b.gathered - a.gathered, b.scattered - a.scattered, b.narrowed - a.narrowed};
}

void first_active(cpu_state* s, unsigned reg, unsigned element_bytes, unsigned count) {
  std::memset(s->p[reg], 0, vl);
  for (unsigned e = 0; e < count; ++e) s->p[reg][e * element_bytes] = 1;
}

TEST(ProfileRecording, GatherCountsElementsBytesAndUtilisation) {
  ASSERT_TRUE(profile::start());
  std::vector<float> table(64, 1.5f);
  auto s = test::random_state(3);
  s->x[2] = reinterpret_cast<uint64_t>(table.data());
  for (unsigned e = 0; e < vl / 4; ++e) test::set_elem<int32_t>(s->z[3], e, int32_t(e % 64));
  static code_slot gather{ld("VecU32Load4XSVZ", 0, 1, 2, 3)};
  const profile::counts before = profile::counts_at(&gather.word);
  for (unsigned active : {10u, vl / 4, 3u}) {
    first_active(s.get(), 1, 4, active);
    ASSERT_TRUE(gather.run(s.get()));
  }
  const unsigned active = 10 + vl / 4 + 3;
  const profile::counts c = since(before, profile::counts_at(&gather.word));
  EXPECT_EQ(c.executed, 3u);
  EXPECT_EQ(c.active, active);
  EXPECT_EQ(c.slots, 3 * (vl / 4));
  EXPECT_EQ(c.bytes_loaded, 4u * active);
  EXPECT_EQ(c.gathered, active);
  EXPECT_EQ(c.bytes_stored, 0u);
}

// Utilisation is that of the predicate as the instruction found it, even
// when the instruction writes its own governing predicate.
TEST(ProfileRecording, GoverningPredicateIsReadBeforeTheInstruction) {
  ASSERT_TRUE(profile::start());
  auto s = test::random_state(4);
  first_active(s.get(), 1, 1, 7);
  std::memset(s->p[2], 0, vl);  // no break: p1 stays all-but-cleared after brka p1.b, p1/z, p2.b
  static code_slot brka{test::word("VecPBreakAPZ") | 1 | 1 << 10 | 2 << 5};
  const profile::counts before = profile::counts_at(&brka.word);
  ASSERT_TRUE(brka.run(s.get()));
  const profile::counts c = since(before, profile::counts_at(&brka.word));
  EXPECT_EQ(c.active, 7u);
  EXPECT_EQ(c.slots, vl);
}

// A first-fault load that reaches an unreadable page counts the bytes of
// the elements it read, and one narrowing.
TEST(ProfileRecording, FirstFaultCountsWhatItReadAndTheNarrowing) {
  ASSERT_TRUE(profile::start());
  const size_t page = size_t(sysconf(_SC_PAGESIZE));
  auto* base = static_cast<uint8_t*>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(base, MAP_FAILED);
  mprotect(base + page, page, PROT_NONE);
  auto s = test::random_state(5);
  std::memset(s->p[1], 1, vl);
  std::memset(s->ffr, 1, vl);
  s->x[2] = reinterpret_cast<uint64_t>(base + page - 40);  // ten words before the page ends
  s->x[3] = 0;
  static code_slot ldff1w{ld("VecU32CLoadFF4LSSZ", 0, 1, 2, 3)};
  const profile::counts before = profile::counts_at(&ldff1w.word);
  ASSERT_TRUE(ldff1w.run(s.get()));
  unsigned read = 0;
  while (read < vl / 4 && s->ffr[read * 4]) ++read;
  ASSERT_LE(read, 10u);
  ASSERT_GE(read, 1u);
  const profile::counts c = since(before, profile::counts_at(&ldff1w.word));
  EXPECT_EQ(c.narrowed, 1u);
  EXPECT_EQ(c.bytes_loaded, 4u * read);
  // Again from well inside the page: nothing narrowed.
  std::memset(s->ffr, 1, vl);
  s->x[2] = reinterpret_cast<uint64_t>(base);
  ASSERT_TRUE(ldff1w.run(s.get()));
  const profile::counts again = since(before, profile::counts_at(&ldff1w.word));
  EXPECT_EQ(again.narrowed, 1u);
  EXPECT_EQ(again.bytes_loaded, 4u * read + vl);
  munmap(base, 2 * page);
}

TEST(ProfileRecording, ThreadsCountExactly) {
  ASSERT_TRUE(profile::start());
  static code_slot store{ld("VecU32CStore4LSSZ", 0, 1, 2, 3)};
  const profile::counts before = profile::counts_at(&store.word);
  constexpr int threads = 4, passes = 2000;
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t)
    pool.emplace_back([] {
      std::vector<uint8_t> buffer(vl);
      auto s = test::random_state(6);
      first_active(s.get(), 1, 4, 5);
      s->x[2] = reinterpret_cast<uint64_t>(buffer.data());
      s->x[3] = 0;
      for (int i = 0; i < passes; ++i) store.run(s.get());
    });
  for (auto& t : pool) t.join();
  const profile::counts c = since(before, profile::counts_at(&store.word));
  EXPECT_EQ(c.executed, uint64_t(threads * passes));
  EXPECT_EQ(c.bytes_stored, uint64_t(threads * passes * 5 * 4));
  EXPECT_EQ(c.active, uint64_t(threads * passes * 5));
}

}  // namespace
