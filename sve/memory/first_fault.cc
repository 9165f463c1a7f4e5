// First-fault loads (LDFF1, contiguous and gathers) and non-fault loads
// (LDNF1): the loads that survive unreadable memory by clearing elements of
// the first-fault register ffr instead of ending the program. They only ever
// clear ffr, and a false element of ffr does not keep its element from being
// read.
//
// Three mechanisms, by route:
//   - non-fault kernels probe each page that an active element touches and
//     clear ffr at the active elements they cannot read, which keep their old
//     value in Zt;
//   - contiguous first-fault kernels probe only when the span of one whole
//     vector from the address reaches the next page, then load the elements
//     that lie in the page's tail, counted in units of the element size (not
//     the memory size), and clear ffr above them; the first active element
//     is always read, so that an unreadable one is a real fault as on
//     hardware and a loop that retries from it cannot spin;
//   - library routines read the first active element plainly (a fault there
//     is fatal) and every later one with a protected read, clearing ffr and
//     writing 0 from the first element that fails.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../decode/stats.h"
#include "../integer/kernel_loop.h"
#include "../support/marshal.h"
#include "element_loops.h"
#include "memory_access.h"
#include "memory_shapes.h"

namespace sve {

namespace {

// Whether the byte at `address` can be read, probing each page only once
// in a walk: the answers for the last eight pages stay, one slot per page
// by its low page-number bits, which a gather over a small table reuses.
class page_probe {
 public:
  bool readable(uint64_t address) {
    uint64_t page = address & ~uint64_t(page_size - 1);
    slot& s = slots_[(page >> __builtin_ctzl(page_size)) % slots];
    if (page != s.page) {
      s.page = page;
      s.ok = addr_is_readable(reinterpret_cast<char volatile*>(address));
    }
    return s.ok;
  }

 private:
  static constexpr unsigned slots = 8;
  struct slot {
    uint64_t page = 1;  // no page starts at an odd address
    bool ok = false;
  };
  slot slots_[slots];
};

// LDNF1: memory elements M (signed M sign-extends) into elements T of Zt
// from `address` on. An active element that lies, wholly or in part, on an
// unreadable page clears its element of ffr and keeps its value. With every
// element active and both ends of the span readable (the span is shorter
// than a page, so its ends cover its pages), the whole vector loads at once.
template <class M, class T>
aarch64_decode_rc non_fault_load(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, uint64_t address) {
  constexpr unsigned count = sve_vl_bytes / sizeof(T);
  const uint8_t* g = s->p[pg.reg];
  uint8_t* z = s->z[zt.reg];
  page_probe probe;
  if (all_active<T>(g) && probe.readable(address) && probe.readable(address + count * sizeof(M) - 1)) {
    load_run<M, T, 1, true>(s, zt.reg, g, address, count);
    return aarch64_decode_ok;
  }
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T), address += sizeof(M)) {
    if (!(g[i] & 1))
      store<T>(z + i, T(0));
    else if (probe.readable(address) && probe.readable(address + sizeof(M) - 1))
      store<T>(z + i, T(read_plain<M>(address)));
    else
      std::memset(s->ffr + i, 0, sizeof(T));
  }
  return aarch64_decode_ok;
}

// LDFF1, contiguous: when the span of the vector reaches an unreadable page,
// only the elements below the page's end, counted in units of T, are loaded;
// the ones above keep their values and their elements of ffr are cleared,
// whether active or not. The element count is raised to take in the first
// active element, whose fault is then the program's.
template <class M, class T>
aarch64_decode_rc first_fault_load(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, uint64_t address) {
  constexpr unsigned count = sve_vl_bytes / sizeof(T);
  const uint8_t* g = s->p[pg.reg];
  const uint64_t mask = uint64_t(page_size) - 1;
  unsigned n = count;
  if (int32_t(address & mask) > int32_t((address + sve_vl_bytes) & mask) &&
      !addr_is_readable(reinterpret_cast<char volatile*>(address + page_size))) {
    uint64_t tail = page_size - (address & mask);
    n = unsigned(std::min<uint64_t>(tail, sve_vl_bytes) / sizeof(T));
    unsigned first = 0;
    while (first < count && !(g[first * sizeof(T)] & 1)) ++first;
    if (first < count && first >= n) n = first + 1;
  }
  load_elements<M, T>(s, zt.reg, g, address, n);
  if (n < count) std::memset(s->ffr + n * sizeof(T), 0, sve_vl_bytes - n * sizeof(T));
  return aarch64_decode_ok;
}

}  // namespace

