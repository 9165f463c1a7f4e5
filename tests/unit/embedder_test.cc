// The shared library as an embedder uses it: loaded with dlopen, the four
// operations found by name, an instruction run on a state the embedder owns.
#include <dlfcn.h>
#include <signal.h>
#include <gtest/gtest.h>

#include <cstring>

#include "machine.h"

TEST(Embedder, LoadsTheLibraryAndRunsAWord) {
  // The library installs its fault handler when it loads; this test process
  // has the same handler from its own static copy, which must stay in place
  // for the tests that follow, so the actions are put back afterwards.
  struct sigaction segv, bus;
  sigaction(SIGSEGV, nullptr, &segv);
  sigaction(SIGBUS, nullptr, &bus);
  void* lib = dlopen(SVE_EMU_SHARED, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  auto find = [&](const char* name) {
    void* f = dlsym(lib, name);
    EXPECT_NE(f, nullptr) << name;
    return f;
  };
  auto is = reinterpret_cast<sve_handler (*)(unsigned)>(find("is_sve"));
  auto execute = reinterpret_cast<aarch64_decode_rc (*)(cpu_state*)>(find("execute_sve_instruction"));
  EXPECT_NE(find("update_sve_stats"), nullptr);
  EXPECT_NE(find("dump_sve_stats"), nullptr);
  // Nothing but the four operations is visible.
  EXPECT_EQ(dlsym(lib, "page_size"), nullptr);
  EXPECT_EQ(dlsym(lib, "icounts"), nullptr);

  EXPECT_NE(is(0x04800020), nullptr);
  auto s = sve::test::random_state();
  std::memset(s->p[0], 1, sve_vl_bytes);
  auto before = *s;
  uint32_t code[1] = {0x04800020};  // add z0.s, p0/m, z0.s, z1.s
  s->pc = code;
  ASSERT_EQ(execute(s.get()), aarch64_decode_ok);
  EXPECT_EQ(s->pc, code + 1);
  for (unsigned i = 0; i < sve_vl_bytes / 4; ++i)
    ASSERT_EQ(sve::test::elem<uint32_t>(s->z[0], i),
              sve::test::elem<uint32_t>(before.z[0], i) + sve::test::elem<uint32_t>(before.z[1], i));
  dlclose(lib);
  sigaction(SIGSEGV, &segv, nullptr);
  sigaction(SIGBUS, &bus, nullptr);
}
