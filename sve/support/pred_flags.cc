#include "pred_flags.h"

namespace sve {

namespace {

// The lowest bit of every element of `ebytes` bits in a word of a packed
// predicate.
uint64_t lead_of(unsigned ebytes) {
  switch (ebytes) {
    case 1: return ~0ull;
    case 2: return 0x5555555555555555;
    case 4: return 0x1111111111111111;
    default: return 0x0101010101010101;
  }
}

// Each element's bits ORed into its lowest bit; elements never straddle words.
uint64_t fold(uint64_t w, unsigned ebytes) {
  for (unsigned s = 1; s < ebytes; s *= 2) w |= w >> s;
  return w;
}

// The lowest bits of the active elements in word k of p, within the vector.
uint64_t active_word(const PredV& p, unsigned k, unsigned ebytes, const CpuContext* c) {
  unsigned bits = c->vl_dwords * 8, start = 64 * k;
  uint64_t within = start + 64 <= bits ? ~0ull : start >= bits ? 0 : (1ull << (bits - start)) - 1;
  return p.w[k] & lead_of(ebytes) & within;
}

int lowest(const PredV& p, unsigned ebytes, const CpuContext* c) {
  for (unsigned k = 0; k < 4; ++k)
    if (uint64_t w = active_word(p, k, ebytes, c)) return int(64 * k) + __builtin_ctzll(w);
  return -1;
}
int highest(const PredV& p, unsigned ebytes, const CpuContext* c) {
  for (unsigned k = 4; k-- > 0;)
    if (uint64_t w = active_word(p, k, ebytes, c)) return int(64 * k) + 63 - __builtin_clzll(w);
  return -1;
}

// What the flags are made of: whether some active element of the mask has
// any of its bits set in the result, and the lowest bits of the first and
// last active elements.
struct pred_test {
  bool any = false;
  int first = -1, last = -1;
};

pred_test test(const PredV& mask, const PredV& result, unsigned esize, const CpuContext* c) {
  unsigned e = esize / 8;
  pred_test t;
  t.first = lowest(mask, e, c);
  if (t.first < 0) return t;
  t.last = highest(mask, e, c);
  for (unsigned k = 0; k < 4; ++k) t.any = t.any || (active_word(mask, k, e, c) & fold(result.w[k], e));
  return t;
}

// Whether any bit of the element whose lowest bit is `b` is set.
bool any_bit(const PredV& p, int b, unsigned ebytes) { return fold(p.w[b / 64], ebytes) >> (b % 64) & 1; }

void set(CpuContext* c, uint32_t flag, bool v) { c->nzcv = v ? c->nzcv | flag : c->nzcv & ~flag; }

void set_nzc(const pred_test& t, const PredV& result, unsigned esize, CpuContext* c, bool with_z) {
  if (!t.any) {
    set(c, FLAG_N, false);
    if (with_z) set(c, FLAG_Z, true);
    set(c, FLAG_C, true);
    return;
  }
  if (with_z) set(c, FLAG_Z, false);
  set(c, FLAG_N, result.bit(unsigned(t.first)));
  set(c, FLAG_C, !any_bit(result, t.last, esize / 8));
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
  if (t.first < 0) return;
  set(c, FLAG_N, result.bit(unsigned(t.first)));
  set(c, FLAG_C, !any_bit(result, t.last, esize / 8));
}

int FindFirstActive(const PredV& p, unsigned esize, const CpuContext* c) {
  int b = lowest(p, esize / 8, c);
  return b < 0 ? -1 : b / int(esize / 8);
}

int FindLastActive(const PredV& p, unsigned esize, const CpuContext* c) {
  int b = highest(p, esize / 8, c);
  return b < 0 ? -1 : b / int(esize / 8);
}

}  // namespace sve
