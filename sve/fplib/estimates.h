// Reciprocal and reciprocal-square-root estimates with their Newton-Raphson
// steps, the exponent operations, and the trigonometric and exponential
// helpers of vector code. The estimates are defined functions of the
// operand's bits, identical to the hardware's, not approximations of free
// choice.
#pragma once

#include <array>

#include "format.h"

namespace sve {

// 1/op to 8 fraction bits, from the midpoint of the operand's interval.
template <class T> T FPRecipEstimate(T op, FPSCR& fpscr);
// 1/sqrt(op) to 8 fraction bits.
template <class T> T FPRSqrtEstimate(T op, FPSCR& fpscr);
// 2 - op1 * op2 and (3 - op1 * op2) / 2, rounded once: the Newton-Raphson
// steps that refine the two estimates.
template <class T> T FPRecipStepFused(T op1, T op2, FPSCR& fpscr);
template <class T> T FPRSqrtStepFused(T op1, T op2, FPSCR& fpscr);
// The exponent of 1/op with no fraction: a scale factor that keeps a
// following division in range.
template <class T> T FPRecpX(T op, FPSCR& fpscr);
// op * 2^scale, rounded once.
uint16_t FPScale16(uint16_t op, int16_t scale, FPSCR& fpscr);
uint32_t FPScale32(uint32_t op, int32_t scale, FPSCR& fpscr);
uint64_t FPScale64(uint64_t op, int64_t scale, FPSCR& fpscr);
// 2^(i/n) for the table index i in the low bits of op, with the exponent
// field taken from the bits above it; nothing is rounded and nothing raised.
template <class T> T FPEXPA(T op);
// coefficient + op1 * |op2|: one step of the sine (op2 positive) or cosine
// (op2 negative) series; index 0 to 7 picks the coefficient.
template <class T> T FPTRIMADD(uint64_t index, T op1, T op2, FPSCR& fpscr);
// op1 * op1 with its sign taken from bit 0 of op2.
template <class T> T FPTRISMUL(T op1, T op2, FPSCR& fpscr);

// The 8-bit reciprocal square root estimates: entries 0 to 127 for odd
// exponents, 128 to 255 for even ones; each is the 9-bit estimate without its
// leading one.
extern const std::array<uint8_t, 256> recip_sqrt_estimate;
// The 8-bit reciprocal estimates of 1.f for the top eight fraction bits f:
// the 9-bit estimate without its leading one.
extern const std::array<uint8_t, 256> reciprocal_estimate;

}  // namespace sve
