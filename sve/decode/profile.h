// The profile: for each address at which an emulated instruction ran, its
// count, how full its governing predicate was, and what it moved to and
// from memory; written at exit as JSON. Off unless a host starts it; a
// host that profiles makes an observation around each handler.
//
// The table has a fixed number of slots, claimed by address with a compare
// and swap and counted with atomic adds, so that any number of threads, and
// the SIGILL runner's signal handler, record without a lock or an
// allocation. Executions at addresses beyond its room are counted apart.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "profile_shape.h"
#include "sve_emu.h"

namespace sve::profile {

// Sums over the executions at one address.
struct counts {
  uint64_t executed = 0;
  uint64_t active = 0, slots = 0;  // governed elements active, and all of them
  uint64_t bytes_loaded = 0, bytes_stored = 0;
  uint64_t gathered = 0, scattered = 0;  // elements moved through vector addresses
  uint64_t narrowed = 0;                 // first-fault and non-fault loads that cleared FFR elements
};

struct slot;

// Allocates the table (once). False when there is no memory for it.
bool start();

// One execution, seen before and after its handler: the governing predicate
// is read before (the instruction may write it), FFR before and after.
class observation {
 public:
  observation(const cpu_state* s, uint32_t word, const uint32_t* addr, sve_handler h);
  // The handler ran and succeeded.
  void finish(const cpu_state* s);

 private:
  slot* slot_;
  unsigned active_;
  uint8_t ffr_[sve_vl_bytes];
};

// Where an address lies: the path of its module, and the address as the
// module was linked (what its symbols and debug information use).
struct place {
  std::string module;
  uint64_t linked;
};
// A host's way to find the place of an address; false when it lies in no
// module, and then the address stands as it is.
using locate_fn = bool (*)(uintptr_t address, place* out);

// The profile as a JSON document; `host` names the emulator's host
// ("sve-run" or "client"), `program` the main module.
std::string to_json(const char* host, const char* program, locate_fn locate);

// The sums at one address, for tests; zero when none ran there.
counts counts_at(const uint32_t* addr);

// Executions that found the table full.
uint64_t unprofiled();

}  // namespace sve::profile
