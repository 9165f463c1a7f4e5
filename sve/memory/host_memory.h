// How emulated loads reach memory that may not be there. The memory kernels
// call only these functions; the host integration decides how a failed read
// comes back. In a process of its own the emulator uses one signal handler
// that is installed once and a recovery point per thread; under the
// instrumentation framework, which owns the process's signal handlers, the
// client installs the framework's safe read instead.
#pragma once

#include <cstdint>

namespace sve {

struct memory_host {
  // Copies n bytes (1 to 8) from addr to out, or returns false when any of
  // them cannot be read, on the calling thread and whatever other threads do.
  bool (*try_read)(const void* addr, void* out, unsigned n);
};

// The host in use; the in-process one until a host integration sets another.
const memory_host& current_memory_host();
void set_memory_host(const memory_host& host);

}  // namespace sve
