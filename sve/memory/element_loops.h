// The element loops of the contiguous loads and stores. Element e of
// register r (of N from Zt on) is memory element e * N + r from `address`,
// in ascending order, so that a fault leaves every element below it
// complete. An inactive element touches no memory, and a load writes 0 to
// it. When every element is active, as in the body of a vectorised loop,
// the loops test no predicate and compile to vector moves.
#pragma once

#include "../decode/sve_emu.h"
#include "../integer/kernel_loop.h"
#include "../support/pred_words.h"
#include "memory_access.h"

namespace sve {

// Memory elements M (signed M sign-extends) into elements [0, n) of T;
// `All` when every element is active.
template <class M, class T, unsigned N, bool All>
void load_run(cpu_state* s, unsigned zt, const uint8_t* g, uint64_t address, unsigned n) {
  for (unsigned e = 0; e < n; ++e)
    for (unsigned r = 0; r < N; ++r) {
      T v = (All || (g[e * sizeof(T)] & 1)) ? T(read_plain<M>(address + (e * N + r) * sizeof(M))) : T(0);
      store<T>(s->z[(zt + r) % 32] + e * sizeof(T), v);
    }
}
template <class M, class T, unsigned N = 1>
void load_elements(cpu_state* s, unsigned zt, const uint8_t* g, uint64_t address, unsigned n) {
  all_active<T>(g) ? load_run<M, T, N, true>(s, zt, g, address, n) : load_run<M, T, N, false>(s, zt, g, address, n);
}

// Elements [0, n) of T, truncated to memory elements M.
template <class M, class T, unsigned N, bool All>
void store_run(const cpu_state* s, unsigned zt, const uint8_t* g, uint64_t address, unsigned n) {
  for (unsigned e = 0; e < n; ++e)
    for (unsigned r = 0; r < N; ++r)
      if (All || (g[e * sizeof(T)] & 1))
        write_plain<M>(address + (e * N + r) * sizeof(M), M(load<T>(s->z[(zt + r) % 32] + e * sizeof(T))));
}
template <class M, class T, unsigned N = 1>
void store_elements(const cpu_state* s, unsigned zt, const uint8_t* g, uint64_t address, unsigned n) {
  all_active<T>(g) ? store_run<M, T, N, true>(s, zt, g, address, n) : store_run<M, T, N, false>(s, zt, g, address, n);
}

}  // namespace sve
