// The host integration's decisions that need no framework: which blocks are
// rewritten, which words in them are replaced and what is counted, and what
// one emulated instruction does to the statistics.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include "machine.h"
#include "sve/client/emulate.h"
#include "sve/client/predicate_steps.h"
#include "sve/client/runs.h"
#include "sve/client/scalar_steps.h"
#include "sve/decode/stats.h"

using namespace sve;

TEST(Rewriting, OnlyTheMainModuleAndGeneratedCodeUnlessEveryModule) {
  EXPECT_TRUE(rewrites_block(false, true, 0x400000, 0x400000));
  EXPECT_FALSE(rewrites_block(false, true, 0x7f0000000000, 0x400000));  // a shared library
  EXPECT_TRUE(rewrites_block(false, false, 0, 0x400000));               // no module: generated code
  EXPECT_TRUE(rewrites_block(false, true, 0, 0));                       // no main module known
  EXPECT_TRUE(rewrites_block(true, true, 0x7f0000000000, 0x400000));
}

// A block as a list of words: replace() records what it replaced and says
// that its sequence took `sequence_bytes`; cut() records where the block
// ended.
struct word_block {
  explicit word_block(std::vector<uint32_t> w = {}) : words(std::move(w)) {}
  std::vector<uint32_t> words;
  size_t sequence_bytes = 540;
  std::vector<std::pair<unsigned, sve_handler>> replaced;
  std::vector<std::pair<unsigned, unsigned>> marked;  // item, register
  int cut_at = -1;

  const uint32_t* first() const { return words.empty() ? nullptr : words.data(); }
  const uint32_t* next(const uint32_t* i) const { return i + 1 == words.data() + words.size() ? nullptr : i + 1; }
  uint32_t word(const uint32_t* i) const { return *i; }
  size_t replace(const uint32_t* i, sve_handler h) {
    replaced.emplace_back(unsigned(i - words.data()), h);
    return sequence_bytes;
  }
  void cut(const uint32_t* i) { cut_at = int(i - words.data()); }
  unsigned mark_sve(const uint32_t* i, unsigned rt, detection::id_register reg) {
    marked.emplace_back(unsigned(i - words.data()), rt);
    return reg == detection::id_register::pfr0 ? 2 : 3;
  }
};

TEST(Rewriting, SveWordsReplacedOthersCounted) {
  uint32_t add = test::word("VecU32AddVVM"), ptrue = test::word("VecP8TrueI") | 31u << 5;
  word_block block({0xd503201f /* nop */, add, add, 0x8b020020 /* add x0, x1, x2 */, ptrue, 0xd65f03c0 /* ret */});
  EXPECT_EQ(rewrite_block(block, false), 3u);
  ASSERT_EQ(block.replaced.size(), 3u);
  EXPECT_EQ(block.replaced[0].first, 1u);
  EXPECT_EQ(block.replaced[1].first, 2u);  // two in a row: each its own
  EXPECT_EQ(block.replaced[2].first, 4u);
  EXPECT_EQ(block.replaced[0].second, is_sve(add));
  EXPECT_EQ(block.replaced[2].second, is_sve(ptrue));
  EXPECT_EQ(block.cut_at, -1);
  word_block empty;
  EXPECT_EQ(rewrite_block(empty, false), 0u);
}

