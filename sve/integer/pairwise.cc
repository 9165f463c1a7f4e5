// Pairwise arithmetic: ADDP, SMAXP, UMAXP, SMINP and UMINP combine
// neighbouring elements. Each pair of element positions 2k and 2k + 1 takes
// the pair of Zdn into the even position and the pair of Zm into the odd
// one, so the results of both sources interleave; inactive elements keep
// Zdn, and an active element reads its pair whether the neighbour is active
// or not.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/host_kernels.h"
#include "kernel_loop.h"

namespace sve {
namespace {

// Narrow elements: each pair of positions is one element of twice the
// width, whose halves are extended (with the sign when the operation
// compares signed values) and combined at that width, the result's low half
// being the narrow result. The loop is then element-wise and vectorises; on
// an x86 host it is built for the widest unit. Doublewords go a pair at a
// time.
template <class T>
using pair_t = std::conditional_t<sizeof(T) == 1, uint16_t, std::conditional_t<sizeof(T) == 2, uint32_t, uint64_t>>;

template <class Op, class T>
void pairwise_loop(uint8_t* d, const uint8_t* m, const uint8_t* p) {
  alignas(16) uint8_t tmp[sve_vl_bytes];
  if constexpr (sizeof(T) < 8) {
    using W = pair_t<T>;
    constexpr unsigned bits = sizeof(T) * 8;
    constexpr W low = W(T(~T(0)));
    auto combine = [](W v) {
      const W lo = Op::is_signed ? W(signed_t<W>(W(v << bits)) >> bits) : W(v & low);
      const W hi = Op::is_signed ? W(signed_t<W>(v) >> bits) : W(v >> bits);
      return W(Op{}(lo, hi) & low);
    };
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(W)) {
      const W x = load<W>(d + i), g = load<W>(p + i);
      const W active = W((g & 1) * low | ((g >> bits) & 1) * W(low << bits));
      store<W>(tmp + i, select(active, W(combine(x) | W(combine(load<W>(m + i)) << bits)), x));
    }
  } else {
    for (unsigned i = 0; i < sve_vl_bytes; i += 2 * sizeof(T)) {
      const unsigned j = i + sizeof(T);
      const T d0 = load<T>(d + i), d1 = load<T>(d + j);
      store<T>(tmp + i, select(active_mask<T>(p, i), Op{}(d0, d1), d0));
      store<T>(tmp + j, select(active_mask<T>(p, j), Op{}(load<T>(m + i), load<T>(m + j)), d1));
    }
  }
  std::memcpy(d, tmp, sve_vl_bytes);
}

template <class Op>
aarch64_decode_rc pairwise(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  uint8_t* d = s->z[zdn.reg];
  const uint8_t *m = s->z[zm.reg], *p = s->p[pg.reg];
  return by_size(zdn.rw_elem, [&]<class T>(T) {
    auto loop = [&] { pairwise_loop<Op, T>(d, m, p); };
    if (!host::widest(loop)) loop();
    return aarch64_decode_ok;
  });
}

struct add_op {
  static constexpr bool is_signed = false;
  template <class T>
  T operator()(T a, T b) const { return T(a + b); }
};
template <bool Signed>
struct max_op {
  static constexpr bool is_signed = Signed;
  template <class T>
  T operator()(T a, T b) const { return select(less<Signed>(a, b), b, a); }
};
template <bool Signed>
struct min_op {
  static constexpr bool is_signed = Signed;
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
