// The runner's profile: SVE_PROFILE=FILE turns it on, and at exit it is
// written to FILE, with each address placed in its module by the dynamic
// loader's list of loaded objects.
#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "emulate.h"

namespace {

std::string main_program() {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  return n > 0 ? std::string(path, size_t(n)) : std::string("?");
}

bool locate(uintptr_t address, sve::profile::place* out) {
  struct search {
    uintptr_t address;
    sve::profile::place* out;
    bool found;
  } s{address, out, false};
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* data) {
        auto* s = static_cast<search*>(data);
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const ElfW(Phdr)& ph = info->dlpi_phdr[i];
          const uintptr_t start = info->dlpi_addr + ph.p_vaddr;
          if (ph.p_type != PT_LOAD || s->address < start || s->address - start >= ph.p_memsz) continue;
          // The main program has no name in the loader's list.
          s->out->module = info->dlpi_name && *info->dlpi_name ? info->dlpi_name : main_program();
          s->out->linked = s->address - info->dlpi_addr;
          s->found = true;
          return 1;
        }
        return 0;
      },
      &s);
  return s.found;
}

[[gnu::constructor]] void start() {
  const char* path = getenv("SVE_PROFILE");
  if (path && *path && !sve::start_profile("sve-run", path)) _exit(1);
}

[[gnu::destructor]] void finish() { sve::write_profile("sve-run", "sve-run", main_program().c_str(), locate); }

}  // namespace
