// Widening and long integer arithmetic: the sums, differences and absolute
// differences of narrow elements formed at twice their width (the long
// forms, SADDLB ... UABDLT, and the interleaved SADDLBT, SSUBLBT, SSUBLTB),
// of a wide and a narrow element (the wide forms, SADDWB ... USUBWT), the
// shift left long by immediate, absolute difference and accumulate (SABA,
// UABA, and long SABALB ... UABALT), the pairwise add and accumulate long
// (SADALP, UADALP), add and subtract with carry long (ADCLB ... SBCLT) and
// the interleaving exclusive or (EORBT, EORTB).
//
// A narrow source element is named by its half of a wide element: the
// bottom forms take the even narrow elements (the low half of each wide
// element), the top forms the odd ones (the high half). Every result fits its
// wide element exactly, so the arithmetic wraps at the wide width without
// losing anything.
#include <utility>

#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/host_kernels.h"
#include "kernel_loop.h"

namespace sve {

namespace {

// Where a source element comes from within the wide element at the same
// place: the low narrow half, the high narrow half, or the whole element.
enum part : unsigned { bottom, top, whole };

// The source element of wide element i (a byte offset), extended to W. The
// narrow element is cut from the whole wide element by shifts, not loaded
// on its own: a load of every other narrow element would keep the loop from
// vectorising.
template <bool Signed, part Part, class W>
W operand(const uint8_t* z, unsigned i) {
  const W v = load<W>(z + i);
  if constexpr (Part == whole) return v;
  constexpr unsigned half = sizeof(W) * 4;
  const W high = Part == top ? v : W(v << half);
  return Signed ? W(signed_t<W>(high) >> half) : W(high >> half);
}

// |a - b| of two values of one signedness: the difference taken in the
// order that makes it non-negative fits the unsigned type.
template <bool Signed, class W>
W abs_diff(W a, W b) {
  return select(less<Signed>(a, b), W(b - a), W(a - b));
}

// The operations of the element-wise forms, on the old destination d and
// the two extended sources.
struct add_op {
  static constexpr bool accumulates = false;
  template <bool Signed, class W>
  static W on(W, W a, W b) { return W(a + b); }
};
struct sub_op {
  static constexpr bool accumulates = false;
  template <bool Signed, class W>
  static W on(W, W a, W b) { return W(a - b); }
};
struct abd_op {
  static constexpr bool accumulates = false;
  template <bool Signed, class W>
  static W on(W, W a, W b) { return abs_diff<Signed>(a, b); }
};
struct aba_op {
  static constexpr bool accumulates = true;
  template <bool Signed, class W>
  static W on(W d, W a, W b) { return W(d + abs_diff<Signed>(a, b)); }
};

// Zd = op(Zd, Zn, Zm) for every element of Zd, the sources taken as their
// parts say. Whole sources at every size (SABA) include bytes; the others
// exist from halfwords up.
//
// The loop captures the registers' addresses, not the records, which would
// be copied to the stack to be captured and read back whole before the
// writes of their parts have landed. On an x86 host it is built for the
// widest unit.
template <bool Signed, part PartN, part PartM, class Op>
aarch64_decode_rc elementwise(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  const uint32_t code = Op::accumulates ? zd.rw_elem : zd.elem;
  uint8_t* d = s->z[zd.reg];
  const uint8_t *a = s->z[zn.reg], *b = s->z[zm.reg];
  auto body = [d, a, b]<class W>(W) {
    auto loop = [&] {
      all_loop<W>(d, [&](unsigned i) {
        return Op::template on<Signed>(load<W>(d + i), operand<Signed, PartN, W>(a, i), operand<Signed, PartM, W>(b, i));
      });
    };
    if (!host::widest(loop)) loop();
    return aarch64_decode_ok;
  };
  if constexpr (PartN == whole && PartM == whole) return by_size(code, body);
  else return by_size<Z_H, Z_S, Z_D>(code, body);
}

// SSHLLB and friends: the extended narrow element shifted left by less than
// its own width, which the wide element always holds.
template <bool Signed, part Part>
aarch64_decode_rc shift_left_long(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, uint32_t n) {
  return by_size<Z_H, Z_S, Z_D>(zd.elem, [&]<class W>(W) {
    const uint8_t* a = s->z[zn.reg];
    return all_loop<W>(s->z[zd.reg], [&](unsigned i) { return W(operand<Signed, Part, W>(a, i) << n); });
  });
}

// SADALP and UADALP: each active wide element of Zda gains the sum of the
// two narrow elements of Zn in its place; inactive ones keep their value.
template <bool Signed>
aarch64_decode_rc add_pairs_long(cpu_state* s, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size<Z_H, Z_S, Z_D>(zda.rw_elem, [&]<class W>(W) {
    uint8_t* d = s->z[zda.reg];
    const uint8_t* a = s->z[zn.reg];
    return merge_loop<W>(d, s->p[pg.reg], [&](unsigned i) {
      return W(load<W>(d + i) + operand<Signed, bottom, W>(a, i) + operand<Signed, top, W>(a, i));
    });
  });
}

// The forms that work on pairs of elements, even and odd: zd's pair at byte
// i becomes pair(i), through a temporary.
template <class T, class F>
aarch64_decode_rc pair_loop(uint8_t* zd, F&& pair) {
  alignas(16) uint8_t tmp[sve_vl_bytes];
  for (unsigned i = 0; i < sve_vl_bytes; i += 2 * sizeof(T)) {
    const auto [even, odd] = pair(i);
    store<T>(tmp + i, even);
    store<T>(tmp + i + sizeof(T), odd);
  }
  std::memcpy(zd, tmp, sve_vl_bytes);
  return aarch64_decode_ok;
}

// ADCLB, ADCLT, SBCLB, SBCLT: the even element of each pair of Zda plus the
// even (bottom) or odd (top) element of Zn, inverted to subtract, plus the
// carry in bit 0 of the odd element of Zm. The even element takes the sum,
// the odd one the carry out as 0 or 1, ready to be the next carry in.
template <bool Subtract, part Part>
aarch64_decode_rc add_carry_long(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size<Z_S, Z_D>(zda.rw_elem, [&]<class T>(T) {
    const uint8_t *d = s->z[zda.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    return pair_loop<T>(s->z[zda.reg], [&](unsigned i) {
      const T acc = load<T>(d + i), n = load<T>(a + i + Part * sizeof(T)), x = Subtract ? T(~n) : n;
      const T carry_in = T(load<T>(b + i + sizeof(T)) & 1);
      const T partial = T(acc + x), sum = T(partial + carry_in);
      const T carry_out = T((partial < acc) | (sum < partial));
      return std::pair{sum, carry_out};
    });
  });
}

// EORBT and EORTB: the even (BT) or odd (TB) element of each pair of Zd
// becomes that element of Zn exclusive-or the other element of the pair in
// Zm; the other element of Zd keeps its value.
template <part Part>
aarch64_decode_rc xor_interleaved(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_size(zd.rw_elem, [&]<class T>(T) {
    const uint8_t *d = s->z[zd.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    return pair_loop<T>(s->z[zd.reg], [&](unsigned i) {
      const T even = load<T>(d + i), odd = load<T>(d + i + sizeof(T));
      const T x = T(load<T>(a + i + Part * sizeof(T)) ^ load<T>(b + i + (1 - Part) * sizeof(T)));
      return Part == bottom ? std::pair{x, odd} : std::pair{even, x};
    });
  });
}

}  // namespace

// Zd 4:0, Zn 9:5, Zm 20:16, unpredicated. Zd is also read when the
// instruction accumulates or keeps part of it; the sources are NarrowN and
// NarrowM size steps below Zd.
template <auto Kernel, bool ReadsZd, uint32_t NarrowN, uint32_t NarrowM>
struct vvx_widening : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr uint32_t c = T::code;
    return vvx_widening::call(s, w, ReadsZd ? z_dst_src(w, 4, 0, c) : z_plain(w, 4, 0, c), z_plain(w, 9, 5, c - NarrowN),
                              z_plain(w, 20, 16, c - NarrowM));
  }
};

// The element-wise forms, with the shape their parts and operation imply.
template <bool Signed, part PartN, part PartM, class Op>
using vvx_elementwise = vvx_widening<elementwise<Signed, PartN, PartM, Op>, Op::accumulates, PartN != whole, PartM != whole>;

// Zd 4:0, Zn 9:5 one size below, the shift amount below the size marker of
// tsz (22, 20:19).
template <auto Kernel>
struct vix_long : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vix_long::call(s, w, z_plain(w, 4, 0, T::code), z_plain(w, 9, 5, T::code - 1),
                          shift_left_amount(w, T::code - 1, false));
  }
};

