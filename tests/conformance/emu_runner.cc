// The emulator side of the conformance harness: runs each case through
// execute_sve_instruction on a cpu_state built from the case's seed, and
// reports the final state as the reference runner does. With --entries it
// lists the decode entries instead, for the driver to generate cases from
// (the family of an SVE2 entry marked "sve2:");
// with --exact-fp the floating-point library takes its exact path for every
// operand, without the fast path of ordinary operands.
#include <setjmp.h>
#include <signal.h>

#include <cstring>
#include <memory>

#include "runner_io.h"
#include "sve/decode/decode.h"
#include "sve/memory/memory_access.h"

namespace {

// The byte form of a predicate holds bits that the architecture's has no
// room for; a correct kernel ignores them, so every byte gets random ones
// above bit 0.
void unpack_with_stray_bits(const uint8_t* bits, uint8_t* bytes, conf::rng& r) {
  for (unsigned b = 0; b < conf::vl; ++b) bytes[b] = uint8_t((bits[b / 8] >> (b % 8) & 1) | (r.next() & 0xfe));
}

void pack(const uint8_t* bytes, uint8_t* bits) {
  std::memset(bits, 0, conf::pl);
  for (unsigned b = 0; b < conf::vl; ++b) bits[b / 8] |= uint8_t((bytes[b] & 1) << (b % 8));
}

void to_cpu(const conf::state& st, cpu_state& s, uint64_t seed) {
  conf::rng r{seed ^ 0xa5a5a5a5a5a5a5a5ull};
  std::memcpy(s.x, st.x, sizeof s.x);
  s.sp = st.sp;
  s.nzcv = st.nzcv;
  s.fpsr = uint32_t(st.fpsr);
  s.fpcr = uint32_t(st.fpcr);
  s.fpcr_high = 0;
  std::memcpy(s.z, st.z, sizeof s.z);
  for (int k = 0; k < 16; ++k) unpack_with_stray_bits(st.p[k], s.p[k], r);
  unpack_with_stray_bits(st.ffr, s.ffr, r);
}

void from_cpu(const cpu_state& s, conf::state& st) {
  std::memcpy(st.x, s.x, sizeof st.x);
  st.sp = s.sp;
  st.nzcv = s.nzcv;
  st.fpsr = s.fpsr;
  st.fpcr = s.fpcr;
  std::memcpy(st.z, s.z, sizeof st.z);
  for (int k = 0; k < 16; ++k) pack(s.p[k], st.p[k]);
  pack(s.ffr, st.ffr);
}

sigjmp_buf recovery;
volatile sig_atomic_t fault;

// A fault inside a first-fault or non-fault load's protected read goes back
// to the load; any other ends the case.
void on_fault(int sig) {
  sve::resume_protected_read();
  fault = sig;
  siglongjmp(recovery, 1);
}

int list_entries() {
  for (const sve::decode_family* f : sve::all_families())
    for (const sve::decode_entry& e : f->entries)
      printf("%s %s%s %08x %08x %u %s\n", e.name, int(e.map) >= sve::sve_map_count ? "sve2:" : "", f->name,
             e.fixed_mask, e.fixed_value, e.size, e.sample);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--entries") == 0) return list_entries();
  if (argc > 1 && std::strcmp(argv[1], "--exact-fp") == 0) sve_set_exact_fp(1);
  uint8_t* arena = conf::map_arena();
  auto st = std::make_unique<conf::state>();
  auto s = std::make_unique<cpu_state>();
  for (int sig : {SIGSEGV, SIGBUS}) signal(sig, on_fault);
  static uint32_t code[1];
  for (const conf::case_in& c : conf::read_cases()) {
    conf::make_state(c.seed, c.size, *st, c.near_end);
    conf::fill_arena(c.seed, arena);
    to_cpu(*st, *s, c.seed);
    code[0] = c.word;
    s->pc = code;
    conf::case_out out{};
    fault = 0;
    if (sigsetjmp(recovery, 1) == 0) {
      if (execute_sve_instruction(s.get()) == aarch64_decode_ok) {
        from_cpu(*s, *st);
        out.digest = conf::digest(*st, arena);
      } else {
        out.status = conf::sigill;  // a word the emulator does not know
      }
    } else {
      out.status = fault == SIGBUS ? conf::sigbus : conf::sigsegv;
    }
    conf::write_result(out, c, *st, arena);
  }
  return 0;
}
