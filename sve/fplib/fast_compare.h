// The whole-vector fast path of the floating-point compares of single and
// double precision. Two numbers compare on the host as in the architecture
// and raise nothing there; a NaN (whose flag depends on the compare and on
// the NaN's kind) and, under FZ, a denormal (which the architecture
// flushes, with IDC) are left to the exact library.
#pragma once

#include <cstdint>

#include "fast_vector.h"
#include "format.h"

namespace sve::fast {

enum class relation : uint8_t { eq, ne, unordered, ge, gt, le, lt };

// x rel y on the lanes of x and y (y null: +0.0) whose `active` entry is
// all ones: 1 or 0 in those lanes of r, 0 in inactive lanes. Returns the
// active lanes that it left to the caller.
template <class T>
lane_set compare(relation rel, const uint8_t* x, const uint8_t* y, const T* active, FPSCR fpcr, T* r);

}  // namespace sve::fast
