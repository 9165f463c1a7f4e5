// Loop control: WHILELT, WHILELE, WHILELO and WHILELS build a predicate from
// two scalar counters, CTERMEQ and CTERMNE end a loop on a scalar compare.
// The WHILE forms are direct kernels, CTERM runs as a library routine.
#include <limits>

#include "../decode/families.h"
#include "predicate_shapes.h"
#include "prefix.h"

namespace sve {

namespace {

// Element e is true while Rn + k < Rm (or <=) held for every k up to e: the
// true elements are a prefix. A counter below the limit reaches it before it
// could wrap; at or equal, the largest value as the limit holds every
// counter, wrapped or not, so all elements are true.
template <class R, bool OrEqual>
unsigned while_count(R op1, R op2, unsigned n) {
  using U = std::make_unsigned_t<R>;
  if (OrEqual && op2 == std::numeric_limits<R>::max()) return n;
  if (OrEqual ? op1 > op2 : op1 >= op2) return 0;
  U left = U(U(op2) - U(op1) + OrEqual);
  return left < n ? unsigned(left) : n;
}

// The flags test the prefix against an all-true predicate: N for a first
// true element, Z for none, C unless the last element is true. The element
// size only sets the number of elements and the pattern.
template <class R, bool OrEqual>
aarch64_decode_rc while_prefix(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  const unsigned size_log = pd.elem & 3, n = sve_vl_bytes >> size_log;
  const unsigned count = while_count<R, OrEqual>(R(read_x(s, rn)), R(read_x(s, rm)), n);
  write_prefix(s->p[pd.reg], count, size_log);
  const uint64_t flags = uint64_t(count > 0) << 31 | uint64_t(count == 0) << 30 | uint64_t(count < n) << 29;
  s->nzcv = (s->nzcv & ~uint64_t(0xf0000000)) | flags;
  return aarch64_decode_ok;
}

// The counters are 32 or 64 bits wide by the view of Rn, signed or not.
template <bool Signed, bool OrEqual>
aarch64_decode_rc while_kernel(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  using R32 = std::conditional_t<Signed, int32_t, uint32_t>;
  using R64 = std::conditional_t<Signed, int64_t, uint64_t>;
  return rn.elem == I_X ? while_prefix<R64, OrEqual>(s, pd, rn, rm) : while_prefix<R32, OrEqual>(s, pd, rn, rm);
}

}  // namespace

aarch64_decode_rc sve_whilelt_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<true, false>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilele_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<true, true>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilelo_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<false, false>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilels_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<false, true>(s, pd, rn, rm);
}

namespace {

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
  SVE_S4(X, 31_21__15_10__4_4, While4LESS, SVE_WHILE("0", "0", "1", direct, (while_shape<sve_whilele_prr>), "whilele", "w"))\
  SVE_S4(X, 31_21__15_10__4_4, While8LESS, SVE_WHILE("1", "0", "1", direct, (while_shape<sve_whilele_prr>), "whilele", "x"))\
  X(31_21__15_10__4_0, CTermEQ, U32, SVE_CTERM("0", "0", "ctermeq", "w"))                                  \
  X(31_21__15_10__4_0, CTermNE, U32, SVE_CTERM("0", "1", "ctermne", "w"))                                  \
  X(31_21__15_10__4_0, CTermEQ, U64, SVE_CTERM("1", "0", "ctermeq", "x"))                                  \
  X(31_21__15_10__4_0, CTermNE, U64, SVE_CTERM("1", "1", "ctermne", "x"))

SVE_FAMILY(loop_control, LOOP_CONTROL)
