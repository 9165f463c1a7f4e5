// The runner's answers to a program that asks whether the processor has
// SVE (detection.h). It stands in front of the C library's getauxval and
// prctl, and marks SVE in the auxiliary vector on the initial stack, which
// programs that walk it past the environment read (and, under qemu,
// /proc/self/auxv). It cannot reach an MRS of the ID registers, which the
// kernel answers without a signal, nor prctl made as a raw system call.
// SVE_HIDE=1 leaves every answer to the host, so that a program takes its
// code for processors without SVE.
#include <dlfcn.h>
#include <elf.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "detection.h"

extern char** environ;

namespace {

namespace detection = sve::detection;
using getauxval_fn = unsigned long (*)(unsigned long);
using prctl_fn = int (*)(int, ...);

struct libc_functions {
  getauxval_fn getauxval = reinterpret_cast<getauxval_fn>(dlsym(RTLD_NEXT, "getauxval"));
  prctl_fn prctl = reinterpret_cast<prctl_fn>(dlsym(RTLD_NEXT, "prctl"));
};
const libc_functions& libc() {
  static const libc_functions functions;
  return functions;
}

bool hidden() {
  static const bool hide = [] {
    const char* v = getenv("SVE_HIDE");
    return v && *v && std::strcmp(v, "0") != 0;
  }();
  return hide;
}

std::atomic<bool> inherit_vl;

unsigned long answer_getauxval(unsigned long type) {
  const unsigned long value = libc().getauxval(type);
  return type == detection::at_hwcap && !hidden() ? detection::advertised_hwcap(value) : value;
}

// The auxiliary vector follows the environment's terminating null on the
// initial stack. It is marked only when it looks like the one the C library
// read: its page size and hardware capabilities are the library's.
[[gnu::constructor]] void mark_initial_auxv() {
  if (hidden() || !environ) return;
  char** e = environ;
  while (*e) ++e;
  auto* auxv = reinterpret_cast<Elf64_auxv_t*>(e + 1);
  Elf64_auxv_t* hwcap = nullptr;
  bool page_size_agrees = false;
  for (Elf64_auxv_t* a = auxv; a->a_type != AT_NULL && a - auxv < 64; ++a) {
    if (a->a_type == AT_HWCAP && a->a_un.a_val == libc().getauxval(AT_HWCAP)) hwcap = a;
    if (a->a_type == AT_PAGESZ && long(a->a_un.a_val) == sysconf(_SC_PAGESIZE)) page_size_agrees = true;
  }
  if (hwcap && page_size_agrees) hwcap->a_un.a_val = detection::advertised_hwcap(hwcap->a_un.a_val);
}

}  // namespace

#define SVE_INTERPOSED extern "C" [[gnu::visibility("default")]]

SVE_INTERPOSED unsigned long getauxval(unsigned long type) { return answer_getauxval(type); }
SVE_INTERPOSED unsigned long __getauxval(unsigned long type) { return answer_getauxval(type); }

// prctl takes up to four more arguments, which the C library reads whether
// or not they were passed.
SVE_INTERPOSED int prctl(int option, ...) {
  va_list args;
  va_start(args, option);
  const unsigned long a2 = va_arg(args, unsigned long), a3 = va_arg(args, unsigned long),
                      a4 = va_arg(args, unsigned long), a5 = va_arg(args, unsigned long);
  va_end(args);
  if (hidden() || (option != detection::pr_sve_set_vl && option != detection::pr_sve_get_vl))
    return libc().prctl(option, a2, a3, a4, a5);
  bool inherit = inherit_vl.load();
  const long status = detection::sve_vl_prctl(option, a2, &inherit);
  if (status < 0) {
    errno = int(-status);
    return -1;
  }
  inherit_vl = inherit;
  return int(status);
}
