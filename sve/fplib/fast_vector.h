// The whole-vector fast path of the element-wise floating-point operations
// of single and double precision. The host computes every active lane at
// once with its own vector arithmetic, under round to nearest with all its
// exceptions masked and its status cleared, and the vector is accepted when
// the host's status shows nothing but inexact and no result lies in or next
// to the denormal range. Then the architecture computes the same bits and
// raises at most inexact, whatever FZ and DN say: no operand is a NaN or a
// denormal, no result was tiny before or after rounding, and an infinity in
// an operand gives the same infinity without a flag on both sides.
//
// A lane with a NaN or denormal operand computes 1.0 instead, and is left to
// the exact library; so are inactive lanes, which therefore raise nothing.
// A vector that overflows, underflows, divides by zero or is invalid
// anywhere is left to the exact library whole.
#pragma once

#include <cstdint>

#include "../decode/sve_emu.h"
#include "format.h"

namespace sve::fast {

// The operations in the operand order of their library functions: x op y,
// the root of x, and the fused x + y * z with the addend x and the factor y
// negated or not (FMLA, FMLS, FNMLS, FNMLA).
enum class vop : uint8_t { add, sub, mul, div, sqrt, fma, fms, fnms, fnma };

template <class T>
inline constexpr unsigned lanes = sve_vl_bytes / sizeof(T);

// Bit i stands for lane i, up to the 128 half-precision lanes of 2048 bits;
// every_lane asks for all active lanes.
using lane_set = unsigned __int128;
static_assert(lanes<uint16_t> <= 128);
inline constexpr lane_set every_lane = ~lane_set(0);

// Every whole-vector fast path computes what it can of the lanes that the
// predicate pg makes active (all of them when pg is null) and returns the
// active lanes that it left to its caller. It writes the lanes that it
// computed to the destination d, which may also be a source, after reading
// its sources; the lanes that it leaves keep their value, and when it leaves
// every lane (`every_lane`) d is unchanged.

// op on the lanes of the operand vectors x, y and z (those that op takes),
// with inexact to fpsr.
template <class T>
lane_set vector(vop op, const uint8_t* x, const uint8_t* y, const uint8_t* z, const uint8_t* pg, FPSCR fpcr,
                uint32_t& fpsr, uint8_t* d);

}  // namespace sve::fast
