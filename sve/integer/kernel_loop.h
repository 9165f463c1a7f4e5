// The kernel loop of the direct route. A kernel dispatches once on the size
// code to an element type, then walks the elements in ascending order: each
// result is formed whole and selected against the old destination element by
// the predicate without a branch, into a temporary that is copied over the
// destination at the end, so a destination may also be a source.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "../decode/sve_emu.h"

namespace sve {

template <class T>
inline T load(const uint8_t* p) {
  T v;
  std::memcpy(&v, p, sizeof(T));
  return v;
}
template <class T>
inline void store(uint8_t* p, T v) {
  std::memcpy(p, &v, sizeof(T));
}

template <uint32_t C> struct elem_of;
template <> struct elem_of<Z_B> { using type = uint8_t; };
template <> struct elem_of<Z_H> { using type = uint16_t; };
template <> struct elem_of<Z_S> { using type = uint32_t; };
template <> struct elem_of<Z_D> { using type = uint64_t; };

// Calls f with a value of the unsigned element type of the size code. The
// codes in Paths are tested in order; any other code takes Default.
template <uint32_t Default, uint32_t... Paths, class F>
inline aarch64_decode_rc by_size(uint32_t code, F&& f) {
  aarch64_decode_rc rc = aarch64_decode_ok;
  bool done = ((code == Paths ? (rc = f(typename elem_of<Paths>::type{}), true) : false) || ...);
  if (!done) rc = f(typename elem_of<Default>::type{});
  return rc;
}

// The common dispatch: word, doubleword, halfword, else byte.
template <class F>
inline aarch64_decode_rc by_size(uint32_t code, F&& f) {
  return by_size<Z_B, Z_S, Z_D, Z_H>(code, static_cast<F&&>(f));
}

// All-ones for an active element, zero for an inactive one. The predicate
// element is loaded whole: its lowest bit is bit 0 of its first byte, and a
// whole-element load lets the loop vectorise.
template <class T>
inline T active_mask(const uint8_t* pg, unsigned byte) {
  return T(T(0) - T(load<T>(pg + byte) & 1));
}

// zd[i] = active ? elem(i) : zd[i], through a temporary.
template <class T, class F>
inline aarch64_decode_rc merge_loop(uint8_t* zd, const uint8_t* pg, F&& elem) {
  alignas(16) uint8_t tmp[sve_vl_bytes];
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) {
    T m = active_mask<T>(pg, i);
    store<T>(tmp + i, T((elem(i) & m) | (load<T>(zd + i) & ~m)));
  }
  std::memcpy(zd, tmp, sve_vl_bytes);
  return aarch64_decode_ok;
}

// zd[i] = elem(i) for every element, through a temporary.
template <class T, class F>
inline aarch64_decode_rc all_loop(uint8_t* zd, F&& elem) {
  alignas(16) uint8_t tmp[sve_vl_bytes];
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) store<T>(tmp + i, T(elem(i)));
  std::memcpy(zd, tmp, sve_vl_bytes);
  return aarch64_decode_ok;
}

// Predicated two-vector form: Zdn = Zdn op Zm in active elements.
template <class T, class Op>
inline aarch64_decode_rc zpz_loop(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm, Op op) {
  uint8_t* d = s->z[zdn.reg];
  const uint8_t* b = s->z[zm.reg];
  return merge_loop<T>(d, s->p[pg.reg], [&](unsigned i) { return T(op(load<T>(d + i), load<T>(b + i))); });
}

// Predicated one-vector form: Zd = op(Zn) in active elements.
template <class T, class Op>
inline aarch64_decode_rc zpz_unary_loop(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn, Op op) {
  const uint8_t* a = s->z[zn.reg];
  return merge_loop<T>(s->z[zd.reg], s->p[pg.reg], [&](unsigned i) { return T(op(load<T>(a + i))); });
}

// Predicated three-vector form: Zd = op(Zd, X, Y) in active elements.
template <class T, class Op>
inline aarch64_decode_rc zpzz_loop(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg x,
                                   aarch64_z_reg y, Op op) {
  uint8_t* d = s->z[zd.reg];
  const uint8_t *a = s->z[x.reg], *b = s->z[y.reg];
  return merge_loop<T>(d, s->p[pg.reg],
                       [&](unsigned i) { return T(op(load<T>(d + i), load<T>(a + i), load<T>(b + i))); });
}

template <class T>
using signed_t = std::make_signed_t<T>;

// The kernels of the two-vector and one-vector predicated forms for an
// operation that is one function object at every element size.
template <class Op>
aarch64_decode_rc zpz_kernel(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
  return by_size(zdn.rw_elem, [&](auto e) {
    using T = decltype(e);
    return zpz_loop<T>(s, zdn, pg, zm, [](T a, T b) { return Op{}(a, b); });
  });
}
template <class Op>
aarch64_decode_rc zpz_unary_kernel(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
  return by_size(zd.elem, [&](auto e) {
    using T = decltype(e);
    return zpz_unary_loop<T>(s, zd, pg, zn, [](T b) { return Op{}(b); });
  });
}

// An operation with its operands exchanged: the reversed forms (SUBR and
// the like) compute Zm op Zdn.
template <class Op>
struct reversed {
  template <class T>
  T operator()(T a, T b) const { return Op{}(b, a); }
};

// The product of two elements, wrapping at the element width. Narrow
// elements are multiplied as unsigned int: their promotion to int could
// overflow.
template <class T>
inline T wrap_mul(T a, T b) {
  using W = std::conditional_t<(sizeof(T) < sizeof(unsigned)), unsigned, T>;
  return T(W(a) * W(b));
}

// All-ones when a < b, compared as signed or unsigned, else zero. Unsigned
// doublewords are compared as signed after flipping their sign bits, because
// vector units have a signed 64-bit compare but often no unsigned one.
template <bool Signed, class T>
inline T less(T a, T b) {
  if constexpr (Signed) {
    return T(T(0) - T(signed_t<T>(a) < signed_t<T>(b)));
  } else if constexpr (sizeof(T) == 8) {
    constexpr T bias = T(1) << 63;
    return less<true>(T(a ^ bias), T(b ^ bias));
  } else {
    return T(T(0) - T(a < b));
  }
}

// m ? x : y bitwise, for a mask m of all-ones or zero.
template <class T>
inline T select(T m, T x, T y) {
  return T((x & m) | (y & ~m));
}

// a + b, or a - b, saturated to T as signed or unsigned: shifts, masks and
// compares only, so that the element loop vectorises.
template <bool Signed, bool Sub, class T>
inline T saturate(T a, T b) {
  T r = Sub ? T(a - b) : T(a + b);
  if constexpr (Signed) {
    constexpr unsigned top = sizeof(T) * 8 - 1;
    // Signed overflow: the result's sign differs from that of a, and b's
    // sign is a's for an addition, the other for a subtraction.
    T over = Sub ? T((a ^ b) & (a ^ r)) : T((a ^ r) & (b ^ r));
    T limit = T(T(signed_t<T>(a) >> top) ^ T(T(~T(0)) >> 1));
    return select(T(T(0) - T(over >> top)), limit, r);
  } else if constexpr (Sub) {
    return T(r & ~less<false>(a, b));
  } else {
    return T(r | less<false>(r, a));
  }
}

}  // namespace sve
