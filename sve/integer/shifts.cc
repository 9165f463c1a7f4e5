// Vector shifts: left, logical right and arithmetic right, by an immediate,
// by a count per element, by a count per doubleword (the wide forms), the
// reversed forms, and the arithmetic shift right for divide. Every count is
// the whole unsigned count element: a count at or above the element width
// shifts everything out (left and logical right give 0, arithmetic right
// gives sign fill), never only its low bits.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/host_kernels.h"
#include "../support/marshal.h"
#include "../support/routine_loop.h"
#include "kernel_loop.h"


namespace sve {

template <class T>
constexpr uint64_t width = sizeof(T) * 8;

// A count is unsigned, of any width: the shifts by a vector take it at the
// element's own width, so that their loops vectorise.
template <class T, class N>
T shift_left(T a, N n) {
  using W = std::conditional_t<(sizeof(T) < sizeof(unsigned)), unsigned, T>;
  return n >= width<T> ? T(0) : T(W(a) << n);
}
template <class T, class N>
T shift_right(T a, N n) {
  return n >= width<T> ? T(0) : T(a >> n);
}
template <class T, class N>
T shift_right_arith(T a, N n) {
  return T(signed_t<T>(a) >> (n < width<T> ? n : N(width<T> - 1)));
}

// ASRD: an arithmetic shift that rounds toward zero, formed in 128 bits so
// that the bias added to a negative element cannot overflow.
template <class T>
T shift_right_divide(T a, uint64_t n) {
  __int128 v = signed_t<T>(a);
  if (v < 0) v += (__int128(1) << n) - 1;
  return T(v >> n);
}

enum class shift_kind { left, right, arith };

template <shift_kind K, class T, class N>
T shift_by(T a, N n) {
  if constexpr (K == shift_kind::left) return shift_left(a, n);
  if constexpr (K == shift_kind::right) return shift_right(a, n);
  return shift_right_arith(a, n);
}

// An x86 host shifts each lane by its own count only from AVX2 on: there the
// loops of the shifts by a vector are built for the widest unit.
template <class Loop>
aarch64_decode_rc on_widest(Loop&& loop) {
  if (!host::widest(loop)) loop();
  return aarch64_decode_ok;
}

// Per-element counts. The loops capture the registers' addresses, not the
// records, which would be copied to the stack to be captured and read back
// whole before the writes of their parts have landed.
template <shift_kind K>
aarch64_decode_rc shift_by_vector(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  uint8_t* d = s->z[zdn.reg];
  const uint8_t *m = s->z[zm.reg], *p = s->p[pg.reg];
  return by_size(zdn.rw_elem, [d, m, p]<class T>(T) {
    return on_widest([&] {
      merge_loop<T>(d, p, [&](unsigned i) { return shift_by<K>(load<T>(d + i), load<T>(m + i)); });
    });
  });
}

// The wide forms shift each element by the doubleword of zm that holds it.
// The count, capped at the element width (which shifts everything out as
// any larger count does), is first repeated into every element of its
// doubleword by a multiply; the elements then shift as by a vector.
template <class T>
void repeat_counts(uint8_t* counts, const uint8_t* m) {
  constexpr uint64_t ones = ~uint64_t(0) / T(~T(0));
  for (unsigned i = 0; i < sve_vl_bytes; i += 8) {
    const uint64_t n = load<uint64_t>(m + i);
    store<uint64_t>(counts + i, (n < width<T> ? n : width<T>) * ones);
  }
}

template <shift_kind K>
aarch64_decode_rc shift_wide_predicated(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  uint8_t* d = s->z[zdn.reg];
  const uint8_t *m = s->z[zm.reg], *p = s->p[pg.reg];
  return by_size<Z_B, Z_H, Z_S>(zdn.rw_elem, [d, m, p]<class T>(T) {
    return on_widest([&] {
      alignas(16) uint8_t counts[sve_vl_bytes];
      repeat_counts<T>(counts, m);
      merge_loop<T>(d, p, [&](unsigned i) { return shift_by<K>(load<T>(d + i), load<T>(counts + i)); });
    });
  });
}

template <shift_kind K>
aarch64_decode_rc shift_wide(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  uint8_t* d = s->z[zd.reg];
  const uint8_t *a = s->z[zn.reg], *m = s->z[zm.reg];
  return by_size<Z_B, Z_H, Z_S>(zd.elem, [d, a, m]<class T>(T) {
    return on_widest([&] {
      alignas(16) uint8_t counts[sve_vl_bytes];
      repeat_counts<T>(counts, m);
      all_loop<T>(d, [&](unsigned i) { return shift_by<K>(load<T>(a + i), load<T>(counts + i)); });
    });
  });
}

// One count for all elements, predicated.
#define SVE_SHIFT_ZPI(name, fn)                                                                  \
  aarch64_decode_rc sve_##name##_zpi(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, uint32_t n) { \
    return by_size(zdn.rw_elem, [&](auto e) {                                                    \
      using T = decltype(e);                                                                     \
      uint8_t* d = s->z[zdn.reg];                                                                \
      return merge_loop<T>(d, s->p[pg.reg], [&](unsigned i) { return fn(load<T>(d + i), n); }); \
    });                                                                                          \
  }
