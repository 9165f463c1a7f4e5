// Integer multiplication in all its vector forms: multiply, multiply-add and
// multiply-subtract, the high half of a product, division, and the dot
// products of four narrow elements into one wide accumulator.
#include <limits>

#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/host_kernels.h"
#include "../support/marshal.h"
#include "../support/routine_loop.h"
#include "kernel_loop.h"
#include "products.h"

namespace sve {

aarch64_decode_rc sve_mul_zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  return by_size(zdn.rw_elem, [&](auto e) {
    using T = decltype(e);
    return zpz_loop<T>(s, zdn, pg, zm, [](T a, T b) { return wrap_mul(a, b); });
  });
}

// Multiply-accumulate: MLA and MLS add to or subtract from Zda the product
// Zn x Zm; MAD and MSB do so with the addend Za and the product Zdn x Zm.
#define SVE_ZPZZ_KERNEL(name, expr)                                                             \
  aarch64_decode_rc sve_##name##_zpzz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg,         \
                                      aarch64_z_reg x, aarch64_z_reg y) {                       \
    return by_size(zd.rw_elem, [&](auto e) {                                                    \
      using T = decltype(e);                                                                    \
      return zpzz_loop<T>(s, zd, pg, x, y, [](T d, T a, T b) { return expr; });                 \
    });                                                                                         \
  }
SVE_ZPZZ_KERNEL(mla, T(d + wrap_mul(a, b)))
SVE_ZPZZ_KERNEL(mls, T(d - wrap_mul(a, b)))
SVE_ZPZZ_KERNEL(mad, T(b + wrap_mul(d, a)))
SVE_ZPZZ_KERNEL(msb, T(b - wrap_mul(d, a)))
#undef SVE_ZPZZ_KERNEL

// Division never traps: a zero divisor gives 0, and the most negative value
// divided by -1 gives itself.
template <bool Signed, class T>
T divide(T n, T d) {
  if (d == 0) return 0;
  if constexpr (Signed) {
    using S = signed_t<T>;
    if (S(n) == std::numeric_limits<S>::min() && S(d) == -1) return n;
    return T(S(n) / S(d));
  } else {
    return T(n / d);
  }
}

// Word division through double precision, exact: both operands are below
// 2^32 in magnitude, so the quotient's rounding error is below 1/|d|, the
// least distance from a fraction n/d to the next integer, and the conversion,
// which truncates, gives the integer quotient. Unsigned words enter offset
// by 2^31 to convert as signed ones. Zero and the unit divisor (-1 signed,
// whose quotient may overflow; 1 unsigned, whose quotient may not fit a
// signed word) compute 0 / 1, so that every conversion is in range, and are
// replaced afterwards. Every choice is a mask, so the loop vectorises.
template <bool Signed>
uint32_t divide_word(uint32_t n, uint32_t d) {
  constexpr uint32_t bias = Signed ? 0 : 0x80000000u, unit = Signed ? ~0u : 1u;
  constexpr double offset = Signed ? 0.0 : 2147483648.0;
  const uint32_t zero = 0u - uint32_t(d == 0), by_unit = 0u - uint32_t(d == unit), special = zero | by_unit;
  const double x = double(int32_t(select(special, bias, n ^ bias))) + offset;
  const double y = double(int32_t(select(special, 1u ^ bias, d ^ bias))) + offset;
  const uint32_t q = uint32_t(int32_t(x / y));
  return select(by_unit, Signed ? 0u - n : n, q) & ~zero;
}

template <bool Signed, bool Reversed>
[[gnu::always_inline]] inline aarch64_decode_rc divide_words(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg,
                                                             aarch64_z_reg zm) {
  return zpz_loop<uint32_t>(s, zdn, pg, zm, [](uint32_t a, uint32_t b) {
    return Reversed ? divide_word<Signed>(b, a) : divide_word<Signed>(a, b);
  });
}

#if defined(__x86_64__)
// The same loop built for AVX2, four quotients to a division.
template <bool Signed, bool Reversed>
[[gnu::target("avx2")]] aarch64_decode_rc divide_words_avx2(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg,
                                                            aarch64_z_reg zm) {
  return divide_words<Signed, Reversed>(s, zdn, pg, zm);
}
#endif

template <bool Signed, bool Reversed>
aarch64_decode_rc div_kernel(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  if (zdn.rw_elem == Z_S) {
#if defined(__x86_64__)
    if (host::has_avx2()) return divide_words_avx2<Signed, Reversed>(s, zdn, pg, zm);
#endif
    return divide_words<Signed, Reversed>(s, zdn, pg, zm);
  }
  return zpz_loop<uint64_t>(s, zdn, pg, zm, [](uint64_t a, uint64_t b) {
    return Reversed ? divide<Signed>(b, a) : divide<Signed>(a, b);
  });
}

