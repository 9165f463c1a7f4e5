// The whole-vector fast path of half-precision addition, subtraction and
// multiplication, on hosts without half-precision arithmetic. Each half
// widens exactly to single precision, where the product of two halves is
// exact, and a sum or difference is rounded once; rounding that to half
// precision gives the correctly rounded half result, single precision
// having at least twice half precision's 11 bits plus two. The error of the
// single-precision sum (error-free arithmetic) and the bits that the second
// rounding drops tell whether the result was inexact.
//
// Under round to nearest, lanes whose operands are numbers (no NaN, no
// infinity, no denormal that FZ16 flushes) and whose result is zero or a
// normal number above the lowest binade are computed here and raise at
// most inexact; the others are left to the exact library.
#pragma once

#include <cstdint>

#include "fast_vector.h"

namespace sve::fast {

// As `vector`, for the operations add, sub and mul; any other is left whole.
lane_set vector_half(vop op, const uint8_t* x, const uint8_t* y, const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr,
                     uint8_t* d);

}  // namespace sve::fast
