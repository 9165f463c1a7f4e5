// Integer instructions without a governing predicate: ADD, SUB and the
// bitwise operations of three vectors, and the destructive immediate forms
// ADD, SUB, SUBR, MUL, SMAX, SMIN, UMAX, UMIN, AND, ORR, EOR, with DUPM,
// which fills a vector with a bit-mask immediate. The bitwise instructions
// treat the vector as one bit string, so they exist at one size only.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/bit_ops.h"
#include "../support/bytewise.h"
#include "../support/marshal.h"
#include "../support/routine_loop.h"
#include "immediates.h"
#include "kernel_loop.h"

namespace sve {

// Zd = Zn op Zm per element, at the size in the Zd record.
#define SVE_ZZZ_KERNEL(name, expr)                                                                         \
  aarch64_decode_rc sve_##name##_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
    return by_size(zd.elem, [&](auto e) {                                                                  \
      using T = decltype(e);                                                                               \
      const uint8_t *x = s->z[zn.reg], *y = s->z[zm.reg];                                                  \
      return all_loop<T>(s->z[zd.reg], [&](unsigned i) {                                                   \
        T a = load<T>(x + i), b = load<T>(y + i);                                                          \
        return T(expr);                                                                                    \
      });                                                                                                  \
    });                                                                                                    \
  }
SVE_ZZZ_KERNEL(add, a + b)
SVE_ZZZ_KERNEL(sub, a - b)
#undef SVE_ZZZ_KERNEL

// Zd = Zn op Zm over the whole vector as one bit string.
#define SVE_ZZZ_BITWISE(name, expr)                                                                        \
  aarch64_decode_rc sve_##name##_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { \
    bytewise(                                                                                              \
        s->z[zd.reg], [](auto& r, const auto& a, const auto& b) { r = expr; }, s->z[zn.reg], s->z[zm.reg]); \
    return aarch64_decode_ok;                                                                              \
  }
SVE_ZZZ_BITWISE(and, a & b)
SVE_ZZZ_BITWISE(orr, a | b)
SVE_ZZZ_BITWISE(eor, a ^ b)
SVE_ZZZ_BITWISE(bic, a & ~b)
#undef SVE_ZZZ_BITWISE

// Zdn = Zdn op imm per element; the immediate is cut to the element, and
// for doublewords extended from 32 bits, by its type: zero-extended when
// unsigned, sign-extended when signed.
#define SVE_ZI_KERNEL(name, Imm, expr)                                                  \
  aarch64_decode_rc sve_##name##_zi(cpu_state* s, aarch64_z_reg zdn, Imm imm) {       \
    return by_size(zdn.rw_elem, [&](auto e) {                                           \
      using T = decltype(e);                                                            \
      uint8_t* d = s->z[zdn.reg];                                                       \
      T b = T(imm);                                                                     \
      return all_loop<T>(d, [&](unsigned i) { T a = load<T>(d + i); return T(expr); }); \
    });                                                                                 \
  }
SVE_ZI_KERNEL(add, unsigned, a + b)
SVE_ZI_KERNEL(sub, unsigned, a - b)
SVE_ZI_KERNEL(mul, int, wrap_mul(a, b))
#undef SVE_ZI_KERNEL

// Zdn = Zdn op mask, the 64-bit mask repeated over the vector.
#define SVE_ZI_BITWISE(name, expr)                                                                  \
  aarch64_decode_rc sve_##name##_zi(cpu_state* s, aarch64_z_reg zdn, aarch64_sve_logical64_imm imm) { \
    uint8_t* d = s->z[zdn.reg];                                                                     \
    uint64_t b = imm.pattern;                                                                       \
    return all_loop<uint64_t>(d, [&](unsigned i) { uint64_t a = load<uint64_t>(d + i); return expr; }); \
  }
SVE_ZI_BITWISE(and, a & b)
SVE_ZI_BITWISE(orr, a | b)
SVE_ZI_BITWISE(eor, a ^ b)
#undef SVE_ZI_BITWISE

// No source vector: the mask goes straight into every doubleword.
aarch64_decode_rc sve_dupm_zi(cpu_state* s, aarch64_z_reg zd, aarch64_sve_logical64_imm imm) {
  for (unsigned i = 0; i < sve_vl_bytes; i += 8) store<uint64_t>(s->z[zd.reg] + i, imm.pattern);
  return aarch64_decode_ok;
}

namespace lib {

#define SVE_SUBR(bits)                                                                        \
  VecV VecU##bits##SubRVIX(VecV zdn, uint##bits##_t imm, CpuContext* c) {                      \
    return routine_all<uint##bits##_t>(zdn, c, [=](uint##bits##_t a) { return imm - a; });     \
  }
// MAX and MIN by the primitives, with the element width and the type's sign.
#define SVE_MAXMIN(sign, bits, Imm, is_unsigned)                                              \
  VecV Vec##sign##bits##MaxVIX(VecV zdn, Imm imm, CpuContext* c) {                            \
    return routine_all<uint##bits##_t>(zdn, c, [=](uint##bits##_t a) { return Max(a, uint64_t(imm), bits, is_unsigned); }); \
  }                                                                                           \
  VecV Vec##sign##bits##MinVIX(VecV zdn, Imm imm, CpuContext* c) {                            \
    return routine_all<uint##bits##_t>(zdn, c, [=](uint##bits##_t a) { return Min(a, uint64_t(imm), bits, is_unsigned); }); \
  }
