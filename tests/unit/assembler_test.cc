// Every decode entry checked against the GNU assembler: its assembler sample
// must encode to a word that the decoder gives to exactly that entry's
// handler, whatever the operand bits outside the entry's key.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "sve/decode/decode.h"

using namespace sve;

namespace {

std::vector<const decode_entry*> entries() {
  std::vector<const decode_entry*> v;
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries) v.push_back(&e);
  return v;
}

// The sample with its placeholders filled: T is the size letter (b, h, s,
// d, q), R the general register view (w, or x for doublewords).
std::string sample_text(const decode_entry& e) {
  std::string s = e.sample;
  for (char& c : s) {
    if (c == 'T') c = "bhsdq"[e.size];
    if (c == 'R') c = e.size == 3 ? 'x' : 'w';
  }
  return s;
}

std::string run(const std::string& cmd) {
  std::string out;
  FILE* p = popen((cmd + " 2>&1").c_str(), "r");
  if (!p) return "cannot run " + cmd;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  if (pclose(p) != 0) out = "FAILED: " + out;
  return out;
}

}  // namespace

TEST(Assembler, EverySampleDecodesToItsEntry) {
  if (run("aarch64-linux-gnu-as --version").rfind("FAILED", 0) == 0)
    GTEST_SKIP() << "aarch64-linux-gnu-as is not installed (binutils-aarch64-linux-gnu)";
  auto all = entries();
  // A private directory: several builds may run this test at once.
  std::string tmpl = testing::TempDir() + "sve-samples-XXXXXX";
  ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
  std::string dir = tmpl;
  {
    std::ofstream s(dir + "/samples.s");
    for (auto* e : all) s << "\t" << sample_text(*e) << "\n";
  }
  std::string as = run("aarch64-linux-gnu-as -march=armv9-a+sve2-aes+sve2-sha3+sve2-sm4+sve2-bitperm -o " + dir + "/samples.o " + dir + "/samples.s");
  if (as.rfind("FAILED", 0) == 0) {
    // Name each entry whose sample the assembler refused.
    std::regex line_no(R"(samples\.s:(\d+): Error: (.*))");
    std::istringstream lines(as);
    for (std::string l; std::getline(lines, l);) {
      std::smatch m;
      if (std::regex_search(l, m, line_no)) {
        auto* e = all.at(std::stoul(m[1]) - 1);
        ADD_FAILURE() << e->name << ": \"" << sample_text(*e) << "\": " << m[2];
      }
    }
    FAIL() << as;
  }
  ASSERT_EQ(run("aarch64-linux-gnu-objcopy -O binary -j .text " + dir + "/samples.o " + dir + "/samples.bin")
                .rfind("FAILED", 0),
            std::string::npos);
  std::ifstream bin(dir + "/samples.bin", std::ios::binary);
  std::vector<uint32_t> words(all.size());
  bin.read(reinterpret_cast<char*>(words.data()), std::streamsize(words.size() * 4));
  ASSERT_EQ(size_t(bin.gcount()), words.size() * 4);

  run("rm -rf " + dir);

  std::mt19937 rng(7);
  for (size_t i = 0; i < all.size(); ++i) {
    const decode_entry& e = *all[i];
    uint32_t w = words[i];
    EXPECT_EQ(w & e.fixed_mask, e.fixed_value)
        << e.name << ": \"" << sample_text(e) << "\" assembles to 0x" << std::hex << w
        << " but the pattern fixes 0x" << e.fixed_value << " under 0x" << e.fixed_mask;
    EXPECT_EQ(is_sve(w), e.handler) << e.name << " 0x" << std::hex << w;
    for (int k = 0; k < 64; ++k) {
      uint32_t v = (w & e.fixed_mask) | (uint32_t(rng()) & ~e.fixed_mask);
      ASSERT_EQ(is_sve(v), e.handler) << e.name << " with operand bits 0x" << std::hex << v;
    }
  }
}

TEST(Assembler, NoWordMatchesTwoEntries) {
  auto all = entries();
  for (size_t i = 0; i < all.size(); ++i)
    for (size_t j = i + 1; j < all.size(); ++j) {
      uint32_t common = all[i]->fixed_mask & all[j]->fixed_mask;
      EXPECT_NE((all[i]->fixed_value ^ all[j]->fixed_value) & common, 0u)
          << all[i]->name << " and " << all[j]->name << " can match the same word";
    }
}
