// Estimates, steps, exponent operations and the trigonometric helpers. The
// estimates read the operand's top fraction bits and compute the result
// with one integer division or one table lookup; the steps and the scale
// are exact values handed to the one rounding step.
#include "estimates.h"

#include <array>

#include "fplib.h"
#include "number.h"

namespace sve {

namespace {

// The 9-bit reciprocal square root estimate of a (128 to 511): for a below
// 256 the operand's exponent is odd, and a carries one bit less of it.
constexpr unsigned rsqrt_estimate9(unsigned a) {
  a = a < 256 ? 2 * a + 1 : 2 * ((a & ~1u) + 1);
  unsigned b = 512;
  while (uint64_t(a) * (b + 1) * (b + 1) < (uint64_t(1) << 28)) ++b;
  return (b + 1) / 2;
}

constexpr std::array<uint8_t, 256> make_recip_sqrt_table() {
  std::array<uint8_t, 256> t{};
  for (unsigned i = 0; i < 256; ++i) t[i] = uint8_t(rsqrt_estimate9(i < 128 ? 128 + i : 256 + 2 * (i - 128)));
  return t;
}

// The 9-bit reciprocal estimate of a (256 to 511), taken at the midpoint of
// the interval that a stands for.
constexpr unsigned recip_estimate9(unsigned a) { return ((uint32_t(1) << 19) / (2 * a + 1) + 1) >> 1; }

constexpr std::array<uint8_t, 256> make_recip_table() {
  std::array<uint8_t, 256> t{};
  for (unsigned i = 0; i < 256; ++i) t[i] = uint8_t(recip_estimate9(256 + i));
  return t;
}

// The exponent field and the fraction bits of a non-zero finite operand,
// normalised so that a denormal looks like a number with the leading one
// just above the fraction and an exponent field of 0 or below.
template <class T>
struct normalised {
  int exp;
  T frac;
};
template <class T>
normalised<T> normalise_fraction(T op) {
  using f = fp_format<T>;
  normalised<T> n{int(op >> f::F & f::max_exp), T(op & f::frac_mask)};
  if (n.exp == 0) {
    while (!(n.frac >> (f::F - 1) & 1)) {
      n.frac = T(n.frac << 1);
      --n.exp;
    }
    n.frac = T(n.frac << 1 & f::frac_mask);
  }
  return n;
}

// The result of an estimate whose magnitude is out of range: infinity, or
// the largest normal where the rounding mode points towards zero.
template <class T>
T estimate_overflow(int sgn, int rm) {
  using f = fp_format<T>;
  const bool to_inf = rm == FPRounding_TIEEVEN || (rm == FPRounding_POSINF && !sgn) || (rm == FPRounding_NEGINF && sgn);
  return to_inf ? f::inf(sgn) : T(f::zero(sgn) | f::max_normal);
}

template <class T>
T recip_estimate(T op, fp_unpacked<T> u, int mode, int* flags) {
  using f = fp_format<T>;
  constexpr int N = f::N, F = f::F;
  // Exponent field of the result: 2 * bias - 1 less the operand's.
  constexpr int R = 2 * f::bias - 1;
  if (u.inf()) return f::zero(u.sgn);
  if (u.zero()) {
    *flags |= FP_DZC;
    return f::inf(u.sgn);
  }
  // Below 2^-(bias + 1) the reciprocal exceeds the largest normal.
  if (!(op & T(T(T(1) << (N - 1)) - (T(1) << (F - 2))) & ~f::sign)) {
    *flags |= FP_OFC | FP_IXC;
    return estimate_overflow<T>(u.sgn, mode & 3);
  }
  // From 2^(bias - 1) up the reciprocal is a denormal, which flush removes.
  if ((mode & f::flush_mode) && int(op >> F & f::max_exp) >= R) {
    *flags |= FP_UFC;
    return f::zero(u.sgn);
  }
  const auto n = normalise_fraction(op);
  int exp = R - n.exp;
  T frac = T(T(reciprocal_estimate[unsigned(n.frac >> (F - 8))]) << (F - 8));
  // A result exponent of 0 or -1 makes a denormal of the estimate, exactly.
  if (exp == 0) {
    frac = T(T(1) << (F - 1) | frac >> 1);
  } else if (exp == -1) {
    frac = T(T(1) << (F - 2) | frac >> 2);
    exp = 0;
  }
  return T(f::zero(u.sgn) | T(T(exp) << F) | frac);
}

template <class T>
T rsqrt_estimate(T op, fp_unpacked<T> u, int* flags) {
  using f = fp_format<T>;
  constexpr int F = f::F;
  // Twice the result's exponent field, plus the operand's: 3 * bias - 1.
  constexpr int K = 3 * f::bias - 1;
  if (u.zero()) {
    *flags |= FP_DZC;
    return f::inf(u.sgn);
  }
  if (u.sgn) {
    *flags |= FP_IOC;
    return f::default_nan;
  }
  if (u.inf()) return 0;
  const auto n = normalise_fraction(op);
  const unsigned index = unsigned(n.frac >> (F - 7)) | (n.exp & 1 ? 0 : 128);
  return T(T((K - n.exp) >> 1) << F | T(T(recip_sqrt_estimate[index]) << (F - 8)));
}

// `constant` - op1 * op2 with `scale` applied, rounded once: the two
// Newton-Raphson steps, with their own answers for zero times infinity.
template <class T>
T step_fused(T op1, T op2, T constant, int scale, T zero_times_inf, FPSCR& fpscr) {
  using f = fp_format<T>;
  return fp_binary(FPNeg(op1), op2, fpscr, [&](fp_unpacked<T> a, fp_unpacked<T> b, int mode, int* flags) {
    if ((a.inf() && b.zero()) || (a.zero() && b.inf())) return zero_times_inf;
    if (a.inf() || b.inf()) return f::inf(a.sgn ^ b.sgn);
    if constexpr (f::N == 16)
      return fp16_muladd(constant, FPNeg(op1), op2, scale, mode, flags);
    else if constexpr (f::N == 32)
      return fp32_muladd(constant, FPNeg(op1), op2, scale, mode, flags);
    else
      return fp64_muladd(constant, FPNeg(op1), op2, scale, mode, flags);
  });
}

template <class T>
T scale(fp_unpacked<T> u, int64_t scale, int mode, int* flags) {
  using f = fp_format<T>;
  if (u.zero()) return f::zero(u.sgn);
  if (u.inf()) return f::inf(u.sgn);
  // Beyond this bound every finite operand overflows or underflows to
  // nothing anyway; the clamp keeps the exponent arithmetic in range.
  constexpr int64_t bound = f::N == 16 ? 60 : f::N == 32 ? 300 : 3000;
  const int s = int(scale < -bound ? -bound : scale > bound ? bound : scale);
  return fp_round_exact<T>(u.sgn, u.exp + s, u.mnt, mode & 3, mode, flags);
}

// The fractions of 2^(i/n), rounded to nearest.
constexpr uint16_t expa_half[32] = {
    0x0,   0x16,  0x2d,  0x45,  0x5d,  0x75,  0x8e,  0xa8,  0xc2,  0xdc,  0xf8,
    0x114, 0x130, 0x14d, 0x16b, 0x189, 0x1a8, 0x1c8, 0x1e8, 0x209, 0x22b, 0x24e,
    0x271, 0x295, 0x2ba, 0x2e0, 0x306, 0x32e, 0x356, 0x37f, 0x3a9, 0x3d4};
constexpr uint32_t expa_single[64] = {
    0x0,      0x164d2,  0x2cd87,  0x43a29,  0x5aac3,  0x71f62,  0x8980f,  0xa14d5,  0xb95c2,  0xd1adf,
    0xea43a,  0x1031dc, 0x11c3d3, 0x135a2b, 0x14f4f0, 0x16942d, 0x1837f0, 0x19e046, 0x1b8d3a, 0x1d3eda,
    0x1ef532, 0x20b051, 0x227043, 0x243516, 0x25fed7, 0x27cd94, 0x29a15b, 0x2b7a3a, 0x2d583f, 0x2f3b79,
    0x3123f6, 0x3311c4, 0x3504f3, 0x36fd92, 0x38fbaf, 0x3aff5b, 0x3d08a4, 0x3f179a, 0x412c4d, 0x4346cd,
    0x45672a, 0x478d75, 0x49b9be, 0x4bec15, 0x4e248c, 0x506334, 0x52a81e, 0x54f35b, 0x5744fd, 0x599d16,
    0x5bfbb8, 0x5e60f5, 0x60ccdf, 0x633f89, 0x65b907, 0x68396a, 0x6ac0c7, 0x6d4f30, 0x6fe4ba, 0x728177,
    0x75257d, 0x77d0df, 0x7a83b3, 0x7d3e0c};
constexpr uint64_t expa_double[64] = {
    0x0,             0x2c9a3e778061,  0x59b0d3158574,  0x874518759bc8,  0xb5586cf9890f,  0xe3ec32d3d1a2,
    0x11301d0125b51, 0x1429aaea92de0, 0x172b83c7d517b, 0x1a35beb6fcb75, 0x1d4873168b9aa, 0x2063b88628cd6,
    0x2387a6e756238, 0x26b4565e27cdd, 0x29e9df51fdee1, 0x2d285a6e4030b, 0x306fe0a31b715, 0x33c08b26416ff,
    0x371a7373aa9cb, 0x3a7db34e59ff7, 0x3dea64c123422, 0x4160a21f72e2a, 0x44e086061892d, 0x486a2b5c13cd0,
    0x4bfdad5362a27, 0x4f9b2769d2ca7, 0x5342b569d4f82, 0x56f4736b527da, 0x5ab07dd485429, 0x5e76f15ad2148,
    0x6247eb03a5585, 0x6623882552225, 0x6a09e667f3bcd, 0x6dfb23c651a2f, 0x71f75e8ec5f74, 0x75feb564267c9,
    0x7a11473eb0187, 0x7e2f336cf4e62, 0x82589994cce13, 0x868d99b4492ed, 0x8ace5422aa0db, 0x8f1ae99157736,
    0x93737b0cdc5e5, 0x97d829fde4e50, 0x9c49182a3f090, 0xa0c667b5de565, 0xa5503b23e255d, 0xa9e6b5579fdbf,
    0xae89f995ad3ad, 0xb33a2b84f15fb, 0xb7f76f2fb5e47, 0xbcc1e904bc1d2, 0xc199bdd85529c, 0xc67f12e57d14b,
    0xcb720dcef9069, 0xd072d4a07897c, 0xd5818dcfba487, 0xda9e603db3285, 0xdfc97337b9b5f, 0xe502ee78b3ff6,
    0xea4afa2a490da, 0xefa1bee615a27, 0xf50765b6e4540, 0xfa7c1819e90d8};

// The Taylor coefficients of the sine (0 to 7) and the cosine (8 to 15).
constexpr uint16_t trig_half[16] = {0x3c00, 0xb155, 0x2030, 0, 0, 0, 0, 0, 0x3c00, 0xb800, 0x293a, 0, 0, 0, 0, 0};
constexpr uint32_t trig_single[16] = {0x3f800000, 0xbe2aaaab, 0x3c088886, 0xb95008b9, 0x36369d6d, 0, 0, 0,
                                      0x3f800000, 0xbf000000, 0x3d2aaaa6, 0xbab60705, 0x37cd37cc, 0, 0, 0};
constexpr uint64_t trig_double[16] = {
    0x3ff0000000000000, 0xbfc5555555555543, 0x3f8111111110f30c, 0xbf2a01a019b92fc6,
    0x3ec71de351f3d22b, 0xbe5ae5e2b60f7b91, 0x3de5d8408868552f, 0,
    0x3ff0000000000000, 0xbfe0000000000000, 0x3fa5555555555536, 0xbf56c16c16c13a0b,
    0x3efa01a019b1e8d8, 0xbe927e4f7282f468, 0x3e21ee96d2641b13, 0xbda8f76380fbb401};

// The format's tables: the index width of FEXPA, its table and the
// coefficients of FTMAD.
template <class T>
struct helper_tables;
template <>
struct helper_tables<uint16_t> {
  static constexpr int index_bits = 5;
  static constexpr const uint16_t* expa = expa_half;
  static constexpr const uint16_t* trig = trig_half;
};
template <>
struct helper_tables<uint32_t> {
  static constexpr int index_bits = 6;
  static constexpr const uint32_t* expa = expa_single;
  static constexpr const uint32_t* trig = trig_single;
};
template <>
struct helper_tables<uint64_t> {
  static constexpr int index_bits = 6;
  static constexpr const uint64_t* expa = expa_double;
  static constexpr const uint64_t* trig = trig_double;
};

}  // namespace

const std::array<uint8_t, 256> recip_sqrt_estimate = make_recip_sqrt_table();
const std::array<uint8_t, 256> reciprocal_estimate = make_recip_table();

template <class T>
T FPRecipEstimate(T op, FPSCR& fpscr) {
  return fp_unary(op, fpscr,
                  [&](fp_unpacked<T> u, int mode, int* flags) { return recip_estimate(op, u, mode, flags); });
}
template <class T>
T FPRSqrtEstimate(T op, FPSCR& fpscr) {
  return fp_unary(op, fpscr, [&](fp_unpacked<T> u, int, int* flags) { return rsqrt_estimate(op, u, flags); });
}
template <class T>
T FPRecipStepFused(T op1, T op2, FPSCR& fpscr) {
  using f = fp_format<T>;
  return step_fused(op1, op2, f::two, 0, f::two, fpscr);
}
template <class T>
T FPRSqrtStepFused(T op1, T op2, FPSCR& fpscr) {
  using f = fp_format<T>;
  const T three = T(f::two | T(1) << (f::F - 1)), one_and_half = T(f::one | T(1) << (f::F - 1));
  return step_fused(op1, op2, three, -1, one_and_half, fpscr);
}

template <class T>
T FPRecpX(T op, FPSCR& fpscr) {
  using f = fp_format<T>;
  // The unpacked operand only matters for the flushed-input flag.
  return fp_unary(op, fpscr, [&](fp_unpacked<T>, int, int*) {
    const T exp = T(op & f::infinity);
    return T((op & f::sign) | (exp ? T(~exp & f::infinity) : T(f::infinity - (T(1) << f::F))));
  });
}

#define SVE_FP_SCALE(N, W, S)                                                                     \
  W FPScale##N(W op, S s, FPSCR& fpscr) {                                                         \
    return fp_unary(op, fpscr, [s](fp_unpacked<W> u, int mode, int* flags) { return scale(u, s, mode, flags); }); \
  }