aarch64_decode_rc sve_sdiv_zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  return div_kernel<true, false>(s, zdn, pg, zm);
}
aarch64_decode_rc sve_udiv_zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  return div_kernel<false, false>(s, zdn, pg, zm);
}
aarch64_decode_rc sve_sdivr_zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  return div_kernel<true, true>(s, zdn, pg, zm);
}
aarch64_decode_rc sve_udivr_zpz(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  return div_kernel<false, true>(s, zdn, pg, zm);
}

namespace {

// The dot product of accumulator e: the narrow elements 4e..4e+3 of Zn times
// those of group group_of(e) of Zm, summed and added to the accumulator,
// wrapping. A product of two narrow elements fits the accumulator's signed
// or unsigned type.
template <bool Signed, class Group>
aarch64_decode_rc dot(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, Group group_of) {
  return by_size<Z_S, Z_D>(zda.rw_elem, [&]<class Acc>(Acc) {
    using N = std::conditional_t<sizeof(Acc) == 4, uint8_t, uint16_t>;
    using Value = std::conditional_t<Signed, signed_t<N>, N>;
    using Product = std::conditional_t<Signed, signed_t<Acc>, Acc>;
    const uint8_t *d = s->z[zda.reg], *a = s->z[zn.reg], *b = s->z[zm.reg];
    return all_loop<Acc>(s->z[zda.reg], [&](unsigned i) {
      unsigned e = i / sizeof(Acc), g = group_of(e);
      Acc sum = load<Acc>(d + i);
      for (unsigned k = 0; k < 4; ++k) {
        Product x = Value(load<N>(a + (4 * e + k) * sizeof(N))), y = Value(load<N>(b + (4 * g + k) * sizeof(N)));
        sum = Acc(sum + Acc(x * y));
      }
      return sum;
    });
  });
}

// The indexed forms take the four narrow elements of one group per 128-bit
// segment: the accumulators of a segment share group (e rounded down to the
// segment) + index.
template <bool Signed>
aarch64_decode_rc dot_indexed(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t index) {
  unsigned per_segment = zda.rw_elem == Z_S ? 4 : 2;
  return dot<Signed>(s, zda, zn, zm, [=](unsigned e) { return e / per_segment * per_segment + index; });
}

template <bool Signed>
aarch64_decode_rc dot_vectors_kernel(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm) {
  if (zda.rw_elem == Z_S && host::dot_words(Signed, s->z[zda.reg], s->z[zn.reg], s->z[zm.reg]))
    return aarch64_decode_ok;
  return dot<Signed>(s, zda, zn, zm, [](unsigned e) { return e; });
}

}  // namespace

aarch64_decode_rc sve_sdot_zzz(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm) {
  return dot_vectors_kernel<true>(s, zda, zn, zm);
}
aarch64_decode_rc sve_udot_zzz(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm) {
  return dot_vectors_kernel<false>(s, zda, zn, zm);
}
aarch64_decode_rc sve_sdot_zzzi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t index) {
  return dot_indexed<true>(s, zda, zn, zm, index);
}
aarch64_decode_rc sve_udot_zzzi(cpu_state* s, aarch64_z_reg zda, aarch64_z_reg zn, aarch64_z_reg zm, uint32_t index) {
  return dot_indexed<false>(s, zda, zn, zm, index);
}

namespace lib {

#define SVE_MULH(type, T, Signed)                                                 \
  VecV Vec##type##MulHVVM(VecV zdn, PredV pg, VecV zm, CpuContext* c) {           \
    return routine_merge<T>(zdn, pg, zm, c, mul_high<T, Signed>);                 \
  }
SVE_MULH(S8, uint8_t, true)
SVE_MULH(S16, uint16_t, true)
SVE_MULH(S32, uint32_t, true)
SVE_MULH(S64, uint64_t, true)
SVE_MULH(U8, uint8_t, false)
SVE_MULH(U16, uint16_t, false)
SVE_MULH(U32, uint32_t, false)
SVE_MULH(U64, uint64_t, false)
#undef SVE_MULH

}  // namespace lib

// The indexed dot product: Zm and the index share bits 20:16, split by the
// accumulator size.
template <auto Kernel>
struct dot_by_index : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr bool words = T::code == Z_S;
    return dot_by_index::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 9, 5, T::code),
                              z_plain(w, words ? 18 : 19, 16, T::code), words ? field(w, 20, 19) : field(w, 20, 20));
  }
};

}  // namespace sve

using namespace sve;

#define SVE_MUL_VVM(opc, route, impl, mnemonic) \
  "00000100 ss 010 " opc " 000 ggg mmmmm ddddd", route, impl, mnemonic " z0.T, p0/m, z0.T, z1.T"
