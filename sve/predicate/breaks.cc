// Breaks and partitions: BRKA and BRKB find the elements before or up to the
// first true one, BRKN and BRKPA/BRKPB carry a break from one partition into
// the next, PFIRST and PNEXT walk a predicate element by element. All but
// PNEXT work on the 224 predicate bits with no element size.
#include "../decode/families.h"
#include "../support/bytewise.h"
#include "predicate_shapes.h"
#include "prefix.h"

namespace sve {

namespace {

constexpr uint64_t byte_bits = lead_bits<uint8_t>;

// The highest byte with bit 0 set, or -1.
int last_active(const uint8_t* p) {
  return last_set_byte([p](unsigned k) { return pred_word(p, k) & byte_bits; });
}

// The first byte where both have bit 0 set, or the vector's length.
unsigned first_both(const uint8_t* a, const uint8_t* b) {
  int i = first_set_byte([a, b](unsigned k) { return pred_word(a, k) & pred_word(b, k) & byte_bits; });
  return i < 0 ? sve_vl_bytes : unsigned(i);
}

// The result of a break in Pd: the active bytes of Pg below `end` are 1, the
// others 0; inactive bytes are 0, or keep their old value when merging.
void break_bytes(uint8_t* pd, const uint8_t* g, unsigned end, bool merging) {
  if (!merging) {
    bytewise(pd, [](auto& r, const auto& g, const auto& below) { r = g & below; }, g, prefix_bytes<uint8_t>(end));
    return;
  }
  bytewise(
      pd,
      [](auto& r, const auto& g, const auto& below, const auto& old) {
        const piece_of<decltype(g)> active = -(g & 1);
        r = (active & below) | (~active & old);
      },
      g, prefix_bytes<uint8_t>(end), pd);
}

// BRKA (After) keeps the first active true element of Pn, BRKB (Before)
// drops it.
template <bool After>
aarch64_decode_rc break_walk(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn) {
  const uint8_t* g = s->p[pg.reg];
  unsigned first = first_both(g, s->p[pn.reg]);
  break_bytes(s->p[pd.reg], g, After && first < sve_vl_bytes ? first + 1 : first, pg.elem != P_Z);
  return aarch64_decode_ok;
}

}  // namespace

aarch64_decode_rc sve_brka_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn) {
  return break_walk<true>(s, pd, pg, pn);
}
aarch64_decode_rc sve_brkb_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn) {
  return break_walk<false>(s, pd, pg, pn);
}

// Pdm survives only when Pn is true (as a byte) at the last active byte of
// Pg. The flags test Pdm against an all-true predicate.
aarch64_decode_rc sve_brkn(cpu_state* s, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn, bool set_flags) {
  int last = last_active(s->p[pg.reg]);
  uint8_t* d = s->p[pdm.reg];
  if (last < 0 || s->p[pn.reg][last] == 0) write_prefix<uint8_t>(d, 0);
  if (set_flags) sve_ptest<uint8_t>(s, prefix_bytes<uint8_t>(sve_vl_bytes), d);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_brkn_ppp(cpu_state* s, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
  return sve_brkn(s, pdm, pg, pn, false);
}
aarch64_decode_rc sve_brkns_ppp(cpu_state* s, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
  return sve_brkn(s, pdm, pg, pn, true);
}

// BRKPB: when Pn (as a byte) holds at the last active byte of Pg, the active
// bytes before the first active true byte of Pm.
aarch64_decode_rc sve_brkpb(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm,
                            bool set_flags) {
  pred_bytes r;
  const uint8_t* g = s->p[pg.reg];
  int last = last_active(g);
  bool holds = last >= 0 && s->p[pn.reg][last] != 0;
  std::memcpy(r.b, g, sve_vl_bytes);  // Pg, kept for the flags when Pd is Pg
  break_bytes(s->p[pd.reg], r.b, holds ? first_both(r.b, s->p[pm.reg]) : 0, false);
  if (set_flags) sve_ptest<signed char>(s, r.b, s->p[pd.reg]);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_brkpb_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                                 aarch64_p_reg pm) {
  return sve_brkpb(s, pd, pg, pn, pm, false);
}
aarch64_decode_rc sve_brkpbs_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn,
                                  aarch64_p_reg pm) {
  return sve_brkpb(s, pd, pg, pn, pm, true);
}

