// Element counts and vector-length arithmetic: CNTB to CNTD, INC and DEC of
// a general register or a vector by a pattern's count times a multiplier,
// their saturating forms SQINC, UQINC, SQDEC, UQDEC, and RDVL, ADDVL, ADDPL.
//
// The two routes take the multiplier field differently: a direct kernel gets
// the multiplier, imm4 + 1, while a library routine gets the raw imm4 field
// and forms count + imm4 x count itself.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/marshal.h"
#include "count_steps.h"

namespace sve {

const pattern_table pattern_counts = [] {
  pattern_table t{};
  for (uint32_t code = 0; code < 4; ++code)
    for (uint32_t p = 0; p < 32; ++p) t.count[code][p] = uint32_t(VecTrueILength(p, int(sve_vl_bytes >> code)));
  return t;
}();

namespace {

// Xdn plus or minus count x multiplier, the product in 32 bits, the register
// wrapping at 64 bits.
template <uint32_t Code, bool Down>
aarch64_decode_rc step_register(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult) {
  if (rdn.reg == 31) return aarch64_decode_ok;
  uint32_t product = pattern_count(Code, pattern) * mult;
  s->x[rdn.reg] = Down ? s->x[rdn.reg] - product : s->x[rdn.reg] + product;
  return aarch64_decode_ok;
}

// Every element of Zdn plus or minus count x multiplier, at element width.
template <class T, bool Down>
aarch64_decode_rc step_vector(cpu_state* s, aarch64_z_reg zdn, unsigned pattern, unsigned mult) {
  T product = T(pattern_count(code_of<T>, pattern) * mult);
  uint8_t* d = s->z[zdn.reg];
  return all_loop<T>(d, [&](unsigned i) { return Down ? T(load<T>(d + i) - product) : T(load<T>(d + i) + product); });
}

}  // namespace

#define SVE_STEP_KERNELS(l, code)                                                                    \
  aarch64_decode_rc sve_inc##l##_rii(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult) { \
    return step_register<code, false>(s, rdn, pattern, mult);                                        \
  }                                                                                                  \
  aarch64_decode_rc sve_dec##l##_rii(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult) { \
    return step_register<code, true>(s, rdn, pattern, mult);                                         \
  }
#define SVE_VECTOR_STEP_KERNELS(l, code, T)                                                          \
  SVE_STEP_KERNELS(l, code)                                                                          \
  aarch64_decode_rc sve_inc##l##_zii(cpu_state* s, aarch64_z_reg zdn, unsigned pattern, unsigned mult) { \
    return step_vector<T, false>(s, zdn, pattern, mult);                                             \
  }                                                                                                  \
  aarch64_decode_rc sve_dec##l##_zii(cpu_state* s, aarch64_z_reg zdn, unsigned pattern, unsigned mult) { \
    return step_vector<T, true>(s, zdn, pattern, mult);                                              \
  }
SVE_STEP_KERNELS(b, Z_B)
SVE_VECTOR_STEP_KERNELS(h, Z_H, uint16_t)
SVE_VECTOR_STEP_KERNELS(w, Z_S, uint32_t)
SVE_VECTOR_STEP_KERNELS(d, Z_D, uint64_t)
#undef SVE_STEP_KERNELS
#undef SVE_VECTOR_STEP_KERNELS

// UQDEC of a 32-bit or 64-bit operand: down to 0 at the least. The size
// shift selects the counted element size.
template <class T>
aarch64_decode_rc sve_uqdec(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult, unsigned size_shift) {
  if (rdn.reg == 31) return aarch64_decode_ok;
  uint64_t product = uint64_t(pattern_count(size_shift, pattern)) * mult;
  T op = T(s->x[rdn.reg]);
  s->x[rdn.reg] = product < op ? T(op - product) : T(0);
  return aarch64_decode_ok;
}

aarch64_decode_rc sve_uqdecb_rii(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult) {
  return rdn.rw_elem == I_X ? sve_uqdec<uint64_t>(s, rdn, pattern, mult, 0)
                            : sve_uqdec<uint32_t>(s, rdn, pattern, mult, 0);
}

