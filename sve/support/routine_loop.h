// The routine loop of the library route. Routines follow the context's
// vector length, never a number of their own, walk the elements in ascending
// order and build their result apart from the operands (which are values, so
// a destination may equal any source).
#pragma once

#include "records.h"

namespace sve {

// Merging predicated form: op(a, b) in active elements, a elsewhere.
template <class T, class Op>
VecV routine_merge(const VecV& a, const PredV& pg, const VecV& b, const CpuContext* c, Op op) {
  VecV r = a;
  unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i)
    if (pg.active(i, sizeof(T))) r.set<T>(i, T(op(a.get<T>(i), b.get<T>(i))));
  return r;
}

// Merging predicated one-source form: op(b) in active elements; the old
// destination `a` supplies the inactive ones.
template <class T, class Op>
VecV routine_merge_unary(const VecV& a, const PredV& pg, const VecV& b, const CpuContext* c, Op op) {
  return routine_merge<T>(a, pg, b, c, [&](T, T y) { return op(y); });
}

// Unpredicated form: op(a, i) in every element.
template <class T, class Op>
VecV routine_all(const VecV& a, const CpuContext* c, Op op) {
  VecV r = a;
  unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i) r.set<T>(i, T(op(a.get<T>(i))));
  return r;
}

// Unpredicated two-source form: op(a, b) in every element.
template <class T, class Op>
VecV routine_pair(const VecV& a, const VecV& b, const CpuContext* c, Op op) {
  VecV r = a;
  unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i) r.set<T>(i, T(op(a.get<T>(i), b.get<T>(i))));
  return r;
}

}  // namespace sve
