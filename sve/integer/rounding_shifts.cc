// Rounding and saturating shifts: by a signed count per element (SRSHL,
// SQSHL, SQRSHL and their unsigned and reversed forms), by an immediate under
// a predicate (SQSHL, UQSHL, SQSHLU, SRSHR, URSHR), and the unpredicated
// shift right and accumulate (SSRA, USRA, SRSRA, URSRA) and shift and insert
// (SLI, SRI).
//
// A count per element is the whole count element, signed: positive shifts
// left, negative shifts right, and a count beyond the element width acts as
// the exact shift of an unbounded integer would. Left shifts see every bit
// that leaves the element (the saturating forms clamp on it); the rounding
// forms add half of the result's unit before shifting right. Everything is
// computed at the element width, without a wider type, so that the element
// loops vectorise wherever the host shifts each lane by its own count.
// Saturation sets no flag.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/host_kernels.h"
#include "kernel_loop.h"

namespace sve {

namespace {

template <class T>
constexpr unsigned ebits = sizeof(T) * 8;

// A count reduced below the element width, which keeps the C++ shift
// defined; the callers choose the result of a larger count themselves. A
// count is unsigned, of any width: the shifts by a vector take it at the
// element's own width, so that their loops vectorise.
template <class T, class N>
constexpr N masked(N n) {
  return N(n & (ebits<T> - 1));
}

// c ? a : b. Narrow elements choose by masks, not branches, so that even
// the longest chains of choices (the saturating rounding shifts) stay within
// what the compiler turns into vector selects. The saturating loops of
// doublewords do not vectorise either way, and in scalar code a branch that
// skips one side is cheaper than a mask that forms both.
template <class T>
T choose(bool c, T a, T b) {
  if constexpr (sizeof(T) == 8) return c ? a : b;
  return select(T(T(0) - T(c)), a, b);
}

// v << n; 0 once n reaches the width. Narrow elements shift as unsigned int,
// whose promotion keeps the shift defined.
template <class T, class N>
T left(T v, N n) {
  using W = std::conditional_t<(sizeof(T) < sizeof(unsigned)), unsigned, T>;
  return choose(n < ebits<T>, T(W(v) << masked<T>(n)), T(0));
}

// v >> n, arithmetic or logical, for any n: past the width only the sign
// fill (or 0) is left.
template <bool Signed, class T, class N>
T right(T v, N n) {
  if constexpr (Signed) return T(signed_t<T>(v) >> (n < ebits<T> ? n : N(ebits<T> - 1)));
  return choose(n < ebits<T>, T(v >> masked<T>(n)), T(0));
}

// (v + 2^(n-1)) >> n for n >= 1, without the sum: the last bit shifted out
// is added to the value shifted one place less and halved. The result is at
// most half the element's range, so it always fits.
template <bool Signed, class T, class N>
T right_rounded(T v, N n) {
  T x = right<Signed>(v, N(n - 1));
  return T(right<Signed>(x, 1u) + (x & 1));
}

// The saturating kinds of a left shift: signed to signed, unsigned to
// unsigned, signed to unsigned (SQSHLU).
enum class clamp { none, s_to_s, u_to_u, s_to_u };

// v << n clamped to the destination's range. The value fits when it lies
// between the limits shifted right by n, which the element holds for every
// n, so no wider type is needed.
template <clamp K, class T, class N>
T left_clamped(T v, N n) {
  const T low = left(v, n);
  constexpr T umax = T(~T(0)), smax = T(umax >> 1), smin = T(smax + 1);
  if constexpr (K == clamp::none) {
    return low;
  } else if constexpr (K == clamp::u_to_u) {
    return choose(v > right<false>(umax, n), umax, low);
  } else if constexpr (K == clamp::s_to_u) {
    return choose(signed_t<T>(v) < 0, T(0), choose(v > right<false>(umax, n), umax, low));
  } else {
    // The lower limit is -(2^(w-1) >> n), 0 once n reaches the width.
    const signed_t<T> hi = signed_t<T>(right<false>(smax, n)), lo = signed_t<T>(T(0) - right<false>(smin, n));
    const signed_t<T> sv = signed_t<T>(v);
    return choose(sv > hi, smax, choose(sv < lo, smin, low));
  }
}

// Shift by a signed count element: left by the count, or right by its
// negation, both formed and one chosen by the sign. The helpers take any
// unsigned count, so the other direction's huge count is harmless.
template <bool Signed, bool Round, bool Saturate>
struct by_count {
  static constexpr bool is_signed = Signed, rounds_only = Round && !Saturate;
  template <class T>
  static T apply(T v, T count) {
    constexpr clamp k = Saturate ? (Signed ? clamp::s_to_s : clamp::u_to_u) : clamp::none;
    const T down = T(T(0) - count);
    const T l = left_clamped<k>(v, count);
    const T r = Round ? right_rounded<Signed>(v, down) : right<Signed>(v, down);
    return choose(signed_t<T>(count) >= 0, l, r);
  }
};

// An x86 host shifts each lane by its own count only from AVX2 on: there the
// loop is built for the widest unit, and the rounding shifts of doublewords
// have a kernel of their own. The loop captures the registers' addresses,
// not the records, which would be copied to the stack to be captured.
template <class Op, bool Reversed>
aarch64_decode_rc shift_by_vector(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  uint8_t* d = s->z[zdn.reg];
  const uint8_t *m = s->z[zm.reg], *p = s->p[pg.reg];
  return by_size(zdn.rw_elem, [d, m, p]<class T>(T) {
    if constexpr (sizeof(T) == 8 && Op::rounds_only)
      if (host::rounding_shift_doublewords(Op::is_signed, Reversed, d, m, p)) return aarch64_decode_ok;
    auto loop = [&] {
      merge_loop<T>(d, p, [&](unsigned i) {
        const T a = load<T>(d + i), b = load<T>(m + i);
        return Reversed ? Op::apply(b, a) : Op::apply(a, b);
      });
    };
    if (!host::widest(loop)) loop();
    return aarch64_decode_ok;
  });
}

// Shifts by an immediate.
template <clamp K>
struct left_by {
  template <class T>
  static T apply(T v, unsigned n) {
    return left_clamped<K>(v, n);
  }
};
template <bool Signed>
struct right_rounded_by {
  template <class T>
  static T apply(T v, unsigned n) {
    return right_rounded<Signed>(v, n);
  }
};

template <class Op>
aarch64_decode_rc shift_by_immediate(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, uint32_t n) {
  return by_size(zdn.rw_elem, [&]<class T>(T) {
    uint8_t* d = s->z[zdn.reg];
    return merge_loop<T>(d, s->p[pg.reg], [&](unsigned i) { return Op::apply(load<T>(d + i), n); });
  });
}

// Zda plus Zn shifted right, wrapping.
template <bool Signed, bool Round>
struct accumulate {
  template <class T>
  static T apply(T acc, T v, unsigned n) {
    return T(acc + (Round ? right_rounded<Signed>(v, n) : right<Signed>(v, n)));
  }
};

// Zn shifted into Zd, which keeps the bits the shift leaves empty: its high
// n bits for SRI (all of them at n = width), its low n bits for SLI.
template <bool Left>
struct insert {
  template <class T>
  static T apply(T d, T v, unsigned n) {
    const T mask = Left ? left(T(~T(0)), n) : right<false>(T(~T(0)), n);
    return T((d & ~mask) | ((Left ? left(v, n) : right<false>(v, n)) & mask));
  }
};

template <class Op>
aarch64_decode_rc shift_into(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, uint32_t n) {
  return by_size(zda.rw_elem, [&]<class T>(T) {
    const uint8_t *d = s->z[zda.reg], *a = s->z[zn.reg];
    return all_loop<T>(s->z[zda.reg], [&](unsigned i) { return Op::apply(load<T>(d + i), load<T>(a + i), n); });
  });
}

// Zdn 4:0, Pg 12:10 merging, the amount of tsz:imm3.
template <class Op, bool Right>
struct vim_amount : direct_base<shift_by_immediate<Op>> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    const uint32_t n = Right ? shift_right_amount(w, T::code, true) : shift_left_amount(w, T::code, true);
    return vim_amount::call(s, w, z_dst_src(w, 4, 0, T::code), p_gov(w, 12, 10, P_M), n);
  }
};