// RDVL: the product formed in 32 bits and sign-extended.
aarch64_decode_rc sve_rdvl_ri(cpu_state* s, aarch64_i_reg rd, int imm) {
  write_x(s, rd, uint64_t(int64_t(int32_t(uint32_t(imm) * sve_vl_bytes))));
  return aarch64_decode_ok;
}

// ADDVL and ADDPL, where register 31 is the stack pointer on both sides.
aarch64_decode_rc sve_addvl_rri(cpu_state* s, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm) {
  write_x(s, rd, read_x(s, rn) + uint64_t(int64_t(imm) * sve_vl_bytes));
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_addpl_rri(cpu_state* s, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm) {
  write_x(s, rd, read_x(s, rn) + uint64_t(int64_t(imm) * (sve_vl_bytes / 8)));
  return aarch64_decode_ok;
}

namespace {

// count + imm4 x count: the raw multiplier field of the library route.
template <unsigned Bits>
uint64_t pattern_product(uint64_t pattern, uint32_t imm4, const CpuContext* c) {
  uint64_t count = VecTrueILength(pattern, int(c->elements(Bits)));
  return count + imm4 * count;
}

}  // namespace

namespace lib {

#define SVE_COUNT(bits)                                                                      \
  uint64_t VecU##bits##CountVLSI(uint64_t pattern, uint32_t imm4, CpuContext* c) {           \
    return pattern_product<bits>(pattern, imm4, c);                                          \
  }
SVE_COUNT(8)
SVE_COUNT(16)
SVE_COUNT(32)
SVE_COUNT(64)
#undef SVE_COUNT

// Saturating steps of a register: 4 is the 32-bit form, 8 the 64-bit one.
#define SVE_QSTEP_REGISTER(sign, bits, is_unsigned, op, down)                                           \
  uint64_t Vec##sign##bits##op##4SI(uint64_t rdn, uint64_t pattern, uint32_t imm4, CpuContext* c) {      \
    return saturating_step<32, is_unsigned, down>(rdn, pattern_product<bits>(pattern, imm4, c));         \
  }                                                                                                      \
  uint64_t Vec##sign##bits##op##8SI(uint64_t rdn, uint64_t pattern, uint32_t imm4, CpuContext* c) {      \
    return saturating_step<64, is_unsigned, down>(rdn, pattern_product<bits>(pattern, imm4, c));         \
  }
#define SVE_QSTEP_VECTOR(sign, bits, is_unsigned)                                                       \
  VecV Vec##sign##bits##QIncrVLVI(VecV zdn, uint64_t pattern, uint32_t imm4, CpuContext* c) {           \
    return saturating_step<uint_bits<bits>, is_unsigned, false>(zdn, pattern_product<bits>(pattern, imm4, c), c); \
  }                                                                                                      \
  VecV Vec##sign##bits##QDecrVLVI(VecV zdn, uint64_t pattern, uint32_t imm4, CpuContext* c) {           \
    return saturating_step<uint_bits<bits>, is_unsigned, true>(zdn, pattern_product<bits>(pattern, imm4, c), c); \
  }
SVE_QSTEP_REGISTER(S, 8, 0, QIncrVL, false)
SVE_QSTEP_REGISTER(S, 16, 0, QIncrVL, false)
SVE_QSTEP_REGISTER(S, 32, 0, QIncrVL, false)
SVE_QSTEP_REGISTER(S, 64, 0, QIncrVL, false)
SVE_QSTEP_REGISTER(U, 8, 1, QIncrVL, false)
SVE_QSTEP_REGISTER(U, 16, 1, QIncrVL, false)
SVE_QSTEP_REGISTER(U, 32, 1, QIncrVL, false)
SVE_QSTEP_REGISTER(U, 64, 1, QIncrVL, false)
SVE_QSTEP_REGISTER(S, 8, 0, QDecrVL, true)
SVE_QSTEP_REGISTER(S, 16, 0, QDecrVL, true)
SVE_QSTEP_REGISTER(S, 32, 0, QDecrVL, true)
SVE_QSTEP_REGISTER(S, 64, 0, QDecrVL, true)
SVE_QSTEP_REGISTER(U, 16, 1, QDecrVL, true)  // UQDECB has a direct kernel
SVE_QSTEP_REGISTER(U, 32, 1, QDecrVL, true)
SVE_QSTEP_REGISTER(U, 64, 1, QDecrVL, true)
SVE_QSTEP_VECTOR(S, 16, 0)
SVE_QSTEP_VECTOR(S, 32, 0)
SVE_QSTEP_VECTOR(S, 64, 0)
SVE_QSTEP_VECTOR(U, 16, 1)
SVE_QSTEP_VECTOR(U, 32, 1)
SVE_QSTEP_VECTOR(U, 64, 1)
#undef SVE_QSTEP_REGISTER
#undef SVE_QSTEP_VECTOR

}  // namespace lib

