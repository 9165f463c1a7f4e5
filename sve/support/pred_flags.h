// Condition flags from predicates, once for each tier: sve_ptest<T> on the
// byte form of cpu_state for direct kernels, PredSetNZCV and its sisters on
// packed PredV records for library routines. N is the first active element of
// the result, Z says that no active element is set, C is the inverse of the
// last active element, V is 0.
#pragma once

#include "../integer/kernel_loop.h"
#include "records.h"

namespace sve {

// Elements of sizeof(T) bytes over a vector; an element's bit is bit 0 of its
// first byte, read as a whole element and tested with 1. Only bits 31..28 of
// nzcv change.
template <class T>
void sve_ptest(cpu_state* s, const uint8_t* mask, const uint8_t* result) {
  constexpr unsigned e = sizeof(T);
  int first = -1, last = -1;
  bool any = false;
  for (unsigned i = 0; i < sve_vl_bytes; i += e) {
    if (!(load<T>(mask + i) & 1)) continue;
    if (first < 0) first = int(i);
    last = int(i);
    any = any || (load<T>(result + i) & 1);
  }
  uint64_t n = first >= 0 && (load<T>(result + first) & 1);
  uint64_t c = last < 0 || !(load<T>(result + last) & 1);
  s->nzcv = (s->nzcv & ~uint64_t(0xf0000000)) | n << 31 | uint64_t(!any) << 30 | c << 29;
}

void PredSetNZCV(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c);
void PredSetNZC(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c);
void PredSetNCV(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c);
void PredSetNC(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c);
// The first or last element whose lowest bit is set, or -1.
int FindFirstActive(const PredV& p, unsigned esize, const CpuContext* c);
int FindLastActive(const PredV& p, unsigned esize, const CpuContext* c);

}  // namespace sve
