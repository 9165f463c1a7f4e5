// Cost of one emulated instruction, for every handler of the predicated
// integer family: through the handler pointer, as the rewritten code calls
// it, through execute_sve_instruction, which adds the lookup and the
// statistics, and through the hosts' emulation with the profile off and on
// (what the profile costs per instruction).
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>

#include "sve/client/emulate.h"
#include "sve/decode/families.h"

namespace {

std::unique_ptr<cpu_state> state() {
  auto s = std::make_unique<cpu_state>();
  std::mt19937_64 rng(1);
  for (auto& z : s->z)
    for (auto& b : z) b = uint8_t(rng());
  for (auto& p : s->p)
    for (auto& b : p) b = uint8_t(rng());
  return s;
}

// zdn z0, pg p1, zm z2: a realistic, non-aliased operand set.
uint32_t instance(const sve::decode_entry& e) { return e.fixed_value | 0 | 1 << 10 | 2 << 5; }

void through_handler(benchmark::State& st, const sve::decode_entry* e) {
  auto s = state();
  uint32_t w = instance(*e);
  for (auto _ : st) {
    e->handler(s.get(), w);
    benchmark::ClobberMemory();
  }
}

void through_execute(benchmark::State& st, const sve::decode_entry* e) {
  auto s = state();
  uint32_t code[1] = {instance(*e)};
  for (auto _ : st) {
    s->pc = code;
    execute_sve_instruction(s.get());
    benchmark::ClobberMemory();
  }
}

template <bool profiled>
void through_host(benchmark::State& st, const sve::decode_entry* e) {
  auto s = state();
  uint32_t code[1] = {instance(*e)};
  if (profiled) sve::profile::start();
  for (auto _ : st) {
    (profiled ? sve::emulate_word_profiled : sve::emulate_word)(s.get(), code[0], code, e->handler);
    benchmark::ClobberMemory();
  }
}

int register_all() {
  for (const sve::decode_entry& e : sve::families::integer_predicated.entries) {
    benchmark::RegisterBenchmark((std::string("handler/") + e.name).c_str(), through_handler, &e)->MinTime(0.05);
    benchmark::RegisterBenchmark((std::string("execute/") + e.name).c_str(), through_execute, &e)->MinTime(0.05);
    benchmark::RegisterBenchmark((std::string("host/") + e.name).c_str(), through_host<false>, &e)->MinTime(0.05);
    benchmark::RegisterBenchmark((std::string("profiled/") + e.name).c_str(), through_host<true>, &e)->MinTime(0.05);
  }
  return 0;
}
const int registered = register_all();

}  // namespace

BENCHMARK_MAIN();
