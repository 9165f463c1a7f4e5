// Loop control: WHILELT, WHILELE, WHILELO and WHILELS build a predicate from
// two scalar counters counting up, WHILEGT, WHILEGE, WHILEHI and WHILEHS from
// two counting down, WHILEWR and WHILERW from the distance of two pointers;
// CTERMEQ and CTERMNE end a loop on a scalar compare. The WHILE forms are
// direct kernels, CTERM runs as a library routine.
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

// The flags test the predicate against an all-true one: N for a true first
// element, Z for none, C unless the last element is true. The element size
// only sets the number of elements and the pattern.
void set_while_flags(cpu_state* s, bool first, bool none, bool last) {
  const uint64_t flags = uint64_t(first) << 31 | uint64_t(none) << 30 | uint64_t(!last) << 29;
  s->nzcv = (s->nzcv & ~uint64_t(0xf0000000)) | flags;
}

// Counting down, Rn is the counter of the last element and the true
// elements are a suffix: element e is true while Rn - k > Rm (or >=) held
// for every k from the last element down to e. Complementing both counters
// turns this into the count up (~a < ~b exactly when a > b, and
// ~(a - 1) = ~a + 1), the minimum as the limit becoming the maximum.
template <class R, bool OrEqual, bool Down>
aarch64_decode_rc while_predicate(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  const unsigned size_log = pd.elem & 3, n = sve_vl_bytes >> size_log;
  R op1 = R(read_x(s, rn)), op2 = R(read_x(s, rm));
  if (Down) op1 = R(~op1), op2 = R(~op2);
  const unsigned count = while_count<R, OrEqual>(op1, op2, n);
  if (Down) {
    write_suffix(s->p[pd.reg], count, size_log);
    set_while_flags(s, count == n, count == 0, count > 0);
  } else {
    write_prefix(s->p[pd.reg], count, size_log);
    set_while_flags(s, count > 0, count == 0, count == n);
  }
  return aarch64_decode_ok;
}

// The counters are 32 or 64 bits wide by the view of Rn, signed or not.
template <bool Signed, bool OrEqual, bool Down = false>
aarch64_decode_rc while_kernel(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  using R32 = std::conditional_t<Signed, int32_t, uint32_t>;
  using R64 = std::conditional_t<Signed, int64_t, uint64_t>;
  return rn.elem == I_X ? while_predicate<R64, OrEqual, Down>(s, pd, rn, rm)
                        : while_predicate<R32, OrEqual, Down>(s, pd, rn, rm);
}

// WHILEWR and WHILERW: the elements from Xn on that can be read or written
// before the access at Xm overlaps them, in whole elements; the rest of the
// vector false. The distance is the exact difference of the two addresses
// as unsigned numbers, in whole elements rounded down. Writes then reads
// (WR) only conflict when Xm lies above Xn, so a distance of 0 or below
// leaves every element true; reads then writes (RW) conflict either way, by
// the absolute distance, and only a distance of 0 leaves every element true.
// Addresses less than one element apart are at a distance of 0.
template <bool ReadAfterWrite>
aarch64_decode_rc hazard_kernel(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  const unsigned size_log = pd.elem & 3, n = sve_vl_bytes >> size_log;
  __int128 diff = __int128(read_x(s, rm)) - __int128(read_x(s, rn));
  if (ReadAfterWrite && diff < 0) diff = -diff;
  diff >>= size_log;
  const unsigned count = diff <= 0 || diff >= n ? n : unsigned(diff);
  write_prefix(s->p[pd.reg], count, size_log);
  set_while_flags(s, true, false, count == n);
  return aarch64_decode_ok;
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
aarch64_decode_rc sve_whilegt_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<true, false, true>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilege_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<true, true, true>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilehi_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<false, false, true>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilehs_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return while_kernel<false, true, true>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilewr_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return hazard_kernel<false>(s, pd, rn, rm);
}
aarch64_decode_rc sve_whilerw_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
  return hazard_kernel<true>(s, pd, rn, rm);
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
// "00100101 ss 1 mmmmm 000 sf U 0 nnnnn eq dddd": the counts down.
#define SVE_WHILE_DOWN(sf, u, eq, kernel, mnemonic, r) \
  "00100101 ss 1 mmmmm 000 " sf " " u " 0 nnnnn " eq " dddd", direct, (while_shape<kernel>), mnemonic " p0.T, " r "1, " r "2"
// "00100101 ss 1 mmmmm 001100 nnnnn rw dddd": the pointer distances.
#define SVE_WHILE_HAZARD(rw, kernel, mnemonic) \
  "00100101 ss 1 mmmmm 001100 nnnnn " rw " dddd", direct, (while_shape<kernel>), mnemonic " p0.T, x1, x2"
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
  X(31_21__15_10__4_0, CTermNE, U64, SVE_CTERM("1", "1", "ctermne", "x"))                                  \
  SVE_S4(X, sve2_31_21__15_10__4_4, While4GTSS, SVE_WHILE_DOWN("0", "0", "1", sve_whilegt_prr, "whilegt", "w"))  \
  SVE_S4(X, sve2_31_21__15_10__4_4, While8GTSS, SVE_WHILE_DOWN("1", "0", "1", sve_whilegt_prr, "whilegt", "x"))  \
  SVE_S4(X, sve2_31_21__15_10__4_4, While4GESS, SVE_WHILE_DOWN("0", "0", "0", sve_whilege_prr, "whilege", "w"))  \
  SVE_S4(X, sve2_31_21__15_10__4_4, While8GESS, SVE_WHILE_DOWN("1", "0", "0", sve_whilege_prr, "whilege", "x"))  \
  SVE_U4(X, sve2_31_21__15_10__4_4, While4GTSS, SVE_WHILE_DOWN("0", "1", "1", sve_whilehi_prr, "whilehi", "w"))  \
  SVE_U4(X, sve2_31_21__15_10__4_4, While8GTSS, SVE_WHILE_DOWN("1", "1", "1", sve_whilehi_prr, "whilehi", "x"))  \
  SVE_U4(X, sve2_31_21__15_10__4_4, While4GESS, SVE_WHILE_DOWN("0", "1", "0", sve_whilehs_prr, "whilehs", "w"))  \
  SVE_U4(X, sve2_31_21__15_10__4_4, While8GESS, SVE_WHILE_DOWN("1", "1", "0", sve_whilehs_prr, "whilehs", "x"))  \
  SVE_U4(X, sve2_31_21__15_10__4_4, WhileWRSS, SVE_WHILE_HAZARD("0", sve_whilewr_prr, "whilewr"))               \
  SVE_U4(X, sve2_31_21__15_10__4_4, WhileRWSS, SVE_WHILE_HAZARD("1", sve_whilerw_prr, "whilerw"))

SVE_FAMILY(loop_control, LOOP_CONTROL)
