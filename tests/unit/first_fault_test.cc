// First-fault and non-fault loads at the end of readable memory, in real
// processes: how far each route loads, which elements of ffr it clears and
// what Zt holds there; a first active element that cannot be read ends the
// process; and threads scanning up to their own unmapped pages at once each
// get their own answers.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "machine.h"

using namespace sve;
using test::elem;

namespace {
constexpr unsigned vl = sve_vl_bytes;

// A readable page holding bytes 1, 2, 3, ... (never 0) followed by one that is
// not.
struct guarded_page {
  uint8_t* base;
  size_t size = size_t(sysconf(_SC_PAGESIZE));
  guarded_page() {
    base = static_cast<uint8_t*>(mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base + size, size, PROT_NONE);
    for (size_t i = 0; i < size; ++i) base[i] = uint8_t(i % 255 + 1);
  }
  ~guarded_page() { munmap(base, 2 * size); }
  // The address `left` bytes before the unreadable page.
  uint64_t end_minus(size_t left) const { return reinterpret_cast<uint64_t>(base + size - left); }
};

// Zt 4:0, Pg 12:10, Rn 9:5, Rm (or the immediate, or Zm) 20:16.
uint32_t ld(const char* name, unsigned t, unsigned g, unsigned n, unsigned m) {
  return test::word(name) | t | g << 10 | n << 5 | m << 16;
}
void run_ok(cpu_state* s, uint32_t w) { ASSERT_EQ(test::run(s, w), aarch64_decode_ok) << std::hex << w; }

// The elements of ffr (of `ebytes` bytes) as a string of 0 and 1.
std::string ffr_elements(const cpu_state* s, unsigned ebytes) {
  std::string r;
  for (unsigned i = 0; i < vl; i += ebytes) r += char('0' + (s->ffr[i] & 1));
  return r;
}
std::string ones_then_zeros(unsigned ones, unsigned total) {
  return std::string(ones, '1') + std::string(total - ones, '0');
}

struct boundary_case {
  const char* handler;
  unsigned ebytes, mbytes;
  size_t left;        // readable bytes from the address to the page end
  unsigned loaded;    // elements read
  bool old_above;     // elements above the loaded ones keep their values (else 0)
};

// All elements active, ffr all true, Rm = 0; the address `left` bytes before
// the unreadable page.
class Boundary : public testing::TestWithParam<boundary_case> {};

TEST_P(Boundary, LoadsUpToTheRouteLimitAndNarrowsFfr) {
  const boundary_case& c = GetParam();
  guarded_page g;
  auto s = test::random_state(7);
  auto before = test::random_state(7);
  std::memset(s->p[1], 1, vl);
  std::memset(s->ffr, 1, vl);
  s->x[2] = g.end_minus(c.left);
  s->x[3] = 0;
  run_ok(s.get(), ld(c.handler, 0, 1, 2, 3));
  unsigned n = vl / c.ebytes;
  EXPECT_EQ(ffr_elements(s.get(), c.ebytes), ones_then_zeros(std::min(c.loaded, n), n));
  for (unsigned e = 0; e < n; ++e) {
    uint64_t got = 0, want = 0, old = 0;
    std::memcpy(&got, s->z[0] + e * c.ebytes, c.ebytes);
    std::memcpy(&old, before->z[0] + e * c.ebytes, c.ebytes);
    if (e < c.loaded)
      std::memcpy(&want, reinterpret_cast<const void*>(s->x[2] + e * c.mbytes), c.mbytes);
    else
      want = c.old_above ? old : 0;
    EXPECT_EQ(got, want) << "element " << e;
  }
}

INSTANTIATE_TEST_SUITE_P(
    FirstFault, Boundary,
    testing::Values(
        // The kernels: a vector that ends on the page's last byte loads whole.
        boundary_case{"VecU8CLoadFF1LSSZ", 1, 1, vl, vl, true},
        // 20 bytes left: two doublewords, and two byte-to-doubleword elements,
        // counted in units of the element size; the rest keep their values.
        boundary_case{"VecU64CLoadFF8LSSZ", 8, 8, 20, 2, true},
        boundary_case{"VecU64CLoadFF1LSSZ", 8, 1, 20, 2, true},
        boundary_case{"VecU32CLoadFF4LSSZ", 4, 4, 20, 5, true},
        // The routines: up to the exact element, the rest 0.
        boundary_case{"VecU16CLoadFF2LSSZ", 2, 2, 20, 10, false},
        boundary_case{"VecU16CLoadFF2LSSZ", 2, 2, 21, 10, false},  // element 10 straddles the page end
        boundary_case{"VecU64CLoadFF2LSSZ", 8, 2, 20, 10, false}),
    [](const testing::TestParamInfo<boundary_case>& i) {
      return std::string(i.param.handler) + "_" + std::to_string(i.param.left) + "Left";
    });

TEST(FirstFault, KernelReadsAFirstActiveElementAboveThePageTailCount) {
  // ldff1b to doublewords with 20 bytes left counts two elements of the page,
  // but an only active element 5 lies in the page: it is read, not skipped.
  guarded_page g;
  auto s = test::random_state(3);
  std::memset(s->p[1], 0, vl);
  s->p[1][5 * 8] = 1;
  std::memset(s->ffr, 1, vl);
  s->x[2] = g.end_minus(20);
  run_ok(s.get(), ld("VecU64CLoadFF1LSSZ", 0, 1, 2, 31));
  EXPECT_EQ(elem<uint64_t>(s->z[0], 5), *reinterpret_cast<uint8_t*>(s->x[2] + 5));
  EXPECT_EQ(elem<uint64_t>(s->z[0], 4), 0u);
  EXPECT_EQ(ffr_elements(s.get(), 8), ones_then_zeros(6, vl / 8));
}

TEST(FirstFault, FfrOnlyEverClearsAndDoesNotGateTheLoad) {
  guarded_page g;
  auto s = test::random_state(4);
  std::memset(s->p[1], 1, vl);
  std::memset(s->ffr, 1, vl);
  std::memset(s->ffr, 0, 4);  // elements 0 and 1 of halfwords already false
  s->x[2] = g.end_minus(2 * vl + 64);
  run_ok(s.get(), ld("VecU16CLoadFF2LSSZ", 0, 1, 2, 31));
  EXPECT_EQ(elem<uint16_t>(s->z[0], 0), *reinterpret_cast<uint16_t*>(s->x[2]));
  EXPECT_EQ(ffr_elements(s.get(), 2), "00" + std::string(vl / 2 - 2, '1'));
}

TEST(FirstFault, GatherNarrowsFromTheFirstUnreadableElement) {
  guarded_page g;
  auto s = test::random_state(5);
  std::memset(s->p[1], 1, vl);
  std::memset(s->ffr, 1, vl);
  // Element e reads the doubleword at end - 32 + 8e: elements 4 on fail.
  for (unsigned e = 0; e < vl / 8; ++e) test::set_elem<uint64_t>(s->z[2], e, g.end_minus(32) + 8 * e);
  run_ok(s.get(), ld("VecU64LoadFF8VIZ", 0, 1, 2, 0));
  EXPECT_EQ(ffr_elements(s.get(), 8), ones_then_zeros(4, vl / 8));
  EXPECT_EQ(elem<uint64_t>(s->z[0], 3), *reinterpret_cast<uint64_t*>(g.end_minus(8)));
  EXPECT_EQ(elem<uint64_t>(s->z[0], 4), 0u);
}

TEST(NonFault, ClearsFfrAtUnreadableActiveElementsAndKeepsTheirValues) {
  guarded_page g;
  auto s = test::random_state(6);
  auto before = test::random_state(6);
  std::memset(s->p[1], 1, vl);
  s->p[1][0] = 0;  // element 0 inactive: zeroed, ffr kept
  std::memset(s->ffr, 1, vl);
  s->x[2] = g.end_minus(21);  // words: elements 0-4 readable, 5 straddles, 6 on are not
  run_ok(s.get(), ld("VecU32CLoadNF4SIZ", 0, 1, 2, 0));
  EXPECT_EQ(ffr_elements(s.get(), 4), ones_then_zeros(5, vl / 4));
  EXPECT_EQ(elem<uint32_t>(s->z[0], 0), 0u);
  uint32_t in_memory;
  std::memcpy(&in_memory, reinterpret_cast<const void*>(s->x[2] + 16), 4);
  EXPECT_EQ(elem<uint32_t>(s->z[0], 4), in_memory);
  for (unsigned e = 5; e < vl / 4; ++e) EXPECT_EQ(elem<uint32_t>(s->z[0], e), elem<uint32_t>(before->z[0], e)) << e;
  // All inactive: Zt becomes 0 and ffr stays, whatever the address.
  std::memset(s->p[1], 0, vl);
  std::memset(s->ffr, 1, vl);
  s->x[2] = g.end_minus(0);
  run_ok(s.get(), ld("VecU8CLoadNF1SIZ", 0, 1, 2, 0));
  EXPECT_EQ(ffr_elements(s.get(), 1), std::string(vl, '1'));
  for (unsigned i = 0; i < vl; ++i) EXPECT_EQ(s->z[0][i], 0) << i;
}

// A first active element that cannot be read is the program's fault, on every
// route.
TEST(FirstFaultDeathTest, UnreadableFirstActiveElementEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "fast");  // forked, no re-exec: works under qemu too
  guarded_page g;
  auto s = test::random_state(8);
  std::memset(s->p[1], 1, vl);
  s->x[2] = g.end_minus(0);
  for (unsigned e = 0; e < vl / 8; ++e) test::set_elem<uint64_t>(s->z[2], e, g.end_minus(0));
  for (const char* h : {"VecU8CLoadFF1LSSZ", "VecU64CLoadFF8LSSZ", "VecS32CLoadFF1LSSZ", "VecU64LoadFF8VIZ"})
    EXPECT_EXIT(test::run(s.get(), ld(h, 0, 1, 2, 31)), testing::KilledBySignal(SIGSEGV),
                "SVESigHandler caught signal SIGSEGV from the process being emulated")
        << h;
}

