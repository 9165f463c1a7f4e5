// The whole-vector fast path of the estimates that are functions of their
// operand's bits alone. Over the normal numbers away from the ends of the
// range, FRECPE is a table of the top fraction bits with the exponent
// mirrored, and FEXPA is a table of the low bits with the next bits as the
// exponent, for every operand: the tables are read from the exact library
// once, and the host looks them up a whole vector at a time.
#pragma once

#include <cstdint>

#include "fast_vector.h"

namespace sve::fast {

// FRECPE on every lane of x, as `vector` does its operation: normal
// operands whose reciprocal is normal get their estimate in d, which raises
// nothing.
template <class T>
lane_set recip_estimate(const uint8_t* x, uint8_t* d);

// FEXPA of every lane of x into the vector r, which may be x itself (single
// and double precision, or half precision). Returns false, having changed
// nothing, when the fast path is off.
template <class T>
bool expa(const uint8_t* x, uint8_t* r);

}  // namespace sve::fast
