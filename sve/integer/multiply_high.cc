// Unpredicated multiplies whose result has the width of the operands: MUL,
// the high halves SMULH and UMULH, the byte polynomial product PMUL, the
// doubling high halves SQDMULH and SQRDMULH and the rounding accumulates
// SQRDMLAH and SQRDMLSH, of two vectors or of a vector and one element of
// Zm in each 128-bit segment (with MLA and MLS by element too). Saturation
// sets no flag.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "kernel_loop.h"
#include "products.h"

namespace sve {

namespace {

// Op(d, a, b) gives the element from the old destination d, the element a
// of Zn and the element b of Zm; the non-accumulating operations ignore d.
template <auto Op>
aarch64_decode_rc vectors(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size(result_code(zd), [&]<class T>(T) {
    const uint8_t *d = s->z[zd.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) { return T(Op(load<T>(d + i), load<T>(a + i), load<T>(b + i))); });
  });
}

// The second operand is element `index` of Zm's 128-bit segment that holds
// the result.
template <auto Op>
aarch64_decode_rc indexed(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t index) {
  return by_size(result_code(zd), [&]<class T>(T) {
    const uint8_t *d = s->z[zd.reg], *a = s->z[zn.reg], *b = s->z[zm.reg] + index * sizeof(T);
    return all_loop<T>(s->z[zd.reg],
                       [&](unsigned i) { return T(Op(load<T>(d + i), load<T>(a + i), load<T>(b + (i & ~15u)))); });
  });
}

constexpr auto mul = [](auto, auto a, auto b) { return wrap_mul(a, b); };
constexpr auto mla = [](auto d, auto a, auto b) { return decltype(d)(d + wrap_mul(a, b)); };
constexpr auto mls = [](auto d, auto a, auto b) { return decltype(d)(d - wrap_mul(a, b)); };
constexpr auto smulh = [](auto, auto a, auto b) { return mul_high<decltype(a), true>(a, b); };
constexpr auto umulh = [](auto, auto a, auto b) { return mul_high<decltype(a), false>(a, b); };
constexpr auto pmul = [](auto, auto a, auto b) { return poly_mul<decltype(a)>(a, b); };
constexpr auto sqdmulh = [](auto, auto a, auto b) { return doubling_high<decltype(a), false>(a, b); };
constexpr auto sqrdmulh = [](auto, auto a, auto b) { return doubling_high<decltype(a), true>(a, b); };
constexpr auto sqrdmlah = [](auto d, auto a, auto b) { return doubling_high<decltype(a), true>(a, b, d); };
constexpr auto sqrdmlsh = [](auto d, auto a, auto b) { return doubling_high<decltype(a), true, true>(a, b, d); };

}  // namespace

// Zd (or Zda) 4:0, Zn 9:5, and Zm with the element index in the bits above
// it: halfwords take Zm 18:16 and the index 22:20:19, words Zm 18:16 and the
// index 20:19, doublewords Zm 19:16 and the index 20.
template <auto Kernel, bool Acc>
struct mul_by_index : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code;
    const uint32_t zm = c == Z_D ? field(w, 19, 16) : field(w, 18, 16);
    const uint32_t index = c == Z_H ? field(w, 22, 22) << 2 | field(w, 20, 19) : c == Z_S ? field(w, 20, 19) : field(w, 20, 20);
    return mul_by_index::call(s, w, Acc ? z_dst_src(w, 4, 0, c) : z_plain(w, 4, 0, c), z_plain(w, 9, 5, c),
                          aarch64_z_reg{zm, c, Z_NONE, Z_NONE}, index);
  }
};

}  // namespace sve

using namespace sve;

// Vectors: "00000100 ss 1 mmmmm 011 opc nnnnn ddddd" and, accumulating,
// "01000100 ss 0 mmmmm 01110 S nnnnn ddddd". By element:
// "01000100 1 size:i 1 i:mmm opc nnnnn ddddd", one row per size.
#define SVE_MULX(opc, op, mnemonic) \
  "00000100 ss 1 mmmmm " opc " nnnnn ddddd", direct, (zzz<vectors<op>, false>), mnemonic " z0.T, z1.T, z2.T"
#define SVE_MLAX(opc, op, mnemonic) \
  "01000100 ss 0 mmmmm " opc " nnnnn ddddd", direct, (zzz<vectors<op>, true>), mnemonic " z0.T, z1.T, z2.T"
#define SVE_BY_INDEX(X, name, opc, op, acc, mnemonic)                                                    \
  X(sve2_31_23__21_21__15_10, name, S16, "01000100 0i 1 iimmm " opc " nnnnn ddddd", direct,             \
    (mul_by_index<indexed<op>, acc>), mnemonic " z0.h, z1.h, z2.h[7]")                                     \
  X(sve2_31_21__15_10, name, S32, "01000100 10 1 iimmm " opc " nnnnn ddddd", direct,                    \
    (mul_by_index<indexed<op>, acc>), mnemonic " z0.s, z1.s, z2.s[3]")                                     \
  X(sve2_31_21__15_10, name, S64, "01000100 11 1 immmm " opc " nnnnn ddddd", direct,                    \
    (mul_by_index<indexed<op>, acc>), mnemonic " z0.d, z1.d, z2.d[1]")

#define INTEGER_MULTIPLY_HIGH(X)                                                  \
  SVE_S4(X, sve2_31_21__15_10, MulVVX, SVE_MULX("011000", mul, "mul"))             \
  X(sve2_31_21__15_10, PMulVVX, U8, "00000100 00 1 mmmmm 011001 nnnnn ddddd", direct, \
    (zzz<vectors<pmul>, false>), "pmul z0.b, z1.b, z2.b")                         \
  SVE_S4(X, sve2_31_21__15_10, MulHVVX, SVE_MULX("011010", smulh, "smulh"))        \
  SVE_U4(X, sve2_31_21__15_10, MulHVVX, SVE_MULX("011011", umulh, "umulh"))        \
  SVE_S4(X, sve2_31_21__15_10, QDMulHVVX, SVE_MULX("011100", sqdmulh, "sqdmulh"))  \
  SVE_S4(X, sve2_31_21__15_10, QRDMulHVVX, SVE_MULX("011101", sqrdmulh, "sqrdmulh")) \
  SVE_S4(X, sve2_31_21__15_10, QRDMLAHVVVX, SVE_MLAX("011100", sqrdmlah, "sqrdmlah")) \
  SVE_S4(X, sve2_31_21__15_10, QRDMLSHVVVX, SVE_MLAX("011101", sqrdmlsh, "sqrdmlsh")) \
  SVE_BY_INDEX(X, MLAVVVIX, "000010", mla, true, "mla")                           \
  SVE_BY_INDEX(X, MLSVVVIX, "000011", mls, true, "mls")                           \
  SVE_BY_INDEX(X, QRDMLAHVVVIX, "000100", sqrdmlah, true, "sqrdmlah")             \
  SVE_BY_INDEX(X, QRDMLSHVVVIX, "000101", sqrdmlsh, true, "sqrdmlsh")             \
  SVE_BY_INDEX(X, QDMulHVVIX, "111100", sqdmulh, false, "sqdmulh")                \
  SVE_BY_INDEX(X, QRDMulHVVIX, "111101", sqrdmulh, false, "sqrdmulh")             \
  SVE_BY_INDEX(X, MulVVIX, "111110", mul, false, "mul")

SVE_FAMILY(integer_multiply_high, INTEGER_MULTIPLY_HIGH)
