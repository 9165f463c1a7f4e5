// The fast path of the floating-point sums of single and double precision
// (FADDA, FADDV), under round to nearest. The host adds in the order that
// the architecture prescribes, and error-free arithmetic on its results
// tells whether each addition was exact. As long as every operand and every
// sum is ordinary (no NaN, no infinity, nothing the FPCR flushes, no sum in
// the lowest normal binade) the host's sums are the architecture's and the
// only status bit that can arise is inexact.
#pragma once

#include <cstdint>

#include "format.h"

namespace sve::fast {

// FADDA: `value` plus each active element of z (a predicate byte per vector
// byte in pg) in ascending order. Returns the index of the first element
// that the caller must add with the exact library, the vector's element
// count when there is none; `value` is then the sum of what came before it,
// and the inexact of those additions is in fpsr.
template <class T>
unsigned ordered_sum(T& value, const uint8_t* z, const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr);

// FADDV: the active elements of z, the others +0, padded with +0 to a power
// of two and added pairwise, neighbours first. Returns true with the sum in
// `sum` and inexact in fpsr, or false having changed nothing.
template <class T>
bool tree_sum(const uint8_t* z, const uint8_t* pg, FPSCR fpcr, uint32_t& fpsr, T& sum);

}  // namespace sve::fast
