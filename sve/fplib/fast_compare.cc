#include "fast_compare.h"

#include <type_traits>

#include "fast.h"
#include "fast_lanes.h"

namespace sve::fast {

#if defined(__x86_64__)

namespace {

// The order of numbers as signed integers: the magnitude, negated for a
// negative number, so that both zeros are 0.
template <class T>
[[gnu::always_inline]] inline std::make_signed_t<T> key(T x) {
  using S = std::make_signed_t<T>;
  const S m = S(magnitude(x)), negative = S(mask<T>(S(x) < 0));
  return S((m ^ negative) - negative);
}

template <relation Rel, class S>
[[gnu::always_inline]] inline bool holds(S a, S b) {
  switch (Rel) {
    case relation::eq:
      return a == b;
    case relation::ne:
      return a != b;
    case relation::unordered:
      return false;
    case relation::ge:
      return a >= b;
    case relation::gt:
      return a > b;
    case relation::le:
      return a <= b;
    case relation::lt:
      return a < b;
  }
}

alignas(32) constexpr uint8_t zeros[sve_vl_bytes] = {};

template <class T, relation Rel>
[[gnu::always_inline]] inline lane_set run(const uint8_t* x, const uint8_t* y, const T* active, T fz, T* r) {
  constexpr unsigned n = lanes<T>;
  T any_left = 0;
  alignas(32) T done[n];
  for (unsigned i = 0; i < n; ++i) {
    const T a = lane<T>(x, i), b = lane<T>(y, i);
    const T u = T(unusual(a, fz) | unusual(b, fz));
    done[i] = T(active[i] & ~u);
    r[i] = T(done[i] & T(holds<Rel>(key(a), key(b))));
    any_left |= T(active[i] & u);
  }
  return any_left ? left_lanes(active, done) : 0;
}

template <class T>
using runner = lane_set (*)(const uint8_t*, const uint8_t*, const T*, T, T*);

// The baseline build and the AVX2 build of each relation.
template <class T, relation Rel>
lane_set run_baseline(const uint8_t* x, const uint8_t* y, const T* active, T fz, T* r) {
  return run<T, Rel>(x, y, active, fz, r);
}
template <class T, relation Rel>
[[gnu::target("avx2")]] lane_set run_avx2(const uint8_t* x, const uint8_t* y, const T* active, T fz, T* r) {
  return run<T, Rel>(x, y, active, fz, r);
}

template <class T, relation... Rel>
constexpr runner<T> runners[2][sizeof...(Rel)] = {{&run_baseline<T, Rel>...}, {&run_avx2<T, Rel>...}};
template <class T>
constexpr const auto& table =
    runners<T, relation::eq, relation::ne, relation::unordered, relation::ge, relation::gt, relation::le, relation::lt>;

}  // namespace

template <class T>
lane_set compare(relation rel, const uint8_t* x, const uint8_t* y, const T* active, FPSCR fpcr, T* r) {
  if (!fp_fast_path.load(std::memory_order_relaxed)) return every_lane;
  return table<T>[host::has_avx2()][unsigned(rel)](x, y ? y : zeros, active, mask<T>(fpcr >> 24 & 1), r);
}

#else

// Other hosts compare with their own instructions.
template <class T>
lane_set compare(relation, const uint8_t*, const uint8_t*, const T*, FPSCR, T*) {
  return every_lane;
}

#endif

template lane_set compare<uint32_t>(relation, const uint8_t*, const uint8_t*, const uint32_t*, FPSCR, uint32_t*);
template lane_set compare<uint64_t>(relation, const uint8_t*, const uint8_t*, const uint64_t*, FPSCR, uint64_t*);

}  // namespace sve::fast
