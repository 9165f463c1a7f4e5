#include "fast_vector.h"

#include "fast.h"
#include "fast_lanes.h"

namespace sve::fast {

#if defined(__x86_64__)

namespace {

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

// The operands of lane i, 1.0 standing in for those that op lacks.
template <class T, vop Op>
struct operands {
  T a, b, c;
  [[gnu::always_inline]] operands(const uint8_t* x, const uint8_t* y, const uint8_t* z, unsigned i)
      : a(lane<T>(x, i)),
        b(arity(Op) > 1 ? lane<T>(y, i) : fp_format<T>::one),
        c(arity(Op) > 2 ? lane<T>(z, i) : fp_format<T>::one) {}
  // The host's result where `take` is all ones, else that of 1.0 op 1.0.
  [[gnu::always_inline]] T compute(T take) const {
    using F = host_float<T>;
    constexpr T one = fp_format<T>::one;
    return std::bit_cast<T>(fast::compute<Op, F>(std::bit_cast<F>(pick(take, a, one)),
                                                 std::bit_cast<F>(pick(take, b, one)),
                                                 std::bit_cast<F>(pick(take, c, one))));
  }
};

// The whole vector in one pass: the lanes with usual operands are computed
// at once, and each result goes to r unless it turns out unusual. Only when
// one does are the lanes kept computed once more, for their status alone.
template <class T, vop Op>
[[gnu::always_inline]] inline lane_set run(const uint8_t* x, const uint8_t* y, const uint8_t* z, const T* active,
                                           FPSCR fpcr, uint32_t& fpsr, T* r) {
  using f = fp_format<T>;
  constexpr unsigned n = lanes<T>;
  const T fz = mask<T>(fpcr >> 24 & 1);
  alignas(32) T kept[n], settled[n];
  T bad_any = 0, any_left = 0, any_invalid = 0;
  host_status host;
  for (unsigned i = 0; i < n; ++i) {
    const operands<T, Op> o(x, y, z, i);
    const T u = T(unusual(o.a, fz) | unusual(o.b, fz) | unusual(o.c, fz));
    // The root of a number below zero is the default NaN, invalid.
    const T invalid = Op == vop::sqrt ? T(active[i] & ~u & mask<T>(o.a > f::sign)) : T(0);
    const T take = T(active[i] & ~u & ~invalid);
    const T result = o.compute(take);
    const T finite = T(~(is_inf(o.a) | is_inf(o.b) | is_inf(o.c)));
    const T bad = T(take & unusual_result(result, finite, fz));
    kept[i] = T(take & ~bad);
    settled[i] = T(kept[i] | invalid);
    r[i] = pick(kept[i], result, pick(invalid, f::default_nan, r[i]));
    bad_any |= bad;
    any_left |= T(active[i] & ~settled[i]);
    any_invalid |= invalid;
  }
  uint32_t status = host.stop();
  if (bad_any) {
    alignas(32) T out[n];
    host_status again;
    for (unsigned i = 0; i < n; ++i) out[i] = operands<T, Op>(x, y, z, i).compute(kept[i]);
    asm volatile("" : : "r"(out) : "memory");
    status = again.stop();
  }
  // What is left are denormal results without FZ, where the host's underflow
  // is the architecture's, and inexact. Otherwise the caller computes every
  // active lane afresh over what was written to r.
  if (status & (mx_invalid | mx_divide | mx_overflow)) return every_lane;
  if (status & mx_underflow) {
    if (fz) return every_lane;
    fp_set_status(fpsr, FP_UFC);
  }
  if (status & mx_inexact) fp_set_status(fpsr, FP_IXC);
  if (any_invalid) fp_set_status(fpsr, FP_IOC);
  return any_left ? left_lanes(active, settled) : 0;
}

using runner = lane_set (*)(const uint8_t*, const uint8_t*, const uint8_t*, const uint8_t*, FPSCR, uint32_t&, uint8_t*);

template <class T, vop Op>
[[gnu::always_inline]] inline lane_set run_frame(const uint8_t* x, const uint8_t* y, const uint8_t* z,
                                                 const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr, uint8_t* d) {
  frame<T> f(pg, d);
  return f.finish(run<T, Op>(x, y, z, f.active, fpcr, fpsr, f.r), d);
}

// The three builds of each operation: the baseline instruction set, which
// has no fused multiply-add, AVX2 with FMA, and AVX-512, where the
// processor has them.
template <class T, vop Op>
lane_set run_baseline(const uint8_t* x, const uint8_t* y, const uint8_t* z, const uint8_t* pg, FPSCR fpcr,
                      uint32_t& fpsr, uint8_t* d) {
  if constexpr (fused(Op))
    return every_lane;
  else
    return run_frame<T, Op>(x, y, z, pg, fpcr, fpsr, d);
}
template <class T, vop Op>
[[gnu::target("avx2,fma")]] lane_set run_avx2(const uint8_t* x, const uint8_t* y, const uint8_t* z, const uint8_t* pg,
                                              FPSCR fpcr, uint32_t& fpsr, uint8_t* d) {
  return run_frame<T, Op>(x, y, z, pg, fpcr, fpsr, d);
}

template <class T, vop Op>
[[SVE_TARGET_AVX512]] lane_set run_avx512(const uint8_t* x, const uint8_t* y, const uint8_t* z, const uint8_t* pg,
                                          FPSCR fpcr, uint32_t& fpsr, uint8_t* d) {
  return run_frame<T, Op>(x, y, z, pg, fpcr, fpsr, d);
}

template <class T>
struct runners {
  static constexpr runner table[3][9] = {
      {&run_baseline<T, vop::add>, &run_baseline<T, vop::sub>, &run_baseline<T, vop::mul>, &run_baseline<T, vop::div>,
       &run_baseline<T, vop::sqrt>, &run_baseline<T, vop::fma>, &run_baseline<T, vop::fms>, &run_baseline<T, vop::fnms>,
       &run_baseline<T, vop::fnma>},
      {&run_avx2<T, vop::add>, &run_avx2<T, vop::sub>, &run_avx2<T, vop::mul>, &run_avx2<T, vop::div>,
       &run_avx2<T, vop::sqrt>, &run_avx2<T, vop::fma>, &run_avx2<T, vop::fms>, &run_avx2<T, vop::fnms>,
       &run_avx2<T, vop::fnma>},
      {&run_avx512<T, vop::add>, &run_avx512<T, vop::sub>, &run_avx512<T, vop::mul>, &run_avx512<T, vop::div>,
       &run_avx512<T, vop::sqrt>, &run_avx512<T, vop::fma>, &run_avx512<T, vop::fms>, &run_avx512<T, vop::fnms>,
       &run_avx512<T, vop::fnma>},
  };
};

}  // namespace

template <class T>
lane_set vector(vop op, const uint8_t* x, const uint8_t* y, const uint8_t* z, const uint8_t* pg, FPSCR fpcr,
                uint32_t& fpsr, uint8_t* d) {
  if (!fp_fast_path.load(std::memory_order_relaxed) || (fpcr >> 22 & 3) != FPRounding_TIEEVEN) return every_lane;
  return runners<T>::table[host::has_avx512() ? 2 : host::has_avx2()][unsigned(op)](x, y, z, pg, fpcr, fpsr, d);
}

#else

// Other hosts compute with their own instructions on the direct route.
template <class T>
lane_set vector(vop, const uint8_t*, const uint8_t*, const uint8_t*, const uint8_t*, FPSCR, uint32_t&, uint8_t*) {
  return every_lane;
}

#endif

template lane_set vector<uint32_t>(vop, const uint8_t*, const uint8_t*, const uint8_t*, const uint8_t*, FPSCR,
                                   uint32_t&, uint8_t*);
template lane_set vector<uint64_t>(vop, const uint8_t*, const uint8_t*, const uint8_t*, const uint8_t*, FPSCR,
                                   uint32_t&, uint8_t*);

}  // namespace sve::fast