// Zda 4:0, Pg 12:10 merging, Zn 9:5 one size below.
template <auto Kernel>
struct vvm_pairs_long : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vvm_pairs_long::call(s, w, z_dst_src(w, 4, 0, T::code), p_gov(w, 12, 10, P_M), z_plain(w, 9, 5, T::code - 1));
  }
};

}  // namespace sve

using namespace sve;

// One row for each wide size; `operands(wide, narrow)` spells the sample's
// operands at that size.
#define SVE_WIDE3(X, map, op, sign, pattern, route, impl, mnemonic, operands)      \
  X(map, op, sign##16, pattern, route, impl, mnemonic operands("h", "b"))          \
  X(map, op, sign##32, pattern, route, impl, mnemonic operands("s", "h"))          \
  X(map, op, sign##64, pattern, route, impl, mnemonic operands("d", "s"))
#define SVE_LONG_OPERANDS(w, n) " z0." w ", z1." n ", z2." n
#define SVE_WIDE_OPERANDS(w, n) " z0." w ", z1." w ", z2." n
#define SVE_PAIRS_OPERANDS(w, n) " z0." w ", p0/m, z1." n

// Long, "01000101 ss 0 mmmmm 00 op S U T nnnnn ddddd"; wide, "... 010 S U T";
// interleaved, "... 1000 S tb"; absolute difference and accumulate long,
// "... 1100 U T".
#define SVE_LONG(X, op, sign, opc, Signed, PartN, PartM, Op, mnemonic)                                        \
  SVE_WIDE3(X, sve2_31_21__15_10, op, sign, "01000101 ss 0 mmmmm " opc " nnnnn ddddd", direct,                \
            (vvx_elementwise<Signed, PartN, PartM, Op>), mnemonic, SVE_LONG_OPERANDS)
#define SVE_WIDE(X, op, sign, opc, Signed, Part, Op, mnemonic)                                                 \
  SVE_WIDE3(X, sve2_31_21__15_10, op, sign, "01000101 ss 0 mmmmm " opc " nnnnn ddddd", direct,                \
            (vvx_elementwise<Signed, whole, Part, Op>), mnemonic, SVE_WIDE_OPERANDS)
// Shift left long, "01000101 0 tszh 0 tszl imm3 1010 U T nnnnn ddddd": the
// lowest set bit of tsz marks the narrow size.
#define SVE_SHIFT_LONG(X, op, sign, opc, Signed, Part, mnemonic)                                               \
  X(sve2_31_19__15_10, op, sign##16, "01000101 0 0 0 01 iii 1010 " opc " nnnnn ddddd", direct,                \
    (vix_long<shift_left_long<Signed, Part>>), mnemonic " z0.h, z1.b, #7")                                     \
  X(sve2_31_20__15_10, op, sign##32, "01000101 0 0 0 1 iiii 1010 " opc " nnnnn ddddd", direct,                \
    (vix_long<shift_left_long<Signed, Part>>), mnemonic " z0.s, z1.h, #15")                                    \
  X(sve2_31_21__15_10, op, sign##64, "01000101 0 1 0 iiiii 1010 " opc " nnnnn ddddd", direct,                 \
    (vix_long<shift_left_long<Signed, Part>>), mnemonic " z0.d, z1.s, #31")
// Absolute difference and accumulate, "01000101 ss 0 mmmmm 11111 U nnnnn ddddd".
#define SVE_ABA(opc, Signed, mnemonic)                                                                          \
  "01000101 ss 0 mmmmm 11111 " opc " nnnnn ddddd", direct, (vvx_elementwise<Signed, whole, whole, aba_op>),     \
      mnemonic " z0.T, z1.T, z2.T"
// Pairwise add and accumulate long, "01000100 ss 00010 U 101 ggg nnnnn ddddd".
#define SVE_PAIRS_LONG(X, op, sign, opc, Signed, mnemonic)                                                     \
  SVE_WIDE3(X, sve2_31_13, op, sign, "01000100 ss 00010 " opc " 101 ggg nnnnn ddddd", direct,                 \
            (vvm_pairs_long<add_pairs_long<Signed>>), mnemonic, SVE_PAIRS_OPERANDS)
// With carry long, "01000101 S sz 0 mmmmm 11010 T nnnnn ddddd", words and
// doublewords.
#define SVE_CARRY_LONG(X, op, S, T, Subtract, Part, mnemonic)                                                  \
  X(sve2_31_21__15_10, op, U32, "01000101 " S " 0 0 mmmmm 11010 " T " nnnnn ddddd", direct,                   \
    (vvx_widening<add_carry_long<Subtract, Part>, true, 0, 0>), mnemonic " z0.s, z1.s, z2.s")                 \
  X(sve2_31_21__15_10, op, U64, "01000101 " S " 1 0 mmmmm 11010 " T " nnnnn ddddd", direct,                   \
    (vvx_widening<add_carry_long<Subtract, Part>, true, 0, 0>), mnemonic " z0.d, z1.d, z2.d")
// Interleaving exclusive or, "01000101 ss 0 mmmmm 10010 tb nnnnn ddddd".
#define SVE_XOR_INTERLEAVED(opc, Part, mnemonic)                                                                \
  "01000101 ss 0 mmmmm 10010 " opc " nnnnn ddddd", direct, (vvx_widening<xor_interleaved<Part>, true, 0, 0>),   \
      mnemonic " z0.T, z1.T, z2.T"

#define INTEGER_WIDENING(X)                                                        \
  SVE_LONG(X, AddLBVVX, S, "000000", true, bottom, bottom, add_op, "saddlb")       \
  SVE_LONG(X, AddLTVVX, S, "000001", true, top, top, add_op, "saddlt")             \
  SVE_LONG(X, AddLBVVX, U, "000010", false, bottom, bottom, add_op, "uaddlb")      \
  SVE_LONG(X, AddLTVVX, U, "000011", false, top, top, add_op, "uaddlt")            \
  SVE_LONG(X, SubLBVVX, S, "000100", true, bottom, bottom, sub_op, "ssublb")       \
  SVE_LONG(X, SubLTVVX, S, "000101", true, top, top, sub_op, "ssublt")             \
  SVE_LONG(X, SubLBVVX, U, "000110", false, bottom, bottom, sub_op, "usublb")      \
  SVE_LONG(X, SubLTVVX, U, "000111", false, top, top, sub_op, "usublt")            \
  SVE_LONG(X, AbdLBVVX, S, "001100", true, bottom, bottom, abd_op, "sabdlb")       \
  SVE_LONG(X, AbdLTVVX, S, "001101", true, top, top, abd_op, "sabdlt")             \
  SVE_LONG(X, AbdLBVVX, U, "001110", false, bottom, bottom, abd_op, "uabdlb")      \
  SVE_LONG(X, AbdLTVVX, U, "001111", false, top, top, abd_op, "uabdlt")            \
  SVE_LONG(X, AddLBTVVX, S, "100000", true, bottom, top, add_op, "saddlbt")        \
  SVE_LONG(X, SubLBTVVX, S, "100010", true, bottom, top, sub_op, "ssublbt")        \
  SVE_LONG(X, SubLTBVVX, S, "100011", true, top, bottom, sub_op, "ssubltb")        \
  SVE_WIDE(X, AddWBVVX, S, "010000", true, bottom, add_op, "saddwb")               \
  SVE_WIDE(X, AddWTVVX, S, "010001", true, top, add_op, "saddwt")                  \
  SVE_WIDE(X, AddWBVVX, U, "010010", false, bottom, add_op, "uaddwb")              \
  SVE_WIDE(X, AddWTVVX, U, "010011", false, top, add_op, "uaddwt")                 \
  SVE_WIDE(X, SubWBVVX, S, "010100", true, bottom, sub_op, "ssubwb")               \
  SVE_WIDE(X, SubWTVVX, S, "010101", true, top, sub_op, "ssubwt")                  \
  SVE_WIDE(X, SubWBVVX, U, "010110", false, bottom, sub_op, "usubwb")              \
  SVE_WIDE(X, SubWTVVX, U, "010111", false, top, sub_op, "usubwt")                 \
  SVE_SHIFT_LONG(X, ShlLBVIX, S, "00", true, bottom, "sshllb")                     \
  SVE_SHIFT_LONG(X, ShlLTVIX, S, "01", true, top, "sshllt")                        \
  SVE_SHIFT_LONG(X, ShlLBVIX, U, "10", false, bottom, "ushllb")                    \
  SVE_SHIFT_LONG(X, ShlLTVIX, U, "11", false, top, "ushllt")                       \
  SVE_LONG(X, AbaLBVVVX, S, "110000", true, bottom, bottom, aba_op, "sabalb")      \
  SVE_LONG(X, AbaLTVVVX, S, "110001", true, top, top, aba_op, "sabalt")            \
  SVE_LONG(X, AbaLBVVVX, U, "110010", false, bottom, bottom, aba_op, "uabalb")     \
  SVE_LONG(X, AbaLTVVVX, U, "110011", false, top, top, aba_op, "uabalt")           \
  SVE_S4(X, sve2_31_21__15_10, AbaVVVX, SVE_ABA("0", true, "saba"))                \
  SVE_U4(X, sve2_31_21__15_10, AbaVVVX, SVE_ABA("1", false, "uaba"))               \
  SVE_PAIRS_LONG(X, AdaLPVVM, S, "0", true, "sadalp")                              \
  SVE_PAIRS_LONG(X, AdaLPVVM, U, "1", false, "uadalp")                             \
  SVE_CARRY_LONG(X, AdcLBVVVX, "0", "0", false, bottom, "adclb")                   \
  SVE_CARRY_LONG(X, AdcLTVVVX, "0", "1", false, top, "adclt")                      \
  SVE_CARRY_LONG(X, SbcLBVVVX, "1", "0", true, bottom, "sbclb")                    \
  SVE_CARRY_LONG(X, SbcLTVVVX, "1", "1", true, top, "sbclt")                       \
  SVE_U4(X, sve2_31_21__15_10, XorBTVVX, SVE_XOR_INTERLEAVED("0", bottom, "eorbt")) \
  SVE_U4(X, sve2_31_21__15_10, XorTBVVX, SVE_XOR_INTERLEAVED("1", top, "eortb"))

SVE_FAMILY(integer_widening, INTEGER_WIDENING)
