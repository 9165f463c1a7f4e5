// Floating-point reductions to a scalar in the low element of a vector
// register, the rest of which is cleared. The tree reductions fold
// neighbours pairwise over a power-of-two working array padded with the
// operation's identity, so the order of operations, and with it every
// rounding and flag, is fixed. FADDA adds strictly in element order.
#include <bit>

#include "../decode/direct.h"
#include "../decode/families.h"
#include "../fplib/fast_reduce.h"
#include "../support/marshal.h"
#include "fp_loop.h"

namespace sve {

namespace {

SVE_FP_BINARY_OP(op_fadd, "fadd", FPAdd)
SVE_FP_BINARY_OP(op_fmaxnm, "fmaxnm", FPMaxNum)
SVE_FP_BINARY_OP(op_fminnm, "fminnm", FPMinNum)

// Element i of the working array: an active source element, else the identity.
// Then pairs are combined, (0, 1), (2, 3), ..., until one element is left.
template <class T, class Source, class Op>
T tree(unsigned n, T identity, Source source, Op op) {
  T work[256 / sizeof(T)];
  const unsigned p = std::bit_ceil(n);
  for (unsigned i = 0; i < p; ++i) work[i] = i < n ? source(i, identity) : identity;
  for (unsigned m = p; m > 1; m /= 2)
    for (unsigned i = 0; i < m / 2; ++i) work[i] = op(work[2 * i], work[2 * i + 1]);
  return work[0];
}

// The tree reduction of Op over the active elements of zn, the others
// `identity`, into Vd; `fast(z, pg, sum)` may compute it first.
template <class Op, class Fast>
aarch64_decode_rc tree_kernel(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn, bool identity_nan,
                              Fast fast) {
  return by_size<Z_D, Z_S>(zn.elem, [&](auto e) {
    using T = decltype(e);
    const uint8_t *p = s->p[pg.reg], *z = s->z[zn.reg];
    const T identity = identity_nan ? fp_format<T>::default_nan : T(0);
    T r;
    if (!fast(z, p, r))
      r = tree<T>(
          sve_vl_bytes / sizeof(T), identity,
          [&](unsigned i, T id) { return (p[i * sizeof(T)] & 1) ? load<T>(z + i * sizeof(T)) : id; },
          [&](T a, T b) { return fp_kernel_element<Op>(s, a, b); });
    write_v(s, vd, r, sizeof(T));
    return aarch64_decode_ok;
  });
}

constexpr auto no_fast_path = [](const uint8_t*, const uint8_t*, auto&) { return false; };

}  // namespace

aarch64_decode_rc sve_fmaxnmv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return tree_kernel<op_fmaxnm>(s, vd, pg, zn, true, no_fast_path);
}
aarch64_decode_rc sve_fminnmv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return tree_kernel<op_fminnm>(s, vd, pg, zn, true, no_fast_path);
}
// FADDV adds +0 for inactive elements.
aarch64_decode_rc sve_faddv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return tree_kernel<op_fadd>(s, vd, pg, zn, false, [&](const uint8_t* z, const uint8_t* p, auto& sum) {
    return fast::tree_sum(z, p, s->fpcr | s->fpcr_high, s->fpsr, sum);
  });
}

// FADDA: the start value from the low element of Vdn, then each active
// element of Zm in ascending order; the fast layer adds as far as it can.
aarch64_decode_rc sve_fadda_vpz(cpu_state* s, unsigned vdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  return by_size<Z_D, Z_S>(zm.elem, [&](auto e) {
    using T = decltype(e);
    const uint8_t *p = s->p[pg.reg], *z = s->z[zm.reg];
    T value = load<T>(s->z[vdn]);
    const unsigned n = sve_vl_bytes / sizeof(T);
    for (unsigned i = fast::ordered_sum(value, z, p, s->fpcr | s->fpcr_high, s->fpsr); i < n; ++i)
      if (p[i * sizeof(T)] & 1) value = fp_kernel_element<op_fadd>(s, value, load<T>(z + i * sizeof(T)));
    write_v(s, vdn, value, sizeof(T));
    return aarch64_decode_ok;
  });
}

namespace lib {

namespace {

template <class T, class Op>
uint64_t tree_routine(const PredV& pg, const VecV& zn, CpuContext* c, T identity, Op op) {
  return tree<T>(
      c->elements(sizeof(T) * 8), identity,
      [&](unsigned i, T id) { return pg.active(i, sizeof(T)) ? zn.get<T>(i) : id; },
      [&](T a, T b) { return fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return op(a, b, s); }); });
}

