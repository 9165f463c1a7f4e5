// Condition flags from predicates, once for each tier: sve_ptest<T> on the
// byte form of cpu_state for direct kernels, PredSetNZCV and its sisters on
// packed PredV records for library routines. N is the first active element of
// the result, Z says that no active element is set, C is the inverse of the
// last active element, V is 0.
#pragma once

#include "pred_words.h"
#include "records.h"

namespace sve {

// Elements of sizeof(T) bytes over a vector; an element's bit is bit 0 of its
// first byte. Only bits 31..28 of nzcv change. `any` tells whether an active
// element of the result is true, for a caller that knows it from building
// the result.
template <class T>
void sve_ptest(cpu_state* s, const uint8_t* mask, const uint8_t* result, bool any) {
  constexpr uint64_t lead = lead_bits<T>;
  int first = first_set_byte([&](unsigned k) { return pred_word(mask, k) & lead; });
  uint64_t n = 0, c = 1;
  if (first >= 0) {
    int last = last_set_byte([&](unsigned k) { return pred_word(mask, k) & lead; });
    n = result[first] & 1;
    c = !(result[last] & 1);
  }
  s->nzcv = (s->nzcv & ~uint64_t(0xf0000000)) | n << 31 | uint64_t(!any) << 30 | c << 29;
}
template <class T>
void sve_ptest(cpu_state* s, const uint8_t* mask, const uint8_t* result) {
  uint64_t any = 0;
  for (unsigned k = 0; k < pred_words; ++k) any |= pred_word(mask, k) & pred_word(result, k);
  sve_ptest<T>(s, mask, result, (any & lead_bits<T>) != 0);
}

void PredSetNZCV(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c);
void PredSetNZC(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c);
void PredSetNCV(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c);
void PredSetNC(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c);
// The first or last element whose lowest bit is set, or -1.
int FindFirstActive(const PredV& p, unsigned esize, const CpuContext* c);
int FindLastActive(const PredV& p, unsigned esize, const CpuContext* c);

}  // namespace sve
