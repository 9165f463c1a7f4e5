// The library route's adapter and the predicate-pattern count at lengths the
// conformance runs never take: the context a routine sees (FPCR's high half,
// ffr) and what is written back (NZCV's upper half cleared, ffr rewritten
// only when a routine changed it), and PTRUE's count for any element count.
#include <gtest/gtest.h>

#include "machine.h"
#include "sve/support/marshal.h"

using namespace sve;

TEST(Marshalling, TrueLengthOfEveryPatternKind) {
  struct Case { uint64_t pattern; int n; uint64_t count; };
  const Case cases[] = {
      {31, 56, 56}, {30, 56, 54}, {29, 14, 12}, {0, 56, 32}, {0, 1, 1}, {0, 0, 1},
      {13, 224, 0}, {13, 256, 256}, {8, 4, 0}, {8, 8, 8}, {1, 28, 1}, {9, 28, 16},
      {10, 28, 0}, {14, 224, 0}, {28, 224, 0}, {30, 2, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(VecTrueILength(c.pattern, c.n), c.count) << c.pattern << " of " << c.n;
}

namespace {
// A routine that shows what the adapter gave it: it adds its two vectors
// bytewise where the predicate is set, and records the context it saw.
CpuContext seen;
VecV add_routine(VecV a, PredV pg, VecV b, CpuContext* c) {
  seen = *c;
  for (unsigned i = 0; i < sve_vl_bytes; ++i)
    if (pg.bit(i)) a.b[i] = uint8_t(a.b[i] + b.b[i]);
  c->nzcv ^= FLAG_N;
  return a;
}
// As a first-fault load does: clears one element of ffr.
void clear_ffr_routine(uint64_t b, CpuContext* c) { c->ffr.set_bit(unsigned(b), false); }
}  // namespace

TEST(Marshalling, LibraryRouteRoundTripsTheContext) {
  auto s = test::random_state(3);
  s->fpcr_high = 0x00400000;
  s->fpcr = 0x03000000;
  s->nzcv = 0xffffffff00000000ull | 0x60000000;
  s->ffr[5] = 0xfe;
  s->ffr[6] = 0x03;
  auto before = *s;
  // Zdn 1, Pg 2, Zm 3: the shape of a merging two-vector routine.
  uint32_t w = 1 | 2 << 10 | 3 << 5;
  ASSERT_EQ((lib_vvm::run<types::U8, &add_routine>(s.get(), w)), aarch64_decode_ok);
  EXPECT_EQ(seen.fpcr, 0x03400000u);
  EXPECT_EQ(seen.vl_dwords, sve_vl_dwords);
  EXPECT_FALSE(seen.ffr.bit(5));
  EXPECT_TRUE(seen.ffr.bit(6));
  EXPECT_EQ(s->fpcr, 0x03400000u);
  EXPECT_EQ(s->fpcr_high, 0x00400000u);
  EXPECT_EQ(s->nzcv, 0xe0000000u);  // the upper half is cleared
  EXPECT_EQ(s->ffr[5], 0xfe);  // a routine that leaves ffr alone leaves its bytes
  EXPECT_EQ(s->ffr[6], 0x03);
  EXPECT_EQ(s->instr, before.instr);  // the library route leaves instr alone
  for (unsigned i = 0; i < sve_vl_bytes; ++i) {
    uint8_t want = (before.p[2][i] & 1) ? uint8_t(before.z[1][i] + before.z[3][i]) : before.z[1][i];
    ASSERT_EQ(s->z[1][i], want) << i;
  }
}

TEST(Marshalling, AChangedFirstFaultRegisterIsWrittenBack) {
  // Bit 0 of every byte only is the ffr that the routine sees; once it
  // clears an element, all of ffr is written back as 0 and 1.
  auto s = test::random_state(5);
  std::memset(s->ffr, 0x03, sve_vl_bytes);
  s->ffr[0] = 0xfe;
  s->x[1] = sve_vl_bytes - 1;
  using clear = library<to_nothing, x_in<9, 5>>;
  ASSERT_EQ((clear::run<types::U8, &clear_ffr_routine>(s.get(), 1 << 5)), aarch64_decode_ok);
  for (unsigned i = 0; i < sve_vl_bytes; ++i) ASSERT_EQ(s->ffr[i], i != 0 && i != sve_vl_bytes - 1) << i;
}

// The packed form has bit b for bit 0 of byte b, whatever the other bits of
// the byte hold, and unpacking writes exactly 0 or 1 into every byte: on
// random bytes, and on all-set and all-clear predicates, against a loop of
// single bits.
TEST(Marshalling, PackAndUnpackTakeBitZeroOfEachByte) {
  std::mt19937 rng(5);
  for (int round = 0; round < 50; ++round) {
    uint8_t bytes[sve_vl_bytes];
    for (uint8_t& b : bytes) b = round == 0 ? 0xff : round == 1 ? 0xfe : uint8_t(rng());
    const PredV p = pack(bytes);
    for (unsigned b = 0; b < 256; ++b) ASSERT_EQ(p.bit(b), b < sve_vl_bytes && (bytes[b] & 1)) << b;
    uint8_t back[sve_vl_bytes];
    std::memset(back, 0xaa, sizeof back);
    unpack(p, back);
    for (unsigned b = 0; b < sve_vl_bytes; ++b) ASSERT_EQ(back[b], bytes[b] & 1) << b;
  }
}
