// Predicate logic and initialisation: the zeroing logical operations with
// and without flags, SEL, PTEST, PFALSE and PTRUE with its pattern. The plain
// AND, BIC, ORR, EOR and NOR, SEL, PTEST, PFALSE, PTRUE and PTRUES work on the
// byte form of cpu_state; NAND and ORN, and the logic that sets the flags, on
// packed predicates. Both give the same predicate.
#include "../decode/families.h"
#include "../support/bytewise.h"
#include "predicate_shapes.h"
#include "prefix.h"

namespace sve {

namespace {

// The logical kernels compute on the stored bytes and keep bit 0 where Pg is
// true, 0 elsewhere.
template <class Op>
aarch64_decode_rc logic(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm, Op op) {
  bytewise(
      s->p[pd.reg],
      [op](auto& r, const auto& g, const auto& n, const auto& m) {
        op(r, n, m);
        r &= g & 1;
      },
      s->p[pg.reg], s->p[pn.reg], s->p[pm.reg]);
  return aarch64_decode_ok;
}

}  // namespace

aarch64_decode_rc sve_and_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
  return logic(s, pd, pg, pn, pm, [](auto& r, const auto& a, const auto& b) { r = a & b; });
}
aarch64_decode_rc sve_bic_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
  return logic(s, pd, pg, pn, pm, [](auto& r, const auto& a, const auto& b) { r = a & ~b; });
}
aarch64_decode_rc sve_orr_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
  return logic(s, pd, pg, pn, pm, [](auto& r, const auto& a, const auto& b) { r = a | b; });
}
aarch64_decode_rc sve_eor_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
  return logic(s, pd, pg, pn, pm, [](auto& r, const auto& a, const auto& b) { r = a ^ b; });
}
// NOR tests its operands as whole bytes: the result is 1 when both are 0.
aarch64_decode_rc sve_nor_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
  return logic(s, pd, pg, pn, pm,
               [](auto& r, const auto& a, const auto& b) { r = piece_of<decltype(r)>((a | b) == 0); });
}

// SEL writes every byte: Pn where Pg is true, Pm elsewhere.
aarch64_decode_rc sve_sel_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
  bytewise(
      s->p[pd.reg],
      [](auto& r, const auto& g, const auto& n, const auto& m) {
        const piece_of<decltype(g)> take_n = -(g & 1);
        r = (n & take_n) | (m & ~take_n);
      },
      s->p[pg.reg], s->p[pn.reg], s->p[pm.reg]);
  return aarch64_decode_ok;
}

aarch64_decode_rc sve_ptest_pp(cpu_state* s, aarch64_p_reg pg, aarch64_p_reg pn) {
  sve_ptest<signed char>(s, s->p[pg.reg], s->p[pn.reg]);
  return aarch64_decode_ok;
}

aarch64_decode_rc sve_pfalse_p(cpu_state* s, aarch64_p_reg pd) {
  write_prefix<uint8_t>(s->p[pd.reg], 0);
  return aarch64_decode_ok;
}

// PTRUE writes each element whole: its low byte 1 below the pattern's count,
// all other bytes 0. PTRUES tests the result against itself.
template <bool SetFlags>
aarch64_decode_rc ptrue(cpu_state* s, aarch64_p_reg pd, unsigned int pattern) {
  return by_size(pd.elem, [&]<class T>(T) {
    uint8_t* p = s->p[pd.reg];
    write_prefix<T>(p, unsigned(VecTrueILength(pattern, int(sve_vl_bytes / sizeof(T)))));
    if (SetFlags) sve_ptest<T>(s, p, p);
    return aarch64_decode_ok;
  });
}
aarch64_decode_rc sve_ptrue_pi(cpu_state* s, aarch64_p_reg pd, unsigned int pattern) {
  return ptrue<false>(s, pd, pattern);
}
aarch64_decode_rc sve_ptrues_pi(cpu_state* s, aarch64_p_reg pd, unsigned int pattern) {
  return ptrue<true>(s, pd, pattern);
}

namespace {

template <class Op>
PredV logic_routine(const PredV& g, const PredV& n, const PredV& m, Op op) {
  PredV r;
  for (int k = 0; k < 4; ++k) r.w[k] = g.w[k] & op(n.w[k], m.w[k]);
  return r;
}

template <class Op>
PredV logic_flags(const PredV& g, const PredV& n, const PredV& m, CpuContext* c, Op op) {
  PredV r = logic_routine(g, n, m, op);
  PredSetNZCV(g, r, 8, c);
  return r;
}

}  // namespace

namespace lib {

#define SVE_PRED_LOGIC(name, expr)                                                         \
  PredV VecP##name##FlgPPZ(PredV g, PredV n, PredV m, CpuContext* c) {                     \
    return logic_flags(g, n, m, c, [](uint64_t a, uint64_t b) { return expr; });           \
  }
SVE_PRED_LOGIC(And, a & b)
SVE_PRED_LOGIC(Bic, a & ~b)
SVE_PRED_LOGIC(Or, a | b)
SVE_PRED_LOGIC(Xor, a ^ b)
SVE_PRED_LOGIC(Nor, ~(a | b))
SVE_PRED_LOGIC(Nand, ~(a & b))
SVE_PRED_LOGIC(OrN, a | ~b)
#undef SVE_PRED_LOGIC

PredV VecPNandPPZ(PredV g, PredV n, PredV m, CpuContext*) {
  return logic_routine(g, n, m, [](uint64_t a, uint64_t b) { return ~(a & b); });
}
PredV VecPOrNPPZ(PredV g, PredV n, PredV m, CpuContext*) {
  return logic_routine(g, n, m, [](uint64_t a, uint64_t b) { return a | ~b; });
}

}  // namespace lib

