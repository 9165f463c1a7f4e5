#include "fast_vector.h"

#include <bit>
#include <cstring>
#include <type_traits>

#include "fast.h"

namespace sve::fast {

#if defined(__x86_64__)

namespace {

template <class T>
using host_float = std::conditional_t<sizeof(T) == 4, float, double>;

template <class T>
T lane(const uint8_t* v, unsigned i) {
  T x;
  std::memcpy(&x, v + i * sizeof(T), sizeof(T));
  return x;
}

// All ones when c holds.
template <class T>
T mask(bool c) {
  return T(T(0) - T(c));
}

// The magnitude's bits are in [1, limit).
template <class T>
T nonzero_below(T m, T limit) {
  return mask<T>(T(m - 1) < T(limit - 1));
}

template <class T>
T magnitude(T x) {
  return T(x & ~fp_format<T>::sign);
}
template <class T>
T is_nan(T x) {
  return mask<T>(magnitude(x) > fp_format<T>::infinity);
}
template <class T>
T is_inf(T x) {
  return mask<T>(magnitude(x) == fp_format<T>::infinity);
}
template <class T>
T is_denormal(T x) {
  return nonzero_below<T>(magnitude(x), T(T(1) << fp_format<T>::F));
}

// An operand that the host computes otherwise than the architecture: a NaN
// (propagation and the default NaN differ), or under FZ a denormal.
template <class T>
T unusual(T x, T fz) {
  return T(is_nan(x) | (is_denormal(x) & fz));
}

// A result that the architecture may produce or flag otherwise: a NaN, an
// infinity from finite operands (overflow, division by zero), one in the
// lowest normal binade (perhaps tiny before rounding, which the host judges
// after rounding) and, under FZ, a denormal or tiny one.
template <class T>
T unusual_result(T x, T finite_operands, T fz) {
  constexpr T min_normal = T(T(1) << fp_format<T>::F);
  const T m = magnitude(x);
  return T(is_nan(x) | (is_inf(x) & finite_operands) | mask<T>(m >= min_normal && m < 2 * min_normal) |
           (nonzero_below<T>(m, min_normal) & fz));
}

constexpr unsigned arity(vop op) { return op == vop::sqrt ? 1 : op < vop::fma ? 2 : 3; }
constexpr bool fused(vop op) { return op >= vop::fma; }

template <vop Op, class F>
[[gnu::always_inline]] inline F compute(F x, F y, F z) {
  constexpr bool single = sizeof(F) == 4;
  if constexpr (Op == vop::add) return x + y;
  if constexpr (Op == vop::sub) return x - y;
  if constexpr (Op == vop::mul) return x * y;
  if constexpr (Op == vop::div) return x / y;
  if constexpr (Op == vop::sqrt) return single ? __builtin_sqrtf(x) : __builtin_sqrt(x);
  if constexpr (fused(Op)) {
    const F addend = Op == vop::fnms || Op == vop::fnma ? -x : x;
    const F factor = Op == vop::fms || Op == vop::fnma ? -y : y;
    if constexpr (single)
      return __builtin_fmaf(factor, z, addend);
    else
      return __builtin_fma(factor, z, addend);
  }
}

// MXCSR: every exception masked, round to nearest, no flushing, no flags.
constexpr uint32_t mxcsr_clean = 0x1f80;
enum : uint32_t { mx_invalid = 1, mx_denormal = 2, mx_divide = 4, mx_overflow = 8, mx_underflow = 16, mx_inexact = 32 };

// The whole vector, in at most two passes: a lane whose result turns out
// unusual is taken out, and the rest computed once more for their status
// alone. The operands go through memory that the status instructions are
// told they may touch, so that the compiler keeps the arithmetic between
// them.
template <class T, vop Op>
[[gnu::always_inline]] inline lane_set run(const uint8_t* x, const uint8_t* y, const uint8_t* z, const T* active,
                                           FPSCR fpcr, uint32_t& fpsr, T* r) {
  using F = host_float<T>;
  using f = fp_format<T>;
  constexpr unsigned n = lanes<T>, k = arity(Op);
  const T fz = mask<T>(fpcr >> 24 & 1);
  alignas(32) T ox[n], oy[n], oz[n], a[n], b[n], c[n], good[n], invalid[n];
  alignas(32) F out[n];
  T any_left = 0, any_invalid = 0;
  for (unsigned i = 0; i < n; ++i) {
    ox[i] = lane<T>(x, i), oy[i] = k > 1 ? lane<T>(y, i) : f::one, oz[i] = k > 2 ? lane<T>(z, i) : f::one;
    const T u = T(unusual(ox[i], fz) | unusual(oy[i], fz) | unusual(oz[i], fz));
    // The root of a number below zero is the default NaN, invalid.
    invalid[i] = Op == vop::sqrt ? T(active[i] & ~u & mask<T>(ox[i] > f::sign)) : T(0);
    good[i] = T(active[i] & ~u & ~invalid[i]);
    any_left |= T(active[i] & u);
    any_invalid |= invalid[i];
  }
  uint32_t saved, status = 0;
  for (int pass = 0;; ++pass) {
    for (unsigned i = 0; i < n; ++i) {
      const T g = good[i];
      a[i] = T((ox[i] & g) | (f::one & ~g));
      b[i] = T((oy[i] & g) | (f::one & ~g));
      c[i] = T((oz[i] & g) | (f::one & ~g));
    }
    asm volatile("stmxcsr %0" : "=m"(saved));
    asm volatile("ldmxcsr %0" : : "m"(mxcsr_clean), "r"(a), "r"(b), "r"(c), "r"(out) : "memory");
    for (unsigned i = 0; i < n; ++i)
      out[i] = compute<Op, F>(std::bit_cast<F>(a[i]), std::bit_cast<F>(b[i]), std::bit_cast<F>(c[i]));
    asm volatile("stmxcsr %0" : "=m"(status) : "r"(out) : "memory");
    asm volatile("ldmxcsr %0" : : "m"(saved));
    T bad_any = 0;
    for (unsigned i = 0; i < n; ++i) {
      const T finite = T(~(is_inf(a[i]) | is_inf(b[i]) | is_inf(c[i])));
      const T bad = T(good[i] & unusual_result(std::bit_cast<T>(out[i]), finite, fz));
      good[i] &= T(~bad);
      bad_any |= bad;
    }
    if (!bad_any) break;
    if (pass) return every_lane;
    any_left = T(~T(0));
  }
  // What is left are denormal results without FZ, where the host's underflow
  // is the architecture's, and inexact.
  if (status & (mx_invalid | mx_divide | mx_overflow)) return every_lane;
  if (status & mx_underflow) {
    if (fz) return every_lane;
    fp_set_status(fpsr, FP_UFC);
  }
  if (status & mx_inexact) fp_set_status(fpsr, FP_IXC);
  if (any_invalid) fp_set_status(fpsr, FP_IOC);
  for (unsigned i = 0; i < n; ++i)
    r[i] = T((std::bit_cast<T>(out[i]) & good[i]) | (f::default_nan & invalid[i]) | (r[i] & ~(good[i] | invalid[i])));
  if (!any_left) return 0;
  lane_set left = 0;
  for (unsigned i = 0; i < n; ++i) left |= lane_set(active[i] & ~(good[i] | invalid[i]) & 1) << i;
  return left;
}

using runner = lane_set (*)(const uint8_t*, const uint8_t*, const uint8_t*, const void*, FPSCR, uint32_t&, void*);

// The two builds of each operation: the baseline instruction set, which has
// no fused multiply-add, and AVX2 with FMA where the processor has them.
template <class T, vop Op>
lane_set run_baseline(const uint8_t* x, const uint8_t* y, const uint8_t* z, const void* active, FPSCR fpcr,
                      uint32_t& fpsr, void* r) {
  if constexpr (fused(Op))
    return every_lane;
  else
    return run<T, Op>(x, y, z, static_cast<const T*>(active), fpcr, fpsr, static_cast<T*>(r));
}
template <class T, vop Op>
[[gnu::target("avx2,fma")]] lane_set run_avx2(const uint8_t* x, const uint8_t* y, const uint8_t* z,
                                               const void* active, FPSCR fpcr, uint32_t& fpsr, void* r) {
  return run<T, Op>(x, y, z, static_cast<const T*>(active), fpcr, fpsr, static_cast<T*>(r));
}

template <class T>
struct runners {
  static constexpr runner table[2][9] = {
      {&run_baseline<T, vop::add>, &run_baseline<T, vop::sub>, &run_baseline<T, vop::mul>,
       &run_baseline<T, vop::div>, &run_baseline<T, vop::sqrt>, &run_baseline<T, vop::fma>,
       &run_baseline<T, vop::fms>, &run_baseline<T, vop::fnms>, &run_baseline<T, vop::fnma>},
      {&run_avx2<T, vop::add>, &run_avx2<T, vop::sub>, &run_avx2<T, vop::mul>, &run_avx2<T, vop::div>,
       &run_avx2<T, vop::sqrt>, &run_avx2<T, vop::fma>, &run_avx2<T, vop::fms>, &run_avx2<T, vop::fnms>,
       &run_avx2<T, vop::fnma>},
  };
};

const bool host_avx2 = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}();

}  // namespace

template <class T>
lane_set vector(vop op, const uint8_t* x, const uint8_t* y, const uint8_t* z, const T* active, FPSCR fpcr,
                uint32_t& fpsr, T* r) {
  if (!fp_fast_path.load(std::memory_order_relaxed) || (fpcr >> 22 & 3) != FPRounding_TIEEVEN) return every_lane;
  return runners<T>::table[host_avx2][unsigned(op)](x, y, z, active, fpcr, fpsr, r);
}

#else

// Other hosts compute with their own instructions on the direct route.
template <class T>
lane_set vector(vop, const uint8_t*, const uint8_t*, const uint8_t*, const T*, FPSCR, uint32_t&, T*) {
  return every_lane;
}

#endif

template lane_set vector<uint32_t>(vop, const uint8_t*, const uint8_t*, const uint8_t*, const uint32_t*, FPSCR,
                                   uint32_t&, uint32_t*);
template lane_set vector<uint64_t>(vop, const uint8_t*, const uint8_t*, const uint8_t*, const uint64_t*, FPSCR,
                                   uint32_t&, uint64_t*);

}  // namespace sve::fast
