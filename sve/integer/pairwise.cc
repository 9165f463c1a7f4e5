// Pairwise arithmetic: ADDP, SMAXP, UMAXP, SMINP and UMINP combine
// neighbouring elements. Each pair of element positions 2k and 2k + 1 takes
// the pair of Zdn into the even position and the pair of Zm into the odd
// one, so the results of both sources interleave; inactive elements keep
// Zdn, and an active element reads its pair whether the neighbour is active
// or not.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "kernel_loop.h"

namespace sve {
namespace {

template <class Op>
aarch64_decode_rc pairwise(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  return by_size(zdn.rw_elem, [&](auto e) {
    using T = decltype(e);
    const uint8_t *d = s->z[zdn.reg], *m = s->z[zm.reg];
    return merge_loop<T>(s->z[zdn.reg], s->p[pg.reg], [&](unsigned i) {
      const unsigned pair = i & ~unsigned(2 * sizeof(T) - 1);
      const T odd = T(T(0) - T(i != pair));
      return select(odd, Op{}(load<T>(m + pair), load<T>(m + pair + sizeof(T))),
                    Op{}(load<T>(d + pair), load<T>(d + pair + sizeof(T))));
    });
  });
}

struct add_op {
  template <class T>
  T operator()(T a, T b) const { return T(a + b); }
};
template <bool Signed>
struct max_op {
  template <class T>
  T operator()(T a, T b) const { return select(less<Signed>(a, b), b, a); }
};
template <bool Signed>
struct min_op {
  template <class T>
  T operator()(T a, T b) const { return select(less<Signed>(a, b), a, b); }
};

}  // namespace
}  // namespace sve

using namespace sve;

// "01000100 ss 010 opc U 101 ggg mmmmm ddddd".
#define SVE_PAIRWISE(opc, op, mnemonic) \
  "01000100 ss 010 " opc " 101 ggg mmmmm ddddd", direct, (vvm<pairwise<op>>), mnemonic " z0.T, p0/m, z0.T, z1.T"

#define INTEGER_PAIRWISE(X)                                                        \
  SVE_U4(X, sve2_31_13, AddPVVM, SVE_PAIRWISE("001", add_op, "addp"))              \
  SVE_S4(X, sve2_31_13, MaxPVVM, SVE_PAIRWISE("100", max_op<true>, "smaxp"))       \
  SVE_U4(X, sve2_31_13, MaxPVVM, SVE_PAIRWISE("101", max_op<false>, "umaxp"))      \
  SVE_S4(X, sve2_31_13, MinPVVM, SVE_PAIRWISE("110", min_op<true>, "sminp"))       \
  SVE_U4(X, sve2_31_13, MinPVVM, SVE_PAIRWISE("111", min_op<false>, "uminp"))

SVE_FAMILY(integer_pairwise, INTEGER_PAIRWISE)
