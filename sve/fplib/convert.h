// Conversions of the floating-point library: between the three formats,
// rounding to an integral value in the same format, and between floating
// point and fixed-point integers of up to 64 bits. The rounding mode is an
// argument: none of these reads RMode of its FPSCR for that.
#pragma once

#include "format.h"

namespace sve {

// op in another format. Widening is exact. Half precision is IEEE unless
// AHP is set, when it has no infinities and NaNs: a source's exponent 31 is
// an ordinary number, and an infinity, NaN or overflow to it gives the
// largest magnitude or a zero with IOC. FZ16 flushes a half-precision
// source; a half-precision result is never flushed.
template <class From, class To> To FPConvert(From op, FPRounding rounding, FPSCR& fpscr);

// op rounded to an integral value. Only `exact` reports an inexact result.
template <class T> T FPRoundInt(T op, FPRounding rounding, bool exact, FPSCR& fpscr);

// op * 2^fbits rounded to an integer of To's width, signed or unsigned. A NaN
// gives 0 and a value out of range the nearest limit, both with IOC.
template <class From, class To>
To fplibFPToFixed(From op, int fbits, bool is_unsigned, FPRounding rounding, FPSCR& fpscr);

// The 64-bit integer op (or its signed reading) times 2^-fbits, rounded to T.
template <class T> T fplibFixedToFP(uint64_t op, int fbits, bool is_unsigned, FPRounding rounding, FPSCR& fpscr);

// The core of fplibFPToFixed on the double-precision layout: the value
// mnt * 2^(exp - 1075), mnt with at most 53 bits, rounded to a 64-bit integer
// with saturation; flags are added to *flags.
uint64_t FPToFixed_64(int sgn, int exp, uint64_t mnt, bool is_unsigned, FPRounding rounding, int* flags);

}  // namespace sve
