// The whole-vector fast path of the conversions of single and double
// precision. The host converts every active lane whose operand is ordinary
// for the conversion at once, and sets in fpsr exactly what the
// architecture sets for those lanes:
//
// - integer to floating point: every lane, rounded under the FPCR's mode,
//   inexact from the host's status;
// - floating point to integer towards zero: numbers whose integral part
//   fits the integer, inexact where a fraction was dropped;
// - single to double precision: every number but a denormal, exactly;
// - half to single precision: every number, exactly;
// - to a narrower precision: numbers whose result is normal above the
//   lowest binade, zeros and infinities, inexact where bits were dropped;
// - rounding to an integral value: every number but a denormal under FZ,
//   inexact (FRINTX only) where the value changed.
//
// A NaN, a number out of the integer's range or a denormal that the FPCR
// flushes is left to the exact library, as are inactive lanes, which
// therefore raise nothing.
#pragma once

#include <cstdint>
#include <type_traits>

#include "fast_vector.h"
#include "format.h"

namespace sve::fast {

enum class conversion : uint8_t {
  to_float,     // SCVTF, UCVTF: From is an integer, signed or not
  to_integer,   // FCVTZS, FCVTZU: To is an integer, signed or not
  widen,        // FCVT from single to double or from half to single precision
  widen_top,    // FCVTLT: as widen, from the top half of each element
  round_int,    // FRINTN, FRINTP, FRINTM, FRINTZ, FRINTI: under `rounding`
  round_exact,  // FRINTX: under `rounding`, inexact when the value changes
  narrow,       // FCVT, FCVTX to a narrower precision, IEEE half: under `rounding`, to odd too
};

// The element of a conversion between A and B: the wider of the two; a
// narrower source or result sits in its low bits.
template <class A, class B>
using container = std::conditional_t<(sizeof(A) > sizeof(B)), A, B>;

// op on the lanes of x (From in the low bits of each container), as
// `vector` does its operation: the results, extended to the container by
// their sign when `is_signed`, go to d and the status to fpsr. `rounding`
// is the mode of the rounding conversions (the FPCR's for FRINTI and
// FRINTX).
template <class From, class To>
lane_set convert(conversion op, bool is_signed, FPRounding rounding, const uint8_t* x, const uint8_t* pg, FPSCR fpcr,
                 uint32_t& fpsr, uint8_t* d);

}  // namespace sve::fast
