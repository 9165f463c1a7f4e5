// LDR and STR of whole vector and predicate registers. The immediate counts
// register sizes. A predicate is one bit per vector byte in memory and one
// byte per vector byte in cpu_state; loading writes every byte as 0 or 1.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "memory_access.h"

namespace sve {

namespace {
constexpr unsigned pred_bytes_in_memory = sve_vl_bytes / 8;
uint64_t register_address(const cpu_state* s, aarch64_i_rsp_reg rn, int imm, unsigned size) {
  return read_x(s, rn) + uint64_t(int64_t(imm)) * size;
}
}  // namespace

aarch64_decode_rc sve_ldr_zri(cpu_state* s, aarch64_z_reg zt, aarch64_i_rsp_reg rn, int imm) {
  copy_from_app(s->z[zt.reg], register_address(s, rn, imm, sve_vl_bytes), sve_vl_bytes);
  return aarch64_decode_ok;
}

aarch64_decode_rc sve_str_zri(cpu_state* s, aarch64_z_reg zt, aarch64_i_rsp_reg rn, int imm) {
  copy_to_app(register_address(s, rn, imm, sve_vl_bytes), s->z[zt.reg], sve_vl_bytes);
  return aarch64_decode_ok;
}

aarch64_decode_rc sve_ldr_pri(cpu_state* s, aarch64_p_reg pt, aarch64_i_rsp_reg rn, int imm) {
  uint8_t bits[pred_bytes_in_memory];
  copy_from_app(bits, register_address(s, rn, imm, pred_bytes_in_memory), sizeof bits);
  for (unsigned i = 0; i < sve_vl_bytes; ++i) s->p[pt.reg][i] = bits[i / 8] >> (i % 8) & 1;
  return aarch64_decode_ok;
}

aarch64_decode_rc sve_str_pri(cpu_state* s, aarch64_p_reg pt, aarch64_i_rsp_reg rn, int imm) {
  uint8_t bits[pred_bytes_in_memory] = {};
  for (unsigned i = 0; i < sve_vl_bytes; ++i) bits[i / 8] |= uint8_t((s->p[pt.reg][i] & 1) << (i % 8));
  copy_to_app(register_address(s, rn, imm, pred_bytes_in_memory), bits, sizeof bits);
  return aarch64_decode_ok;
}

// Zt 4:0 or Pt 3:0, Rn 9:5 (31 is sp), the signed immediate 21:16 over 12:10.
template <auto Kernel, bool Predicate>
struct fill_spill_shape {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    s->instr = w;
    int imm = int32_t(field(w, 21, 16) << 3 | field(w, 12, 10)) << 23 >> 23;
    if constexpr (Predicate)
      return Kernel(s, p_plain(w, 3, 0, P_B), xsp(w, 9, 5, I_X), imm);
    else
      return Kernel(s, z_plain(w, 4, 0, Z_B), xsp(w, 9, 5, I_X), imm);
  }
};

}  // namespace sve

using namespace sve;

#define FILL_SPILL(X)                                                                                         \
  X(31_22__15_13, FillSI, U64, "1000010 110 iiiiii 010 iii nnnnn ttttt", direct, (fill_spill_shape<sve_ldr_zri, false>), \
    "ldr z0, [x1, #-5, mul vl]")                                                                              \
  X(31_22__15_13, SpillSI, U64, "1110010 110 iiiiii 010 iii nnnnn ttttt", direct, (fill_spill_shape<sve_str_zri, false>), \
    "str z0, [x1, #-5, mul vl]")                                                                              \
  X(31_22__15_13__4_4, FillSI, P, "1000010 110 iiiiii 000 iii nnnnn 0 tttt", direct, (fill_spill_shape<sve_ldr_pri, true>), \
    "ldr p0, [x1, #-5, mul vl]")                                                                              \
  X(31_22__15_13__4_4, SpillSI, P, "1110010 110 iiiiii 000 iii nnnnn 0 tttt", direct, (fill_spill_shape<sve_str_pri, true>), \
    "str p0, [x1, #-5, mul vl]")

SVE_FAMILY(memory_fill_spill, FILL_SPILL)
