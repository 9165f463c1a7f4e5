// The runner's answers to a program that asks whether the processor has
// SVE (detection.h). It stands in front of the C library's getauxval and
// prctl, marks SVE in the auxiliary vector on the initial stack, which
// programs that walk it past the environment read, and gives a program
// that opens /proc/self/auxv through the C library a copy with SVE and SVE2 marked.
// It cannot reach an MRS of the ID registers, which the kernel answers
// without a signal, nor system calls made directly.
// SVE_HIDE=1 leaves every answer to the host, so that a program takes its
// code for processors without SVE.
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
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
  return hidden() ? value : detection::advertised_auxv(type, value);
}

// The auxiliary vector follows the environment's terminating null on the
// initial stack. It is marked only when it looks like the one the C library
// read: its page size and hardware capabilities are the library's.
[[gnu::constructor]] void mark_initial_auxv() {
  if (hidden() || !environ) return;
  char** e = environ;
  while (*e) ++e;
  auto* auxv = reinterpret_cast<Elf64_auxv_t*>(e + 1);
  Elf64_auxv_t *hwcap = nullptr, *hwcap2 = nullptr;
  bool page_size_agrees = false;
  for (Elf64_auxv_t* a = auxv; a->a_type != AT_NULL && a - auxv < 64; ++a) {
    if (a->a_type == AT_HWCAP && a->a_un.a_val == libc().getauxval(AT_HWCAP)) hwcap = a;
    if (a->a_type == AT_HWCAP2 && a->a_un.a_val == libc().getauxval(AT_HWCAP2)) hwcap2 = a;
    if (a->a_type == AT_PAGESZ && long(a->a_un.a_val) == sysconf(_SC_PAGESIZE)) page_size_agrees = true;
  }
  if (!hwcap || !page_size_agrees) return;
  for (Elf64_auxv_t* a : {hwcap, hwcap2})
    if (a) a->a_un.a_val = detection::advertised_auxv(a->a_type, a->a_un.a_val);
}

// The process's own auxiliary vector file, by either of its names.
bool names_own_auxv(const char* path) {
  if (!path) return false;
  if (std::strcmp(path, "/proc/self/auxv") == 0) return true;
  char own[64];
  snprintf(own, sizeof own, "/proc/%d/auxv", int(getpid()));
  return std::strcmp(path, own) == 0;
}

// A file in memory with the kernel's auxiliary vector, SVE and SVE2 marked; -1 when
// it cannot be made, and the caller opens the real file.
int open_marked_auxv() {
  Elf64_auxv_t entries[128];
  const int real = int(syscall(SYS_openat, AT_FDCWD, "/proc/self/auxv", O_RDONLY | O_CLOEXEC));
  if (real < 0) return -1;
  const ssize_t n = read(real, entries, sizeof entries);
  close(real);
  if (n <= 0) return -1;
  for (size_t i = 0; i < size_t(n) / sizeof(Elf64_auxv_t); ++i)
    entries[i].a_un.a_val = detection::advertised_auxv(entries[i].a_type, entries[i].a_un.a_val);
  const int fd = memfd_create("auxv", MFD_CLOEXEC);
  if (fd < 0) return -1;
  if (write(fd, entries, size_t(n)) != n || lseek(fd, 0, SEEK_SET) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// The open family passes a mode only with O_CREAT or O_TMPFILE.
mode_t mode_of(int flags, va_list args) { return (flags & (O_CREAT | O_TMPFILE)) ? mode_t(va_arg(args, int)) : 0; }

// The marked copy for a read of the process's auxiliary vector; -1 for
// anything else, which the C library's own function opens.
int marked_auxv_for(const char* path, int flags) {
  return !hidden() && names_own_auxv(path) && (flags & O_ACCMODE) == O_RDONLY ? open_marked_auxv() : -1;
}

template <class F>
F libc_function(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}
using open_fn = int (*)(const char*, int, ...);
using openat_fn = int (*)(int, const char*, int, ...);
using fopen_fn = FILE* (*)(const char*, const char*);

}  // namespace

#define SVE_INTERPOSED extern "C" [[gnu::visibility("default")]]

// open, open64, openat and openat64: the same but for their names and the
// directory argument of the last two.
#define SVE_OPEN(name, fn, ...)                                        \
  SVE_INTERPOSED int name(__VA_ARGS__ const char* path, int flags, ...) { \
    va_list args;                                                      \
    va_start(args, flags);                                             \
    const mode_t mode = mode_of(flags, args);                          \
    va_end(args);                                                      \
    if (const int fd = marked_auxv_for(path, flags); fd >= 0) return fd; \
    static const auto real = libc_function<fn>(#name);                 \
    return real(SVE_OPEN_DIR_##fn path, flags, mode);                  \
  }
#define SVE_OPEN_DIR_open_fn
#define SVE_OPEN_DIR_openat_fn dirfd,
SVE_OPEN(open, open_fn)
SVE_OPEN(open64, open_fn)
SVE_OPEN(openat, openat_fn, int dirfd,)
SVE_OPEN(openat64, openat_fn, int dirfd,)

SVE_INTERPOSED FILE* fopen(const char* path, const char* mode) {
  static const auto real = libc_function<fopen_fn>("fopen");
  if (!hidden() && names_own_auxv(path) && mode && mode[0] == 'r' && !std::strchr(mode, '+'))
    if (const int fd = open_marked_auxv(); fd >= 0) return fdopen(fd, "r");
  return real(path, mode);
}
SVE_INTERPOSED FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

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