#define SVE_NF_KERNEL(name, M, T)                                                                              \
  aarch64_decode_rc sve_##name##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg rn,   \
                                      int imm) {                                                               \
    uint64_t footprint = sve_vl_bytes / sizeof(T) * sizeof(M);                                                \
    return non_fault_load<M, T>(s, zt, pg, read_x(s, rn) + uint64_t(int64_t(imm)) * footprint);                \
  }
SVE_NF_KERNEL(ldnf1b, uint8_t, uint8_t)
SVE_NF_KERNEL(ldnf1b_h, uint8_t, uint16_t)
SVE_NF_KERNEL(ldnf1b_s, uint8_t, uint32_t)
SVE_NF_KERNEL(ldnf1b_d, uint8_t, uint64_t)
SVE_NF_KERNEL(ldnf1sb_h, int8_t, uint16_t)
SVE_NF_KERNEL(ldnf1sb_s, int8_t, uint32_t)
SVE_NF_KERNEL(ldnf1sb_d, int8_t, uint64_t)
SVE_NF_KERNEL(ldnf1h, uint16_t, uint16_t)
SVE_NF_KERNEL(ldnf1h_s, uint16_t, uint32_t)
SVE_NF_KERNEL(ldnf1h_d, uint16_t, uint64_t)
SVE_NF_KERNEL(ldnf1sh_s, int16_t, uint32_t)
SVE_NF_KERNEL(ldnf1sh_d, int16_t, uint64_t)
SVE_NF_KERNEL(ldnf1w, uint32_t, uint32_t)
SVE_NF_KERNEL(ldnf1w_d, uint32_t, uint64_t)
SVE_NF_KERNEL(ldnf1sw_d, int32_t, uint64_t)
SVE_NF_KERNEL(ldnf1d, uint64_t, uint64_t)
#undef SVE_NF_KERNEL

#define SVE_FF_KERNEL(name, M, T)                                                                       \
  aarch64_decode_rc sve_##name##_scaled_zprr(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg,         \
                                             aarch64_i_rsp_reg rn, aarch64_i_reg rm) {                 \
    return first_fault_load<M, T>(s, zt, pg, read_x(s, rn) + read_x(s, rm) * sizeof(M));              \
  }
SVE_FF_KERNEL(ldff1b, uint8_t, uint8_t)
SVE_FF_KERNEL(ldff1b_h, uint8_t, uint16_t)
SVE_FF_KERNEL(ldff1b_s, uint8_t, uint32_t)
SVE_FF_KERNEL(ldff1b_d, uint8_t, uint64_t)
SVE_FF_KERNEL(ldff1w, uint32_t, uint32_t)
SVE_FF_KERNEL(ldff1w_d, uint32_t, uint64_t)
SVE_FF_KERNEL(ldff1d, uint64_t, uint64_t)
#undef SVE_FF_KERNEL

namespace {

// The walk of every first-fault routine: element e of T from memory element
// M at address(e). The first active element is a plain read; from the first
// later element that cannot be read on, elements are 0 and their elements of
// ffr in the context are cleared, active or not, and no memory is touched.
// Later elements are read plainly once the pages of their first and last
// bytes have been probed, so that elements that share a page pay one probe.
template <class M, class T, class Address>
VecV first_fault_walk(const PredV& pg, CpuContext* c, Address address) {
  VecV r{};
  bool first = true, fault = false;
  page_probe probe;
  for (unsigned e = 0, n = c->elements(sizeof(T) * 8); e < n; ++e) {
    bool active = pg.active(e, sizeof(T));
    if (active && !fault) {
      uint64_t a = address(e);
      fault = !first && !(probe.readable(a) && probe.readable(a + sizeof(M) - 1));
      first = false;
      if (!fault) {
        r.set<T>(e, T(read_plain<M>(a)));
        continue;
      }
    }
    if (fault)
      for (unsigned b = 0; b < sizeof(T); ++b) c->ffr.set_bit(e * sizeof(T) + b, false);
  }
  return r;
}

}  // namespace