// Pattern 9:5 and the raw multiplier field imm4 19:16.
struct pattern_field {
  template <class T>
  static uint64_t value(uint32_t w) { return field(w, 9, 5); }
};
struct imm4_field {
  template <class T>
  static uint32_t value(uint32_t w) { return field(w, 19, 16); }
};

// Rdn 4:0 in the view `View`, pattern 9:5, multiplier imm4 + 1.
template <auto Kernel, uint32_t View = I_X>
struct step_rii {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, x_dst_src(w, 4, 0, View), field(w, 9, 5), field(w, 19, 16) + 1);
  }
};

// Zdn 4:0, pattern 9:5, multiplier imm4 + 1.
template <auto Kernel>
struct step_zii {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, z_dst_src(w, 4, 0, T::code), field(w, 9, 5), field(w, 19, 16) + 1);
  }
};

// Rd 4:0, signed imm6 10:5.
template <auto Kernel>
struct rdvl_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, x_plain(w, 4, 0, I_X), sfield(w, 10, 5));
  }
};

// Rd 4:0, Rn 20:16, both with register 31 the stack pointer, signed imm6 10:5.
template <auto Kernel>
struct addvl_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, xsp(w, 4, 0, I_X), xsp(w, 20, 16, I_X), sfield(w, 10, 5));
  }
};

using lib_count = library<to_x<4, 0>, imm_in<pattern_field>, imm_in<imm4_field>>;
template <bool W32>
using lib_qstep_si = library<to_x<4, 0, W32>, x_in<4, 0>, imm_in<pattern_field>, imm_in<imm4_field>>;
using lib_qstep_vi = library<to_z<4, 0>, z_in<4, 0>, imm_in<pattern_field>, imm_in<imm4_field>>;

}  // namespace sve

using namespace sve;

