// Conversions between the formats, rounding to integral, and conversions to
// and from fixed point. A finite non-zero result is always the exact value
// of the operand handed to the one rounding step of the target format, so
// that flushing, underflow, overflow and the alternative half-precision
// format follow from that step alone.
#include "convert.h"

#include "number.h"

namespace sve {

namespace {

constexpr FPSCR fpscr_ahp = 1u << 26;

// Whether a magnitude whose discarded part has the error value `error` (0
// exact, 1 below one half of the last kept place, 2 one half, 3 above) is
// rounded up. The magnitude's sign decides the directed modes.
bool rounds_up(int error, bool odd, int sgn, FPRounding rounding) {
  switch (rounding) {
    case FPRounding_TIEEVEN: return error == 3 || (error == 2 && odd);
    case FPRounding_POSINF: return !sgn && error;
    case FPRounding_NEGINF: return sgn && error;
    case FPRounding_TIEAWAY: return error >= 2;
    default: return false;
  }
}

// The error value of cutting the low `shift` bits (1 to 63) off `mnt`.
int cut_error(uint64_t mnt, int shift) {
  const uint64_t rest = mnt & ((uint64_t(1) << shift) - 1), half = uint64_t(1) << (shift - 1);
  return rest == 0 ? 0 : rest < half ? 1 : rest == half ? 2 : 3;
}

// The integer of `bits` bits nearest to an out-of-range value of sign `sgn`,
// as a 64-bit word (sign-extended when signed).
uint64_t saturation(int bits, int sgn, bool is_unsigned) {
  const uint64_t top = uint64_t(1) << (bits - 1);
  if (is_unsigned) return sgn ? 0 : top - 1 + top;
  return sgn ? uint64_t(0) - top : top - 1;
}

bool fits(uint64_t v, int bits, bool is_unsigned) {
  if (bits == 64) return true;
  if (is_unsigned) return v >> bits == 0;
  const int64_t lim = int64_t(1) << (bits - 1), s = int64_t(v);
  return s >= -lim && s < lim;
}

}  // namespace

template <class From, class To>
To FPConvert(From op, FPRounding rounding, FPSCR& fpscr) {
  using f = fp_format<From>;
  using t = fp_format<To>;
  const bool ahp = fpscr & fpscr_ahp;
  const bool ahp_source = f::N == 16 && ahp, ahp_target = t::N == 16 && ahp;
  const int mode = fp_mode(fpscr);
  int flags = 0;
  const auto u = fp_unpack(op, mode, &flags);
  To result;
  if (u.exp == f::max_exp && !ahp_source) {
    if (u.inf()) {
      result = ahp_target ? To(t::zero(u.sgn) | 0x7fff) : t::inf(u.sgn);
      if (ahp_target) flags |= FP_IOC;
    } else {
      if (f::is_snan(op) || ahp_target) flags |= FP_IOC;
      // The payload keeps its top bits: it moves up into a wider fraction
      // and is cut at the bottom for a narrower one.
      const From frac = From(op & f::frac_mask);
      const To payload = t::F > f::F ? To(To(frac) << (t::F - f::F)) : To(frac >> (f::F - t::F));
      result = ahp_target             ? t::zero(u.sgn)
               : (mode & MODE_DN)     ? t::default_nan
                                      : To(t::zero(u.sgn) | t::default_nan | payload);
    }
  } else if (u.zero()) {
    result = t::zero(u.sgn);
  } else {
    // A half-precision target is never flushed and takes AHP; the others
    // round under the mode word as it is.
    const int target_mode = t::N == 16 ? (mode & 15) | (ahp ? MODE_AHP : 0) : mode;
    result = fp_round_exact<To>(u.sgn, u.exp - f::bias - f::F + t::bias + t::F, u.mnt, rounding, target_mode, &flags);
  }
  fp_set_status(fpscr, flags);
  return result;
}

template <class T>
T FPRoundInt(T op, FPRounding rounding, bool exact, FPSCR& fpscr) {
  using f = fp_format<T>;
  constexpr int expint = f::bias + f::F;  // from this exponent on every value is an integer
  return fp_unary(op, fpscr, [&](fp_unpacked<T> u, int mode, int* flags) -> T {
    if (u.inf() || u.exp >= expint) return op;
    if (u.zero()) return f::zero(u.sgn);
    const int shift = expint - u.exp;
    // Below one half every bit is cut: the error is 1.
    uint64_t x = 0;
    int error = 1;
    if (shift <= f::F + 1) {
      x = uint64_t(u.mnt) >> shift;
      error = cut_error(u.mnt, shift);
    }
    if (rounds_up(error, x & 1, u.sgn, rounding)) ++x;
    const T result = x ? fp_round_exact<T>(u.sgn, expint, x, FPRounding_ZERO, mode, flags) : f::zero(u.sgn);
    if (exact && error) *flags |= FP_IXC;
    return result;
  });
}

uint64_t FPToFixed_64(int sgn, int exp, uint64_t mnt, bool is_unsigned, FPRounding rounding, int* flags) {
  const uint64_t saturated = saturation(64, sgn, is_unsigned);
  if (exp > 1086) {
    *flags |= FP_IOC;
    return saturated;
  }
  const uint64_t w = mnt << 11;  // the leading one at bit 63
  const int shift = 1086 - exp;
  uint64_t x = shift >= 64 ? 0 : w >> shift;
  int error = 0;
  if (exp <= 1084) {
    const int s = 1084 - exp;  // the two bits below the cut stand at s + 1 and s
    error = s >= 64 ? w != 0 : int(w >> s & 3) | int((w & ((uint64_t(1) << s) - 1)) != 0);
  }
  if (rounds_up(error, x & 1, sgn, rounding)) ++x;
  if (is_unsigned ? sgn && x : x > (uint64_t(1) << 63) - !sgn) {
    *flags |= FP_IOC;
    return saturated;
  }
  if (error) *flags |= FP_IXC;
  return sgn ? uint64_t(0) - x : x;
}

template <class From, class To>
To fplibFPToFixed(From op, int fbits, bool is_unsigned, FPRounding rounding, FPSCR& fpscr) {
  using f = fp_format<From>;
  constexpr int bits = sizeof(To) * 8;
  const int mode = fp_mode(fpscr);
  int flags = 0, result_flags = 0;
  const auto u = fp_unpack(op, mode, &flags);
  uint64_t r;
  if (f::is_nan(op)) {
    result_flags = FP_IOC;
    r = 0;
  } else if (u.inf()) {
    result_flags = FP_IOC;
    r = saturation(bits, u.sgn, is_unsigned);
  } else {
    r = FPToFixed_64(u.sgn, u.exp - f::bias + 1023 + fbits, uint64_t(u.mnt) << (52 - f::F), is_unsigned, rounding,
                     &result_flags);
    // Out of a narrower range the only flag is IOC: the inexact goes.
    if (!fits(r, bits, is_unsigned)) {
      r = saturation(bits, u.sgn, is_unsigned);
      result_flags = FP_IOC;
    }
  }
  fp_set_status(fpscr, flags | result_flags);
  return To(r);
}

template <class T>
T fplibFixedToFP(uint64_t op, int fbits, bool is_unsigned, FPRounding rounding, FPSCR& fpscr) {
  using f = fp_format<T>;
  const int sgn = !is_unsigned && op >> 63;
  const uint64_t mag = sgn ? uint64_t(0) - op : op;
  if (!mag) return f::zero(0);  // an integer zero is positive
  int flags = 0;
  const T r = fp_round_exact<T>(sgn, f::bias + f::F - fbits, mag, rounding, fp_mode(fpscr) & ~MODE_FZ16, &flags);
  fp_set_status(fpscr, flags);
  return r;
}

template uint32_t FPConvert<uint16_t, uint32_t>(uint16_t, FPRounding, FPSCR&);
template uint64_t FPConvert<uint16_t, uint64_t>(uint16_t, FPRounding, FPSCR&);
template uint64_t FPConvert<uint32_t, uint64_t>(uint32_t, FPRounding, FPSCR&);
template uint16_t FPConvert<uint32_t, uint16_t>(uint32_t, FPRounding, FPSCR&);
template uint16_t FPConvert<uint64_t, uint16_t>(uint64_t, FPRounding, FPSCR&);
template uint32_t FPConvert<uint64_t, uint32_t>(uint64_t, FPRounding, FPSCR&);

template uint16_t FPRoundInt<uint16_t>(uint16_t, FPRounding, bool, FPSCR&);
template uint32_t FPRoundInt<uint32_t>(uint32_t, FPRounding, bool, FPSCR&);
template uint64_t FPRoundInt<uint64_t>(uint64_t, FPRounding, bool, FPSCR&);

template uint16_t fplibFPToFixed<uint16_t, uint16_t>(uint16_t, int, bool, FPRounding, FPSCR&);
template uint32_t fplibFPToFixed<uint16_t, uint32_t>(uint16_t, int, bool, FPRounding, FPSCR&);
template uint64_t fplibFPToFixed<uint16_t, uint64_t>(uint16_t, int, bool, FPRounding, FPSCR&);
template uint32_t fplibFPToFixed<uint32_t, uint32_t>(uint32_t, int, bool, FPRounding, FPSCR&);
template uint64_t fplibFPToFixed<uint32_t, uint64_t>(uint32_t, int, bool, FPRounding, FPSCR&);
template uint32_t fplibFPToFixed<uint64_t, uint32_t>(uint64_t, int, bool, FPRounding, FPSCR&);
template uint64_t fplibFPToFixed<uint64_t, uint64_t>(uint64_t, int, bool, FPRounding, FPSCR&);

template uint16_t fplibFixedToFP<uint16_t>(uint64_t, int, bool, FPRounding, FPSCR&);
template uint32_t fplibFixedToFP<uint32_t>(uint64_t, int, bool, FPRounding, FPSCR&);
template uint64_t fplibFixedToFP<uint64_t>(uint64_t, int, bool, FPRounding, FPSCR&);

}  // namespace sve
