// Widening multiplies: each result element is the product of two elements
// of half its width, the even-numbered ("bottom", B) or the odd-numbered
// ("top", T) ones of Zn, and of Zm or of one element of Zm in each 128-bit
// segment. SMULL, UMULL, SQDMULL and PMULL write the product; SMLAL, UMLAL,
// SMLSL, UMLSL add it to or subtract it from the accumulator, wrapping;
// SQDMLAL and SQDMLSL saturate the doubled product and then the sum or
// difference. Saturation sets no flag.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/bit_ops.h"
#include "kernel_loop.h"
#include "products.h"

namespace sve {

namespace {

template <class W> struct half_of;
template <> struct half_of<uint16_t> { using type = uint8_t; };
template <> struct half_of<uint32_t> { using type = uint16_t; };
template <> struct half_of<uint64_t> { using type = uint32_t; };
template <> struct half_of<unsigned __int128> { using type = uint64_t; };

// The exact product of two narrow elements in the wide type W.
template <bool Signed, class W, class N>
W product(N a, N b) {
  if constexpr (Signed) {
    using S = signed_t<W>;
    return W(S(signed_t<N>(a)) * S(signed_t<N>(b)));
  } else {
    return wrap_mul(W(a), W(b));
  }
}

// 2p for the signed product p of two narrow elements. Only the most negative
// narrow value squared doubles out of range, to the signed maximum of W.
template <class W>
W doubled(W p) {
  constexpr W quarter = W(1) << (sizeof(W) * 8 - 2), max = W(~W(0)) >> 1;
  return select(W(W(0) - W(p == quarter)), max, W(p << 1));
}

// Op(d, a, b) gives the wide element from the old destination d and the
// narrow elements a and b.
template <bool Signed>
constexpr auto mul_long = [](auto d, auto a, auto b) { return product<Signed, decltype(d)>(a, b); };
constexpr auto sqdmull = [](auto d, auto a, auto b) { return doubled(product<true, decltype(d)>(a, b)); };
template <bool Signed, bool Sub>
constexpr auto mla_long = [](auto d, auto a, auto b) {
  const auto p = product<Signed, decltype(d)>(a, b);
  return decltype(d)(Sub ? d - p : d + p);
};
template <bool Sub>
constexpr auto sqdmla_long = [](auto d, auto a, auto b) {
  return saturate<true, Sub>(d, doubled(product<true, decltype(d)>(a, b)));
};
// Bytes, halfwords and words are multiplied in a loop that vectorises;
// doublewords, whose product takes 128 bits, by PolynomialMult.
constexpr auto pmull = [](auto d, auto a, auto b) {
  using W = decltype(d);
  if constexpr (sizeof(W) == 16) return PolynomialMult(a, b);
  else return poly_mul<W>(a, b);
};

// The result element at byte i takes a from byte i + a_byte of Zn and b
// from byte b_byte(i) of Zm.
template <class W, auto Op, class PickB>
aarch64_decode_rc long_loop(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm, unsigned a_byte,
                            PickB b_byte) {
  using N = typename half_of<W>::type;
  const uint8_t *d = s->z[zd.reg], *a = s->z[zn.reg] + a_byte, *b = s->z[zm.reg];
  return all_loop<W>(s->z[zd.reg],
                     [&](unsigned i) { return W(Op(load<W>(d + i), load<N>(a + i), load<N>(b + b_byte(i)))); });
}

// Results of halfwords, words and doublewords, and quadwords when Quad.
template <bool Quad, class F>
aarch64_decode_rc by_wide_size(uint32_t code, F&& f) {
  if constexpr (Quad)
    if (code == Z_Q) return f((unsigned __int128)0);
  return by_size<Z_D, Z_H, Z_S>(code, static_cast<F&&>(f));
}

// The narrow elements of both sources from the bottom or the top.
template <auto Op, bool TopA, bool TopB, bool Quad = false>
aarch64_decode_rc vectors(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_wide_size<Quad>(result_code(zd), [&]<class W>(W) {
    constexpr unsigned n = sizeof(W) / 2;
    return long_loop<W, Op>(s, zd, zn, zm, TopA * n, [](unsigned i) { return i + TopB * n; });
  });
}

// b is narrow element `index` of Zm's 128-bit segment that holds the result.
template <auto Op, bool TopA>
aarch64_decode_rc indexed(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t index) {
  return by_wide_size<false>(result_code(zd), [&]<class W>(W) {
    constexpr unsigned n = sizeof(W) / 2;
    const unsigned offset = index * n;
    return long_loop<W, Op>(s, zd, zn, zm, TopA * n, [=](unsigned i) { return (i & ~15u) + offset; });
  });
}

}  // namespace

// Zd (or Zda) 4:0, Zn 9:5, and Zm with the index of its narrow element in
// bits 20:16 and 11: word results take Zm 18:16 and the index 20:19:11,
// doubleword results Zm 19:16 and the index 20:11.
template <auto Kernel, bool Acc>
struct long_by_index : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code;
    const uint32_t zm = c == Z_S ? field(w, 18, 16) : field(w, 19, 16);
    const uint32_t index = (c == Z_S ? field(w, 20, 19) : field(w, 20, 20)) << 1 | field(w, 11, 11);
    return long_by_index::call(s, w, Acc ? z_dst_src(w, 4, 0, c) : z_plain(w, 4, 0, c), z_plain(w, 9, 5, c - 1),
                               aarch64_z_reg{zm, c - 1, Z_NONE, Z_NONE}, index);
  }
};

}  // namespace sve

