// The fast path of the floating-point library. When the operands and the
// result of an operation are ordinary (normal numbers or zeros, no NaN, no
// infinity, no result near the limits of the format) and the rounding mode
// is to nearest, the host's own floating-point unit computes the same bits
// as the exact library, and the only status bit that can arise is inexact,
// which error-free arithmetic on the host tells exactly. Otherwise the
// exact library computes, as it always may. Single precision computes in
// double precision: one rounding of a sum, product, quotient or root to
// double and then to single gives the correctly rounded single result,
// since double has more than twice single's precision plus two bits.
//
// Each function returns true with the result and the flags set in `fpscr`,
// or false having changed nothing.
#pragma once

#include <atomic>
#include <cstdint>

#include "format.h"

namespace sve {

// Off forces the exact library everywhere: the conformance harness checks
// the emulator both ways. Exported to embedders as sve_set_exact_fp.
extern std::atomic<bool> fp_fast_path;

namespace fast {

bool add(uint32_t a, uint32_t b, FPSCR& fpscr, uint32_t& r);
bool add(uint64_t a, uint64_t b, FPSCR& fpscr, uint64_t& r);
bool mul(uint32_t a, uint32_t b, FPSCR& fpscr, uint32_t& r);
bool mul(uint64_t a, uint64_t b, FPSCR& fpscr, uint64_t& r);
bool div(uint32_t a, uint32_t b, FPSCR& fpscr, uint32_t& r);
bool div(uint64_t a, uint64_t b, FPSCR& fpscr, uint64_t& r);
bool sqrt(uint32_t a, FPSCR& fpscr, uint32_t& r);
bool sqrt(uint64_t a, FPSCR& fpscr, uint64_t& r);
// addend + a * b, rounded once.
bool muladd(uint32_t addend, uint32_t a, uint32_t b, FPSCR& fpscr, uint32_t& r);

// Half precision has no fast path.
inline bool add(uint16_t, uint16_t, FPSCR&, uint16_t&) { return false; }
inline bool mul(uint16_t, uint16_t, FPSCR&, uint16_t&) { return false; }
inline bool div(uint16_t, uint16_t, FPSCR&, uint16_t&) { return false; }
inline bool sqrt(uint16_t, FPSCR&, uint16_t&) { return false; }
inline bool muladd(uint16_t, uint16_t, uint16_t, FPSCR&, uint16_t&) { return false; }
inline bool muladd(uint64_t, uint64_t, uint64_t, FPSCR&, uint64_t&) { return false; }

}  // namespace fast
}  // namespace sve
