// The integer conditions of compares and loop control, on two numbers of one
// type, as 1 or 0 of that type; signed or unsigned by S.
#pragma once

#include "../integer/kernel_loop.h"

namespace sve {

template <bool S> struct EQ { template <class T> static T holds(T a, T b) { return T(a == b); } };
template <bool S> struct NE { template <class T> static T holds(T a, T b) { return T(a != b); } };
template <bool S> struct GT { template <class T> static T holds(T a, T b) { return T(less<S>(b, a) & 1); } };
template <bool S> struct GE { template <class T> static T holds(T a, T b) { return T(~less<S>(a, b) & 1); } };
template <bool S> struct LT { template <class T> static T holds(T a, T b) { return T(less<S>(a, b) & 1); } };
template <bool S> struct LE { template <class T> static T holds(T a, T b) { return T(~less<S>(b, a) & 1); } };

}  // namespace sve
