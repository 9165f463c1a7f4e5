// Narrowing to half-width elements: the high half of a sum or difference
// (ADDHN, SUBHN and their rounding forms), a shift right by an immediate,
// plain, rounding and saturating (SHRN, RSHRN, SQSHRN, UQRSHRN, SQSHRUN ...),
// and the saturating extracts (SQXTN, UQXTN, SQXTUN). Each wide source
// element gives one narrow result. The bottom forms (bit 10 clear) write it
// to the even narrow element and zero the odd one; the top forms write it to
// the odd narrow element and keep the even one, so Zd is also a source.
// Saturation here sets no flag.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "kernel_loop.h"

namespace sve {

namespace {

template <class W>
constexpr unsigned half_bits = sizeof(W) * 4;
template <class W>
constexpr W low_half = W(W(~W(0)) >> half_bits<W>);

// Walks the wide elements of the vector: half(i) is the narrow result of the
// wide element at byte i, in the low half of a wide value.
template <class W, class F>
aarch64_decode_rc narrow_loop(uint8_t* zd, bool top, F&& half) {
  alignas(16) uint8_t tmp[sve_vl_bytes];
  if (top) {
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(W))
      store<W>(tmp + i, W((load<W>(zd + i) & low_half<W>) | W(W(half(i) & low_half<W>) << half_bits<W>)));
  } else {
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(W)) store<W>(tmp + i, W(half(i) & low_half<W>));
  }
  std::memcpy(zd, tmp, sve_vl_bytes);
  return aarch64_decode_ok;
}

// The top forms read their destination; their handlers say so in its record.
bool is_top(aarch64_z_reg zd) { return zd.rw_elem != Z_NONE; }

// The high half of a + b or a - b at the wide size, wrapping; the rounding
// forms add half of the lowest kept bit first, which wraps with the rest.
template <bool Sub, bool Round>
aarch64_decode_rc high_half(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size<Z_H, Z_S, Z_D>(zn.elem, [&]<class W>(W) {
    constexpr W bias = Round ? W(W(1) << (half_bits<W> - 1)) : W(0);
    const uint8_t *a = s->z[zn.reg], *b = s->z[zm.reg];
    return narrow_loop<W>(s->z[zd.reg], is_top(zd), [&](unsigned i) {
      W x = load<W>(a + i), y = load<W>(b + i);
      return W(W((Sub ? W(x - y) : W(x + y)) + bias) >> half_bits<W>);
    });
  });
}

enum class clamp { none, to_signed, to_unsigned };

// A wide element shifted right by n (0 to the narrow width) and clamped to
// the narrow range. Rounding adds bit n - 1 of the element to the shifted
// value, which equals adding 2^(n-1) before the shift but cannot overflow.
template <bool SignedIn, clamp C, bool Round, class W>
W shifted_narrow(W a, unsigned n) {
  constexpr unsigned h = half_bits<W>;
  W carry = 0;
  if constexpr (Round) carry = W(W(a >> (n - 1)) & 1);
  if constexpr (SignedIn) {
    using S = signed_t<W>;
    S v = S(S(S(a) >> n) + S(carry));
    if constexpr (C != clamp::none) {
      constexpr S lo = C == clamp::to_signed ? S(-(S(1) << (h - 1))) : S(0);
      constexpr S hi = C == clamp::to_signed ? S((S(1) << (h - 1)) - 1) : S(low_half<W>);
      v = v < lo ? lo : v > hi ? hi : v;
    }
    return W(v);
  } else {
    W v = W(W(a >> n) + carry);
    if constexpr (C == clamp::to_unsigned) v = v > low_half<W> ? low_half<W> : v;
    return v;
  }
}