// Reads of ID_AA64PFR0_EL1 and ID_AA64ZFR0_EL1 are marked to say SVE and
// SVE2 when detection is on; other system registers, and a read into XZR,
// are left alone.
TEST(Rewriting, IdRegisterReadsSaySve) {
  const uint32_t pfr0_x3 = 0xd5380403, pfr0_xzr = 0xd538041f, zfr0_x4 = 0xd5380484, midr_x5 = 0xd5380005,
                 mmfr0_x6 = 0xd5380706;
  word_block block({pfr0_x3, zfr0_x4, midr_x5, pfr0_xzr, mmfr0_x6, 0xd5380419 /* pfr0 into x25 */});
  EXPECT_EQ(rewrite_block(block, true), 6u);
  const std::vector<std::pair<unsigned, unsigned>> expected{{0, 3}, {1, 4}, {5, 25}};
  EXPECT_EQ(block.marked, expected);
  word_block hidden({pfr0_x3, zfr0_x4});
  rewrite_block(hidden, false);
  EXPECT_TRUE(hidden.marked.empty());
  EXPECT_EQ(detection::advertised_pfr0(0x0000000f00110011), 0x0000000100110011u);
  // SVEver 1, AES 2 (with PMULL128), BitPerm 1, SHA3 1, SM4 1; no BF16, I8MM, F32MM, F64MM.
  EXPECT_EQ(detection::advertised_zfr0, 0x0000010100010021u);
  EXPECT_EQ(detection::advertised_auxv(detection::at_hwcap2, 0x1), 0x7fu);
  EXPECT_EQ(detection::advertised_auxv(6 /* AT_PAGESZ */, 4096), 4096u);
}

// The steps that the client puts inline do what the handler does, for every
// word of every entry they take, on random registers; the saturating steps,
// the vector forms and other instructions are not taken.
TEST(ScalarSteps, DoWhatTheHandlerDoes) {
  std::mt19937 rng(7);
  unsigned taken = 0, offered = 0;
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries)
      for (int k = 0; k < 16; ++k) {
        const uint32_t w = e.fixed_value | (uint32_t(rng()) & ~e.fixed_mask);
        const std::optional<scalar_step> st = scalar_step_of(w, e.handler);
        ++offered;
        if (!st) continue;
        ++taken;
        auto want = test::random_state(rng()), got = std::make_unique<cpu_state>(*want);
        ASSERT_EQ(e.handler(want.get(), w), aarch64_decode_ok);
        auto reg = [&](unsigned r) -> uint64_t& { return r == 31 ? got->sp : got->x[r]; };
        const uint64_t base = st->from_zero || (st->rn == 31 && !st->sp) ? 0 : reg(st->rn);
        if (st->rd != 31 || st->sp) reg(st->rd) = base + uint64_t(st->c);
        for (int r = 0; r < 31; ++r) ASSERT_EQ(got->x[r], want->x[r]) << e.name << " 0x" << std::hex << w << " x" << r;
        ASSERT_EQ(got->sp, want->sp) << e.name << " 0x" << std::hex << w;
      }
  // Every word of 15 entries: CNT, INC and DEC at four sizes, RDVL, ADDVL, ADDPL.
  EXPECT_EQ(taken, 15u * 16) << "of " << offered;
  for (const char* other : {"VecS32QIncrVL8SI", "VecU32IncrVLVI", "VecU32AddVVM"})
    EXPECT_FALSE(scalar_step_of(test::word(other), test::entry(other).handler)) << other;
}

