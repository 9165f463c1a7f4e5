// ADR: vectors of addresses, a base plus an offset scaled by 1, 2, 4 or 8,
// from packed words or doublewords, or from the low words of doublewords
// sign- or zero-extended. The packed doubleword form has a direct kernel,
// which takes the scale from the stored word; the other forms are library
// routines with the scale in their name.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/marshal.h"
#include "../support/routine_loop.h"
#include "kernel_loop.h"

namespace sve {

aarch64_decode_rc sve_adr_scaled_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  unsigned shift = field(uint32_t(s->instr), 11, 10);
  const uint8_t *a = s->z[zn.reg], *b = s->z[zm.reg];
  return all_loop<uint64_t>(s->z[zd.reg], [&](unsigned i) { return load<uint64_t>(a + i) + (load<uint64_t>(b + i) << shift); });
}

namespace lib {

#define SVE_LEA(scale)                                                                              \
  VecV VecU32LEA##scale##VV(VecV zn, VecV zm, CpuContext* c) {                                     \
    return routine_pair<uint32_t>(zn, zm, c, [](uint32_t a, uint32_t b) { return a + b * scale##u; }); \
  }                                                                                                 \
  VecV VecU64LEA##scale##XVV(VecV zn, VecV zm, CpuContext* c) {                                    \
    return routine_pair<uint64_t>(zn, zm, c, [](uint64_t a, uint64_t b) {                           \
      return a + uint64_t(int64_t(int32_t(uint32_t(b)))) * scale##u;                                \
    });                                                                                             \
  }                                                                                                 \
  VecV VecU64LEA##scale##YVV(VecV zn, VecV zm, CpuContext* c) {                                    \
    return routine_pair<uint64_t>(zn, zm, c, [](uint64_t a, uint64_t b) { return a + uint64_t(uint32_t(b)) * scale##u; }); \
  }
SVE_LEA(1)
SVE_LEA(2)
SVE_LEA(4)
SVE_LEA(8)
#undef SVE_LEA

}  // namespace lib

}  // namespace sve

using namespace sve;

// "00000100 opc 1 mmmmm 1010 msz nnnnn ddddd": opc 101 packed words, 111
// packed doublewords, 001 signed and 011 unsigned 32-bit offsets.
#define SVE_ADR(X, scale, msz, shift, amount)                                                                                    \
  X(31_21__15_10, LEA##scale##VV, U32, "00000100 101 mmmmm 1010 " msz " nnnnn ddddd", library, (lib_vvx),               \
    "adr z0.s, [z1.s, z2.s" shift "]")                                                                                  \
  X(31_21__15_10, LEA##scale##VV, U64, "00000100 111 mmmmm 1010 " msz " nnnnn ddddd", direct, (vvx<sve_adr_scaled_zzz>), \
    "adr z0.d, [z1.d, z2.d" shift "]")                                                                                  \
  X(31_21__15_10, LEA##scale##XVV, U64, "00000100 001 mmmmm 1010 " msz " nnnnn ddddd", library, (lib_vvx),              \
    "adr z0.d, [z1.d, z2.d, sxtw" amount "]")                                                                            \
  X(31_21__15_10, LEA##scale##YVV, U64, "00000100 011 mmmmm 1010 " msz " nnnnn ddddd", library, (lib_vvx),              \
    "adr z0.d, [z1.d, z2.d, uxtw" amount "]")

#define INTEGER_ADDRESSES(X) \
  SVE_ADR(X, 1, "00", "", "") SVE_ADR(X, 2, "01", ", lsl #1", " #1") SVE_ADR(X, 4, "10", ", lsl #2", " #2") \
  SVE_ADR(X, 8, "11", ", lsl #3", " #3")

SVE_FAMILY(integer_addresses, INTEGER_ADDRESSES)