// PNEXT: the next active element of Pg after the last true element of Pdn,
// as the only true element, or none. The flags test it against Pg: N when it
// is Pg's first active element, Z when there is none, C unless it is Pg's
// last. Only the scans depend on the element size, through the mask of the
// elements' first bytes, so one body serves every size.
aarch64_decode_rc sve_pnext_pp(cpu_state* s, aarch64_p_reg pdn, aarch64_p_reg pg) {
  const uint64_t lead = lead_bits_of(pdn.rw_elem2);
  uint8_t* d = s->p[pdn.reg];
  const uint8_t* g = s->p[pg.reg];
  auto active = [g, lead](unsigned k) { return pred_word(g, k) & lead; };
  const int last = last_set_byte([d, lead](unsigned k) { return pred_word(d, k) & lead; });
  const int next = first_set_byte(active, last < 0 ? 0 : unsigned(last) + (1u << (pdn.rw_elem2 & 3)));
  const uint64_t n = next >= 0 && next == first_set_byte(active), c = next < 0 || next != last_set_byte(active);
  s->nzcv = (s->nzcv & ~uint64_t(0xf0000000)) | n << 31 | uint64_t(next < 0) << 30 | c << 29;
  write_prefix<uint8_t>(d, 0);
  if (next >= 0) d[next] = 1;
  return aarch64_decode_ok;
}

namespace {

// The break-after walk over packed bits, at zeroing, with the flags.
template <bool After>
PredV break_flags(const PredV& g, const PredV& n, CpuContext* c) {
  PredV r{};
  bool running = true;
  for (unsigned i = 0; i < sve_vl_bytes; ++i) {
    if (!g.bit(i)) continue;
    if (!After) running = running && !n.bit(i);
    r.set_bit(i, running);
    if (After) running = running && !n.bit(i);
  }
  PredSetNZCV(g, r, 8, c);
  return r;
}

// BRKPA: the active bits up to and including the first active true bit of
// Pm, when Pn holds at the last active bit of Pg.
PredV break_prev_after(const PredV& g, const PredV& n, const PredV& m) {
  int last = -1;
  for (unsigned i = 0; i < sve_vl_bytes; ++i)
    if (g.bit(i)) last = int(i);
  bool running = last >= 0 && n.bit(unsigned(last));
  PredV r{};
  for (unsigned i = 0; i < sve_vl_bytes; ++i)
    if (g.bit(i)) {
      r.set_bit(i, running);
      running = running && !m.bit(i);
    }
  return r;
}

}  // namespace

namespace lib {

PredV VecPBreakAFlgPZ(PredV g, PredV n, CpuContext* c) { return break_flags<true>(g, n, c); }
PredV VecPBreakBFlgPZ(PredV g, PredV n, CpuContext* c) { return break_flags<false>(g, n, c); }
PredV VecPBreakPrevAPZ(PredV g, PredV n, PredV m, CpuContext*) { return break_prev_after(g, n, m); }
PredV VecPBreakPrevAFlgPZ(PredV g, PredV n, PredV m, CpuContext* c) {
  PredV r = break_prev_after(g, n, m);
  PredSetNZCV(g, r, 8, c);
  return r;
}

// PFIRST: Pdn with the first active element of Pg set.
PredV VecPSetFirstActiveP(PredV g, PredV dn, CpuContext* c) {
  PredV r = dn;
  for (unsigned i = 0; i < sve_vl_bytes; ++i)
    if (g.bit(i)) {
      r.set_bit(i, true);
      break;
    }
  PredSetNZCV(g, r, 8, c);
  return r;
}

}  // namespace lib

// Pd 3:0, Pg 13:10 with the qualifier of bit 4 (zeroing or merging), Pn 8:5.
template <auto Kernel>
struct break_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, p_plain(w, 3, 0, P_B), p_gov(w, 13, 10, field(w, 4, 4) ? P_M : P_Z), p_plain(w, 8, 5, P_B));
  }
};
template <auto Kernel>
struct break_next_shape {  // Pdm 3:0 is read and written
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, p_dst_src(w, 3, 0, P_B), p_gov(w, 13, 10, P_Z), p_plain(w, 8, 5, P_B));
  }
};
struct pnext_shape {  // Pdn 3:0 at the element size, Pg 8:5
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_pnext_pp(s, p_dst_src(w, 3, 0, T::code), p_gov(w, 8, 5, P_PLAIN));
  }
};

using lib_break = library<to_p<3, 0>, p_in<13, 10>, p_in<8, 5>>;
using lib_break_prev = library<to_p<3, 0>, p_in<13, 10>, p_in<8, 5>, p_in<19, 16>>;
using lib_pfirst = library<to_p<3, 0>, p_in<8, 5>, p_in<3, 0>>;

}  // namespace sve

using namespace sve;