// The predicates that the client stores inline are what the handler writes,
// for every word of PFALSE, PTRUE and PTRUES on random registers, and the
// flags what PTRUES sets; a word is taken exactly when its pattern's element
// count fills whole 16-byte segments. Other instructions are not taken.
TEST(PredicateSteps, StoreWhatTheHandlerStores) {
  std::mt19937 rng(11);
  // The number of elements that a pattern names, out of n.
  auto elements = [](unsigned pattern, unsigned n) -> unsigned {
    if (pattern == 0) return 1u << (31 - __builtin_clz(n));
    if (pattern >= 1 && pattern <= 8) return pattern <= n ? pattern : 0;
    if (pattern >= 9 && pattern <= 13) return 16u << (pattern - 9) <= n ? 16u << (pattern - 9) : 0;
    if (pattern == 29) return n - n % 4;
    if (pattern == 30) return n - n % 3;
    return pattern == 31 ? n : 0;
  };
  unsigned taken = 0;
  for (const char* name : {"VecPFalse", "VecP8TrueI", "VecP16TrueI", "VecP32TrueI", "VecP64TrueI", "VecP8TrueFlgI",
                           "VecP16TrueFlgI", "VecP32TrueFlgI", "VecP64TrueFlgI"}) {
    const decode_entry& e = test::entry(name);
    for (uint32_t w = e.fixed_value; w <= (e.fixed_value | ~e.fixed_mask); ++w) {
      if ((w & e.fixed_mask) != e.fixed_value) continue;
      const std::optional<predicate_step> st = predicate_step_of(w, e.handler);
      const unsigned esize = 1u << field(w, 23, 22), pattern = field(w, 9, 5);
      const bool pfalse = std::string_view(name) == "VecPFalse";
      EXPECT_EQ(bool(st), pfalse || elements(pattern, sve_vl_bytes / esize) * esize % 16 == 0) << name << " " << pattern;
      if (!st) continue;
      ++taken;
      auto want = test::random_state(rng()), got = std::make_unique<cpu_state>(*want);
      ASSERT_EQ(e.handler(want.get(), w), aarch64_decode_ok);
      for (unsigned i = 0; i < sve_vl_bytes; ++i) got->p[st->pd][i] = step_byte(*st, i);
      if (st->nzcv) got->nzcv = (got->nzcv & ~uint64_t(0xf0000000)) | *st->nzcv;
      // Everything up to the handler's record of the word it ran.
      ASSERT_EQ(std::memcmp(got.get(), want.get(), offsetof(cpu_state, instr)), 0) << name << " 0x" << std::hex << w;
    }
  }
  EXPECT_GT(taken, 16u * 9);
  for (const char* other : {"VecPTestPZ", "VecPAndPPZ", "VecU32AddVVM"})
    EXPECT_FALSE(predicate_step_of(test::word(other), test::entry(other).handler)) << other;
}

// What prctl answers for the SVE vector length, as the kernel of a processor
// whose one length is the emulated one.
TEST(Detection, VectorLengthPrctl) {
  using namespace detection;
  bool inherit = false;
  EXPECT_EQ(sve_vl_prctl(pr_sve_get_vl, 0, &inherit), long(sve_vl_bytes));
  EXPECT_EQ(sve_vl_prctl(pr_sve_set_vl, sve_vl_bytes, &inherit), long(sve_vl_bytes));
  EXPECT_EQ(sve_vl_prctl(pr_sve_set_vl, 32, &inherit), long(sve_vl_bytes)) << "a length it lacks: the one it has";
  EXPECT_EQ(sve_vl_prctl(pr_sve_set_vl, 4096, &inherit), long(sve_vl_bytes));
  for (unsigned long bad : {0ul, 8ul, 100ul, 8208ul, 16ul | 1ul << 20})
    EXPECT_EQ(sve_vl_prctl(pr_sve_set_vl, bad, &inherit), -EINVAL) << bad;
  EXPECT_EQ(sve_vl_prctl(pr_sve_set_vl, 64 | pr_sve_vl_inherit, &inherit), long(sve_vl_bytes | pr_sve_vl_inherit));
  EXPECT_EQ(sve_vl_prctl(pr_sve_get_vl, 0, &inherit), long(sve_vl_bytes | pr_sve_vl_inherit));
  EXPECT_EQ(sve_vl_prctl(pr_sve_set_vl, sve_vl_bytes | pr_sve_set_vl_onexec, &inherit), long(sve_vl_bytes));
  EXPECT_FALSE(inherit);
  EXPECT_EQ(advertised_auxv(at_hwcap, 0x119ffb), 0x519ffbu);
}