// strlen with first-fault loads: SETFFR, LDFF1B (or LDFF1SB to wider
// elements, a library routine), RDFFR, then take the bytes that ffr shows as
// read and go on from the first one not read.
size_t scan_length(const uint8_t* str, const char* load = "VecU8CLoadFF1LSSZ", unsigned ebytes = 1) {
  auto s = test::random_state(9);
  std::memset(s->p[0], 1, vl);
  s->x[2] = reinterpret_cast<uint64_t>(str);
  s->x[3] = 0;
  for (;;) {
    if (test::run(s.get(), test::word("VecPClearFFSR")) != aarch64_decode_ok ||
        test::run(s.get(), ld(load, 0, 0, 2, 3)) != aarch64_decode_ok ||
        test::run(s.get(), test::word("VecPReadFFSRP") | 1) != aarch64_decode_ok)
      return ~size_t(0);
    for (unsigned i = 0; i < vl && (s->p[1][i] & 1); i += ebytes, ++s->x[3]) {
      uint64_t v = 0;
      std::memcpy(&v, s->z[0] + i, ebytes);
      if (v == 0) return s->x[3];
    }
  }
}

// Strings of every length from 0 to over three vectors, ending just before
// each thread's own unmapped page, scanned by four threads at once.
TEST(FirstFault, ThreadsScanUpToTheirOwnPagesAtOnce) {
  constexpr unsigned threads = 4, rounds = 200;
  std::vector<guarded_page> pages(threads);
  std::vector<unsigned> wrong(threads);
  std::vector<std::thread> pool;
  for (unsigned t = 0; t < threads; ++t)
    pool.emplace_back([&, t] {
      uint8_t* end = pages[t].base + pages[t].size;
      end[-1] = 0;
      for (unsigned r = 0; r < rounds; ++r) {
        size_t len = (r * 37 + t * 11) % (3 * vl + 6);
        wrong[t] += scan_length(end - 1 - len) != len;
        wrong[t] += scan_length(end - 1 - len, "VecS32CLoadFF1LSSZ", 4) != len;
      }
    });
  for (auto& th : pool) th.join();
  for (unsigned t = 0; t < threads; ++t) EXPECT_EQ(wrong[t], 0u) << "thread " << t;
}

}  // namespace
