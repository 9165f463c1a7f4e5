#include "pred_flags.h"

namespace sve {

namespace {

// What the flags are made of: whether some active element of the mask has
// any of its bits set in the result, and the first and last active elements.
struct pred_test {
  bool valid = false, any = false;
  int first = -1, last = -1;
};

bool any_bit(const PredV& p, unsigned i, unsigned ebytes) {
  for (unsigned b = 0; b < ebytes; ++b)
    if (p.bit(i * ebytes + b)) return true;
  return false;
}

pred_test test(const PredV& mask, const PredV& result, unsigned esize, const CpuContext* c) {
  pred_test t;
  unsigned n = c->elements(esize), e = esize / 8;
  if (n < 1) return t;
  t.valid = true;
  for (unsigned i = 0; i < n; ++i) {
    if (!mask.active(i, e)) continue;
    if (t.first < 0) t.first = int(i);
    t.last = int(i);
    t.any = t.any || any_bit(result, i, e);
  }
  return t;
}

void set(CpuContext* c, uint32_t flag, bool v) { c->nzcv = v ? c->nzcv | flag : c->nzcv & ~flag; }

void set_nzc(const pred_test& t, const PredV& result, unsigned esize, CpuContext* c, bool with_z) {
  unsigned e = esize / 8;
  if (!t.valid || !t.any) {
    set(c, FLAG_N, false);
    if (with_z) set(c, FLAG_Z, true);
    set(c, FLAG_C, true);
    return;
  }
  if (with_z) set(c, FLAG_Z, false);
  set(c, FLAG_N, result.bit(unsigned(t.first) * e));
  set(c, FLAG_C, !any_bit(result, unsigned(t.last), e));
}

}  // namespace

void PredSetNZC(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c) {
  set_nzc(test(mask, result, esize, c), result, esize, c, true);
}

void PredSetNZCV(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c) {
  PredSetNZC(mask, result, esize, c);
  set(c, FLAG_V, false);
}

void PredSetNCV(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c) {
  set_nzc(test(mask, result, esize, c), result, esize, c, false);
  set(c, FLAG_V, false);
}

void PredSetNC(const PredV& mask, const PredV& result, unsigned esize, CpuContext* c) {
  pred_test t = test(mask, result, esize, c);
  if (!t.valid || t.first < 0) return;
  unsigned e = esize / 8;
  set(c, FLAG_N, result.bit(unsigned(t.first) * e));
  set(c, FLAG_C, !any_bit(result, unsigned(t.last), e));
}

int FindFirstActive(const PredV& p, unsigned esize, const CpuContext* c) {
  unsigned n = c->elements(esize);
  for (unsigned i = 0; i < n; ++i)
    if (p.active(i, esize / 8)) return int(i);
  return -1;
}

int FindLastActive(const PredV& p, unsigned esize, const CpuContext* c) {
  for (int i = int(c->elements(esize)) - 1; i >= 0; --i)
    if (p.active(unsigned(i), esize / 8)) return i;
  return -1;
}

}  // namespace sve