// A straight line of 300 SVE instructions is rewritten as a chain of blocks,
// each cut before the sequence that would overflow the room of a fragment;
// the words after a cut are neither replaced nor counted in that block.
TEST(Rewriting, LongBlocksAreCutToFitTheCache) {
  const uint32_t add = test::word("VecU32AddVVM");
  size_t start = 0, blocks = 0;
  while (start < 300) {
    word_block block(std::vector<uint32_t>(300 - start, add));
    block.words.insert(block.words.begin(), 0xd503201f);  // a nop in front of each
    EXPECT_EQ(rewrite_block(block, false), 1u);
    const size_t taken = block.replaced.size();
    ASSERT_GT(taken, 0u);
    EXPECT_LE(block_budget::native_bytes + taken * block.sequence_bytes, block_budget::room);
    if (start + taken < 300) {
      EXPECT_EQ(block.cut_at, int(taken) + 1);
      EXPECT_GT(block_budget::native_bytes + (taken + 1) * block.sequence_bytes, block_budget::room);
    } else {
      EXPECT_EQ(block.cut_at, -1);
    }
    start += taken, ++blocks;
  }
  EXPECT_GT(blocks, 5u);
}

// A sequence larger than the room still goes in when it is the block's
// first: a block always makes progress.
TEST(Rewriting, TheFirstSequenceAlwaysGoesIn) {
  const uint32_t add = test::word("VecU32AddVVM");
  word_block block({add, add});
  block.sequence_bytes = block_budget::room + 1;
  rewrite_block(block, false);
  EXPECT_EQ(block.replaced.size(), 1u);
  EXPECT_EQ(block.cut_at, 1);
}

TEST(Emulation, CountsSuccessAndReportsFailure) {
  auto s = test::random_state(1);
  const host_fp_scope keep(s.get());  // the tests after this one run under the host's own FPCR
  static uint32_t code[2] = {test::word("VecU32AddVVM"), 0};
  uint64_t before = sve_instr_count.load();
  emulate_word(s.get(), code[0], &code[0], is_sve(code[0]));
  EXPECT_EQ(sve_instr_count.load(), before + 1);
  EXPECT_EQ(s->pc, &code[0]);
  {
    std::lock_guard lock(icounts_mutex);
    ASSERT_TRUE(icounts.count(&code[0]));
    EXPECT_EQ(icounts.at(&code[0]).first, code[0]);
  }
  // A failing handler is reported with the word read from its address and
  // leaves the statistics alone.
  code[1] = 0x12345678;
  testing::internal::CaptureStderr();
  emulate_word(s.get(), code[1], &code[1], [](cpu_state*, unsigned) { return aarch64_decode_unknown; });
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("Error: failed to emulate SVE instruction 0x12345678 at PC"), std::string::npos) << err;
  EXPECT_EQ(sve_instr_count.load(), before + 1);
  std::lock_guard lock(icounts_mutex);
  EXPECT_FALSE(icounts.count(&code[1]));
}

