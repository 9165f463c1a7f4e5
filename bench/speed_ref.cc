// The reference's side of the speed table: the cost of one instruction word
// on real SVE code, here qemu at the build's vector length. The word is
// written 64 times into a loop in fresh code, run on the table's standard
// state, and timed against the same loop of NOPs.
//   speed_ref WORD FILL  ->  "reference NS"
#include <sys/mman.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "speed_state.h"

namespace {

constexpr unsigned vl = SVE_VL_BITS / 8, unroll = 64;

// The register file that run_loop loads before it enters the loop.
struct state {
  uint8_t z[32][vl];
  uint8_t p[16][vl / 8];
  uint64_t x[31];
};

}  // namespace

// run_loop(state, code, passes): loads z0-z31, p0-p15 and x0-x15 from the
// state, sets ffr and calls the generated loop with the pass count in x28;
// the words of the table keep x27 to x30 and the stack as they were. It
// keeps the registers that the calling convention asks it to, d8 to d15
// among them, which the loads of the Z registers overwrite.
extern "C" void run_loop(state*, const void* code, uint64_t passes);
asm(R"(
  .arch armv8.2-a+sve
  .text
  .p2align 4
  .globl run_loop
run_loop:
  stp x29, x30, [sp, #-160]!
  stp x19, x20, [sp, #16]
  stp x21, x22, [sp, #32]
  stp x23, x24, [sp, #48]
  stp x25, x26, [sp, #64]
  stp x27, x28, [sp, #80]
  stp d8, d9, [sp, #96]
  stp d10, d11, [sp, #112]
  stp d12, d13, [sp, #128]
  stp d14, d15, [sp, #144]
  mov x27, x1
  mov x28, x2
  .irp n, 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31
  ldr z\n, [x0, #\n, mul vl]
  .endr
  addvl x9, x0, #16
  addvl x9, x9, #16
  .irp n, 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15
  ldr p\n, [x9, #\n, mul vl]
  .endr
  addpl x9, x9, #16
  setffr
  ldp x2, x3, [x9, #16]
  ldp x4, x5, [x9, #32]
  ldp x6, x7, [x9, #48]
  ldp x10, x11, [x9, #80]
  ldp x12, x13, [x9, #96]
  ldp x14, x15, [x9, #112]
  ldr x8, [x9, #64]
  ldp x0, x1, [x9, #0]
  ldr x9, [x9, #72]
  blr x27
  ldp x19, x20, [sp, #16]
  ldp x21, x22, [sp, #32]
  ldp x23, x24, [sp, #48]
  ldp x25, x26, [sp, #64]
  ldp x27, x28, [sp, #80]
  ldp d8, d9, [sp, #96]
  ldp d10, d11, [sp, #112]
  ldp d12, d13, [sp, #128]
  ldp d14, d15, [sp, #144]
  ldp x29, x30, [sp], #160
  ret
)");

namespace {

// Code for: 64 times the word, then "subs x28, x28, #1; b.ne start; ret".
void* make_loop(uint32_t word) {
  void* page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) perror("mmap"), exit(1);
  auto* code = static_cast<uint32_t*>(page);
  for (unsigned i = 0; i < unroll; ++i) code[i] = word;
  code[unroll] = 0xf100079c;                                            // subs x28, x28, #1
  code[unroll + 1] = 0x54000001 | ((uint32_t(-int32_t(unroll + 1)) & 0x7ffff) << 5);  // b.ne start
  code[unroll + 2] = 0xd65f03c0;                                        // ret
  __builtin___clear_cache(static_cast<char*>(page), static_cast<char*>(page) + 4096);
  return page;
}

double seconds(state& s, const std::vector<uint8_t>& fresh, const void* code, uint64_t passes) {
  std::memcpy(&s, fresh.data(), sizeof s);
  const auto start = std::chrono::steady_clock::now();
  run_loop(&s, code, passes);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
  speed::fill f;
  if (argc != 3 || !speed::parse_fill(argv[2], f)) {
    fprintf(stderr, "usage: speed_ref WORD int|f16|f32|f64|off32|off64\n");
    return 2;
  }
  const uint32_t word = uint32_t(strtoul(argv[1], nullptr, 16));
  static state s;
  static std::vector<uint8_t> buffer(speed::buffer_bytes + 8192);
  speed::fill_state(f, vl, &s.z[0][0], s.x, buffer.data());
  std::memset(s.p, 0xff, sizeof s.p);
  std::vector<uint8_t> fresh(sizeof s);
  std::memcpy(fresh.data(), &s, sizeof s);

  const void* loop = make_loop(word);
  const void* nops = make_loop(0xd503201f);
  // Enough passes for about 0.2 s, then the best of three against the NOPs.
  uint64_t passes = 64;
  while (seconds(s, fresh, loop, passes) < 0.05 && passes < (1ull << 30)) passes *= 2;
  passes *= 4;
  double best = 1e30;
  for (int round = 0; round < 3; ++round) {
    const double t = seconds(s, fresh, loop, passes) - seconds(s, fresh, nops, passes);
    best = std::min(best, t * 1e9 / double(passes * unroll));
  }
  printf("reference %.2f\n", best < 0 ? 0.0 : best);
}
