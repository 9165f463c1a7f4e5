#include "fast_half.h"

#include "fast.h"
#include "fast_lanes.h"

namespace sve::fast {

#if defined(__x86_64__)

namespace {

template <vop Op>
[[gnu::always_inline]] inline lane_set run(const uint8_t* x, const uint8_t* y, const uint16_t* active, uint16_t fz16,
                                           uint32_t& fpsr, uint16_t* r) {
  constexpr unsigned n = lanes<uint16_t>;
  constexpr uint32_t rebias = (127 - 15) << 10;
  uint16_t inexact = 0, any_left = 0;
  alignas(32) uint16_t done[n];
  for (unsigned i = 0; i < n; ++i) {
    const uint16_t a = lane<uint16_t>(x, i), b = lane<uint16_t>(y, i);
    const uint16_t take = uint16_t(active[i] & ~(unusual(a, fz16) | unusual(b, fz16) | is_inf(a) | is_inf(b)));
    const float fa = widen_half(uint16_t(a & take)), fb = widen_half(uint16_t(b & take));
    const float s = Op == vop::add ? fa + fb : Op == vop::sub ? fa - fb : fa * fb;
    const float err = Op == vop::mul ? 0.0f : sum_error(fa, Op == vop::sub ? -fb : fb, s);
    const uint32_t m = std::bit_cast<uint32_t>(s) & 0x7fffffff;
    // The exponent and top ten fraction bits, rounded to nearest even, and
    // rebiased to half precision: a number above the lowest binade when it
    // lies in [2 << 10, 31 << 10).
    const uint32_t h = ((m + 0xfff + (m >> 13 & 1)) >> 13) - rebias;
    const bool usual = (m == 0) | ((h >= (2u << 10)) & (h < (31u << 10)));
    done[i] = uint16_t(take & mask<uint16_t>(usual));
    const uint16_t result = uint16_t((std::bit_cast<uint32_t>(s) >> 16 & 0x8000) | (h & mask<uint32_t>(m != 0)));
    r[i] = pick(done[i], result, r[i]);
    inexact |= uint16_t(done[i] & mask<uint16_t>((err != 0) | ((m & 0x1fff) != 0)));
    any_left |= uint16_t(active[i] & ~done[i]);
  }
  if (inexact) fp_set_status(fpsr, FP_IXC);
  return any_left ? left_lanes(active, done) : 0;
}

template <vop Op>
[[gnu::always_inline]] inline lane_set run_frame(const uint8_t* x, const uint8_t* y, const uint8_t* pg,
                                                 uint16_t fz16, uint32_t& fpsr, uint8_t* d) {
  frame<uint16_t> f(pg, d);
  return f.finish(run<Op>(x, y, f.active, fz16, fpsr, f.r), d);
}
template <vop Op>
lane_set run_baseline(const uint8_t* x, const uint8_t* y, const uint8_t* pg, uint16_t fz16, uint32_t& fpsr,
                      uint8_t* d) {
  return run_frame<Op>(x, y, pg, fz16, fpsr, d);
}
template <vop Op>
[[gnu::target("avx2")]] lane_set run_avx2(const uint8_t* x, const uint8_t* y, const uint8_t* pg, uint16_t fz16,
                                          uint32_t& fpsr, uint8_t* d) {
  return run_frame<Op>(x, y, pg, fz16, fpsr, d);
}

using runner = lane_set (*)(const uint8_t*, const uint8_t*, const uint8_t*, uint16_t, uint32_t&, uint8_t*);

template <vop Op>
runner pick_build() {
  return host::has_avx2() ? &run_avx2<Op> : &run_baseline<Op>;
}

}  // namespace

lane_set vector_half(vop op, const uint8_t* x, const uint8_t* y, const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr,
                     uint8_t* d) {
  if (!fp_fast_path.load(std::memory_order_relaxed) || (fpcr >> 22 & 3) != FPRounding_TIEEVEN ||
      !host_rounds_to_nearest())
    return every_lane;
  const uint16_t fz16 = mask<uint16_t>(fpcr >> 19 & 1);
  switch (op) {
    case vop::add:
      return pick_build<vop::add>()(x, y, pg, fz16, fpsr, d);
    case vop::sub:
      return pick_build<vop::sub>()(x, y, pg, fz16, fpsr, d);
    case vop::mul:
      return pick_build<vop::mul>()(x, y, pg, fz16, fpsr, d);
    default:
      return every_lane;
  }
}

#else

// Other hosts compute half precision with the library.
lane_set vector_half(vop, const uint8_t*, const uint8_t*, const uint8_t*, FPSCR, uint32_t&, uint8_t*) {
  return every_lane;
}

#endif

}  // namespace sve::fast