SVE_SUBR(8)
SVE_SUBR(16)
SVE_SUBR(32)
SVE_SUBR(64)
SVE_MAXMIN(U, 8, uint8_t, 1)
SVE_MAXMIN(U, 16, uint16_t, 1)
SVE_MAXMIN(U, 32, uint32_t, 1)
SVE_MAXMIN(U, 64, uint64_t, 1)
SVE_MAXMIN(S, 8, int8_t, 0)
SVE_MAXMIN(S, 16, int16_t, 0)
SVE_MAXMIN(S, 32, int32_t, 0)
SVE_MAXMIN(S, 64, int64_t, 0)
#undef SVE_SUBR
#undef SVE_MAXMIN

}  // namespace lib

constexpr aarch64_sve_logical64_imm imm_bit_mask(uint32_t w) { return {decode_bit_mask(w)}; }
constexpr int imm_mul(uint32_t w) { return sfield(w, 12, 5); }

// Zdn 4:0 and an immediate decoded from the word.
template <auto Kernel, auto Decode>
struct vix_imm {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_dst_src(w, 4, 0, T::code), Decode(w));
  }
};

// Zd 4:0 and the bit mask of 17:5.
template <auto Kernel>
struct dupm_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_plain(w, 4, 0, Z_D), imm_bit_mask(w));
  }
};

template <class Decode>
using lib_vix = library<to_z<4, 0>, z_in<4, 0>, imm_in<Decode>>;

}  // namespace sve

using namespace sve;

// Three vectors: "00000100 ss 1 mmmmm 000 opc nnnnn ddddd"; bitwise:
// "00000100 opc 1 mmmmm 001100 nnnnn ddddd".
#define SVE_VVX(opc, kernel, mnemonic) \
  "00000100 ss 1 mmmmm 000 " opc " nnnnn ddddd", direct, (vvx<kernel>), mnemonic " z0.T, z1.T, z2.T"
#define SVE_VVX_BITWISE(X, op, opc, kernel, mnemonic) \
  X(31_21__15_10, op, U64, "00000100 " opc " 1 mmmmm 001100 nnnnn ddddd", direct, (vvx<kernel>), mnemonic " z0.d, z1.d, z2.d")
// Add and subtract immediate: "00100101 ss 100 opc 11 h iiiiiiii ddddd".
#define SVE_VIX_ADD(opc, route, impl, mnemonic) \
  "00100101 ss 100 " opc " 11 i iiiiiiii ddddd", route, impl, mnemonic " z0.T, z0.T, #255"
// Minimum, maximum and multiply: "00100101 ss 1 opc 110 iiiiiiii ddddd".
#define SVE_VIX_BYTE(opc, route, impl, mnemonic, imm) \
  "00100101 ss 1 " opc " 110 iiiiiiii ddddd", route, impl, mnemonic " z0.T, z0.T, #" imm
// Bit mask: "00000101 opc 0000 N immr imms ddddd".
#define SVE_VIX_MASK(X, op, type, opc, shape, mnemonic) \
  X(31_18, op, type, "00000101 " opc " 0000 iiiiiiiiiiiii ddddd", direct, shape, mnemonic ", #0x5555555555555555")

#define INTEGER_UNPREDICATED(X)                                                                           \
  SVE_U4(X, 31_21__15_10, AddVVX, SVE_VVX("000", sve_add_zzz, "add"))                                     \
  SVE_U4(X, 31_21__15_10, SubVVX, SVE_VVX("001", sve_sub_zzz, "sub"))                                     \
  SVE_VVX_BITWISE(X, AndVVX, "00", sve_and_zzz, "and")                                                    \
  SVE_VVX_BITWISE(X, OrVVX, "01", sve_orr_zzz, "orr")                                                     \
  SVE_VVX_BITWISE(X, XorVVX, "10", sve_eor_zzz, "eor")                                                    \
  SVE_VVX_BITWISE(X, BicVVX, "11", sve_bic_zzz, "bic")                                                    \
  SVE_U4(X, 31_14, AddVIX, SVE_VIX_ADD("000", direct, (vix_imm<sve_add_zi, imm_add_sub>), "add"))        \
  SVE_U4(X, 31_14, SubVIX, SVE_VIX_ADD("001", direct, (vix_imm<sve_sub_zi, imm_add_sub>), "sub"))        \
  SVE_U4(X, 31_14, SubRVIX, SVE_VIX_ADD("011", library, (lib_vix<imm_add_sub_elem>), "subr"))            \
  SVE_S4(X, 31_13, MaxVIX, SVE_VIX_BYTE("01000", library, (lib_vix<imm8_elem<true>>), "smax", "-128"))    \
  SVE_U4(X, 31_13, MaxVIX, SVE_VIX_BYTE("01001", library, (lib_vix<imm8_elem<false>>), "umax", "255"))    \
  SVE_S4(X, 31_13, MinVIX, SVE_VIX_BYTE("01010", library, (lib_vix<imm8_elem<true>>), "smin", "127"))     \
  SVE_U4(X, 31_13, MinVIX, SVE_VIX_BYTE("01011", library, (lib_vix<imm8_elem<false>>), "umin", "0"))      \
  SVE_S4(X, 31_13, MulVIX, SVE_VIX_BYTE("10000", direct, (vix_imm<sve_mul_zi, imm_mul>), "mul", "-1"))   \
  SVE_VIX_MASK(X, AndVIX, U64, "10", (vix_imm<sve_and_zi, imm_bit_mask>), "and z0.d, z0.d")               \
  SVE_VIX_MASK(X, OrVIX, U64, "00", (vix_imm<sve_orr_zi, imm_bit_mask>), "orr z0.d, z0.d")                \
  SVE_VIX_MASK(X, XorVIX, U64, "01", (vix_imm<sve_eor_zi, imm_bit_mask>), "eor z0.d, z0.d")               \
  SVE_VIX_MASK(X, DupMaskI, S64, "11", (dupm_shape<sve_dupm_zi>), "dupm z0.d")

SVE_FAMILY(integer_unpredicated, INTEGER_UNPREDICATED)
