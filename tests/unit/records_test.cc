#include <gtest/gtest.h>

#include "machine.h"
#include "sve/decode/decode.h"
#include "sve/decode/direct.h"
#include "sve/support/marshal.h"

using namespace sve;

TEST(Records, NameTables) {
  EXPECT_STREQ(aarch64_i_reg::xname[31], "xzr");
  EXPECT_STREQ(aarch64_i_reg::wname[30], "w30");
  EXPECT_STREQ(aarch64_i_rsp_reg::xname[31], "sp");
  EXPECT_STREQ(aarch64_i_rsp_reg::wname[31], "illegal");
  EXPECT_STREQ(aarch64_p_reg::pname_z[15], "p15/z");
  EXPECT_STREQ(aarch64_p_reg::pname_d[7], "p7.d");
  EXPECT_STREQ(aarch64_z_reg::zname_h[31], "z31.h");
  EXPECT_STREQ(aarch64_z_reg::zname[0], "z0");
}

TEST(Records, Register31Rules) {
  auto s = test::random_state();
  auto before = *s;
  EXPECT_EQ(read_x(s.get(), aarch64_i_reg{31, I_X, I_NONE, I_NONE}), 0u);
  EXPECT_EQ(read_x(s.get(), aarch64_i_rsp_reg{31, I_X}), s->sp);
  write_x(s.get(), aarch64_i_reg{31, I_NONE, I_X, I_X}, 42);
  EXPECT_EQ(std::memcmp(&before, s.get(), sizeof(cpu_state)), 0);
  write_x(s.get(), aarch64_i_rsp_reg{31, I_X}, 42);
  EXPECT_EQ(s->sp, 42u);
}

TEST(Marshalling, PackTestsBitZeroOnlyAndUnpackWritesEveryByte) {
  uint8_t bytes[sve_vl_bytes] = {};
  bytes[0] = 0x02;
  bytes[1] = 0xff;
  bytes[sve_vl_bytes - 1] = 0x01;
  PredV p = pack(bytes);
  EXPECT_FALSE(p.bit(0));
  EXPECT_TRUE(p.bit(1));
  EXPECT_TRUE(p.bit(sve_vl_bytes - 1));
  for (unsigned b = sve_vl_bytes; b < 256; ++b) EXPECT_FALSE(p.bit(b));
  uint8_t out[sve_vl_bytes];
  std::memset(out, 0x5a, sizeof out);
  unpack(p, out);
  for (unsigned b = 0; b < sve_vl_bytes; ++b) EXPECT_EQ(out[b], (b == 1 || b == sve_vl_bytes - 1) ? 1 : 0) << b;
}

TEST(Marshalling, PackAndUnpackAgreeWithBitByBitOnRandomBytes) {
  // Eight bytes at a time must neither mix bytes nor lose the word edges.
  uint64_t seed = 0x9e3779b97f4a7c15;
  for (int round = 0; round < 64; ++round) {
    uint8_t bytes[sve_vl_bytes], out[sve_vl_bytes];
    for (uint8_t& b : bytes) b = uint8_t((seed = seed * 6364136223846793005 + 1442695040888963407) >> 56);
    PredV p = pack(bytes);
    for (unsigned b = 0; b < 256; ++b) ASSERT_EQ(p.bit(b), b < sve_vl_bytes && (bytes[b] & 1)) << b;
    unpack(p, out);
    for (unsigned b = 0; b < sve_vl_bytes; ++b) ASSERT_EQ(out[b], bytes[b] & 1) << b;
  }
}

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
uint64_t scalar_routine(uint64_t x, CpuContext*) { return x + 1; }
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

TEST(Marshalling, ScalarResultsFollowTheRegisterRules) {
  auto s = test::random_state(4);
  auto before = *s;
  // to_x drops a write to register 31 but still runs the routine on 0.
  using to_x31 = library<to_x<4, 0>, x_in<9, 5>>;
  to_x31::run<types::U64, &scalar_routine>(s.get(), 31 | 31 << 5);
  EXPECT_EQ(std::memcmp(before.x, s->x, sizeof s->x), 0);
  EXPECT_EQ(s->sp, before.sp);
  to_x31::run<types::U64, &scalar_routine>(s.get(), 7 | 31 << 5);
  EXPECT_EQ(s->x[7], 1u);
  using to_w = library<to_x<4, 0, true>, xsp_in<9, 5>>;
  s->sp = 0xffffffffull;
  to_w::run<types::U32, &scalar_routine>(s.get(), 8 | 31 << 5);
  EXPECT_EQ(s->x[8], 0u);  // the w result is zero-extended
  // A SIMD&FP scalar clears the rest of its Z register.
  using to_v4 = library<to_v<4, 0, 4>, x_in<9, 5>>;
  s->x[2] = 0x1122334455667788;
  to_v4::run<types::U32, &scalar_routine>(s.get(), 0 | 2 << 5);
  EXPECT_EQ(test::elem<uint32_t>(s->z[0], 0), 0x55667789u);
  for (unsigned i = 4; i < sve_vl_bytes; ++i) ASSERT_EQ(s->z[0][i], 0) << i;
}