// Zda 4:0, Zn 9:5, the amount of tsz:imm3.
template <class Op, bool Right>
struct vix_into : direct_base<shift_into<Op>> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    const uint32_t n = Right ? shift_right_amount(w, T::code, false) : shift_left_amount(w, T::code, false);
    return vix_into::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 9, 5, T::code), n);
  }
};

template <bool Signed, bool Round, bool Saturate, bool Reversed>
using vvm_count = vvm<shift_by_vector<by_count<Signed, Round, Saturate>, Reversed>>;

}  // namespace

}  // namespace sve

using namespace sve;

// By a count per element, "01000100 ss 00 Q R N U 100 ggg mmmmm ddddd":
// Q saturates, R rounds, N reverses the operands, U is unsigned.
#define SVE2_SHIFT_VVM(opc, S, R, Q, N, mnemonic)                                                \
  "01000100 ss 00 " opc " 100 ggg mmmmm ddddd", direct, (vvm_count<S, R, Q, N>), \
      mnemonic " z0.T, p0/m, z0.T, z1.T"
// By an immediate, predicated: "01000100 tszh 00 opc 100 ggg tszl imm3
// ddddd", with the element size at the lowest set bit of tsz.
#define SVE2_SHIFT_VIM(X, op, sizes, opc, impl, mnemonic)                                                        \
  X(sve2_31_13__9_8, op, sizes##8, "00000100 00 00 " opc " 100 ggg 01 iii ddddd", direct, impl, mnemonic " z0.T, p0/m, z0.T, #1") \
  X(sve2_31_13__9_9, op, sizes##16, "00000100 00 00 " opc " 100 ggg 1 iiii ddddd", direct, impl, mnemonic " z0.T, p0/m, z0.T, #1") \
  X(sve2_31_13, op, sizes##32, "00000100 01 00 " opc " 100 ggg iiiii ddddd", direct, impl, mnemonic " z0.T, p0/m, z0.T, #1") \
  X(sve2_31_23__21_13, op, sizes##64, "00000100 1 i 00 " opc " 100 ggg iiiii ddddd", direct, impl, mnemonic " z0.T, p0/m, z0.T, #1")
// Unpredicated, "01000101 tszh 0 tszl imm3 opc nnnnn ddddd".
#define SVE2_SHIFT_VIX(X, op, sizes, opc, impl, mnemonic)                                                       \
  X(sve2_31_19__15_10, op, sizes##8, "01000101 00 0 01 iii " opc " nnnnn ddddd", direct, impl, mnemonic " z0.T, z1.T, #1") \
  X(sve2_31_20__15_10, op, sizes##16, "01000101 00 0 1 iiii " opc " nnnnn ddddd", direct, impl, mnemonic " z0.T, z1.T, #1") \
  X(sve2_31_21__15_10, op, sizes##32, "01000101 01 0 iiiii " opc " nnnnn ddddd", direct, impl, mnemonic " z0.T, z1.T, #1") \
  X(sve2_31_23__21_21__15_10, op, sizes##64, "01000101 1 i 0 iiiii " opc " nnnnn ddddd", direct, impl, mnemonic " z0.T, z1.T, #1")

#define INTEGER_ROUNDING_SHIFTS(X)                                                                      \
  SVE_S4(X, sve2_31_13, RShlVVM, SVE2_SHIFT_VVM("0010", true, true, false, false, "srshl"))               \
  SVE_U4(X, sve2_31_13, RShlVVM, SVE2_SHIFT_VVM("0011", false, true, false, false, "urshl"))              \
  SVE_S4(X, sve2_31_13, RShlRVVM, SVE2_SHIFT_VVM("0110", true, true, false, true, "srshlr"))              \
  SVE_U4(X, sve2_31_13, RShlRVVM, SVE2_SHIFT_VVM("0111", false, true, false, true, "urshlr"))             \
  SVE_S4(X, sve2_31_13, QShlVVM, SVE2_SHIFT_VVM("1000", true, false, true, false, "sqshl"))               \
  SVE_U4(X, sve2_31_13, QShlVVM, SVE2_SHIFT_VVM("1001", false, false, true, false, "uqshl"))              \
  SVE_S4(X, sve2_31_13, QRShlVVM, SVE2_SHIFT_VVM("1010", true, true, true, false, "sqrshl"))              \
  SVE_U4(X, sve2_31_13, QRShlVVM, SVE2_SHIFT_VVM("1011", false, true, true, false, "uqrshl"))             \
  SVE_S4(X, sve2_31_13, QShlRVVM, SVE2_SHIFT_VVM("1100", true, false, true, true, "sqshlr"))              \
  SVE_U4(X, sve2_31_13, QShlRVVM, SVE2_SHIFT_VVM("1101", false, false, true, true, "uqshlr"))             \
  SVE_S4(X, sve2_31_13, QRShlRVVM, SVE2_SHIFT_VVM("1110", true, true, true, true, "sqrshlr"))             \
  SVE_U4(X, sve2_31_13, QRShlRVVM, SVE2_SHIFT_VVM("1111", false, true, true, true, "uqrshlr"))            \
  SVE2_SHIFT_VIM(X, QShlVIM, S, "0110", (vim_amount<left_by<clamp::s_to_s>, false>), "sqshl")             \
  SVE2_SHIFT_VIM(X, QShlVIM, U, "0111", (vim_amount<left_by<clamp::u_to_u>, false>), "uqshl")             \
  SVE2_SHIFT_VIM(X, QShlUVIM, S, "1111", (vim_amount<left_by<clamp::s_to_u>, false>), "sqshlu")           \
  SVE2_SHIFT_VIM(X, RShrVIM, S, "1100", (vim_amount<right_rounded_by<true>, true>), "srshr")              \
  SVE2_SHIFT_VIM(X, RShrVIM, U, "1101", (vim_amount<right_rounded_by<false>, true>), "urshr")             \
  SVE2_SHIFT_VIX(X, ShrAccVIX, S, "111000", (vix_into<accumulate<true, false>, true>), "ssra")           \
  SVE2_SHIFT_VIX(X, ShrAccVIX, U, "111001", (vix_into<accumulate<false, false>, true>), "usra")          \
  SVE2_SHIFT_VIX(X, RShrAccVIX, S, "111010", (vix_into<accumulate<true, true>, true>), "srsra")          \
  SVE2_SHIFT_VIX(X, RShrAccVIX, U, "111011", (vix_into<accumulate<false, true>, true>), "ursra")         \
  SVE2_SHIFT_VIX(X, ShrInsVIX, U, "111100", (vix_into<insert<false>, true>), "sri")                      \
  SVE2_SHIFT_VIX(X, ShlInsVIX, U, "111101", (vix_into<insert<true>, false>), "sli")

SVE_FAMILY(integer_rounding_shifts, INTEGER_ROUNDING_SHIFTS)
