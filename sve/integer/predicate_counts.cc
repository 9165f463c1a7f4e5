// Counts of the active elements of a predicate: CNTP, and INCP and DECP of a
// general register or a vector with their saturating forms SQINCP, UQINCP,
// SQDECP, UQDECP. CNTP and INCP of a register have direct kernels over the
// byte form of the predicate; the rest are library routines over the packed
// form. In the vector forms the predicate is only counted: every element
// changes.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/bytewise.h"
#include "../support/marshal.h"
#include "count_steps.h"

namespace sve {

namespace {

// Elements of T whose first byte has bit 0 set in both a and b.
template <class T>
uint64_t count_both(const uint8_t* a, const uint8_t* b) {
  byte_piece lead;
  for (unsigned i = 0; i < sizeof lead; ++i) lead[i] = i % sizeof(T) == 0;
  return bytewise_count([lead](byte_piece& r, byte_piece x, byte_piece y) { r = x & y & lead; }, a, b);
}

}  // namespace

aarch64_decode_rc sve_cntp_rpp(cpu_state* s, aarch64_i_reg rd, aarch64_p_reg pg, aarch64_p_reg pn) {
  return by_size(pn.elem, [&](auto e) {
    write_x(s, rd, count_both<decltype(e)>(s->p[pg.reg], s->p[pn.reg]));
    return aarch64_decode_ok;
  });
}

aarch64_decode_rc sve_incp_rp(cpu_state* s, aarch64_i_reg rdn, aarch64_p_reg pm) {
  return by_size(pm.elem, [&](auto e) {
    write_x(s, rdn, read_x(s, rdn) + count_both<decltype(e)>(s->p[pm.reg], s->p[pm.reg]));
    return aarch64_decode_ok;
  });
}

namespace {

// Active elements of `Bits` bits, over the context's vector length.
template <unsigned Bits>
uint64_t active_count(const PredV& p, const CpuContext* c) {
  uint64_t n = 0;
  for (unsigned i = 0, count = c->elements(Bits); i < count; ++i) n += p.active(i, Bits / 8);
  return n;
}

}  // namespace

namespace lib {

#define SVE_PCOUNT_REGISTER(sign, bits, is_unsigned)                                                   \
  uint64_t Vec##sign##bits##QIncrSCount4PS(PredV pm, uint64_t rdn, CpuContext* c) {                    \
    return saturating_step<32, is_unsigned, false>(rdn, active_count<bits>(pm, c));                    \
  }                                                                                                     \
  uint64_t Vec##sign##bits##QIncrSCount8PS(PredV pm, uint64_t rdn, CpuContext* c) {                    \
    return saturating_step<64, is_unsigned, false>(rdn, active_count<bits>(pm, c));                    \
  }                                                                                                     \
  uint64_t Vec##sign##bits##QDecrSCount4PS(PredV pm, uint64_t rdn, CpuContext* c) {                    \
    return saturating_step<32, is_unsigned, true>(rdn, active_count<bits>(pm, c));                     \
  }                                                                                                     \
  uint64_t Vec##sign##bits##QDecrSCount8PS(PredV pm, uint64_t rdn, CpuContext* c) {                    \
    return saturating_step<64, is_unsigned, true>(rdn, active_count<bits>(pm, c));                     \
  }
#define SVE_PCOUNT_VECTOR(sign, bits, is_unsigned)                                                     \
  VecV Vec##sign##bits##QIncrCountPV(PredV pm, VecV zdn, CpuContext* c) {                              \
    return saturating_step<uint_bits<bits>, is_unsigned, false>(zdn, active_count<bits>(pm, c), c);    \
  }                                                                                                     \
  VecV Vec##sign##bits##QDecrCountPV(PredV pm, VecV zdn, CpuContext* c) {                              \
    return saturating_step<uint_bits<bits>, is_unsigned, true>(zdn, active_count<bits>(pm, c), c);     \
  }
#define SVE_PCOUNT_WRAPPING(bits)                                                                      \
  uint64_t VecU##bits##DecrSCountPS(PredV pm, uint64_t rdn, CpuContext* c) {                           \
    return rdn - active_count<bits>(pm, c);                                                             \
  }
#define SVE_PCOUNT_WRAPPING_VECTOR(bits)                                                               \
  VecV VecU##bits##IncrCountPV(PredV pm, VecV zdn, CpuContext* c) {                                    \
    return wrapping_step<uint_bits<bits>, false>(zdn, active_count<bits>(pm, c), c);                   \
  }                                                                                                     \
  VecV VecU##bits##DecrCountPV(PredV pm, VecV zdn, CpuContext* c) {                                    \
    return wrapping_step<uint_bits<bits>, true>(zdn, active_count<bits>(pm, c), c);                    \
  }
SVE_PCOUNT_REGISTER(S, 8, 0)
SVE_PCOUNT_REGISTER(S, 16, 0)
SVE_PCOUNT_REGISTER(S, 32, 0)
SVE_PCOUNT_REGISTER(S, 64, 0)
SVE_PCOUNT_REGISTER(U, 8, 1)
SVE_PCOUNT_REGISTER(U, 16, 1)
SVE_PCOUNT_REGISTER(U, 32, 1)
SVE_PCOUNT_REGISTER(U, 64, 1)
SVE_PCOUNT_VECTOR(S, 16, 0)
SVE_PCOUNT_VECTOR(S, 32, 0)
SVE_PCOUNT_VECTOR(S, 64, 0)
SVE_PCOUNT_VECTOR(U, 16, 1)
SVE_PCOUNT_VECTOR(U, 32, 1)
SVE_PCOUNT_VECTOR(U, 64, 1)
SVE_PCOUNT_WRAPPING(8)
SVE_PCOUNT_WRAPPING(16)
SVE_PCOUNT_WRAPPING(32)
SVE_PCOUNT_WRAPPING(64)
SVE_PCOUNT_WRAPPING_VECTOR(16)
SVE_PCOUNT_WRAPPING_VECTOR(32)
SVE_PCOUNT_WRAPPING_VECTOR(64)
#undef SVE_PCOUNT_REGISTER
#undef SVE_PCOUNT_VECTOR
#undef SVE_PCOUNT_WRAPPING
#undef SVE_PCOUNT_WRAPPING_VECTOR

}  // namespace lib

