// The fuzzer of the embedder interface. An input is an instruction word and
// a register state; general registers and vector lanes are steered so that
// address operands fall into a guarded arena as often as not, and the memory
// forms run too. For every input:
//   - is_sve and execute_sve_instruction agree; a known word advances pc by
//     one word, an unknown word changes nothing at all;
//   - no register changes that the word does not name as its destination
//     (the flags, fpsr and ffr aside);
//   - nothing is written before the register file (a canary) or past its end
//     (a guard page);
//   - a fault happens only in an access to the application's memory, never
//     in the emulator's own code;
// and the sanitizers watch everything else. A crash, a hang or a report
// stops the run with the input that caused it.
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "sve/decode/decode.h"
#include "sve/memory/memory_access.h"

// The bounds of the emulator's accesses to application memory (a section of
// their own in sanitizer builds).
extern "C" const char __start_sve_app_access[], __stop_sve_app_access[];

namespace {

constexpr uint64_t arena_base = 0x10000000;  // below 4 GiB: 32-bit vector bases reach it
constexpr uint64_t arena_bytes = 64 * 1024;
constexpr uint64_t arena_guard = 64 * 1024;  // unmapped on both sides

// The register file ends where a guard page begins, and the bytes between
// its page's start and the file hold a canary.
struct guarded_state {
  uint8_t* page = nullptr;
  size_t pages = 0, offset = 0;
  cpu_state* s = nullptr;
  uint8_t* end() const { return page + pages; }
};

[[noreturn]] void fail(const char* what, uint32_t word) {
  fprintf(stderr, "embedder fuzzer: %s (word %08x)\n", what, word);
  abort();
}

void* map_fixed(uint64_t address, uint64_t bytes, int prot) {
  void* p = mmap(reinterpret_cast<void*>(address), bytes, prot,
                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
  if (p != reinterpret_cast<void*>(address)) {
    perror("embedder fuzzer: cannot map the arena");
    exit(2);
  }
  return p;
}

guarded_state make_state() {
  const size_t page = size_t(sysconf(_SC_PAGESIZE));
  guarded_state g;
  g.pages = (sizeof(cpu_state) + page - 1) / page * page;
  auto* base = static_cast<uint8_t*>(
      mmap(nullptr, g.pages + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  if (base == MAP_FAILED) perror("embedder fuzzer: mmap"), exit(2);
  mprotect(base + g.pages, page, PROT_NONE);
  g.page = base;
  g.offset = g.pages - sizeof(cpu_state);
  g.s = reinterpret_cast<cpu_state*>(base + g.offset);
  return g;
}

// Reads the input in order; past its end every byte is 0.
struct input {
  const uint8_t* data;
  size_t size, at = 0;
  uint8_t byte() { return at < size ? data[at++] : 0; }
  uint16_t half() { return uint16_t(byte() | byte() << 8); }
  uint32_t word() { return uint32_t(half() | half() << 16); }
};

// The rest of the input, repeated, as a source of data bytes.
struct pool {
  const uint8_t* data;
  size_t size, at = 0;
  uint8_t byte() { return size ? data[at++ % size] : 0; }
  uint64_t dword() {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v |= uint64_t(byte()) << (8 * i);
    return v;
  }
};

uint64_t arena_offset(uint64_t v) { return arena_base + v % arena_bytes; }

// A general register: an arena address, an address next to the arena's end,
// a small index, a small negative one, or an address that cannot be mapped.
uint64_t general(uint8_t kind, uint16_t v) {
  switch (kind % 5) {
    case 0: return arena_offset(v);
    case 1: return arena_base + arena_bytes - v % 512;
    case 2: return v & 0xff;
    case 3: return uint64_t(-int64_t(v & 0xff));
    default: return (uint64_t(v) | 0x8000) * 0x0001000100010001ull;  // not canonical
  }
}

// A vector register: data, 64-bit or 32-bit lanes of arena addresses, or
// small 64-bit offsets.
void vector(uint8_t kind, uint8_t* z, pool& p) {
  for (unsigned i = 0; i < sve_vl_bytes; i += 8) {
    uint64_t v;
    switch (kind % 4) {
      case 0: v = p.dword(); break;
      case 1: v = arena_offset(p.dword()); break;
      case 2: v = arena_offset(p.byte() << 8 | p.byte()) | arena_offset(p.byte() << 8 | p.byte()) << 32; break;
      default: v = p.byte(); break;
    }
    std::memcpy(z + i, &v, 8);
  }
}

// A predicate: all true, none, a leading run, or data bits; every byte gets
// stray bits above bit 0, which a correct kernel ignores.
void predicate(uint8_t kind, uint8_t* bytes, pool& p) {
  const unsigned run = p.byte() % (sve_vl_bytes + 1);
  for (unsigned b = 0; b < sve_vl_bytes; ++b) {
    bool bit = kind % 4 == 0 || (kind % 4 == 2 && b < run) || (kind % 4 == 3 && (p.byte() & 1));
    bytes[b] = uint8_t(bit | (kind & 0xf0));
  }
}

void fill_state(cpu_state* s, input& in, uint8_t* arena) {
  std::memset(s, 0, sizeof *s);
  s->nzcv = uint64_t(in.byte() & 0xf) << 28;
  const uint8_t control = in.byte();
  s->fpcr = uint32_t(control & 3) << 22 | uint32_t(control >> 2 & 7) << 24 | uint32_t(control >> 5 & 1) << 19;
  s->fpsr = in.byte() & 0x9f;
  for (int r = 0; r < 31; ++r) {
    const uint8_t kind = in.byte();
    s->x[r] = general(kind, in.half());
  }
  s->sp = general(in.byte(), in.half());
  uint8_t zkind[32], pkind[17];
  for (auto& k : zkind) k = in.byte();
  for (auto& k : pkind) k = in.byte();
  pool p{in.data + in.at, in.size - in.at};
  for (int r = 0; r < 32; ++r) vector(zkind[r], s->z[r], p);
  for (int r = 0; r < 16; ++r) predicate(pkind[r], s->p[r], p);
  predicate(pkind[16], s->ffr, p);
  std::vector<uint8_t> bytes(arena_bytes);
  for (auto& b : bytes) b = p.byte();
  sve::copy_to_app(reinterpret_cast<uint64_t>(arena), bytes.data(), unsigned(arena_bytes));
}

// The registers a word may write, read off its entry's assembler sample:
// the first operand, unless the instruction only stores, prefetches or
// sets flags or the first-fault register.
struct destinations {
  uint64_t z = 0;  // bit n: z[n]
  uint32_t p = 0, x = 0;
  bool sp = false;
};

destinations destinations_of(uint32_t w, const sve::decode_entry& e) {
  destinations d;
  const std::string_view sample = e.sample;
  const std::string_view mnemonic = sample.substr(0, sample.find(' '));
  for (std::string_view none : {"st", "prf", "wrffr", "ptest", "cterm", "setffr"})
    if (mnemonic.starts_with(none)) return d;
  const std::string_view first = sample.substr(mnemonic.size() + 1);
  const unsigned rd = w & 31;
  if (first.starts_with("{z")) {
    const size_t close = sample.find('}');
    const unsigned count = unsigned(std::count(sample.begin(), sample.begin() + long(close), ',')) + 1;
    for (unsigned k = 0; k < count; ++k) d.z |= 1ull << ((rd + k) % 32);
  } else if (first.starts_with("p")) {
    d.p = 1u << (w & 15);
  } else if (first.starts_with("x") || first.starts_with("w") || first.starts_with("R") || first.starts_with("sp")) {
    if (rd == 31) d.sp = true;
    else d.x = 1u << rd;
  } else {
    d.z = 1ull << rd;  // a vector, or a SIMD&FP scalar in a vector's low bytes
  }
  return d;
}

void check_registers(const cpu_state& before, const cpu_state& after, const destinations& d, uint32_t w) {
  for (int r = 0; r < 32; ++r)
    if (!(d.z >> r & 1) && std::memcmp(before.z[r], after.z[r], sve_vl_bytes) != 0)
      fail("a vector register that the word does not name changed", w);
  for (int r = 0; r < 16; ++r)
    if (!(d.p >> r & 1) && std::memcmp(before.p[r], after.p[r], sve_vl_bytes) != 0)
      fail("a predicate register that the word does not name changed", w);
  for (int r = 0; r < 31; ++r)
    if (!(d.x >> r & 1) && before.x[r] != after.x[r]) fail("a general register that the word does not name changed", w);
  if (!d.sp && before.sp != after.sp) fail("sp changed", w);
  if (before.fpcr != after.fpcr) fail("fpcr changed", w);
}

// Faults: the first-fault loads' protected reads go back to their load; any
// other fault ends the input, and must have come from an application access.
sigjmp_buf recovery;
volatile uintptr_t fault_pc, fault_address;

uintptr_t pc_of(void* context) {
  auto* uc = static_cast<ucontext_t*>(context);
#if defined(__x86_64__)
  return uintptr_t(uc->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
  return uintptr_t(uc->uc_mcontext.pc);
#else
#error "the fuzzer knows the program counter of x86-64 and AArch64 only"
#endif
}

void on_fault(int, siginfo_t* info, void* context) {
  sve::resume_protected_read();
  fault_pc = pc_of(context);
  fault_address = uintptr_t(info->si_addr);
  siglongjmp(recovery, 1);
}

void install_fault_handler() {
  struct sigaction sa {};
  sa.sa_sigaction = on_fault;
  sa.sa_flags = SA_SIGINFO | SA_NODEFER;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGSEGV, &sa, nullptr);
  sigaction(SIGBUS, &sa, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static guarded_state g = make_state();
  static uint8_t* arena = [] {
    map_fixed(arena_base - arena_guard, arena_bytes + 2 * arena_guard, PROT_NONE);
    mprotect(reinterpret_cast<void*>(arena_base), arena_bytes, PROT_READ | PROT_WRITE);
    // The fuzzer's own handlers are in place by the first input: take over.
    install_fault_handler();
    return reinterpret_cast<uint8_t*>(arena_base);
  }();
  static uint32_t code[1];

  input in{data, size};
  const uint32_t w = in.word();
  cpu_state* s = g.s;
  fill_state(s, in, arena);
  std::memset(g.page, 0xa5, g.offset);
  static cpu_state before;
  code[0] = w;
  s->pc = code;
  before = *s;

  const sve_handler h = is_sve(w);
  if (sigsetjmp(recovery, 1) == 0) {
    const aarch64_decode_rc rc = execute_sve_instruction(s);
    if ((rc == aarch64_decode_ok) != (h != nullptr)) fail("is_sve and execute_sve_instruction disagree", w);
    if (!h) {
      if (std::memcmp(&before, s, sizeof before) != 0) fail("an unknown word changed the state", w);
      return 0;
    }
    if (s->pc != code + 1) fail("pc did not advance by one word", w);
    const sve::decode_entry* e = sve::entry_of(w, h);
    if (!e) fail("is_sve gave a handler that no entry has", w);
    check_registers(before, *s, destinations_of(w, *e), w);
  } else {
    const uintptr_t pc = fault_pc, address = fault_address;
    if (address >= uintptr_t(g.page) && address < uintptr_t(g.end()) + 4096)
      fail("an access past the register file", w);
    if (pc < uintptr_t(__start_sve_app_access) || pc >= uintptr_t(__stop_sve_app_access))
      fail("a fault in the emulator's own code", w);
    if (!h) fail("an unknown word faulted", w);
  }
  for (size_t i = 0; i < g.offset; ++i)
    if (g.page[i] != 0xa5) fail("a write before the register file", w);
  return 0;
}
