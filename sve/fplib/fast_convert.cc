#include "fast_convert.h"

#include "fast.h"
#include "fast_lanes.h"

namespace sve::fast {

namespace {

// The conversions between precisions are integer arithmetic on the bits,
// the same on every host.

// FCVT from single to double precision: every number but a denormal
// widens exactly, by moving the fields into place in each 64-bit lane and
// rebiasing a normal exponent (or that of an infinity) by integer
// arithmetic, which needs no narrowing of the lanes for the host's own
// conversion. The source is the low half of each lane shifted right by
// From (0, or 32 for the top half).
template <unsigned From>
[[gnu::always_inline]] inline lane_set widen(const uint8_t* x, const uint64_t* active, uint64_t* r) {
  constexpr unsigned n = lanes<uint64_t>;
  using s = fp_format<uint32_t>;
  using d = fp_format<uint64_t>;
  constexpr uint64_t infinity = s::infinity, min_normal = uint64_t(1) << s::F;
  constexpr uint64_t rebias = uint64_t(d::bias - s::bias) << d::F;
  constexpr uint64_t rebias_infinity = uint64_t(d::max_exp - s::max_exp) << d::F;
  constexpr int shift = d::F - s::F;
  uint64_t any_left = 0;
  alignas(32) uint64_t done[n];
  for (unsigned i = 0; i < n; ++i) {
    const uint64_t v = lane<uint64_t>(x, i) >> From;
    const uint64_t m = v & (infinity | (min_normal - 1));
    const uint64_t normal = mask<uint64_t>(m - min_normal < infinity - min_normal), inf = mask<uint64_t>(m == infinity);
    done[i] = active[i] & (normal | inf | mask<uint64_t>(m == 0));
    const uint64_t wide = (v >> 31 & 1) << 63 | ((m << shift) + (normal & rebias) + (inf & rebias_infinity));
    r[i] = pick(done[i], wide, r[i]);
    any_left |= active[i] & ~done[i];
  }
  return any_left ? left_lanes(active, done) : 0;
}

// FCVT from half to single precision: every number, denormals too, which
// FZ16 leaves alone in a conversion, exactly; from a half of each lane as
// `widen`.
template <unsigned From>
[[gnu::always_inline]] inline lane_set widen_halves(const uint8_t* x, const uint32_t* active, uint32_t* r) {
  constexpr unsigned n = lanes<uint32_t>;
  uint32_t any_left = 0;
  alignas(32) uint32_t done[n];
  for (unsigned i = 0; i < n; ++i) {
    const uint16_t v = uint16_t(lane<uint32_t>(x, i) >> From);
    done[i] = active[i] & ~uint32_t(int16_t(is_nan(v)));
    r[i] = pick(done[i], std::bit_cast<uint32_t>(widen_half(uint16_t(v & done[i]))), r[i]);
    any_left |= active[i] & ~done[i];
  }
  return any_left ? left_lanes(active, done) : 0;
}

// FCVT and FCVTX to a narrower precision, IEEE half precision for half:
// a number whose result is normal above the lowest binade rounds by integer
// arithmetic on its bits, under any mode and to odd: an increment below the
// kept bits (half of their last one less one, plus that last bit, to
// nearest; all ones away from zero in the direction of the mode), then the
// dropped bits cut and the exponent rebiased. Inexact where nonzero bits
// were dropped. Zeros and infinities narrow exactly; a NaN, a result that
// overflows and a tiny one are left to the library.
template <class From, class To>
[[gnu::always_inline]] inline lane_set narrow(FPRounding rounding, const uint8_t* x, const From* active,
                                              uint32_t& fpsr, From* r) {
  using w = fp_format<From>;
  using t = fp_format<To>;
  constexpr unsigned n = lanes<From>;
  constexpr int shift = w::F - t::F;
  constexpr From dropped_bits = (From(1) << shift) - 1, rebias = From(w::bias - t::bias) << t::F;
  constexpr From low = From(2) << t::F, high = t::infinity;
  const From nearest = mask<From>(rounding == FPRounding_TIEEVEN), odd = mask<From>(rounding == FPRounding_ODD);
  const From up = mask<From>(rounding == FPRounding_POSINF), down = mask<From>(rounding == FPRounding_NEGINF);
  From inexact = 0, any_left = 0;
  alignas(32) From done[n];
  for (unsigned i = 0; i < n; ++i) {
    const From v = lane<From>(x, i), m = magnitude(v), negative = mask<From>(v >> (w::N - 1));
    const From dropped = m & dropped_bits;
    const From increment = (nearest & ((dropped_bits >> 1) + (m >> shift & 1))) | (up & ~negative & dropped_bits) |
                           (down & negative & dropped_bits);
    const From h = (((m + increment) >> shift) - rebias) | (odd & From(dropped != 0));
    const From usual = mask<From>((h >= low) & (h < high)), zero = mask<From>(m == 0);
    const From inf = mask<From>(m == w::infinity);
    done[i] = active[i] & (usual | zero | inf);
    const From narrowed = (negative & From(t::sign)) | (usual & h) | (inf & From(t::infinity));
    r[i] = pick(done[i], narrowed, r[i]);
    inexact |= done[i] & usual & mask<From>(dropped != 0);
    any_left |= active[i] & ~done[i];
  }
  if (inexact) fp_set_status(fpsr, FP_IXC);
  return any_left ? left_lanes(active, done) : 0;
}

// A conversion between precisions, or every lane for another.
constexpr bool between(conversion op) {
  return op == conversion::widen || op == conversion::widen_top || op == conversion::narrow;
}
template <class From, class To>
[[gnu::always_inline]] inline lane_set between_precisions(conversion op, FPRounding rounding, const uint8_t* x,
                                                          const container<From, To>* active, uint32_t& fpsr,
                                                          container<From, To>* r) {
  if constexpr (sizeof(From) == 2 && sizeof(To) == 4) {
    if (op == conversion::widen) return widen_halves<0>(x, active, r);
    if (op == conversion::widen_top) return widen_halves<16>(x, active, r);
  } else if constexpr (sizeof(From) == 4 && sizeof(To) == 8) {
    if (op == conversion::widen) return widen<0>(x, active, r);
    if (op == conversion::widen_top) return widen<32>(x, active, r);
  } else if constexpr (sizeof(From) > sizeof(To)) {
    if (op == conversion::narrow) return narrow<From, To>(rounding, x, active, fpsr, r);
  }
  return every_lane;
}

}  // namespace

#if defined(__x86_64__)

namespace {

// A number that converts as the host converts it: zero, normal or infinite.
template <class T>
[[gnu::always_inline]] inline bool number(T x) {
  const T m = magnitude(x);
  return (m <= fp_format<T>::infinity) & ((m == 0) | (m >= T(T(1) << fp_format<T>::F)));
}

// SCVTF, UCVTF: every active lane, under the rounding control of the FPCR.
// Inactive lanes convert zero, which is exact.
template <class From, class To, bool Signed>
[[gnu::always_inline]] inline lane_set to_float(const uint8_t* x, const container<From, To>* active, FPSCR fpcr,
                                                uint32_t& fpsr, container<From, To>* r) {
  using C = container<From, To>;
  using F = host_float<To>;
  constexpr unsigned n = lanes<C>;
  host_status host(mxcsr_clean | mxcsr_rounding(fpcr));
  for (unsigned i = 0; i < n; ++i) {
    const From v = From(lane<C>(x, i) & active[i]);
    F f;
    if constexpr (sizeof(From) == 4 && Signed)
      f = F(int32_t(v));
    else if constexpr (sizeof(From) == 4)  // exactly in double (zero as +0 in every mode), then rounded once
      f = F(double(int32_t(v & 0x7fffffff)) + double(int32_t(v >> 31)) * 2147483648.0);
    else if constexpr (Signed)
      f = F(int64_t(v));
    else
      f = F(v);
    // A compiler may convert an unsigned doubleword by subtracting a bias,
    // whose exact zero is -0 when rounding down; such a result has no sign.
    const To bits = Signed || sizeof(From) == 4 ? std::bit_cast<To>(f) : magnitude(std::bit_cast<To>(f));
    r[i] = pick(active[i], C(bits), r[i]);
  }
  if (host.stop() & mx_inexact) fp_set_status(fpsr, FP_IXC);
  return 0;
}

// FCVTZS, FCVTZU: the integral part, when it fits the integer. A number
// whose integral part the host can hold converts exactly and raises
// nothing on the host.
template <class From, class To, bool Signed>
[[gnu::always_inline]] inline lane_set to_integer(const uint8_t* x, const container<From, To>* active, uint32_t& fpsr,
                                                  container<From, To>* r) {
  using C = container<From, To>;
  using F = host_float<From>;
  using I = std::conditional_t<Signed, std::make_signed_t<To>, To>;
  constexpr unsigned n = lanes<C>;
  constexpr int bits = int(sizeof(To) * 8);
  constexpr F low = Signed ? -F(uint64_t(1) << (bits - 1)) : F(0);
  constexpr F high = Signed ? F(uint64_t(1) << (bits - 1)) : F(uint64_t(1) << (bits - 1)) * 2;  // beyond the range
  C inexact = 0, any_left = 0;
  alignas(32) C done[n];
  alignas(32) F d[n], t[n];
  for (unsigned i = 0; i < n; ++i) {
    const From v = From(lane<C>(x, i));
    done[i] = C(active[i] & mask<C>(number(v)));
    t[i] = d[i] = std::bit_cast<F>(From(v & From(done[i])));
  }
  round_integral<FPRounding_ZERO>(t, n);
  for (unsigned i = 0; i < n; ++i) {
    done[i] &= mask<C>((t[i] >= low) & (t[i] < high));
    const F held = std::bit_cast<F>(From(std::bit_cast<From>(t[i]) & From(done[i])));
    r[i] = pick(done[i], C(I(held)), r[i]);
    inexact |= C(done[i] & mask<C>(t[i] != d[i]));
    any_left |= C(active[i] & ~done[i]);
  }
  if (inexact) fp_set_status(fpsr, FP_IXC);
  return any_left ? left_lanes(active, done) : 0;
}

// FRINT*: every number but a denormal under FZ, which the architecture
// flushes.
template <class T, FPRounding Mode, bool Exact>
[[gnu::always_inline]] inline lane_set round_int(const uint8_t* x, const T* active, FPSCR fpcr, uint32_t& fpsr, T* r) {
  using F = host_float<T>;
  constexpr unsigned n = lanes<T>;
  const T fz = mask<T>(fpcr >> 24 & 1);
  T inexact = 0, any_left = 0;
  alignas(32) T done[n];
  alignas(32) F d[n], t[n];
  for (unsigned i = 0; i < n; ++i) {
    const T v = lane<T>(x, i);
    done[i] = T(active[i] & ~unusual(v, fz));
    t[i] = d[i] = std::bit_cast<F>(T(v & done[i]));
    any_left |= T(active[i] & ~done[i]);
  }
  round_integral<Mode>(t, n);
  for (unsigned i = 0; i < n; ++i) {
    r[i] = pick(done[i], std::bit_cast<T>(t[i]), r[i]);
    if constexpr (Exact) inexact |= T(done[i] & mask<T>(t[i] != d[i]));
  }
  if (inexact) fp_set_status(fpsr, FP_IXC);
  return any_left ? left_lanes(active, done) : 0;
}

template <class T, bool Exact>
[[gnu::always_inline]] inline lane_set round_int(FPRounding mode, const uint8_t* x, const T* active, FPSCR fpcr,
                                                 uint32_t& fpsr, T* r) {
  switch (mode) {
    case FPRounding_TIEEVEN:
      return round_int<T, FPRounding_TIEEVEN, Exact>(x, active, fpcr, fpsr, r);
    case FPRounding_POSINF:
      return round_int<T, FPRounding_POSINF, Exact>(x, active, fpcr, fpsr, r);
    case FPRounding_NEGINF:
      return round_int<T, FPRounding_NEGINF, Exact>(x, active, fpcr, fpsr, r);
    case FPRounding_ZERO:
      return round_int<T, FPRounding_ZERO, Exact>(x, active, fpcr, fpsr, r);
    default:
      return every_lane;
  }
}

template <class From, class To>
[[gnu::always_inline]] inline lane_set run(conversion op, bool is_signed, FPRounding rounding, const uint8_t* x,
                                           const container<From, To>* active, FPSCR fpcr, uint32_t& fpsr,
                                           container<From, To>* r) {
  if (between(op))
    return between_precisions<From, To>(op, rounding, x, active, fpsr, r);
  if constexpr (sizeof(From) >= 4 && sizeof(To) >= 4) {
    switch (op) {
      case conversion::to_float:
        return is_signed ? to_float<From, To, true>(x, active, fpcr, fpsr, r)
                         : to_float<From, To, false>(x, active, fpcr, fpsr, r);
      case conversion::to_integer:
        return is_signed ? to_integer<From, To, true>(x, active, fpsr, r)
                         : to_integer<From, To, false>(x, active, fpsr, r);
      case conversion::round_int:
      case conversion::round_exact:
        if constexpr (sizeof(From) == sizeof(To))
          return op == conversion::round_exact ? round_int<From, true>(rounding, x, active, fpcr, fpsr, r)
                                               : round_int<From, false>(rounding, x, active, fpcr, fpsr, r);
        break;
      default:
        break;
    }
  }
  return every_lane;
}

// The baseline build, the AVX2 build and the AVX-512 build.
template <class From, class To>
[[gnu::always_inline]] inline lane_set run_frame(conversion op, bool is_signed, FPRounding rounding, const uint8_t* x,
                                                 const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr, uint8_t* d) {
  frame<container<From, To>> f(pg, d);
  return f.finish(run<From, To>(op, is_signed, rounding, x, f.active, fpcr, fpsr, f.r), d);
}
template <class From, class To>
lane_set run_baseline(conversion op, bool is_signed, FPRounding rounding, const uint8_t* x, const uint8_t* pg,
                      FPSCR fpcr, uint32_t& fpsr, uint8_t* d) {
  return run_frame<From, To>(op, is_signed, rounding, x, pg, fpcr, fpsr, d);
}
template <class From, class To>
[[gnu::target("avx2")]] lane_set run_avx2(conversion op, bool is_signed, FPRounding rounding, const uint8_t* x,
                                          const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr, uint8_t* d) {
  return run_frame<From, To>(op, is_signed, rounding, x, pg, fpcr, fpsr, d);
}
template <class From, class To>
[[SVE_TARGET_AVX512]] lane_set run_avx512(conversion op, bool is_signed, FPRounding rounding, const uint8_t* x,
                                          const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr, uint8_t* d) {
  return run_frame<From, To>(op, is_signed, rounding, x, pg, fpcr, fpsr, d);
}

}  // namespace

template <class From, class To>
lane_set convert(conversion op, bool is_signed, FPRounding rounding, const uint8_t* x, const uint8_t* pg, FPSCR fpcr,
                 uint32_t& fpsr, uint8_t* d) {
  if (!fp_fast_path.load(std::memory_order_relaxed)) return every_lane;
  const auto build = host::has_avx512() ? run_avx512<From, To>
                     : host::has_avx2() ? run_avx2<From, To>
                                        : run_baseline<From, To>;
  return build(op, is_signed, rounding, x, pg, fpcr, fpsr, d);
}

#else

// Other hosts convert between integers and floating point, and round to
// integral values, with their own instructions or the library; the
// conversions between precisions are the same as on x86.
template <class From, class To>
lane_set convert(conversion op, bool, FPRounding rounding, const uint8_t* x, const uint8_t* pg, FPSCR,
                 uint32_t& fpsr, uint8_t* d) {
  if (!fp_fast_path.load(std::memory_order_relaxed) || !between(op)) return every_lane;
  frame<container<From, To>> f(pg, d);
  return f.finish(between_precisions<From, To>(op, rounding, x, f.active, fpsr, f.r), d);
}

#endif

template lane_set convert<uint16_t, uint32_t>(conversion, bool, FPRounding, const uint8_t*, const uint8_t*, FPSCR,
                                              uint32_t&, uint8_t*);
template lane_set convert<uint32_t, uint16_t>(conversion, bool, FPRounding, const uint8_t*, const uint8_t*, FPSCR,
                                              uint32_t&, uint8_t*);
template lane_set convert<uint32_t, uint32_t>(conversion, bool, FPRounding, const uint8_t*, const uint8_t*, FPSCR,
                                              uint32_t&, uint8_t*);
template lane_set convert<uint32_t, uint64_t>(conversion, bool, FPRounding, const uint8_t*, const uint8_t*, FPSCR,
                                              uint32_t&, uint8_t*);
template lane_set convert<uint64_t, uint32_t>(conversion, bool, FPRounding, const uint8_t*, const uint8_t*, FPSCR,
                                              uint32_t&, uint8_t*);
template lane_set convert<uint64_t, uint64_t>(conversion, bool, FPRounding, const uint8_t*, const uint8_t*, FPSCR,
                                              uint32_t&, uint8_t*);

}  // namespace sve::fast