namespace lib {

#define SVE_FF_CONTIGUOUS(name, M, T)                                                                   \
  VecV name(PredV pg, uint64_t base, uint64_t offset, CpuContext* c) {                                 \
    return first_fault_walk<M, T>(pg, c, [&](unsigned e) { return base + (offset + e) * sizeof(M); }); \
  }
SVE_FF_CONTIGUOUS(VecS16CLoadFF1LSSZ, int8_t, uint16_t)
SVE_FF_CONTIGUOUS(VecS32CLoadFF1LSSZ, int8_t, uint32_t)
SVE_FF_CONTIGUOUS(VecS64CLoadFF1LSSZ, int8_t, uint64_t)
SVE_FF_CONTIGUOUS(VecU16CLoadFF2LSSZ, uint16_t, uint16_t)
SVE_FF_CONTIGUOUS(VecU32CLoadFF2LSSZ, uint16_t, uint32_t)
SVE_FF_CONTIGUOUS(VecU64CLoadFF2LSSZ, uint16_t, uint64_t)
SVE_FF_CONTIGUOUS(VecS32CLoadFF2LSSZ, int16_t, uint32_t)
SVE_FF_CONTIGUOUS(VecS64CLoadFF2LSSZ, int16_t, uint64_t)
SVE_FF_CONTIGUOUS(VecS64CLoadFF4LSSZ, int32_t, uint64_t)
#undef SVE_FF_CONTIGUOUS

// Gathers by shape, in the operand order of their handlers: vector plus
// immediate (in memory elements), the offset vector before the base when
// unscaled, the base first when scaled.
#define SVE_FF_GATHER_VIZ(name, M, T, X)                                                                 \
  VecV name(PredV pg, VecV zn, uint64_t imm, CpuContext* c) {                                          \
    return first_fault_walk<M, T>(pg, c, [&](unsigned e) { return zn.get<T>(e) + imm * sizeof(M); });  \
  }
#define SVE_FF_GATHER_VSZ(name, M, T, X)                                                                         \
  VecV name(PredV pg, VecV zm, uint64_t base, CpuContext* c) {                                                 \
    return first_fault_walk<M, T>(pg, c, [&](unsigned e) { return base + X::of(zm.get<T>(e)); }); \
  }
#define SVE_FF_GATHER_SVZ(name, M, T, X)                                                              \
  VecV name(PredV pg, uint64_t base, VecV zm, CpuContext* c) {                                      \
    return first_fault_walk<M, T>(                                                                  \
        pg, c, [&](unsigned e) { return base + X::of(zm.get<T>(e)) * sizeof(M); }); \
  }
// Every extend and scale of one memory size: 32-bit elements take their
// offsets whole (zero-extended) or sign-extended; 64-bit elements take them
// whole or from their low words with either extension.
#define SVE_FF_GATHERS_32(T, n, M)                            \
  SVE_FF_GATHER_VIZ(Vec##T##LoadFF##n##VIZ, M, T##_t_, whole) \
  SVE_FF_GATHER_VSZ(Vec##T##LoadFF##n##VSZ, M, T##_t_, whole) \
  SVE_FF_GATHER_VSZ(Vec##T##LoadFF##n##XVSZ, M, T##_t_, sxtw)
#define SVE_FF_SCALED_32(T, n, M)                             \
  SVE_FF_GATHER_SVZ(Vec##T##LoadFF##n##SVZ, M, T##_t_, whole) \
  SVE_FF_GATHER_SVZ(Vec##T##LoadFF##n##XSVZ, M, T##_t_, sxtw)
#define SVE_FF_GATHERS_64(T, n, M)             \
  SVE_FF_GATHERS_32(T, n, M)                  \
  SVE_FF_GATHER_VSZ(Vec##T##LoadFF##n##YVSZ, M, T##_t_, uxtw)
#define SVE_FF_SCALED_64(T, n, M) \
  SVE_FF_SCALED_32(T, n, M)      \
  SVE_FF_GATHER_SVZ(Vec##T##LoadFF##n##YSVZ, M, T##_t_, uxtw)
using U32_t_ = uint32_t;
using S32_t_ = uint32_t;
using U64_t_ = uint64_t;
using S64_t_ = uint64_t;
SVE_FF_GATHERS_32(U32, 1, uint8_t)
SVE_FF_GATHERS_32(U32, 2, uint16_t)
SVE_FF_SCALED_32(U32, 2, uint16_t)
SVE_FF_GATHERS_32(U32, 4, uint32_t)
SVE_FF_SCALED_32(U32, 4, uint32_t)
SVE_FF_GATHERS_32(S32, 1, int8_t)
SVE_FF_GATHERS_32(S32, 2, int16_t)
SVE_FF_SCALED_32(S32, 2, int16_t)
SVE_FF_GATHERS_64(U64, 1, uint8_t)
SVE_FF_GATHERS_64(U64, 2, uint16_t)
SVE_FF_SCALED_64(U64, 2, uint16_t)
SVE_FF_GATHERS_64(U64, 4, uint32_t)
SVE_FF_SCALED_64(U64, 4, uint32_t)
SVE_FF_GATHERS_64(U64, 8, uint64_t)
SVE_FF_SCALED_64(U64, 8, uint64_t)
SVE_FF_GATHERS_64(S64, 1, int8_t)
SVE_FF_GATHERS_64(S64, 2, int16_t)
SVE_FF_SCALED_64(S64, 2, int16_t)
SVE_FF_GATHERS_64(S64, 4, int32_t)
SVE_FF_SCALED_64(S64, 4, int32_t)
#undef SVE_FF_GATHERS_32
#undef SVE_FF_SCALED_32
#undef SVE_FF_GATHERS_64
#undef SVE_FF_SCALED_64
#undef SVE_FF_GATHER_VIZ
#undef SVE_FF_GATHER_VSZ
#undef SVE_FF_GATHER_SVZ

}  // namespace lib


using lib_ff_contiguous = library<to_z<4, 0>, p_in<12, 10>, xsp_in<9, 5>, x_in<20, 16>>;
using lib_ff_vec_imm = library<to_z<4, 0>, p_in<12, 10>, z_in<9, 5>, imm_in<field_in<20, 16>>>;
using lib_ff_unscaled = library<to_z<4, 0>, p_in<12, 10>, z_in<20, 16>, xsp_in<9, 5>>;
using lib_ff_scaled = library<to_z<4, 0>, p_in<12, 10>, xsp_in<9, 5>, z_in<20, 16>>;

}  // namespace sve

using namespace sve;

// LDNF1: "1010010 dtype 1 iiii 101"; LDFF1: "1010010 dtype mmmmm 011".
#define SVE_NF(X, type, op, dtype, kernel, mn, t)                                                                     \
  X(31_20__15_13, op, type, "1010010 " dtype " 1 iiii 101 ggg nnnnn ttttt", direct, (mem_imm<sve_##kernel##_zpri, P_Z>),  \
    mn " {z0." t "}, p1/z, [x2, #-3, mul vl]")
#define SVE_FF_DIRECT(X, type, op, dtype, kernel, mn, t, shift)                                                       \
  X(31_21__15_13, op, type, "1010010 " dtype " mmmmm 011 ggg nnnnn ttttt", direct,                                    \
    (mem_reg<sve_##kernel##_scaled_zprr, P_Z>), mn " {z0." t "}, p1/z, [x2, x3" shift "]")
#define SVE_FF_LIBRARY(X, type, op, dtype, mn, t, shift)                                                              \
  X(31_21__15_13, op, type, "1010010 " dtype " mmmmm 011 ggg nnnnn ttttt", library, (lib_ff_contiguous),              \
    mn " {z0." t "}, p1/z, [x2, x3" shift "]")
// Gathers: "1000010 msz" (32-bit elements) or "1100010 msz" (64-bit), then
// the shape bits 22:21 and 15:14 (U, set for zero-extension), and bit 13 set.
#define SVE_FFG(X, type, op, head, shape, tail, lib, mn, operands)                                                    \
  X(31_21__15_13, op, type, head " " shape " mmmmm " tail "1 ggg nnnnn ttttt", library, (lib), mn " " operands)

// 64-bit gathers of one memory size: vector plus immediate, 64-bit offsets,
// and 32-bit offsets with sign (X) or zero (Y) extension; with the scaled
// shapes in addition where the memory size is above a byte. `u` is the bit
// 14, set for zero-extension.
#define SVE_FFG_64(X, type, n, msz, u, mn, imm)                                                                       \
  SVE_FFG(X, type, LoadFF##n##VIZ, "1100010 " msz, "01", "1" u, lib_ff_vec_imm, mn, "{z0.d}, p1/z, [z2.d, " imm "]")  \
  SVE_FFG(X, type, LoadFF##n##VSZ, "1100010 " msz, "10", "1" u, lib_ff_unscaled, mn, "{z0.d}, p1/z, [x2, z3.d]")      \
  SVE_FFG(X, type, LoadFF##n##XVSZ, "1100010 " msz, "10", "0" u, lib_ff_unscaled, mn,                                 \
          "{z0.d}, p1/z, [x2, z3.d, sxtw]")                                                                           \
  SVE_FFG(X, type, LoadFF##n##YVSZ, "1100010 " msz, "00", "0" u, lib_ff_unscaled, mn,                                 \
          "{z0.d}, p1/z, [x2, z3.d, uxtw]")
#define SVE_FFG_64S(X, type, n, msz, u, mn, imm, shift)                                                               \
  SVE_FFG_64(X, type, n, msz, u, mn, imm)                                                                             \
  SVE_FFG(X, type, LoadFF##n##SVZ, "1100010 " msz, "11", "1" u, lib_ff_scaled, mn,                                    \
          "{z0.d}, p1/z, [x2, z3.d, lsl " shift "]")                                                                  \
  SVE_FFG(X, type, LoadFF##n##XSVZ, "1100010 " msz, "11", "0" u, lib_ff_scaled, mn,                                   \
          "{z0.d}, p1/z, [x2, z3.d, sxtw " shift "]")                                                                 \
  SVE_FFG(X, type, LoadFF##n##YSVZ, "1100010 " msz, "01", "0" u, lib_ff_scaled, mn,                                   \
          "{z0.d}, p1/z, [x2, z3.d, uxtw " shift "]")

#define FIRST_FAULT(X)                                                                                                \
  SVE_NF(X, U8, CLoadNF1SIZ, "0000", ldnf1b, "ldnf1b", "b")                                                           \
  SVE_NF(X, U16, CLoadNF1SIZ, "0001", ldnf1b_h, "ldnf1b", "h")                                                        \
  SVE_NF(X, U32, CLoadNF1SIZ, "0010", ldnf1b_s, "ldnf1b", "s")                                                        \
  SVE_NF(X, U64, CLoadNF1SIZ, "0011", ldnf1b_d, "ldnf1b", "d")                                                        \
  SVE_NF(X, S64, CLoadNF4SIZ, "0100", ldnf1sw_d, "ldnf1sw", "d")                                                      \
  SVE_NF(X, U16, CLoadNF2SIZ, "0101", ldnf1h, "ldnf1h", "h")                                                          \
  SVE_NF(X, U32, CLoadNF2SIZ, "0110", ldnf1h_s, "ldnf1h", "s")                                                        \
  SVE_NF(X, U64, CLoadNF2SIZ, "0111", ldnf1h_d, "ldnf1h", "d")                                                        \
  SVE_NF(X, S64, CLoadNF2SIZ, "1000", ldnf1sh_d, "ldnf1sh", "d")                                                      \
  SVE_NF(X, S32, CLoadNF2SIZ, "1001", ldnf1sh_s, "ldnf1sh", "s")                                                      \
  SVE_NF(X, U32, CLoadNF4SIZ, "1010", ldnf1w, "ldnf1w", "s")                                                          \
  SVE_NF(X, U64, CLoadNF4SIZ, "1011", ldnf1w_d, "ldnf1w", "d")                                                        \
  SVE_NF(X, S64, CLoadNF1SIZ, "1100", ldnf1sb_d, "ldnf1sb", "d")                                                      \
  SVE_NF(X, S32, CLoadNF1SIZ, "1101", ldnf1sb_s, "ldnf1sb", "s")                                                      \
  SVE_NF(X, S16, CLoadNF1SIZ, "1110", ldnf1sb_h, "ldnf1sb", "h")                                                      \
  SVE_NF(X, U64, CLoadNF8SIZ, "1111", ldnf1d, "ldnf1d", "d")                                                          \
  SVE_FF_DIRECT(X, U8, CLoadFF1LSSZ, "0000", ldff1b, "ldff1b", "b", "")                                               \
  SVE_FF_DIRECT(X, U16, CLoadFF1LSSZ, "0001", ldff1b_h, "ldff1b", "h", "")                                            \
  SVE_FF_DIRECT(X, U32, CLoadFF1LSSZ, "0010", ldff1b_s, "ldff1b", "s", "")                                            \
  SVE_FF_DIRECT(X, U64, CLoadFF1LSSZ, "0011", ldff1b_d, "ldff1b", "d", "")                                            \
  SVE_FF_LIBRARY(X, S64, CLoadFF4LSSZ, "0100", "ldff1sw", "d", ", lsl #2")                                            \
  SVE_FF_LIBRARY(X, U16, CLoadFF2LSSZ, "0101", "ldff1h", "h", ", lsl #1")                                             \
  SVE_FF_LIBRARY(X, U32, CLoadFF2LSSZ, "0110", "ldff1h", "s", ", lsl #1")                                             \
  SVE_FF_LIBRARY(X, U64, CLoadFF2LSSZ, "0111", "ldff1h", "d", ", lsl #1")                                             \
  SVE_FF_LIBRARY(X, S64, CLoadFF2LSSZ, "1000", "ldff1sh", "d", ", lsl #1")                                            \
  SVE_FF_LIBRARY(X, S32, CLoadFF2LSSZ, "1001", "ldff1sh", "s", ", lsl #1")                                            \
  SVE_FF_DIRECT(X, U32, CLoadFF4LSSZ, "1010", ldff1w, "ldff1w", "s", ", lsl #2")                                      \
  SVE_FF_DIRECT(X, U64, CLoadFF4LSSZ, "1011", ldff1w_d, "ldff1w", "d", ", lsl #2")                                    \
  SVE_FF_LIBRARY(X, S64, CLoadFF1LSSZ, "1100", "ldff1sb", "d", "")                                                    \
  SVE_FF_LIBRARY(X, S32, CLoadFF1LSSZ, "1101", "ldff1sb", "s", "")                                                    \
  SVE_FF_LIBRARY(X, S16, CLoadFF1LSSZ, "1110", "ldff1sb", "h", "")                                                    \
  SVE_FF_DIRECT(X, U64, CLoadFF8LSSZ, "1111", ldff1d, "ldff1d", "d", ", lsl #3")                                      \
  SVE_FFG(X, S32, LoadFF1VIZ, "1000010 00", "01", "10", lib_ff_vec_imm, "ldff1sb", "{z0.s}, p1/z, [z2.s, #3]")        \
  SVE_FFG(X, S32, LoadFF1VSZ, "1000010 00", "00", "00", lib_ff_unscaled, "ldff1sb", "{z0.s}, p1/z, [x2, z3.s, uxtw]") \
  SVE_FFG(X, S32, LoadFF1XVSZ, "1000010 00", "10", "00", lib_ff_unscaled,                                             \
    "ldff1sb", "{z0.s}, p1/z, [x2, z3.s, sxtw]")                                                                      \
  SVE_FFG(X, S32, LoadFF2SVZ, "1000010 01", "01", "00", lib_ff_scaled,                                                \
    "ldff1sh", "{z0.s}, p1/z, [x2, z3.s, uxtw #1]")                                                                   \
  SVE_FFG(X, S32, LoadFF2VIZ, "1000010 01", "01", "10", lib_ff_vec_imm, "ldff1sh", "{z0.s}, p1/z, [z2.s, #6]")        \
  SVE_FFG(X, S32, LoadFF2VSZ, "1000010 01", "00", "00", lib_ff_unscaled, "ldff1sh", "{z0.s}, p1/z, [x2, z3.s, uxtw]") \
  SVE_FFG(X, S32, LoadFF2XSVZ, "1000010 01", "11", "00", lib_ff_scaled,                                               \
    "ldff1sh", "{z0.s}, p1/z, [x2, z3.s, sxtw #1]")                                                                   \
  SVE_FFG(X, S32, LoadFF2XVSZ, "1000010 01", "10", "00", lib_ff_unscaled,                                             \
    "ldff1sh", "{z0.s}, p1/z, [x2, z3.s, sxtw]")                                                                      \
  SVE_FFG(X, U32, LoadFF1VIZ, "1000010 00", "01", "11", lib_ff_vec_imm, "ldff1b", "{z0.s}, p1/z, [z2.s, #3]")         \
  SVE_FFG(X, U32, LoadFF1VSZ, "1000010 00", "00", "01", lib_ff_unscaled, "ldff1b", "{z0.s}, p1/z, [x2, z3.s, uxtw]")  \
  SVE_FFG(X, U32, LoadFF1XVSZ, "1000010 00", "10", "01", lib_ff_unscaled, "ldff1b", "{z0.s}, p1/z, [x2, z3.s, sxtw]") \
  SVE_FFG(X, U32, LoadFF2SVZ, "1000010 01", "01", "01", lib_ff_scaled, "ldff1h", "{z0.s}, p1/z, [x2, z3.s, uxtw #1]") \
  SVE_FFG(X, U32, LoadFF2VIZ, "1000010 01", "01", "11", lib_ff_vec_imm, "ldff1h", "{z0.s}, p1/z, [z2.s, #6]")         \
  SVE_FFG(X, U32, LoadFF2VSZ, "1000010 01", "00", "01", lib_ff_unscaled, "ldff1h", "{z0.s}, p1/z, [x2, z3.s, uxtw]")  \
  SVE_FFG(X, U32, LoadFF2XSVZ, "1000010 01", "11", "01", lib_ff_scaled,                                               \
    "ldff1h", "{z0.s}, p1/z, [x2, z3.s, sxtw #1]")                                                                    \
  SVE_FFG(X, U32, LoadFF2XVSZ, "1000010 01", "10", "01", lib_ff_unscaled, "ldff1h", "{z0.s}, p1/z, [x2, z3.s, sxtw]") \
  SVE_FFG(X, U32, LoadFF4SVZ, "1000010 10", "01", "01", lib_ff_scaled, "ldff1w", "{z0.s}, p1/z, [x2, z3.s, uxtw #2]") \
  SVE_FFG(X, U32, LoadFF4VIZ, "1000010 10", "01", "11", lib_ff_vec_imm, "ldff1w", "{z0.s}, p1/z, [z2.s, #12]")        \
  SVE_FFG(X, U32, LoadFF4VSZ, "1000010 10", "00", "01", lib_ff_unscaled, "ldff1w", "{z0.s}, p1/z, [x2, z3.s, uxtw]")  \
  SVE_FFG(X, U32, LoadFF4XSVZ, "1000010 10", "11", "01", lib_ff_scaled,                                               \
    "ldff1w", "{z0.s}, p1/z, [x2, z3.s, sxtw #2]")                                                                    \
  SVE_FFG(X, U32, LoadFF4XVSZ, "1000010 10", "10", "01", lib_ff_unscaled, "ldff1w", "{z0.s}, p1/z, [x2, z3.s, sxtw]") \
  SVE_FFG_64(X, S64, 1, "00", "0", "ldff1sb", "#3")                                                                   \
  SVE_FFG_64S(X, S64, 2, "01", "0", "ldff1sh", "#6", "#1")                                                            \
  SVE_FFG_64S(X, S64, 4, "10", "0", "ldff1sw", "#12", "#2")                                                           \
  SVE_FFG_64(X, U64, 1, "00", "1", "ldff1b", "#3")                                                                    \
  SVE_FFG_64S(X, U64, 2, "01", "1", "ldff1h", "#6", "#1")                                                             \
  SVE_FFG_64S(X, U64, 4, "10", "1", "ldff1w", "#12", "#2")                                                            \
  SVE_FFG_64S(X, U64, 8, "11", "1", "ldff1d", "#24", "#3")

SVE_FAMILY(memory_first_fault, FIRST_FAULT)