// One row macro M at the four counted sizes, or at the three vector sizes,
// with the letter of the size in the mnemonic.
#define SVE_SIZES4(X, M, sign, ...) \
  M(X, sign##8, b, __VA_ARGS__) M(X, sign##16, h, __VA_ARGS__) M(X, sign##32, w, __VA_ARGS__) M(X, sign##64, d, __VA_ARGS__)
#define SVE_SIZES3(X, M, sign, ...) \
  M(X, sign##16, h, __VA_ARGS__) M(X, sign##32, w, __VA_ARGS__) M(X, sign##64, d, __VA_ARGS__)

// Counts and wrapping steps: "00000100 ss 1 f iiii 11 v 00 D ppppp ddddd",
// f 0 for CNT, v 0 for a vector.
#define SVE_CNT(X, type, l, ...)                                                                            \
  X(31_20__15_10, CountVLSI, type, "00000100 ss 10 iiii 111000 ppppp ddddd", library, (lib_count),          \
    "cnt" #l " x0, pow2, mul #3")
#define SVE_STEP_R(X, type, l, ...)                                                                         \
  X(31_20__15_10, IncrVLSI, type, "00000100 ss 11 iiii 111000 ppppp ddddd", direct,                         \
    (step_rii<sve_inc##l##_rii>), "inc" #l " x0, vl7, mul #16")                                             \
  X(31_20__15_10, DecrVLSI, type, "00000100 ss 11 iiii 111001 ppppp ddddd", direct,                         \
    (step_rii<sve_dec##l##_rii>), "dec" #l " x0")
#define SVE_STEP_Z(X, type, l, ...)                                                                         \
  X(31_20__15_10, IncrVLVI, type, "00000100 ss 11 iiii 110000 ppppp ddddd", direct,                         \
    (step_zii<sve_inc##l##_zii>), "inc" #l " z0.T, all, mul #2")                                            \
  X(31_20__15_10, DecrVLVI, type, "00000100 ss 11 iiii 110001 ppppp ddddd", direct,                         \
    (step_zii<sve_dec##l##_zii>), "dec" #l " z0.T")
// Saturating steps of a register: "00000100 ss 1 sf iiii 1111 D U ppppp
// ddddd", sf 0 for the 32-bit form, written r32 in the sample; of a vector:
// "00000100 ss 10 iiii 1100 D U ppppp ddddd".
#define SVE_QINC_R(X, type, l, u, mn, r32)                                                                  \
  X(31_20__15_10, QIncrVL4SI, type, "00000100 ss 10 iiii 11110" u " ppppp ddddd", library,                  \
    (lib_qstep_si<u[0] == '1'>), mn "inc" #l " " r32)                                                       \
  X(31_20__15_10, QIncrVL8SI, type, "00000100 ss 11 iiii 11110" u " ppppp ddddd", library,                  \
    (lib_qstep_si<false>), mn "inc" #l " x0")
#define SVE_QDEC_R(X, type, l, u, mn, r32)                                                                  \
  X(31_20__15_10, QDecrVL4SI, type, "00000100 ss 10 iiii 11111" u " ppppp ddddd", library,                  \
    (lib_qstep_si<u[0] == '1'>), mn "dec" #l " " r32)                                                       \
  X(31_20__15_10, QDecrVL8SI, type, "00000100 ss 11 iiii 11111" u " ppppp ddddd", library,                  \
    (lib_qstep_si<false>), mn "dec" #l " x0")
#define SVE_Q_Z(X, type, l, u, mn, r32)                                                                     \
  X(31_20__15_10, QIncrVLVI, type, "00000100 ss 10 iiii 11000" u " ppppp ddddd", library, (lib_qstep_vi),   \
    mn "inc" #l " z0.T, vl3")                                                                               \
  X(31_20__15_10, QDecrVLVI, type, "00000100 ss 10 iiii 11001" u " ppppp ddddd", library, (lib_qstep_vi),   \
    mn "dec" #l " z0.T, mul3, mul #4")
#define SVE_SIGNED "0", "sq", "x0, w0"
#define SVE_UNSIGNED "1", "uq", "w0"

#define INTEGER_COUNTS(X)                                                                                   \
  SVE_SIZES4(X, SVE_CNT, U, )                                                                               \
  SVE_SIZES4(X, SVE_STEP_R, U, )                                                                            \
  SVE_SIZES3(X, SVE_STEP_Z, U, )                                                                            \
  SVE_SIZES4(X, SVE_QINC_R, S, SVE_SIGNED)                                                                  \
  SVE_SIZES4(X, SVE_QINC_R, U, SVE_UNSIGNED)                                                                \
  SVE_SIZES4(X, SVE_QDEC_R, S, SVE_SIGNED)                                                                  \
  SVE_SIZES3(X, SVE_QDEC_R, U, SVE_UNSIGNED)                                                                \
  X(31_20__15_10, QDecrVL4SI, U8, "00000100 ss 10 iiii 111111 ppppp ddddd", direct,                         \
    (step_rii<sve_uqdecb_rii, I_W>), "uqdecb w0")                                                           \
  X(31_20__15_10, QDecrVL8SI, U8, "00000100 ss 11 iiii 111111 ppppp ddddd", direct,                         \
    (step_rii<sve_uqdecb_rii, I_X>), "uqdecb x0")                                                           \
  SVE_SIZES3(X, SVE_Q_Z, S, SVE_SIGNED)                                                                     \
  SVE_SIZES3(X, SVE_Q_Z, U, SVE_UNSIGNED)                                                                   \
  X(31_11, VLX, S64, "00000100 101 11111 01010 iiiiii ddddd", direct, (rdvl_shape<sve_rdvl_ri>), "rdvl x0, #-32") \
  X(31_21__15_11, AddVLX, S64, "00000100 001 nnnnn 01010 iiiiii ddddd", direct, (addvl_shape<sve_addvl_rri>), \
    "addvl sp, x1, #31")                                                                                    \
  X(31_21__15_11, AddPLX, S64, "00000100 011 nnnnn 01010 iiiiii ddddd", direct, (addvl_shape<sve_addpl_rri>), \
    "addpl x0, sp, #-1")

SVE_FAMILY(integer_counts, INTEGER_COUNTS)
