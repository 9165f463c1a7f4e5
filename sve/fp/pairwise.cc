// Pairwise floating-point arithmetic: FADDP, FMAXP, FMINP, FMAXNMP and
// FMINNMP. Adjacent elements form pairs, and each pair gives one result in
// the place of its even element when it is a pair of Zdn and in the place
// of its odd element when it is a pair of Zm, so that the results of the
// two sources interleave. A result is computed only when its own element is
// active: a NaN in a pair whose result is inactive raises nothing.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "fp_loop.h"

namespace sve {

namespace {

template <class Op>
aarch64_decode_rc pairwise(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm, Op op) {
  return by_size<Z_D, Z_S, Z_H>(zdn.rw_elem, [&](auto t) {
    using T = decltype(t);
    constexpr unsigned pair_bytes = 2 * sizeof(T);
    alignas(16) uint8_t tmp[sve_vl_bytes];
    uint8_t* d = s->z[zdn.reg];
    const uint8_t *m = s->z[zm.reg], *p = s->p[pg.reg];
    const uint32_t fpcr = s->fpcr | s->fpcr_high;
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) {
      const uint8_t* pair = (i % pair_bytes ? m : d) + i / pair_bytes * pair_bytes;
      T r = load<T>(d + i);
      if (p[i] & 1)
        r = fp_element(fpcr, s->fpsr, [&](FPSCR& f) { return T(op(load<T>(pair), load<T>(pair + sizeof(T)), f)); });
      store<T>(tmp + i, r);
    }
    std::memcpy(d, tmp, sve_vl_bytes);
    return aarch64_decode_ok;
  });
}

#define SVE_FP_PAIRWISE(name, operation)                                                                   \
  aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {            \
    return pairwise(s, zdn, pg, zm, [](auto a, auto b, FPSCR& f) { return operation(a, b, f); });          \
  }
SVE_FP_PAIRWISE(add_pairs, FPAdd)
SVE_FP_PAIRWISE(max_pairs, FPMax)
SVE_FP_PAIRWISE(min_pairs, FPMin)
SVE_FP_PAIRWISE(max_num_pairs, FPMaxNum)
SVE_FP_PAIRWISE(min_num_pairs, FPMinNum)
#undef SVE_FP_PAIRWISE

}  // namespace

}  // namespace sve

using namespace sve;

// "01100100 ss 010 opc 100 ggg mmmmm ddddd": pairs of Zdn and Zm.
#define FP_PAIRWISE_ROWS(X, op, kernel, opc, mnemonic) \
  SVE_FP3_LIBRARY_KERNEL(X, sve2_31_13, op, vvm, kernel, "01100100 ss 010 " opc " 100 ggg mmmmm ddddd", \
                 mnemonic " z0.T, p0/m, z0.T, z1.T")
#define FP_PAIRWISE(X)                                                    \
  FP_PAIRWISE_ROWS(X, AddPairVVM, add_pairs, "000", "faddp")              \
  FP_PAIRWISE_ROWS(X, MaxNumPairVVM, max_num_pairs, "100", "fmaxnmp")     \
  FP_PAIRWISE_ROWS(X, MinNumPairVVM, min_num_pairs, "101", "fminnmp")     \
  FP_PAIRWISE_ROWS(X, MaxPairVVM, max_pairs, "110", "fmaxp")              \
  FP_PAIRWISE_ROWS(X, MinPairVVM, min_pairs, "111", "fminp")

SVE_FAMILY(fp_pairwise, FP_PAIRWISE)
