// The number model of the floating-point library: the three IEEE 754 binary
// formats as bit patterns in unsigned words, the control and status word, and
// the mode and flags words that the inner steps work with. The library never
// uses the host's floating-point unit: a number is only ever its bits.
#pragma once

#include <cstdint>

namespace sve {

// Control and status in one word: the control bits where the AArch64 FPCR
// has them (AHP 26, DN 25, FZ 24, RMode 23:22, FZ16 19) and the status bits
// where the FPSR has them (IDC 7, IXC 4, UFC 3, OFC 2, DZC 1, IOC 0).
using FPSCR = uint32_t;

enum FPRounding : int {
  FPRounding_TIEEVEN = 0,
  FPRounding_POSINF = 1,
  FPRounding_NEGINF = 2,
  FPRounding_ZERO = 3,
  FPRounding_TIEAWAY = 4,
  // Truncation that sets the last kept bit of an inexact result, so that a
  // second, narrower rounding of the result cannot round twice.
  FPRounding_ODD = 5,
};

// Exception flags, at the FPSR's status bit positions.
enum : int { FP_IOC = 1, FP_DZC = 2, FP_OFC = 4, FP_UFC = 8, FP_IXC = 16, FP_IDC = 128 };

// Mode word bits above the rounding mode.
enum : int { MODE_FZ = 4, MODE_DN = 8, MODE_AHP = 16, MODE_FZ16 = 32 };

inline int fp_mode(FPSCR fpscr) { return int((fpscr >> 22 & 15) | (fpscr >> 14 & 32)); }

// Sets the status bits of an operation's flags; bits already set stay set.
inline void fp_set_status(FPSCR& fpscr, int flags) { fpscr |= uint32_t(flags) & 0x9f; }

// Format of the operand word T: half (16), single (32) or double (64 bits).
template <class T>
struct fp_format {
  static constexpr int N = sizeof(T) * 8;
  static constexpr int E = N == 16 ? 5 : N == 32 ? 8 : 11;
  static constexpr int F = N - E - 1;
  static constexpr int bias = (1 << (E - 1)) - 1;
  static constexpr int max_exp = (1 << E) - 1;  // exponent field of infinity and NaN
  static constexpr T sign = T(T(1) << (N - 1));
  static constexpr T frac_mask = T((T(1) << F) - 1);
  static constexpr T quiet = T(T(1) << (F - 1));
  static constexpr T infinity = T(T(max_exp) << F);
  static constexpr T default_nan = T(infinity | quiet);
  static constexpr T max_normal = T(infinity - 1);
  static constexpr T one = T(T(bias) << F);
  static constexpr T two = T(T(bias + 1) << F);
  // The flush-to-zero control of the format: FZ16 for half, FZ otherwise.
  static constexpr int flush_mode = N == 16 ? MODE_FZ16 : MODE_FZ;

  static T zero(int sgn) { return sgn ? sign : T(0); }
  static T inf(int sgn) { return T(zero(sgn) | infinity); }
  static bool is_nan(T x) { return (x & infinity) == infinity && (x & frac_mask); }
  static bool is_qnan(T x) { return (x & infinity) == infinity && (x & quiet); }
  static bool is_snan(T x) { return is_nan(x) && !(x & quiet); }
};

}  // namespace sve
