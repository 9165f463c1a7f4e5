#include "emulate.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "../decode/decode.h"
#include "../decode/direct.h"
#include "../decode/stats.h"

namespace sve {

void report_failed_handler(const uint32_t* addr) {
  fprintf(stderr, "Error: failed to emulate SVE instruction 0x%08x at PC %p\n", *addr, static_cast<const void*>(addr));
}

bool emulate_word(cpu_state* s, uint32_t word, uint32_t* addr, sve_handler h) {
  if (!carry_out(s, word, addr, h)) return false;
  update_sve_stats(addr, word);
  return true;
}

namespace {

// A plain array: the runner's constructors may use it before the C++
// objects of this file are made, and its destructors after they are gone.
char profile_path[PATH_MAX];

bool write_all(int fd, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += size_t(n);
  }
  return true;
}

// The reason is left out where the C library's errno is not this code's:
// inside the instrumentation framework the client's view of errno is the
// framework's, and the library's own calls do not set it.
void cannot_write(const char* tool, const char* path, int error) {
  if (error)
    fprintf(stderr, "%s: cannot write the profile to %s: %s\n", tool, path, strerror(error));
  else
    fprintf(stderr, "%s: cannot write the profile to %s\n", tool, path);
}

}  // namespace

bool emulate_word_profiled(cpu_state* s, uint32_t word, uint32_t* addr, sve_handler h) {
  profile::observation seen(s, word, addr, h);
  const bool ok = emulate_word(s, word, addr, h);
  if (ok) seen.finish(s);
  return ok;
}

bool profiling() { return profile_path[0] != 0; }

bool start_profile(const char* tool, const char* path) {
  // An absolute path, so that a program that changes its directory still
  // writes where the user meant.
  char cwd[PATH_MAX];
  char absolute[PATH_MAX];
  const bool relative = path[0] != '/' && getcwd(cwd, sizeof cwd);
  const int length = snprintf(absolute, sizeof absolute, "%s%s%s", relative ? cwd : "", relative ? "/" : "", path);
  if (length < 0 || size_t(length) >= sizeof absolute) {
    cannot_write(tool, path, ENAMETOOLONG);
    return false;
  }
  errno = 0;
  const int fd = open(absolute, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    cannot_write(tool, path, errno);
    return false;
  }
  close(fd);
  if (!profile::start()) {
    fprintf(stderr, "%s: no memory for the profile\n", tool);
    return false;
  }
  std::memcpy(profile_path, absolute, sizeof profile_path);
  return true;
}

void write_profile(const char* tool, const char* host, const char* program, profile::locate_fn locate) {
  if (!profiling()) return;
  const std::string text = profile::to_json(host, program, locate);
  errno = 0;
  const int fd = open(profile_path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  const bool written = fd >= 0 && write_all(fd, text);
  if (fd >= 0) close(fd);
  if (!written) cannot_write(tool, profile_path, errno);
  if (profile::unprofiled() != 0)
    fprintf(stderr, "%s: the profile had no room for the addresses of %lu SVE instructions; they are counted apart\n",
            tool, static_cast<unsigned long>(profile::unprofiled()));
}

bool accesses_memory(sve_handler h) {
  for (const decode_family* f : all_families())
    if (std::string_view(f->name).starts_with("memory_"))
      for (const decode_entry& e : f->entries)
        if (e.handler == h) return true;
  return false;
}

void print_exit_report(const char* module_path, std::optional<uint64_t> native_instructions) {
  const char* slash = std::strrchr(module_path, '/');
  const char* name = slash ? slash + 1 : module_path;
  fprintf(stderr, "%s: %lu SVE instructions executed\n", name, static_cast<unsigned long>(sve_instr_count.load()));
  if (native_instructions)
    fprintf(stderr, "%s: %lu Non-SVE AArch64 instructions executed\n", name,
            static_cast<unsigned long>(*native_instructions));
  else
    fprintf(stderr, "%s: Non-SVE AArch64 instructions are not counted in this mode (the framework client counts them)\n",
            name);
}

void report_illegal_instruction(const char* tool, const uint32_t* pc) {
  const uint32_t word = *pc;
  // Bits 28:25 = 0010 is the SVE encoding space.
  const bool sve_space = (word >> 25 & 0xf) == 0x2;
  char text[160];
  const int n = snprintf(text, sizeof text,
                         sve_space ? "%s: SVE instruction 0x%08x at %p is not emulated\n"
                                   : "%s: instruction 0x%08x at %p is not SVE and this processor does not have it\n",
                         tool, word, static_cast<const void*>(pc));
  if (n > 0) (void)!write(STDERR_FILENO, text, size_t(n) < sizeof text ? size_t(n) : sizeof text - 1);
}

}  // namespace sve