SVE_SHIFT_ZPI(lsl, shift_left)
SVE_SHIFT_ZPI(asr, shift_right_arith)
#undef SVE_SHIFT_ZPI

// One count for all elements, unpredicated.
#define SVE_SHIFT_ZZI(name, fn)                                                                  \
  aarch64_decode_rc sve_##name##_zzi(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, uint32_t n) { \
    return by_size(zd.elem, [&](auto e) {                                                        \
      using T = decltype(e);                                                                     \
      const uint8_t* a = s->z[zn.reg];                                                           \
      return all_loop<T>(s->z[zd.reg], [&](unsigned i) { return fn(load<T>(a + i), n); });       \
    });                                                                                          \
  }
SVE_SHIFT_ZZI(lsl, shift_left)
SVE_SHIFT_ZZI(asr, shift_right_arith)
#undef SVE_SHIFT_ZZI

namespace lib {

#define SVE_SHIFT_ROUTINES(type, T)                                                                  \
  VecV Vec##type##ShlRVVM(VecV zdn, PredV pg, VecV zm, CpuContext* c) {                             \
    return routine_merge<T>(zdn, pg, zm, c, [](T n, T a) { return shift_left(a, n); });            \
  }                                                                                                  \
  VecV Vec##type##ShrVIM(VecV zdn, PredV pg, uint64_t n, CpuContext* c) {                           \
    return routine_merge<T>(zdn, pg, zdn, c, [=](T a, T) { return shift_right(a, n); });           \
  }                                                                                                  \
  VecV Vec##type##ShrVIX(VecV zn, uint64_t n, CpuContext* c) {                                      \
    return routine_all<T>(zn, c, [=](T a) { return shift_right(a, n); });                          \
  }

#define SVE_SHIFT_ROUTINES_SIGNED(type, T)                                                           \
  VecV Vec##type##ShrDVIM(VecV zdn, PredV pg, uint64_t n, CpuContext* c) {                          \
    return routine_merge<T>(zdn, pg, zdn, c, [=](T a, T) { return shift_right_divide(a, n); });    \
  }

#define SVE_SHIFT_REVERSED(type, T, fn)                                                              \
  VecV Vec##type##ShrRVVM(VecV zdn, PredV pg, VecV zm, CpuContext* c) {                             \
    return routine_merge<T>(zdn, pg, zm, c, [](T n, T a) { return fn(a, n); });                    \
  }

SVE_SHIFT_ROUTINES(U8, uint8_t)
SVE_SHIFT_ROUTINES(U16, uint16_t)
SVE_SHIFT_ROUTINES(U32, uint32_t)
SVE_SHIFT_ROUTINES(U64, uint64_t)
SVE_SHIFT_ROUTINES_SIGNED(S8, uint8_t)
SVE_SHIFT_ROUTINES_SIGNED(S16, uint16_t)
SVE_SHIFT_ROUTINES_SIGNED(S32, uint32_t)
SVE_SHIFT_ROUTINES_SIGNED(S64, uint64_t)
SVE_SHIFT_REVERSED(U8, uint8_t, shift_right)
SVE_SHIFT_REVERSED(U16, uint16_t, shift_right)
SVE_SHIFT_REVERSED(U32, uint32_t, shift_right)
SVE_SHIFT_REVERSED(U64, uint64_t, shift_right)
SVE_SHIFT_REVERSED(S8, uint8_t, shift_right_arith)
SVE_SHIFT_REVERSED(S16, uint16_t, shift_right_arith)
SVE_SHIFT_REVERSED(S32, uint32_t, shift_right_arith)
SVE_SHIFT_REVERSED(S64, uint64_t, shift_right_arith)
#undef SVE_SHIFT_ROUTINES
#undef SVE_SHIFT_ROUTINES_SIGNED
#undef SVE_SHIFT_REVERSED

}  // namespace lib