SVE_FP_SCALE(16, uint16_t, int16_t)
SVE_FP_SCALE(32, uint32_t, int32_t)
SVE_FP_SCALE(64, uint64_t, int64_t)
#undef SVE_FP_SCALE

template <class T>
T FPEXPA(T op) {
  using f = fp_format<T>;
  constexpr int bits = helper_tables<T>::index_bits;
  const T index = T(op & ((T(1) << bits) - 1));
  const T exp = T(op >> bits & f::max_exp);
  return T(T(exp << f::F) | helper_tables<T>::expa[index]);
}

template <class T>
T FPTRIMADD(uint64_t index, T op1, T op2, FPSCR& fpscr) {
  const T coefficient = helper_tables<T>::trig[(index & 7) + (op2 & fp_format<T>::sign ? 8 : 0)];
  return FPMulAdd(coefficient, op1, FPAbs(op2), fpscr);
}

template <class T>
T FPTRISMUL(T op1, T op2, FPSCR& fpscr) {
  using f = fp_format<T>;
  const T r = FPMul(op1, op1, fpscr);
  return f::is_nan(r) ? r : T((r & ~f::sign) | (op2 & 1 ? f::sign : T(0)));
}

#define SVE_FP_ESTIMATES(T)                                    \
  template T FPRecipEstimate<T>(T, FPSCR&);                    \
  template T FPRSqrtEstimate<T>(T, FPSCR&);                    \
  template T FPRecipStepFused<T>(T, T, FPSCR&);                \
  template T FPRSqrtStepFused<T>(T, T, FPSCR&);                \
  template T FPRecpX<T>(T, FPSCR&);                            \
  template T FPEXPA<T>(T);                                     \
  template T FPTRIMADD<T>(uint64_t, T, T, FPSCR&);             \
  template T FPTRISMUL<T>(T, T, FPSCR&);
SVE_FP_ESTIMATES(unsigned short)
SVE_FP_ESTIMATES(unsigned int)
SVE_FP_ESTIMATES(unsigned long)
#undef SVE_FP_ESTIMATES

}  // namespace sve