// Rd 4:0, Pg 13:10, Pn 8:5 at the element size.
template <auto Kernel>
struct cntp_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, x_plain(w, 4, 0, I_X), p_gov(w, 13, 10, P_PLAIN), p_plain(w, 8, 5, T::code));
  }
};

// Rdn 4:0, Pm 8:5 at the element size.
template <auto Kernel>
struct incp_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    return Kernel(s, x_dst_src(w, 4, 0, I_X), p_plain(w, 8, 5, T::code));
  }
};

template <bool W32>
using lib_pcount_ps = library<to_x<4, 0, W32>, p_in<8, 5>, x_in<4, 0>>;
using lib_pcount_pv = library<to_z<4, 0>, p_in<8, 5>, z_in<4, 0>>;

}  // namespace sve

using namespace sve;

// "00100101 ss 101 op D U 1000 opc mmmm ddddd": the saturating forms with op
// 0, INCP and DECP with op 1, D 0 and U telling them apart; opc 100 for a
// 32-bit register, 110 for a 64-bit one, 000 for a vector.
#define SVE_PCOUNT(X, op, type, du, opc, route, impl, sample) \
  X(31_9, op, type, "00100101 ss 101" du " 1000" opc " mmmm ddddd", route, impl, sample)
#define SVE_QPCOUNT_R(X, type, u, mn, r32)                                                                              \
  SVE_PCOUNT(X, QIncrSCount4PS, type, "00" u, "100", library, (lib_pcount_ps<u[0] == '1'>), mn "incp " r32)            \
  SVE_PCOUNT(X, QIncrSCount8PS, type, "00" u, "110", library, (lib_pcount_ps<false>), mn "incp x0, p1.T")               \
  SVE_PCOUNT(X, QDecrSCount4PS, type, "01" u, "100", library, (lib_pcount_ps<u[0] == '1'>), mn "decp " r32)            \
  SVE_PCOUNT(X, QDecrSCount8PS, type, "01" u, "110", library, (lib_pcount_ps<false>), mn "decp x0, p1.T")
#define SVE_QPCOUNT_Z(X, type, u, mn)                                                                                   \
  SVE_PCOUNT(X, QIncrCountPV, type, "00" u, "000", library, (lib_pcount_pv), mn "incp z0.T, p1.T")                     \
  SVE_PCOUNT(X, QDecrCountPV, type, "01" u, "000", library, (lib_pcount_pv), mn "decp z0.T, p1.T")
#define SVE_PCOUNT_Z(X, type)                                                                                           \
  SVE_PCOUNT(X, IncrCountPV, type, "100", "000", library, (lib_pcount_pv), "incp z0.T, p1.T")                          \
  SVE_PCOUNT(X, DecrCountPV, type, "101", "000", library, (lib_pcount_pv), "decp z0.T, p1.T")

#define PREDICATE_COUNTS(X)                                                                                              \
  SVE_U4(X, 31_14__9_9, SCountP, "00100101 ss 100 000 10 gggg 0 nnnn ddddd", direct, (cntp_shape<sve_cntp_rpp>),      \
         "cntp x0, p1, p2.T")                                                                                            \
  SVE_U4(X, 31_9, IncrSCountPS, "00100101 ss 101 100 1000100 mmmm ddddd", direct, (incp_shape<sve_incp_rp>),           \
         "incp x0, p1.T")                                                                                                \
  SVE_U4(X, 31_9, DecrSCountPS, "00100101 ss 101 101 1000100 mmmm ddddd", library, (lib_pcount_ps<false>),             \
         "decp x0, p1.T")                                                                                                \
  SVE_PCOUNT_Z(X, U16) SVE_PCOUNT_Z(X, U32) SVE_PCOUNT_Z(X, U64)                                                        \
  SVE_QPCOUNT_R(X, S8, "0", "sq", "x0, p1.T, w0") SVE_QPCOUNT_R(X, S16, "0", "sq", "x0, p1.T, w0")                     \
  SVE_QPCOUNT_R(X, S32, "0", "sq", "x0, p1.T, w0") SVE_QPCOUNT_R(X, S64, "0", "sq", "x0, p1.T, w0")                    \
  SVE_QPCOUNT_R(X, U8, "1", "uq", "w0, p1.T") SVE_QPCOUNT_R(X, U16, "1", "uq", "w0, p1.T")                             \
  SVE_QPCOUNT_R(X, U32, "1", "uq", "w0, p1.T") SVE_QPCOUNT_R(X, U64, "1", "uq", "w0, p1.T")                            \
  SVE_QPCOUNT_Z(X, S16, "0", "sq") SVE_QPCOUNT_Z(X, S32, "0", "sq") SVE_QPCOUNT_Z(X, S64, "0", "sq")                   \
  SVE_QPCOUNT_Z(X, U16, "1", "uq") SVE_QPCOUNT_Z(X, U32, "1", "uq") SVE_QPCOUNT_Z(X, U64, "1", "uq")

SVE_FAMILY(predicate_counts, PREDICATE_COUNTS)
