// The floating-point library: IEEE 754 half, single and double precision in
// integer code, bit for bit and flag for flag as the AArch64 architecture
// defines each operation, with exceptions that never trap. T is the operand
// word: unsigned short (half), unsigned int (single), unsigned long (double).
// Every operation reads the control bits of its FPSCR and only ever sets
// status bits in it.
#pragma once

#include "format.h"

namespace sve {

template <class T> T FPAdd(T op1, T op2, FPSCR& fpscr);
template <class T> T FPSub(T op1, T op2, FPSCR& fpscr);
template <class T> T FPMul(T op1, T op2, FPSCR& fpscr);
// As FPMul, but zero times infinity is 2.0 with the sign of the product.
template <class T> T FPMulX(T op1, T op2, FPSCR& fpscr);
template <class T> T FPDiv(T op1, T op2, FPSCR& fpscr);
template <class T> T FPSqrt(T op, FPSCR& fpscr);
// addend + op1 * op2, rounded once.
template <class T> T FPMulAdd(T addend, T op1, T op2, FPSCR& fpscr);

// (a + b * c) * 2^scale, rounded once, on the mode word, adding to `flags`.
uint16_t fp16_muladd(uint16_t a, uint16_t b, uint16_t c, int scale, int mode, int* flags);
uint32_t fp32_muladd(uint32_t a, uint32_t b, uint32_t c, int scale, int mode, int* flags);
uint64_t fp64_muladd(uint64_t a, uint64_t b, uint64_t c, int scale, int mode, int* flags);

template <class T> bool FPCompareEQ(T op1, T op2, FPSCR& fpscr);
template <class T> bool FPCompareGE(T op1, T op2, FPSCR& fpscr);
template <class T> bool FPCompareGT(T op1, T op2, FPSCR& fpscr);
template <class T> bool FPCompareUN(T op1, T op2, FPSCR& fpscr);
// The condition flags of a compare: N bit 3, Z bit 2, C bit 1, V bit 0.
template <class T> int FPCompare(T op1, T op2, bool signal_nans, FPSCR& fpscr);

// A NaN operand gives a NaN.
template <class T> T FPMax(T op1, T op2, FPSCR& fpscr);
template <class T> T FPMin(T op1, T op2, FPSCR& fpscr);
// A single quiet NaN loses to a number.
template <class T> T FPMaxNum(T op1, T op2, FPSCR& fpscr);
template <class T> T FPMinNum(T op1, T op2, FPSCR& fpscr);

// The sign operations touch the sign bit alone, of a NaN too, and raise
// nothing. Half precision has no FPAbs: callers clear bit 15.
template <class T> T FPNeg(T op) { return T(op ^ fp_format<T>::sign); }
template <class T> T FPAbs(T op) { return T(op & ~fp_format<T>::sign); }

}  // namespace sve
