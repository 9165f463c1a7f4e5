// Loop control: WHILELT, WHILELE, WHILELO and WHILELS build a predicate from
// two scalar counters, CTERMEQ and CTERMNE end a loop on a scalar compare.
// WHILELE and CTERM run as library routines, the others as direct kernels.
#include <limits>

#include "../decode/families.h"
#include "conditions.h"
#include "predicate_shapes.h"

namespace sve {

namespace {

// Every element's first byte is 1: the all-true governing predicate of the
// flag test at any element size.
struct all_true_bytes {
  uint8_t b[sve_vl_bytes];
  constexpr all_true_bytes() : b{} {
    for (uint8_t& x : b) x = 1;
  }
};
constexpr all_true_bytes all_true;

// Element e is true while cond(Rn + k, Rm) held for every k up to e; the
// counter wraps at the register width R.
template <class R, class Cond>
aarch64_decode_rc while_loop(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return by_size(pd.elem, [&]<class T>(T) {
    pred_bytes r;
    R counter = R(read_x(s, rn)), limit = R(read_x(s, rm));
    T last = 1;
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T), ++counter) {
      last = T(last & Cond::holds(counter, limit));
      store<T>(r.b + i, last);
    }
    sve_ptest<T>(s, all_true.b, r.b);
    std::memcpy(s->p[pd.reg], r.b, sve_vl_bytes);
    return aarch64_decode_ok;
  });
}

template <class Cond>
aarch64_decode_rc while_kernel(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return rn.elem == I_X ? while_loop<uint64_t, Cond>(s, pd, rn, rm) : while_loop<uint32_t, Cond>(s, pd, rn, rm);
}

}  // namespace

aarch64_decode_rc sve_whilelt_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<LT<true>>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilelo_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<LT<false>>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilels_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<LE<false>>(s, pd, rn, rm);
}

namespace {

// WHILELE without a wrapping counter: element e is true when op1 + e is at
// most op2 in unbounded arithmetic, that is when op1 <= op2 and e is at most
// their distance; with op2 the largest value every element is true.
template <unsigned Bits, class R>
PredV while_le(R op1, R op2, CpuContext* c) {
  using U = std::make_unsigned_t<R>;
  PredV mask, r{};
  for (uint64_t& w : mask.w) w = ~0ull;
  bool top = op2 == std::numeric_limits<R>::max();
  for (unsigned e = 0, n = c->elements(Bits); e < n; ++e)
    r.set_bit(e * Bits / 8, top || (op1 <= op2 && U(U(op2) - U(op1)) >= e));
  PredSetNZCV(mask, r, Bits, c);
  return r;
}

// CTERM: when the loop ends (the condition holds) N = 1 and V = 0, else N = 0
// and V = !C; Z and C keep their values.
template <bool Eq, class R>
void cterm(R a, R b, CpuContext* c) {
  bool term = (a == b) == Eq;
  bool v = !term && !(c->nzcv & FLAG_C);
  c->nzcv = (c->nzcv & ~(FLAG_N | FLAG_V)) | uint32_t(term) * FLAG_N | uint32_t(v) * FLAG_V;
}

}  // namespace

namespace lib {

#define SVE_WHILE_LE(bits)                                                                                  \
  PredV VecS##bits##While4LESS(int a, int b, CpuContext* c) { return while_le<bits>(a, b, c); }             \
  PredV VecS##bits##While8LESS(long a, long b, CpuContext* c) { return while_le<bits>(a, b, c); }
SVE_WHILE_LE(8)
SVE_WHILE_LE(16)
SVE_WHILE_LE(32)
SVE_WHILE_LE(64)
#undef SVE_WHILE_LE

void VecU32CTermEQ(unsigned int a, unsigned int b, CpuContext* c) { cterm<true>(a, b, c); }
void VecU32CTermNE(unsigned int a, unsigned int b, CpuContext* c) { cterm<false>(a, b, c); }
void VecU64CTermEQ(unsigned long a, unsigned long b, CpuContext* c) { cterm<true>(a, b, c); }
void VecU64CTermNE(unsigned long a, unsigned long b, CpuContext* c) { cterm<false>(a, b, c); }

}  // namespace lib

// Pd 3:0 at the element size, Rn 9:5 and Rm 20:16 in the view of bit 12.
template <auto Kernel>
struct while_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    uint32_t view = field(w, 12, 12) ? I_X : I_W;
    return Kernel(s, p_plain(w, 3, 0, T::code), x_plain(w, 9, 5, view), x_plain(w, 20, 16, view));
  }
};

using lib_while = library<to_p<3, 0>, x_in<9, 5>, x_in<20, 16>>;
using lib_cterm = library<to_nothing, x_in<9, 5>, x_in<20, 16>>;

}  // namespace sve

using namespace sve;

// "00100101 ss 1 mmmmm 000 sf U 1 nnnnn eq dddd"
#define SVE_WHILE(sf, u, eq, route, impl, mnemonic, r) \
  "00100101 ss 1 mmmmm 000 " sf " " u " 1 nnnnn " eq " dddd", route, impl, mnemonic " p0.T, " r "1, " r "2"
#define SVE_CTERM(sz, ne, mnemonic, r) \
  "00100101 1 " sz " 1 mmmmm 001000 nnnnn " ne " 0000", library, (lib_cterm), mnemonic " " r "1, " r "2"

#define LOOP_CONTROL(X)                                                                                     \
  SVE_S4(X, 31_21__15_10__4_4, While4LTSS, SVE_WHILE("0", "0", "0", direct, (while_shape<sve_whilelt_prr>), "whilelt", "w")) \
  SVE_S4(X, 31_21__15_10__4_4, While8LTSS, SVE_WHILE("1", "0", "0", direct, (while_shape<sve_whilelt_prr>), "whilelt", "x")) \
  SVE_U4(X, 31_21__15_10__4_4, While4LTSS, SVE_WHILE("0", "1", "0", direct, (while_shape<sve_whilelo_prr>), "whilelo", "w")) \
  SVE_U4(X, 31_21__15_10__4_4, While8LTSS, SVE_WHILE("1", "1", "0", direct, (while_shape<sve_whilelo_prr>), "whilelo", "x")) \
  SVE_U4(X, 31_21__15_10__4_4, While4LESS, SVE_WHILE("0", "1", "1", direct, (while_shape<sve_whilels_prr>), "whilels", "w")) \
  SVE_U4(X, 31_21__15_10__4_4, While8LESS, SVE_WHILE("1", "1", "1", direct, (while_shape<sve_whilels_prr>), "whilels", "x")) \
  SVE_S4(X, 31_21__15_10__4_4, While4LESS, SVE_WHILE("0", "0", "1", library, (lib_while), "whilele", "w"))  \
  SVE_S4(X, 31_21__15_10__4_4, While8LESS, SVE_WHILE("1", "0", "1", library, (lib_while), "whilele", "x"))  \
  X(31_21__15_10__4_0, CTermEQ, U32, SVE_CTERM("0", "0", "ctermeq", "w"))                                  \
  X(31_21__15_10__4_0, CTermNE, U32, SVE_CTERM("0", "1", "ctermne", "w"))                                  \
  X(31_21__15_10__4_0, CTermEQ, U64, SVE_CTERM("1", "0", "ctermeq", "x"))                                  \
  X(31_21__15_10__4_0, CTermNE, U64, SVE_CTERM("1", "1", "ctermne", "x"))

SVE_FAMILY(loop_control, LOOP_CONTROL)
