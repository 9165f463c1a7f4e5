// The emulator's side of the speed table.
//   speed_bench WORD FILL   the cost of one instruction word, through the
//                           handler pointer (as rewritten code calls it) and
//                           through execute_sve_instruction (lookup and
//                           statistics added), on the table's standard state:
//                           "handler NS execute NS", or "unknown"
//   speed_bench is_sve      the cost of is_sve per word, over random words
//                           of the SVE encoding space and over all words
//   speed_bench threads N   execute_sve_instruction with its statistics on
//                           N threads at once, each on its own state and
//                           instruction: the time per instruction of each
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include "speed_state.h"
#include "sve/decode/sve_emu.h"

namespace {

// Nanoseconds per call of f, over runs of at least 0.2 s; the best of three.
template <class F>
double time_per_call(F&& f) {
  double best = 1e30;
  for (int round = 0; round < 3; ++round) {
    long n = 0;
    const auto start = std::chrono::steady_clock::now();
    std::chrono::duration<double> took{};
    do {
      for (int i = 0; i < 256; ++i) f();
      n += 256;
      took = std::chrono::steady_clock::now() - start;
    } while (took.count() < 0.2);
    best = std::min(best, took.count() * 1e9 / double(n));
  }
  return best;
}

// Each state starts a page of its own: where the heap would put it, reads of
// one register can wait on recent writes of another at the same offset in a
// different page (4K aliasing), which made figures depend on the allocation.
struct page_free {
  void operator()(cpu_state* s) const { ::operator delete(s, std::align_val_t(4096)); }
};
using state_ptr = std::unique_ptr<cpu_state, page_free>;

state_ptr make_state(speed::fill f, std::vector<uint8_t>& buffer) {
  state_ptr s(new (std::align_val_t(4096)) cpu_state());
  speed::fill_state(f, sve_vl_bytes, &s->z[0][0], s->x, buffer.data());
  for (auto& p : s->p) std::fill(std::begin(p), std::end(p), uint8_t(1));
  std::fill(std::begin(s->ffr), std::end(s->ffr), uint8_t(1));
  s->sp = s->x[7];
  return s;
}

void is_sve_cost() {
  std::mt19937 rng(1);
  std::vector<uint32_t> sve_words(1 << 16), any_words(1 << 16);
  for (auto& w : sve_words) w = (rng() & ~0x1e000000u) | 0x04000000u;  // bits 28:25 = 0010
  for (auto& w : any_words) w = rng();
  for (const auto& space : {std::pair{"SVE space", &sve_words}, std::pair{"all words", &any_words}}) {
    const char* name = space.first;
    const std::vector<uint32_t>* words = space.second;
    size_t i = 0, found = 0;
    const double ns = time_per_call([&] { found += is_sve((*words)[i++ & 0xffff]) != nullptr; });
    printf("is_sve %s %.2f (%zu calls found a handler)\n", name, ns, found);
  }
}

void threads_cost(unsigned n) {
  const uint32_t add = 0x04900440;  // mul z0.s, p1/m, z0.s, z2.s
  std::vector<double> ns(n);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < n; ++t)
    threads.emplace_back([&, t] {
      std::vector<uint8_t> buffer(speed::buffer_bytes + 8192);
      auto s = make_state(speed::fill::integer, buffer);
      uint32_t code[1] = {add};
      ns[t] = time_per_call([&] {
        s->pc = code;
        execute_sve_instruction(s.get());
      });
    });
  for (auto& t : threads) t.join();
  printf("threads %u %.2f\n", n, *std::max_element(ns.begin(), ns.end()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "is_sve") return is_sve_cost(), 0;
  if (argc == 3 && std::string_view(argv[1]) == "threads") return threads_cost(unsigned(atoi(argv[2]))), 0;
  speed::fill f;
  if (argc != 3 || !speed::parse_fill(argv[2], f)) {
    fprintf(stderr, "usage: speed_bench WORD int|f16|f32|f64|off32|off64\n");
    return 2;
  }
  const uint32_t word = uint32_t(strtoul(argv[1], nullptr, 16));
  const sve_handler h = is_sve(word);
  if (!h) return puts("unknown"), 0;
  std::vector<uint8_t> buffer(speed::buffer_bytes + 8192);
  auto s = make_state(f, buffer);
  const double handler = time_per_call([&] { h(s.get(), word); });
  s = make_state(f, buffer);
  uint32_t code[1] = {word};
  const double execute = time_per_call([&] {
    s->pc = code;
    execute_sve_instruction(s.get());
  });
  printf("handler %.2f execute %.2f\n", handler, execute);
}