// A run's record is found again for the same instructions, so that every
// translation of a block names the same record, and is new when the code
// at an address changed; carrying it out is each instruction in order,
// counted, with the one under way in *next.
TEST(Runs, InternedAndCarriedOutInOrder) {
  static uint32_t code[3] = {test::word("VecU32AddVVM"), test::word("VecU32AddVVM") | 1u, test::word("VecU64CLoad8SIZ")};
  const std::vector<site> sites = {site_of(code[0], &code[0], is_sve(code[0])), site_of(code[1], &code[1], is_sve(code[1]))};
  const run* r = intern_run(sites);
  EXPECT_EQ(intern_run(sites), r);
  EXPECT_FALSE(r->memory);
  std::vector<site> changed = sites;
  changed[1].word ^= 2;
  const run* other = intern_run(changed);
  EXPECT_NE(other, r);
  EXPECT_EQ(intern_run(sites), r);
  EXPECT_TRUE(intern_run({site_of(code[2], &code[2], is_sve(code[2]))})->memory);

  auto s = test::random_state(3);
  auto expect = test::random_state(3);
  const host_fp_scope keep(s.get());  // the tests after this one run under the host's own FPCR
  for (int i = 0; i < 2; ++i) ASSERT_EQ(is_sve(code[i])(expect.get(), code[i]), aarch64_decode_ok);
  const uint64_t before = sve_instr_count.load(), first = sites[0].count->load(), second = sites[1].count->load();
  volatile uint32_t next = 99;
  emulate_run(s.get(), *r, false, &next);
  EXPECT_EQ(next, 1u);
  EXPECT_EQ(std::memcmp(s->z, expect->z, sizeof s->z), 0);
  EXPECT_EQ(s->pc, &code[1]);
  // A run carried out whole reaches the statistics at the fold.
  EXPECT_EQ(sve_instr_count.load(), before);
  fold_run_counts();
  EXPECT_EQ(sve_instr_count.load(), before + 2);
  EXPECT_EQ(sites[0].count->load(), first + 1);
  EXPECT_EQ(sites[1].count->load(), second + 1);

  // A run whose second handler fails counts the first instruction alone;
  // one abandoned after its first counts that one.
  auto failing = [](cpu_state*, unsigned) { return aarch64_decode_unknown; };
  const run* broken = intern_run({sites[0], {code[1], &code[1], failing, sites[1].count, false}});
  testing::internal::CaptureStderr();
  emulate_run(s.get(), *broken, false, &next);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("failed to emulate"), std::string::npos);
  count_done(*r, 1);
  fold_run_counts();
  EXPECT_EQ(sve_instr_count.load(), before + 4);
  EXPECT_EQ(sites[0].count->load(), first + 3);
  EXPECT_EQ(sites[1].count->load(), second + 1);
}

TEST(Emulation, ExitReportNamesTheProgram) {
  testing::internal::CaptureStderr();
  print_exit_report("/some/dir/app", 42);
  std::string err = testing::internal::GetCapturedStderr();
  std::string count = std::to_string(sve_instr_count.load());
  EXPECT_EQ(err, "app: " + count + " SVE instructions executed\napp: 42 Non-SVE AArch64 instructions executed\n");
}

TEST(Emulation, RunnerReportSaysNativeInstructionsAreNotCounted) {
  testing::internal::CaptureStderr();
  print_exit_report("app", std::nullopt);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("app: Non-SVE AArch64 instructions are not counted in this mode"), std::string::npos) << err;
  EXPECT_EQ(err.find(" 0 Non-SVE"), std::string::npos) << err;
}

TEST(Emulation, IllegalInstructionsAreNamedWithWordAndAddress) {
  struct {
    uint32_t word;
    const char* says;
  } rows[] = {
      {0x64628020, "tool: SVE instruction 0x64628020 at "},  // bfdot, outside the emulated set
      {0x1eee1000, "tool: instruction 0x1eee1000 at "},      // fmov h0, #1.0
      {0x00000000, "tool: instruction 0x00000000 at "},
  };
  for (auto& r : rows) {
    testing::internal::CaptureStderr();
    report_illegal_instruction("tool", &r.word);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err.rfind(r.says, 0), 0u) << err;
    char at[32];
    snprintf(at, sizeof at, "%p", static_cast<void*>(&r.word));
    EXPECT_NE(err.find(at), std::string::npos) << err;
    EXPECT_EQ(err.find("not emulated") != std::string::npos, r.word == 0x64628020) << err;
  }
}

// The client runs the instructions that touch memory under the framework's
// recovery, and only those.
TEST(Rewriting, KnowsWhichInstructionsTouchMemory) {
  EXPECT_TRUE(accesses_memory(is_sve(test::word("VecU64CLoad8SIZ"))));
  EXPECT_TRUE(accesses_memory(is_sve(test::word("VecU32CStore4SIZ"))));
  EXPECT_FALSE(accesses_memory(is_sve(test::word("VecU32AddVVM"))));
  EXPECT_FALSE(accesses_memory(is_sve(test::word("VecP8TrueI"))));
}
