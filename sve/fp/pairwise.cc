// Pairwise floating-point arithmetic: FADDP, FMAXP, FMINP, FMAXNMP and
// FMINNMP. Adjacent elements form pairs, and each pair gives one result in
// the place of its even element when it is a pair of Zdn and in the place
// of its odd element when it is a pair of Zm, so that the results of the
// two sources interleave. A result is computed only when its own element is
// active: a NaN in a pair whose result is inactive raises nothing. Single
// and double precision compute natively where they can, and addition takes
// the whole-vector fast path first.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "fp_loop.h"

namespace sve {

namespace {

SVE_FP_BINARY_OP(op_fadd, "fadd", FPAdd, SVE_FP_VECTOR(add))
SVE_FP_BINARY_OP(op_fmax, "fmax", FPMax)
SVE_FP_BINARY_OP(op_fmin, "fmin", FPMin)
SVE_FP_BINARY_OP(op_fmaxnm, "fmaxnm", FPMaxNum)
SVE_FP_BINARY_OP(op_fminnm, "fminnm", FPMinNum)

// The first and the second elements of the pairs, each in the place of its
// result, are the two operand vectors of an element-wise operation.
template <class Op>
aarch64_decode_rc pairwise(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  const uint8_t *d = s->z[zdn.reg], *m = s->z[zm.reg];
  return fp_kernel_lanes<Op>(s, zdn, s->p[pg.reg], [&](auto t, uint8_t* scratch) {
    using T = decltype(t);
    constexpr unsigned n = sizeof(T);
    uint8_t *first = scratch, *second = scratch + sve_vl_bytes;
    for (unsigned i = 0; i < sve_vl_bytes; i += 2 * n) {
      store<T>(first + i, load<T>(d + i));
      store<T>(second + i, load<T>(d + i + n));
      store<T>(first + i + n, load<T>(m + i));
      store<T>(second + i + n, load<T>(m + i + n));
    }
    return fp_operands(first, second);
  });
}

}  // namespace

}  // namespace sve

using namespace sve;

// "01100100 ss 010 opc 100 ggg mmmmm ddddd": pairs of Zdn and Zm.
#define FP_PAIRWISE_ROWS(X, op, kernel, opc, mnemonic)                                                    \
  SVE_FP3_KERNEL(X, sve2_31_13, op, vvm, pairwise<kernel>, "01100100 ss 010 " opc " 100 ggg mmmmm ddddd", \
                 mnemonic " z0.T, p0/m, z0.T, z1.T")
#define FP_PAIRWISE(X)                                            \
  FP_PAIRWISE_ROWS(X, AddPairVVM, op_fadd, "000", "faddp")        \
  FP_PAIRWISE_ROWS(X, MaxNumPairVVM, op_fmaxnm, "100", "fmaxnmp") \
  FP_PAIRWISE_ROWS(X, MinNumPairVVM, op_fminnm, "101", "fminnmp") \
  FP_PAIRWISE_ROWS(X, MaxPairVVM, op_fmax, "110", "fmaxp")        \
  FP_PAIRWISE_ROWS(X, MinPairVVM, op_fmin, "111", "fminp")

SVE_FAMILY(fp_pairwise, FP_PAIRWISE)
