// Fault recovery in real processes: a plain access to an unmapped page ends
// the process by the signal after the message; protected reads and probes
// come back to their own thread with the answer, leave the signal mask and
// the SIGSEGV action as they were, and work again afterwards.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "machine.h"
#include "sve/memory/memory_access.h"

using namespace sve;

namespace {
// A readable page followed by one that is not.
struct guarded_page {
  uint8_t* base;
  size_t size = size_t(sysconf(_SC_PAGESIZE));
  guarded_page() {
    base = static_cast<uint8_t*>(mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base + size, size, PROT_NONE);
    std::memset(base, 0xab, size);
  }
  ~guarded_page() { munmap(base, 2 * size); }
  unsigned long last() const { return reinterpret_cast<unsigned long>(base + size - 1); }
  unsigned long beyond() const { return reinterpret_cast<unsigned long>(base + size); }
};
}  // namespace

TEST(FaultDeathTest, PlainAccessEndsTheProcessAfterTheMessage) {
  GTEST_FLAG_SET(death_test_style, "fast");  // forked, no re-exec: works under qemu too
  guarded_page g;
  auto s = test::random_state(1);
  std::memset(s->p[1], 1, sve_vl_bytes);
  s->x[2] = g.beyond() - 8;  // the second doubleword lies in the unreadable page
  uint32_t w = test::word("VecU64CLoad8SIZ") | 1u << 10 | 2u << 5;
  EXPECT_EXIT(test::run(s.get(), w), testing::KilledBySignal(SIGSEGV),
              "SVESigHandler caught signal SIGSEGV from the process being emulated");
  EXPECT_EXIT(ReadMemLib8(g.beyond(), 0, nullptr, nullptr), testing::KilledBySignal(SIGSEGV), "caught signal SIGSEGV");
}

TEST(Fault, ProtectedReadsYieldZeroAndSetTheFlag) {
  guarded_page g;
  sigset_t before, after;
  sigprocmask(SIG_SETMASK, nullptr, &before);
  bool fault = false;
  EXPECT_EQ(ReadMemLib1(g.last(), 1, &fault, nullptr), 0xabu);
  EXPECT_FALSE(fault);
  EXPECT_EQ(ReadMemLib2(g.last(), 1, &fault, nullptr), 0u);  // its second byte is not readable
  EXPECT_TRUE(fault);
  sigprocmask(SIG_SETMASK, nullptr, &after);
  for (int sig : {SIGSEGV, SIGBUS, SIGINT}) EXPECT_EQ(sigismember(&before, sig), sigismember(&after, sig)) << sig;
  // A read that works leaves an earlier fault standing, and the next one
  // after a fault works.
  EXPECT_EQ(ReadMemLib4(g.last() - 3, 1, &fault, nullptr), 0xababababu);
  EXPECT_TRUE(fault);
  fault = false;
  EXPECT_EQ(ReadMemLib8(g.last() - 7, 1, &fault, nullptr), 0xababababababababu);
  EXPECT_FALSE(fault);
}

TEST(Fault, ProbesLeaveTheSignalActionAlone) {
  guarded_page g;
  struct sigaction before {}, after {};
  sigaction(SIGSEGV, nullptr, &before);
  EXPECT_TRUE(addr_is_readable<char>(reinterpret_cast<char*>(g.last())));
  EXPECT_FALSE(addr_is_readable<char>(reinterpret_cast<char*>(g.beyond())));
  sigaction(SIGSEGV, nullptr, &after);
  EXPECT_EQ(before.sa_sigaction, after.sa_sigaction);
  EXPECT_EQ(before.sa_flags, after.sa_flags);
  EXPECT_EQ(after.sa_sigaction, &SVESigHandler);
}

TEST(Fault, ThreadsGetTheirOwnAnswers) {
  guarded_page g;
  std::atomic<int> wrong{0};
  auto work = [&](bool readable) {
    for (int i = 0; i < 20000; ++i) {
      unsigned long a = readable ? g.last() : g.beyond();
      bool fault = false;
      uint64_t v = ReadMemLib1(a, 1, &fault, nullptr);
      bool probe = addr_is_readable<char>(reinterpret_cast<char*>(a));
      if (fault == readable || probe != readable || (readable && v != 0xab)) ++wrong;
    }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) threads.emplace_back(work, t % 2 == 0);
  for (auto& t : threads) t.join();
  EXPECT_EQ(wrong.load(), 0);
}

TEST(FaultDeathTest, AFaultOnAnotherThreadIsNotSwallowed) {
  GTEST_FLAG_SET(death_test_style, "fast");  // forked, no re-exec: works under qemu too
  guarded_page g;
  auto scenario = [&] {
    std::atomic<bool> stop{false};
    std::thread reader([&] {
      while (!stop) {
        bool fault = false;
        ReadMemLib1(g.beyond(), 1, &fault, nullptr);
      }
    });
    usleep(1000);
    ReadMemLib8(g.beyond(), 0, nullptr, nullptr);  // plain: must end the process
    stop = true;
    reader.join();
  };
  EXPECT_EXIT(scenario(), testing::KilledBySignal(SIGSEGV), "caught signal SIGSEGV");
}