template <bool SignedIn, clamp C, bool Round>
aarch64_decode_rc shift_narrow(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, uint32_t n) {
  return by_size<Z_H, Z_S, Z_D>(zn.elem, [&]<class W>(W) {
    const uint8_t* a = s->z[zn.reg];
    return narrow_loop<W>(s->z[zd.reg], is_top(zd),
                          [&](unsigned i) { return shifted_narrow<SignedIn, C, Round>(load<W>(a + i), n); });
  });
}

// Zd 4:0 at the narrow size, read as well when bit 10 selects the top half.
constexpr aarch64_z_reg z_narrow(uint32_t w, uint32_t wide_code) {
  return field(w, 10, 10) ? z_dst_src(w, 4, 0, wide_code - 1) : z_plain(w, 4, 0, wide_code - 1);
}

// Zd 4:0, Zn 9:5 and Zm 20:16 at the wide size.
template <auto Kernel>
struct narrow_vv : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return narrow_vv::call(s, w, z_narrow(w, T::code), z_plain(w, 9, 5, T::code), z_plain(w, 20, 16, T::code));
  }
};

// Zd 4:0, Zn 9:5 at the wide size, a right shift of 1 to the narrow width
// coded as a right shift at the narrow size.
template <auto Kernel>
struct narrow_vi : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return narrow_vi::call(s, w, z_narrow(w, T::code), z_plain(w, 9, 5, T::code),
                           shift_right_amount(w, T::code - 1, false));
  }
};

// Zd 4:0, Zn 9:5 at the wide size: an extract is a narrowing shift by zero.
template <auto Kernel>
struct narrow_v : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return narrow_v::call(s, w, z_narrow(w, T::code), z_plain(w, 9, 5, T::code), 0u);
  }
};

}  // namespace

}  // namespace sve

using namespace sve;

