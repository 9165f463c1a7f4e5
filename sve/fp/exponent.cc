// FLOGB: the exponent of each active element as a signed integer of the
// element's width, the base-2 logarithm of its magnitude rounded down. A
// denormal counts by its leading one, below the format's smallest normal
// exponent. Zero and NaN have no exponent: they give the most negative
// integer and raise Invalid Operation; an infinity gives the most positive.
// A denormal flushed by FZ or FZ16 is a zero.
#include "../decode/direct.h"
#include "../decode/families.h"
#include "../fplib/number.h"
#include "fp_loop.h"

namespace sve {

namespace {

template <class T>
T log_b(T x, FPSCR& fpscr) {
  using f = fp_format<T>;
  int flags = 0;
  const auto u = fp_unpack(x, fp_mode(fpscr), &flags);
  T r;
  if (f::is_nan(x) || u.zero()) {
    flags |= FP_IOC;
    r = f::sign;
  } else if (u.inf()) {
    r = T(f::sign - 1);
  } else {
    const int leading = 63 - __builtin_clzll(uint64_t(u.mnt));
    r = T(u.exp - f::bias - f::F + leading);
  }
  fp_set_status(fpscr, flags);
  return r;
}

aarch64_decode_rc exponent(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size<Z_D, Z_S, Z_H>(zd.elem, [&](auto t) {
    using T = decltype(t);
    alignas(16) uint8_t tmp[sve_vl_bytes];
    uint8_t* d = s->z[zd.reg];
    const uint8_t *a = s->z[zn.reg], *p = s->p[pg.reg];
    const uint32_t fpcr = s->fpcr | s->fpcr_high;
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T))
      store<T>(tmp + i, (p[i] & 1) ? fp_element(fpcr, s->fpsr, [&](FPSCR& f) { return log_b(load<T>(a + i), f); })
                                   : load<T>(d + i));
    std::memcpy(d, tmp, sve_vl_bytes);
    return aarch64_decode_ok;
  });
}

}  // namespace

}  // namespace sve

using namespace sve;

#define FP_EXPONENT(X)                                                                                    \
  SVE_FP3_LIBRARY_KERNEL(X, sve2_31_13, LogBVM, vm, exponent, "01100101 00 011 ss 0 101 ggg nnnnn ddddd", \
                         "flogb z0.T, p0/m, z1.T")

SVE_FAMILY(fp_exponent, FP_EXPONENT)