// The amount of a shift by immediate, left or right, predicated or not.
template <bool Right, bool Predicated>
struct shift_amount {
  template <class T>
  static uint64_t value(uint32_t w) {
    return Right ? shift_right_amount(w, T::code, Predicated) : shift_left_amount(w, T::code, Predicated);
  }
};

// Zdn 4:0, Pg 12:10 merging, the amount.
template <auto Kernel, bool Right>
struct vim_shift {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_dst_src(w, 4, 0, T::code), p_gov(w, 12, 10, P_M),
                  uint32_t(shift_amount<Right, true>::template value<T>(w)));
  }
};

// Zd 4:0, Zn 9:5, the amount.
template <auto Kernel, bool Right>
struct vix_shift {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, T::code), z_plain(w, 9, 5, T::code),
                  uint32_t(shift_amount<Right, false>::template value<T>(w)));
  }
};

using lib_vim_right = library<to_z<4, 0>, z_in<4, 0>, p_in<12, 10>, imm_in<shift_amount<true, true>>>;
using lib_vix_right = library<to_z<4, 0>, z_in<9, 5>, imm_in<shift_amount<true, false>>>;

}  // namespace sve

using namespace sve;

// Predicated by immediate, "00000100 tszh 00 opc 100 ggg tszl imm3 ddddd":
// the lowest set bit of tsz marks the element size.
#define SVE_SHIFT_VIM(X, op, sizes, opc, route, impl, mnemonic, shift)                                   \
  X(31_13__9_8, op, sizes##8, "00000100 00 00 " opc " 100 ggg 01 iii ddddd", route, impl, mnemonic " z0.T, p0/m, z0.T, #" shift) \
  X(31_13__9_9, op, sizes##16, "00000100 00 00 " opc " 100 ggg 1 iiii ddddd", route, impl, mnemonic " z0.T, p0/m, z0.T, #" shift) \
  X(31_13, op, sizes##32, "00000100 01 00 " opc " 100 ggg iiiii ddddd", route, impl, mnemonic " z0.T, p0/m, z0.T, #" shift) \
  X(31_23__21_13, op, sizes##64, "00000100 1 i 00 " opc " 100 ggg iiiii ddddd", route, impl, mnemonic " z0.T, p0/m, z0.T, #" shift)
// Unpredicated by immediate, "00000100 tszh 1 tszl imm3 1001 opc nnnnn ddddd".
#define SVE_SHIFT_VIX(X, op, sizes, opc, route, impl, mnemonic)                                         \
  X(31_19__15_10, op, sizes##8, "00000100 00 1 01 iii 1001 " opc " nnnnn ddddd", route, impl, mnemonic " z0.T, z1.T, #1") \
  X(31_20__15_10, op, sizes##16, "00000100 00 1 1 iiii 1001 " opc " nnnnn ddddd", route, impl, mnemonic " z0.T, z1.T, #1") \
  X(31_21__15_10, op, sizes##32, "00000100 01 1 iiiii 1001 " opc " nnnnn ddddd", route, impl, mnemonic " z0.T, z1.T, #1") \
  X(31_23__21_21__15_10, op, sizes##64, "00000100 1 i 1 iiiii 1001 " opc " nnnnn ddddd", route, impl, mnemonic " z0.T, z1.T, #1")
// Vectors, predicated, "00000100 ss 010 R L U 100 ggg mmmmm ddddd", and the
// wide forms, "00000100 ss 011 0 L U 100 ...".
#define SVE_SHIFT_VVM(opc, route, impl, mnemonic) \
  "00000100 ss 01 " opc " 100 ggg mmmmm ddddd", route, impl, mnemonic " z0.T, p0/m, z0.T, z1.T"
#define SVE_SHIFT_VWM(opc, kind, mnemonic) \
  "00000100 ss 01 " opc " 100 ggg mmmmm ddddd", direct, (vvm<shift_wide_predicated<kind>>), mnemonic " z0.T, p0/m, z0.T, z1.d"
// Wide, unpredicated, "00000100 ss 1 mmmmm 1000 opc nnnnn ddddd".
#define SVE_SHIFT_VWX(opc, kind, mnemonic) \
  "00000100 ss 1 mmmmm 1000 " opc " nnnnn ddddd", direct, (vvx<shift_wide<kind>>), mnemonic " z0.T, z1.T, z2.d"
#define SVE_NARROW3(X, map, op, sign, ...) \
  X(map, op, sign##8, __VA_ARGS__) X(map, op, sign##16, __VA_ARGS__) X(map, op, sign##32, __VA_ARGS__)

#define INTEGER_SHIFTS(X)                                                                               \
  SVE_U4(X, 31_13, ShlVVM, SVE_SHIFT_VVM("0011", direct, (vvm<shift_by_vector<shift_kind::left>>), "lsl"))                  \
  SVE_U4(X, 31_13, ShrVVM, SVE_SHIFT_VVM("0001", direct, (vvm<shift_by_vector<shift_kind::right>>), "lsr"))                  \
  SVE_S4(X, 31_13, ShrVVM, SVE_SHIFT_VVM("0000", direct, (vvm<shift_by_vector<shift_kind::arith>>), "asr"))                  \
  SVE_U4(X, 31_13, ShlRVVM, SVE_SHIFT_VVM("0111", library, (lib_vvm), "lslr"))                        \
  SVE_U4(X, 31_13, ShrRVVM, SVE_SHIFT_VVM("0101", library, (lib_vvm), "lsrr"))                        \
  SVE_S4(X, 31_13, ShrRVVM, SVE_SHIFT_VVM("0100", library, (lib_vvm), "asrr"))                        \
  SVE_NARROW3(X, 31_13, ShlVWM, U, SVE_SHIFT_VWM("1011", shift_kind::left, "lsl"))                                      \
  SVE_NARROW3(X, 31_13, ShrVWM, U, SVE_SHIFT_VWM("1001", shift_kind::right, "lsr"))                                      \
  SVE_NARROW3(X, 31_13, ShrVWM, S, SVE_SHIFT_VWM("1000", shift_kind::arith, "asr"))                                      \
  SVE_NARROW3(X, 31_21__15_10, ShlVWX, U, SVE_SHIFT_VWX("11", shift_kind::left, "lsl"))                                 \
  SVE_NARROW3(X, 31_21__15_10, ShrVWX, U, SVE_SHIFT_VWX("01", shift_kind::right, "lsr"))                                 \
  SVE_NARROW3(X, 31_21__15_10, ShrVWX, S, SVE_SHIFT_VWX("00", shift_kind::arith, "asr"))                                 \
  SVE_SHIFT_VIM(X, ShlVIM, U, "0011", direct, (vim_shift<sve_lsl_zpi, false>), "lsl", "1")             \
  SVE_SHIFT_VIM(X, ShrVIM, S, "0000", direct, (vim_shift<sve_asr_zpi, true>), "asr", "1")              \
  SVE_SHIFT_VIM(X, ShrVIM, U, "0001", library, (lib_vim_right), "lsr", "1")                            \
  SVE_SHIFT_VIM(X, ShrDVIM, S, "0100", library, (lib_vim_right), "asrd", "1")                          \
  SVE_SHIFT_VIX(X, ShlVIX, U, "11", direct, (vix_shift<sve_lsl_zzi, false>), "lsl")                    \
  SVE_SHIFT_VIX(X, ShrVIX, S, "00", direct, (vix_shift<sve_asr_zzi, true>), "asr")                     \
  SVE_SHIFT_VIX(X, ShrVIX, U, "01", library, (lib_vix_right), "lsr")

SVE_FAMILY(integer_shifts, INTEGER_SHIFTS)