// FADDA: the start value, then each active element in ascending order.
template <class T>
uint64_t ordered_sum(const PredV& pg, uint64_t start, const VecV& zm, CpuContext* c) {
  T value = T(start);
  const unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i)
    if (pg.active(i, sizeof(T)))
      value = fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return FPAdd(value, zm.get<T>(i), s); });
  return value;
}

}  // namespace

#define SVE_FP_TREE(type, W, op, identity, expr)                                                   \
  uint64_t Vec##type##op##ReduceFV(PredV pg, VecV zn, CpuContext* c) {                             \
    return tree_routine<W>(pg, zn, c, identity, [](W a, W b, FPSCR& s) -> W { return expr; });     \
  }
#define SVE_FP_REDUCTIONS(type, W)                                                                 \
  SVE_FP_TREE(type, W, Max, fp_format<W>::inf(1), FPMax(a, b, s))                                  \
  SVE_FP_TREE(type, W, Min, fp_format<W>::inf(0), FPMin(a, b, s))
SVE_FP_REDUCTIONS(F16, uint16_t)
SVE_FP_REDUCTIONS(F32, uint32_t)
SVE_FP_REDUCTIONS(D64, uint64_t)
// Half precision: the sums that single and double precision have as kernels.
SVE_FP_TREE(F16, uint16_t, Add, uint16_t(0), FPAdd(a, b, s))
uint64_t VecF16AddReduceAV(PredV pg, uint64_t start, VecV zm, CpuContext* c) {
  return ordered_sum<uint16_t>(pg, start, zm, c);
}
SVE_FP_TREE(F16, uint16_t, MaxNum, fp_format<uint16_t>::default_nan, FPMaxNum(a, b, s))
SVE_FP_TREE(F16, uint16_t, MinNum, fp_format<uint16_t>::default_nan, FPMinNum(a, b, s))
#undef SVE_FP_TREE
#undef SVE_FP_REDUCTIONS

}  // namespace lib

namespace {

// The bytes of the handler type's element.
template <class T>
constexpr unsigned bytes_of = 1u << T::code;

}  // namespace

}  // namespace sve

using namespace sve;

// The result goes to Vd at the element's size; FADDA's start value comes
// from the low element of Vdn.
#define SVE_LIB_TO_V(type) (library<to_v<4, 0, bytes_of<types::type>>, p_in<12, 10>, z_in<9, 5>>)
#define SVE_LIB_FADDA(type) \
  (library<to_v<4, 0, bytes_of<types::type>>, p_in<12, 10>, v_in<4, 0>, z_in<9, 5>>)

#define FP_REDUCTIONS_OF(X, type, route, addv, fadda, maxnmv, minnmv)                                            \
  X(31_13, AddReduceFV, type, "01100101 ss 000 000 001 ggg nnnnn ddddd", route, addv, "faddv T0, p0, z1.T")      \
  X(31_13, MaxNumReduceFV, type, "01100101 ss 000 100 001 ggg nnnnn ddddd", route, maxnmv,                       \
    "fmaxnmv T0, p0, z1.T")                                                                                      \
  X(31_13, MinNumReduceFV, type, "01100101 ss 000 101 001 ggg nnnnn ddddd", route, minnmv,                       \
    "fminnmv T0, p0, z1.T")                                                                                      \
  X(31_13, MaxReduceFV, type, "01100101 ss 000 110 001 ggg nnnnn ddddd", library, SVE_LIB_TO_V(type),            \
    "fmaxv T0, p0, z1.T")                                                                                        \
  X(31_13, MinReduceFV, type, "01100101 ss 000 111 001 ggg nnnnn ddddd", library, SVE_LIB_TO_V(type),            \
    "fminv T0, p0, z1.T")                                                                                        \
  X(31_13, AddReduceAV, type, "01100101 ss 011 000 001 ggg mmmmm ddddd", route, fadda,                           \
    "fadda T0, p0, T0, z1.T")

// Half precision on the library route, single and double on kernels.
#define FP_REDUCTION_KERNELS(X, type)                                                                            \
  FP_REDUCTIONS_OF(X, type, direct, (vpz<sve_faddv_vpz, true>), (vpz<sve_fadda_vpz, true>),                      \
                   (vpz<sve_fmaxnmv_vpz, true>), (vpz<sve_fminnmv_vpz, true>))
#define FP_REDUCTIONS(X)                                                                                         \
  FP_REDUCTIONS_OF(X, F16, library, SVE_LIB_TO_V(F16), SVE_LIB_FADDA(F16), SVE_LIB_TO_V(F16), SVE_LIB_TO_V(F16)) \
  FP_REDUCTION_KERNELS(X, F32)                                                                                   \
  FP_REDUCTION_KERNELS(X, D64)

SVE_FAMILY(fp_reductions, FP_REDUCTIONS)