// Pd 3:0 with the element size, pattern 9:5.
template <auto Kernel>
struct ptrue_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, p_plain(w, 3, 0, T::code), field(w, 9, 5));
  }
};

// Pg 13:10, Pn 8:5.
struct ptest_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_ptest_pp(s, p_gov(w, 13, 10, P_PLAIN), p_plain(w, 8, 5, P_B));
  }
};

struct pfalse_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return sve_pfalse_p(s, p_plain(w, 3, 0, P_B));
  }
};

}  // namespace sve

using namespace sve;

// "00100101 op S 00 mmmm 01 gggg o2 nnnn o3 dddd"
#define SVE_PLOGIC(bits23_22, o2, o3, route, impl, mnemonic) \
  "00100101 " bits23_22 " 00 mmmm 01 gggg " o2 " nnnn " o3 " dddd", route, impl, mnemonic " p0.b, p1/z, p2.b, p3.b"
#define SVE_PTRUE(X, op, type, s, route, impl, mnemonic) \
  X(31_10__4_4, op, type, "00100101 ss 01100 " s " 111000 ppppp 0 dddd", route, impl, mnemonic " p0.T, vl3")

#define PREDICATE_LOGIC(X)                                                                     \
  X(31_20__15_14__9_9__4_4, AndPPZ, P, SVE_PLOGIC("00", "0", "0", direct, (pppp<sve_and_pppp>), "and")) \
  X(31_20__15_14__9_9__4_4, BicPPZ, P, SVE_PLOGIC("00", "0", "1", direct, (pppp<sve_bic_pppp>), "bic")) \
  X(31_20__15_14__9_9__4_4, XorPPZ, P, SVE_PLOGIC("00", "1", "0", direct, (pppp<sve_eor_pppp>), "eor")) \
  X(31_20__15_14__9_9__4_4, SelPP, P, "00100101 00 00 mmmm 01 gggg 1 nnnn 1 dddd", direct, (pppp<sve_sel_pppp, P_PLAIN>), "sel p0.b, p1, p2.b, p3.b") \
  X(31_20__15_14__9_9__4_4, AndFlgPPZ, P, SVE_PLOGIC("01", "0", "0", library, (lib_ppp), "ands"))  \
  X(31_20__15_14__9_9__4_4, BicFlgPPZ, P, SVE_PLOGIC("01", "0", "1", library, (lib_ppp), "bics"))  \
  X(31_20__15_14__9_9__4_4, XorFlgPPZ, P, SVE_PLOGIC("01", "1", "0", library, (lib_ppp), "eors"))  \
  X(31_20__15_14__9_9__4_4, OrPPZ, P, SVE_PLOGIC("10", "0", "0", direct, (pppp<sve_orr_pppp>), "orr")) \
  X(31_20__15_14__9_9__4_4, OrNPPZ, P, SVE_PLOGIC("10", "0", "1", library, (lib_ppp), "orn"))      \
  X(31_20__15_14__9_9__4_4, NorPPZ, P, SVE_PLOGIC("10", "1", "0", direct, (pppp<sve_nor_pppp>), "nor")) \
  X(31_20__15_14__9_9__4_4, NandPPZ, P, SVE_PLOGIC("10", "1", "1", library, (lib_ppp), "nand"))    \
  X(31_20__15_14__9_9__4_4, OrFlgPPZ, P, SVE_PLOGIC("11", "0", "0", library, (lib_ppp), "orrs"))   \
  X(31_20__15_14__9_9__4_4, OrNFlgPPZ, P, SVE_PLOGIC("11", "0", "1", library, (lib_ppp), "orns"))  \
  X(31_20__15_14__9_9__4_4, NorFlgPPZ, P, SVE_PLOGIC("11", "1", "0", library, (lib_ppp), "nors"))  \
  X(31_20__15_14__9_9__4_4, NandFlgPPZ, P, SVE_PLOGIC("11", "1", "1", library, (lib_ppp), "nands")) \
  X(31_14__9_9__4_0, TestPZ, P, "00100101 01 010000 11 gggg 0 nnnn 0 0000", direct, (ptest_shape), "ptest p1, p2.b") \
  X(31_4, False, P, "00100101 00 011000 111001 000000 dddd", direct, (pfalse_shape), "pfalse p0.b") \
  SVE_PTRUE(X, TrueI, P8, "0", direct, (ptrue_shape<sve_ptrue_pi>), "ptrue")                                \
  SVE_PTRUE(X, TrueI, P16, "0", direct, (ptrue_shape<sve_ptrue_pi>), "ptrue")                               \
  SVE_PTRUE(X, TrueI, P32, "0", direct, (ptrue_shape<sve_ptrue_pi>), "ptrue")                               \
  SVE_PTRUE(X, TrueI, P64, "0", direct, (ptrue_shape<sve_ptrue_pi>), "ptrue")                               \
  SVE_PTRUE(X, TrueFlgI, P8, "1", direct, (ptrue_shape<sve_ptrues_pi>), "ptrues")                             \
  SVE_PTRUE(X, TrueFlgI, P16, "1", direct, (ptrue_shape<sve_ptrues_pi>), "ptrues")                            \
  SVE_PTRUE(X, TrueFlgI, P32, "1", direct, (ptrue_shape<sve_ptrues_pi>), "ptrues")                            \
  SVE_PTRUE(X, TrueFlgI, P64, "1", direct, (ptrue_shape<sve_ptrues_pi>), "ptrues")

SVE_FAMILY(predicate_logic, PREDICATE_LOGIC)