#define SVE_MUL_VVVM(op, kernel, mnemonic) \
  "00000100 ss 0 mmmmm " op " ggg nnnnn ddddd", direct, (vvvm_acc<kernel>), mnemonic " z0.T, p0/m, z1.T, z2.T"
#define SVE_MAD_VVVM(op, kernel, mnemonic) \
  "00000100 ss 0 mmmmm " op " ggg aaaaa ddddd", direct, (vvvm_mad<kernel>), mnemonic " z0.T, p0/m, z1.T, z2.T"

#define INTEGER_MULTIPLY(X)                                                                         \
  SVE_S4(X, 31_13, MulVVM, SVE_MUL_VVM("000", direct, (vvm<sve_mul_zpz>), "mul"))                  \
  SVE_S4(X, 31_13, MulHVVM, SVE_MUL_VVM("010", library, (lib_vvm), "smulh"))                        \
  SVE_U4(X, 31_13, MulHVVM, SVE_MUL_VVM("011", library, (lib_vvm), "umulh"))                        \
  X(31_13, DivVVM, S32, SVE_MUL_VVM("100", direct, (vvm<sve_sdiv_zpz>), "sdiv"))                  \
  X(31_13, DivVVM, S64, SVE_MUL_VVM("100", direct, (vvm<sve_sdiv_zpz>), "sdiv"))                  \
  X(31_13, DivVVM, U32, SVE_MUL_VVM("101", direct, (vvm<sve_udiv_zpz>), "udiv"))                  \
  X(31_13, DivVVM, U64, SVE_MUL_VVM("101", direct, (vvm<sve_udiv_zpz>), "udiv"))                  \
  X(31_13, DivRVVM, S32, SVE_MUL_VVM("110", direct, (vvm<sve_sdivr_zpz>), "sdivr"))               \
  X(31_13, DivRVVM, S64, SVE_MUL_VVM("110", direct, (vvm<sve_sdivr_zpz>), "sdivr"))               \
  X(31_13, DivRVVM, U32, SVE_MUL_VVM("111", direct, (vvm<sve_udivr_zpz>), "udivr"))               \
  X(31_13, DivRVVM, U64, SVE_MUL_VVM("111", direct, (vvm<sve_udivr_zpz>), "udivr"))               \
  SVE_S4(X, 31_21__15_13, MLAVVVM, SVE_MUL_VVVM("010", sve_mla_zpzz, "mla"))                       \
  SVE_S4(X, 31_21__15_13, MLSVVVM, SVE_MUL_VVVM("011", sve_mls_zpzz, "mls"))                       \
  SVE_S4(X, 31_21__15_13, MADDVVVM, SVE_MAD_VVVM("110", sve_mad_zpzz, "mad"))                      \
  SVE_S4(X, 31_21__15_13, MSUBVVVM, SVE_MAD_VVVM("111", sve_msb_zpzz, "msb"))                      \
  X(31_21__15_10, DotVVVX, S32, "01000100 10 0 mmmmm 00000 0 nnnnn ddddd", direct, (zzz<sve_sdot_zzz, true>), "sdot z0.s, z1.b, z2.b") \
  X(31_21__15_10, DotVVVX, S64, "01000100 11 0 mmmmm 00000 0 nnnnn ddddd", direct, (zzz<sve_sdot_zzz, true>), "sdot z0.d, z1.h, z2.h") \
  X(31_21__15_10, DotVVVX, U32, "01000100 10 0 mmmmm 00000 1 nnnnn ddddd", direct, (zzz<sve_udot_zzz, true>), "udot z0.s, z1.b, z2.b") \
  X(31_21__15_10, DotVVVX, U64, "01000100 11 0 mmmmm 00000 1 nnnnn ddddd", direct, (zzz<sve_udot_zzz, true>), "udot z0.d, z1.h, z2.h") \
  X(31_21__15_10, DotVVVIX, S32, "01000100 10 1 iimmm 00000 0 nnnnn ddddd", direct, (dot_by_index<sve_sdot_zzzi>), "sdot z0.s, z1.b, z2.b[3]") \
  X(31_21__15_10, DotVVVIX, S64, "01000100 11 1 immmm 00000 0 nnnnn ddddd", direct, (dot_by_index<sve_sdot_zzzi>), "sdot z0.d, z1.h, z2.h[1]") \
  X(31_21__15_10, DotVVVIX, U32, "01000100 10 1 iimmm 00000 1 nnnnn ddddd", direct, (dot_by_index<sve_udot_zzzi>), "udot z0.s, z1.b, z2.b[3]") \
  X(31_21__15_10, DotVVVIX, U64, "01000100 11 1 immmm 00000 1 nnnnn ddddd", direct, (dot_by_index<sve_udot_zzzi>), "udot z0.d, z1.h, z2.h[1]")

SVE_FAMILY(integer_multiply, INTEGER_MULTIPLY)