// BRKA, BRKB: "00100101 B S 010000 01 gggg 0 nnnnn M dddd"; BRKN:
// "00100101 0 S 011000 01 gggg 0 nnnnn 0 dddd"; BRKPA, BRKPB:
// "00100101 0 S 00 mmmm 11 gggg 0 nnnnn B dddd".
#define BREAKS(X)                                                                                              \
  X(31_14__9_9__4_4, BreakAPZ, P, "00100101 00 010000 01 gggg 0 nnnn 0 dddd", direct, (break_shape<sve_brka_ppp>), \
    "brka p0.b, p1/z, p2.b")                                                                                  \
  X(31_14__9_9__4_4, BreakAPM, P, "00100101 00 010000 01 gggg 0 nnnn 1 dddd", direct, (break_shape<sve_brka_ppp>), \
    "brka p0.b, p1/m, p2.b")                                                                                  \
  X(31_14__9_9__4_4, BreakBPZ, P, "00100101 10 010000 01 gggg 0 nnnn 0 dddd", direct, (break_shape<sve_brkb_ppp>), \
    "brkb p0.b, p1/z, p2.b")                                                                                  \
  X(31_14__9_9__4_4, BreakBPM, P, "00100101 10 010000 01 gggg 0 nnnn 1 dddd", direct, (break_shape<sve_brkb_ppp>), \
    "brkb p0.b, p1/m, p2.b")                                                                                  \
  X(31_14__9_9__4_4, BreakAFlgPZ, P, "00100101 01 010000 01 gggg 0 nnnn 0 dddd", library, (lib_break),         \
    "brkas p0.b, p1/z, p2.b")                                                                                 \
  X(31_14__9_9__4_4, BreakBFlgPZ, P, "00100101 11 010000 01 gggg 0 nnnn 0 dddd", library, (lib_break),         \
    "brkbs p0.b, p1/z, p2.b")                                                                                 \
  X(31_14__9_9__4_4, BreakNextPZ, P, "00100101 00 011000 01 gggg 0 nnnn 0 dddd", direct,                       \
    (break_next_shape<sve_brkn_ppp>), "brkn p0.b, p1/z, p2.b, p0.b")                                          \
  X(31_14__9_9__4_4, BreakNextFlgPZ, P, "00100101 01 011000 01 gggg 0 nnnn 0 dddd", direct,                    \
    (break_next_shape<sve_brkns_ppp>), "brkns p0.b, p1/z, p2.b, p0.b")                                        \
  X(31_20__15_14__9_9__4_4, BreakPrevAPZ, P, "00100101 00 00 mmmm 11 gggg 0 nnnn 0 dddd", library,             \
    (lib_break_prev), "brkpa p0.b, p1/z, p2.b, p3.b")                                                         \
  X(31_20__15_14__9_9__4_4, BreakPrevAFlgPZ, P, "00100101 01 00 mmmm 11 gggg 0 nnnn 0 dddd", library,          \
    (lib_break_prev), "brkpas p0.b, p1/z, p2.b, p3.b")                                                        \
  X(31_20__15_14__9_9__4_4, BreakPrevBPZ, P, "00100101 00 00 mmmm 11 gggg 0 nnnn 1 dddd", direct,              \
    (pppp<sve_brkpb_pppp>), "brkpb p0.b, p1/z, p2.b, p3.b")                                                   \
  X(31_20__15_14__9_9__4_4, BreakPrevBFlgPZ, P, "00100101 01 00 mmmm 11 gggg 0 nnnn 1 dddd", direct,           \
    (pppp<sve_brkpbs_pppp>), "brkpbs p0.b, p1/z, p2.b, p3.b")                                                 \
  X(31_9__4_4, SetFirstActiveP, P, "00100101 01 011000 1100000 gggg 0 dddd", library, (lib_pfirst),            \
    "pfirst p0.b, p1, p0.b")                                                                                  \
  X(31_9__4_4, GenNextP, P8, "00100101 ss 011001 1100010 gggg 0 dddd", direct, (pnext_shape), "pnext p0.T, p1, p0.T") \
  X(31_9__4_4, GenNextP, P16, "00100101 ss 011001 1100010 gggg 0 dddd", direct, (pnext_shape), "pnext p0.T, p1, p0.T") \
  X(31_9__4_4, GenNextP, P32, "00100101 ss 011001 1100010 gggg 0 dddd", direct, (pnext_shape), "pnext p0.T, p1, p0.T") \
  X(31_9__4_4, GenNextP, P64, "00100101 ss 011001 1100010 gggg 0 dddd", direct, (pnext_shape), "pnext p0.T, p1, p0.T")

SVE_FAMILY(predicate_breaks, BREAKS)
