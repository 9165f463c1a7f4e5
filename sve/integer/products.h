// Element steps and operand shapes that the multiply families share: the
// high half of a product, the doubling products that saturate, carry-less
// products, and the unpredicated three-vector shape.
#pragma once

#include <limits>
#include <type_traits>

#include "../decode/direct.h"
#include "kernel_loop.h"

namespace sve {

// The signed type of twice the width of T: it holds the product of two
// signed T exactly, with room for a rounding constant.
template <class T>
using product_t = std::conditional_t<
    sizeof(T) == 1, int16_t, std::conditional_t<sizeof(T) == 2, int32_t, std::conditional_t<sizeof(T) == 4, int64_t, __int128>>>;

// The high half of the double-width product, computed in the type of twice
// the width: the form the compiler turns into a vector high multiply. (With
// a still wider intermediate, GCC 12 vectorises the signed halfword case
// wrongly.)
template <class T, bool Signed>
T mul_high(T a, T b) {
  using P = product_t<T>;
  constexpr unsigned n = sizeof(T) * 8;
  if constexpr (sizeof(T) == 8 && !Signed) {
    return T((unsigned __int128)a * b >> 64);
  } else if constexpr (Signed) {
    return T(P(P(signed_t<T>(a)) * P(signed_t<T>(b))) >> n);
  } else {
    using U = std::make_unsigned_t<P>;
    return T(U(U(a) * U(b)) >> n);
  }
}

// x clamped to the signed range of T, as a T bit pattern.
template <class T, class W>
T clamp_signed(W x) {
  constexpr W lo = std::numeric_limits<signed_t<T>>::min(), hi = std::numeric_limits<signed_t<T>>::max();
  return T(x < lo ? lo : x > hi ? hi : x);
}

// The doubled product 2ab shifted right by the width of T, rounded to
// nearest (ties up) when Round, plus acc: SQDMULH, SQRDMULH, SQRDMLAH and,
// with a negated product, SQRDMLSH. Computed as (ab + r) >> (width - 1),
// which is the same quotient without the doubling that would overflow for
// doublewords; the one overflow left, the most negative value squared,
// saturates with everything else.
template <class T, bool Round, bool Negate = false>
T doubling_high(T a, T b, T acc = 0) {
  using W = product_t<T>;
  constexpr unsigned n = sizeof(T) * 8;
  W p = W(signed_t<T>(a)) * W(signed_t<T>(b));
  if constexpr (Negate) p = -p;
  if constexpr (Round) p += W(1) << (n - 2);
  return clamp_signed<T>(W(signed_t<T>(acc)) + (p >> (n - 1)));
}

// The carry-less product of the n-bit polynomials a and b, in W.
template <class W, class N>
W poly_mul(N a, N b) {
  W r = 0;
  for (unsigned i = 0; i < sizeof(N) * 8; ++i) r ^= W(W(a) << i) & W(W(0) - W(b >> i & 1));
  return r;
}

// The size code of a result record: a destination that is only written
// carries it in elem, an accumulator in rw_elem.
constexpr uint32_t result_code(aarch64_z_reg zd) { return zd.elem != Z_NONE ? zd.elem : zd.rw_elem; }

// Zd 4:0, Zn 9:5, Zm 20:16, unpredicated. Acc marks a destination that is
// also read (an accumulator); the sources lie Narrowing size steps below
// the result: 1 for widening products, 0 otherwise.
template <auto Kernel, bool Acc, uint32_t Narrowing = 0>
struct zzz : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code, n = T::code - Narrowing;
    return zzz::call(s, w, Acc ? z_dst_src(w, 4, 0, c) : z_plain(w, 4, 0, c), z_plain(w, 9, 5, n),
                     z_plain(w, 20, 16, n));
  }
};

}  // namespace sve