// Each instruction at the three wide sizes, with its bottom (bit 10 clear)
// and top forms. High halves: "01000101 ss 1 mmmmm 011 S R T nnnnn ddddd".
#define SVE_HIGH_HALF(X, op, sr, impl, mnemonic)             \
  SVE_HIGH_HALF_SIZES(X, op##BVVX, sr "0", impl, mnemonic "b") \
  SVE_HIGH_HALF_SIZES(X, op##TVVX, sr "1", impl, mnemonic "t")
#define SVE_HIGH_HALF_SIZES(X, op, srt, impl, mnemonic)                                                           \
  X(sve2_31_21__15_10, op, U16, "01000101 ss 1 mmmmm 011 " srt " nnnnn ddddd", direct, impl, mnemonic " z0.b, z1.h, z2.h") \
  X(sve2_31_21__15_10, op, U32, "01000101 ss 1 mmmmm 011 " srt " nnnnn ddddd", direct, impl, mnemonic " z0.h, z1.s, z2.s") \
  X(sve2_31_21__15_10, op, U64, "01000101 ss 1 mmmmm 011 " srt " nnnnn ddddd", direct, impl, mnemonic " z0.s, z1.d, z2.d")
// Shifts, "01000101 0 tszh 1 tszl imm3 00 op U R T nnnnn ddddd": the highest
// set bit of tsz marks the narrow size.
#define SVE_SHIFT_NARROW(X, op, sign, our, impl, mnemonic)                \
  SVE_SHIFT_NARROW_SIZES(X, op##BVIX, sign, our "0", impl, mnemonic "b") \
  SVE_SHIFT_NARROW_SIZES(X, op##TVIX, sign, our "1", impl, mnemonic "t")
#define SVE_SHIFT_NARROW_SIZES(X, op, sign, ourt, impl, mnemonic)                                                   \
  X(sve2_31_19__15_10, op, sign##16, "01000101 0 0 1 01 iii 00 " ourt " nnnnn ddddd", direct, impl, mnemonic " z0.b, z1.h, #1") \
  X(sve2_31_20__15_10, op, sign##32, "01000101 0 0 1 1 iiii 00 " ourt " nnnnn ddddd", direct, impl, mnemonic " z0.h, z1.s, #1") \
  X(sve2_31_21__15_10, op, sign##64, "01000101 0 1 1 iiiii 00 " ourt " nnnnn ddddd", direct, impl, mnemonic " z0.s, z1.d, #1")
// Extracts, "01000101 0 tszh 1 tszl 000 010 opc T nnnnn ddddd".
#define SVE_EXTRACT_NARROW(X, op, sign, opc, impl, mnemonic)                \
  SVE_EXTRACT_NARROW_SIZES(X, op##BVX, sign, opc "0", impl, mnemonic "b") \
  SVE_EXTRACT_NARROW_SIZES(X, op##TVX, sign, opc "1", impl, mnemonic "t")
#define SVE_EXTRACT_NARROW_SIZES(X, op, sign, opct, impl, mnemonic)                                         \
  X(sve2_31_10, op, sign##16, "01000101 0 0 1 01 000 010 " opct " nnnnn ddddd", direct, impl, mnemonic " z0.b, z1.h") \
  X(sve2_31_10, op, sign##32, "01000101 0 0 1 10 000 010 " opct " nnnnn ddddd", direct, impl, mnemonic " z0.h, z1.s") \
  X(sve2_31_10, op, sign##64, "01000101 0 1 1 00 000 010 " opct " nnnnn ddddd", direct, impl, mnemonic " z0.s, z1.d")

#define INTEGER_NARROWING(X)                                                                                        \
  SVE_HIGH_HALF(X, AddHigh, "00", (narrow_vv<high_half<false, false>>), "addhn")                                     \
  SVE_HIGH_HALF(X, RAddHigh, "01", (narrow_vv<high_half<false, true>>), "raddhn")                                    \
  SVE_HIGH_HALF(X, SubHigh, "10", (narrow_vv<high_half<true, false>>), "subhn")                                      \
  SVE_HIGH_HALF(X, RSubHigh, "11", (narrow_vv<high_half<true, true>>), "rsubhn")                                     \
  SVE_SHIFT_NARROW(X, ShrNarrow, U, "010", (narrow_vi<shift_narrow<false, clamp::none, false>>), "shrn")           \
  SVE_SHIFT_NARROW(X, RShrNarrow, U, "011", (narrow_vi<shift_narrow<false, clamp::none, true>>), "rshrn")          \
  SVE_SHIFT_NARROW(X, QShrNarrow, S, "100", (narrow_vi<shift_narrow<true, clamp::to_signed, false>>), "sqshrn")    \
  SVE_SHIFT_NARROW(X, QRShrNarrow, S, "101", (narrow_vi<shift_narrow<true, clamp::to_signed, true>>), "sqrshrn")   \
  SVE_SHIFT_NARROW(X, QShrNarrow, U, "110", (narrow_vi<shift_narrow<false, clamp::to_unsigned, false>>), "uqshrn") \
  SVE_SHIFT_NARROW(X, QRShrNarrow, U, "111", (narrow_vi<shift_narrow<false, clamp::to_unsigned, true>>), "uqrshrn") \
  SVE_SHIFT_NARROW(X, QShrUNarrow, S, "000", (narrow_vi<shift_narrow<true, clamp::to_unsigned, false>>), "sqshrun") \
  SVE_SHIFT_NARROW(X, QRShrUNarrow, S, "001", (narrow_vi<shift_narrow<true, clamp::to_unsigned, true>>), "sqrshrun") \
  SVE_EXTRACT_NARROW(X, QNarrow, S, "00", (narrow_v<shift_narrow<true, clamp::to_signed, false>>), "sqxtn")         \
  SVE_EXTRACT_NARROW(X, QNarrow, U, "01", (narrow_v<shift_narrow<false, clamp::to_unsigned, false>>), "uqxtn")      \
  SVE_EXTRACT_NARROW(X, QUNarrow, S, "10", (narrow_v<shift_narrow<true, clamp::to_unsigned, false>>), "sqxtun")

SVE_FAMILY(integer_narrowing, INTEGER_NARROWING)