using namespace sve;

// Rows of the three result sizes, halfword to doubleword, of signed (S) or
// unsigned (U) handler types, with samples of their own operand sizes.
#define SVE_HSD(X, map, op, sign, pattern, route, impl, mnemonic)              \
  X(map, op, sign##16, pattern, route, impl, mnemonic " z0.h, z1.b, z2.b")    \
  X(map, op, sign##32, pattern, route, impl, mnemonic " z0.s, z1.h, z2.h")    \
  X(map, op, sign##64, pattern, route, impl, mnemonic " z0.d, z1.s, z2.s")
// By element, of word and doubleword results only.
#define SVE_SD_INDEXED(X, op, sign, opc_hi, opc_lo, impl, mnemonic)                                          \
  X(sve2_31_21__15_12__10_10, op, sign##32, "01000100 10 1 iimmm " opc_hi " i " opc_lo " nnnnn ddddd", direct, \
    impl, mnemonic " z0.s, z1.h, z2.h[7]")                                                                  \
  X(sve2_31_21__15_12__10_10, op, sign##64, "01000100 11 1 immmm " opc_hi " i " opc_lo " nnnnn ddddd", direct, \
    impl, mnemonic " z0.d, z1.s, z2.s[3]")

// Products: "01000101 ss 0 mmmmm 011 opc nnnnn ddddd"; by element
// "01000100 1 size 1 i:mmm 11 opc i T nnnnn ddddd".
#define SVE_MULL(X, op, sign, opc, top_a, top_b, kernel, mnemonic)                                \
  SVE_HSD(X, sve2_31_21__15_10, op##VVX, sign, "01000101 ss 0 mmmmm " opc " nnnnn ddddd", direct, \
          (zzz<vectors<kernel, top_a, top_b>, false, 1>), mnemonic)
#define SVE_MULL_INDEXED(X, op, sign, opc_hi, t, top, kernel, mnemonic) \
  SVE_SD_INDEXED(X, op##VVIX, sign, opc_hi, t, (long_by_index<indexed<kernel, top>, false>), mnemonic)
// Accumulates: "01000100 ss 0 mmmmm opc nnnnn ddddd"; by element
// "01000100 1 size 1 i:mmm opc_hi i T nnnnn ddddd".
#define SVE_MLAL(X, op, sign, opc, top_a, top_b, kernel, mnemonic)                                 \
  SVE_HSD(X, sve2_31_21__15_10, op##VVVX, sign, "01000100 ss 0 mmmmm " opc " nnnnn ddddd", direct, \
          (zzz<vectors<kernel, top_a, top_b>, true, 1>), mnemonic)
#define SVE_MLAL_INDEXED(X, op, sign, opc_hi, t, top, kernel, mnemonic) \
  SVE_SD_INDEXED(X, op##VVVIX, sign, opc_hi, t, (long_by_index<indexed<kernel, top>, true>), mnemonic)
// Both halves of one operation, of vectors and by element.
#define SVE_LONG_BT(X, FORM, INDEXED, op, sign, opc, opc_hi, kernel, mnemonic) \
  FORM(X, op##B, sign, opc "0", false, false, kernel, mnemonic "b")            \
  FORM(X, op##T, sign, opc "1", true, true, kernel, mnemonic "t")              \
  INDEXED(X, op##B, sign, opc_hi, "0", false, kernel, mnemonic "b")            \
  INDEXED(X, op##T, sign, opc_hi, "1", true, kernel, mnemonic "t")

#define INTEGER_MULTIPLY_LONG(X)                                                                      \
  SVE_LONG_BT(X, SVE_MULL, SVE_MULL_INDEXED, MulL, S, "01110", "1100", mul_long<true>, "smull")       \
  SVE_LONG_BT(X, SVE_MULL, SVE_MULL_INDEXED, MulL, U, "01111", "1101", mul_long<false>, "umull")      \
  SVE_LONG_BT(X, SVE_MULL, SVE_MULL_INDEXED, QDMulL, S, "01100", "1110", sqdmull, "sqdmull")          \
  SVE_LONG_BT(X, SVE_MLAL, SVE_MLAL_INDEXED, MLAL, S, "01000", "1000", (mla_long<true, false>), "smlal") \
  SVE_LONG_BT(X, SVE_MLAL, SVE_MLAL_INDEXED, MLAL, U, "01001", "1001", (mla_long<false, false>), "umlal") \
  SVE_LONG_BT(X, SVE_MLAL, SVE_MLAL_INDEXED, MLSL, S, "01010", "1010", (mla_long<true, true>), "smlsl") \
  SVE_LONG_BT(X, SVE_MLAL, SVE_MLAL_INDEXED, MLSL, U, "01011", "1011", (mla_long<false, true>), "umlsl") \
  SVE_LONG_BT(X, SVE_MLAL, SVE_MLAL_INDEXED, QDMLAL, S, "01100", "0010", sqdmla_long<false>, "sqdmlal") \
  SVE_LONG_BT(X, SVE_MLAL, SVE_MLAL_INDEXED, QDMLSL, S, "01101", "0011", sqdmla_long<true>, "sqdmlsl") \
  SVE_HSD(X, sve2_31_21__15_10, QDMLALBTVVVX, S, "01000100 ss 0 mmmmm 000010 nnnnn ddddd", direct,    \
          (zzz<vectors<sqdmla_long<false>, false, true>, true, 1>), "sqdmlalbt")                       \
  SVE_HSD(X, sve2_31_21__15_10, QDMLSLBTVVVX, S, "01000100 ss 0 mmmmm 000011 nnnnn ddddd", direct,    \
          (zzz<vectors<sqdmla_long<true>, false, true>, true, 1>), "sqdmlslbt")                        \
  X(sve2_31_21__15_10, PMulLBVVX, U16, "01000101 01 0 mmmmm 011010 nnnnn ddddd", direct,                \
    (zzz<vectors<pmull, false, false>, false, 1>), "pmullb z0.h, z1.b, z2.b")                            \
  X(sve2_31_21__15_10, PMulLBVVX, U64, "01000101 11 0 mmmmm 011010 nnnnn ddddd", direct,                \
    (zzz<vectors<pmull, false, false>, false, 1>), "pmullb z0.d, z1.s, z2.s")                            \
  X(sve2_31_21__15_10, PMulLBVVX, U128, "01000101 00 0 mmmmm 011010 nnnnn ddddd", direct,               \
    (zzz<vectors<pmull, false, false, true>, false, 1>), "pmullb z0.q, z1.d, z2.d")                      \
  X(sve2_31_21__15_10, PMulLTVVX, U16, "01000101 01 0 mmmmm 011011 nnnnn ddddd", direct,                \
    (zzz<vectors<pmull, true, true>, false, 1>), "pmullt z0.h, z1.b, z2.b")                              \
  X(sve2_31_21__15_10, PMulLTVVX, U64, "01000101 11 0 mmmmm 011011 nnnnn ddddd", direct,                \
    (zzz<vectors<pmull, true, true>, false, 1>), "pmullt z0.d, z1.s, z2.s")                              \
  X(sve2_31_21__15_10, PMulLTVVX, U128, "01000101 00 0 mmmmm 011011 nnnnn ddddd", direct,               \
    (zzz<vectors<pmull, true, true, true>, false, 1>), "pmullt z0.q, z1.d, z2.d")

SVE_FAMILY(integer_multiply_long, INTEGER_MULTIPLY_LONG)
