// Comparisons, minimum and maximum. Nothing is converted to a value: the
// order is read off the unpacked sign, exponent and mantissa, and the choice
// of minimum or maximum off the raw words, whose unsigned order is the order
// of magnitude within one sign.
#include "fplib.h"
#include "number.h"

namespace sve {

namespace {

enum class order { less, equal, greater, unordered };

// Unpacks both operands (flushing, with IDC) and orders them. A NaN raises
// IOC when it is signalling or when the comparison signals on quiet NaNs too.
template <class T>
order compare(T op1, T op2, bool signal_quiet, FPSCR& fpscr) {
  using f = fp_format<T>;
  const int mode = fp_mode(fpscr);
  int flags = 0;
  const auto a = fp_unpack(op1, mode, &flags);
  const auto b = fp_unpack(op2, mode, &flags);
  order o;
  if (f::is_nan(op1) || f::is_nan(op2)) {
    if (signal_quiet || f::is_snan(op1) || f::is_snan(op2)) flags |= FP_IOC;
    o = order::unordered;
  } else if ((a.zero() && b.zero()) || (a.sgn == b.sgn && a.exp == b.exp && a.mnt == b.mnt)) {
    o = order::equal;
  } else if (a.sgn != b.sgn) {
    o = a.sgn ? order::less : order::greater;
  } else {
    const bool larger = a.exp != b.exp ? a.exp > b.exp : a.mnt > b.mnt;
    o = larger != bool(a.sgn) ? order::greater : order::less;
  }
  fp_set_status(fpscr, flags);
  return o;
}

// The chosen operand, repacked from its unpacked form so that a flushed
// denormal comes out as a zero of its sign; nothing is rounded.
template <class T>
T max_min(T op1, T op2, bool maximum, FPSCR& fpscr) {
  return fp_binary(op1, op2, fpscr, [&](fp_unpacked<T> a, fp_unpacked<T> b, int, int*) {
    using f = fp_format<T>;
    const int s1 = op1 >> (f::N - 1), s2 = op2 >> (f::N - 1);
    bool first;
    if (maximum)
      first = s1 != s2 ? s2 : (op1 > op2) != bool(s2);
    else
      first = s1 != s2 ? s1 : (op1 < op2) != bool(s1);
    const auto& u = first ? a : b;
    const int field = u.exp == 1 && !(u.mnt >> f::F) ? 0 : u.exp;
    return T(f::zero(u.sgn) | T(T(field) << f::F) | T(u.mnt & f::frac_mask));
  });
}

// A quiet NaN facing a number becomes the infinity that loses to everything.
template <class T>
T max_min_num(T op1, T op2, bool maximum, FPSCR& fpscr) {
  using f = fp_format<T>;
  const T loser = maximum ? f::inf(1) : f::inf(0);
  const bool q1 = f::is_qnan(op1), q2 = f::is_qnan(op2);
  if (q1 && !q2) op1 = loser;
  if (q2 && !q1) op2 = loser;
  return max_min(op1, op2, maximum, fpscr);
}

}  // namespace

template <class T> bool FPCompareEQ(T op1, T op2, FPSCR& fpscr) {
  return compare(op1, op2, false, fpscr) == order::equal;
}
template <class T> bool FPCompareGE(T op1, T op2, FPSCR& fpscr) {
  const order o = compare(op1, op2, true, fpscr);
  return o == order::greater || o == order::equal;
}
template <class T> bool FPCompareGT(T op1, T op2, FPSCR& fpscr) {
  return compare(op1, op2, true, fpscr) == order::greater;
}
template <class T> bool FPCompareUN(T op1, T op2, FPSCR& fpscr) {
  return compare(op1, op2, false, fpscr) == order::unordered;
}
template <class T> int FPCompare(T op1, T op2, bool signal_nans, FPSCR& fpscr) {
  switch (compare(op1, op2, signal_nans, fpscr)) {
    case order::unordered: return 3;
    case order::equal: return 6;
    case order::less: return 8;
    default: return 2;
  }
}
template <class T> T FPMax(T op1, T op2, FPSCR& fpscr) { return max_min(op1, op2, true, fpscr); }
template <class T> T FPMin(T op1, T op2, FPSCR& fpscr) { return max_min(op1, op2, false, fpscr); }
template <class T> T FPMaxNum(T op1, T op2, FPSCR& fpscr) { return max_min_num(op1, op2, true, fpscr); }
template <class T> T FPMinNum(T op1, T op2, FPSCR& fpscr) { return max_min_num(op1, op2, false, fpscr); }

#define SVE_FP_COMPARE(T)                                 \
  template bool FPCompareEQ<T>(T, T, FPSCR&);             \
  template bool FPCompareGE<T>(T, T, FPSCR&);             \
  template bool FPCompareGT<T>(T, T, FPSCR&);             \
  template bool FPCompareUN<T>(T, T, FPSCR&);             \
  template T FPMax<T>(T, T, FPSCR&);                      \
  template T FPMin<T>(T, T, FPSCR&);                      \
  template T FPMaxNum<T>(T, T, FPSCR&);                   \
  template T FPMinNum<T>(T, T, FPSCR&);
SVE_FP_COMPARE(unsigned short)
SVE_FP_COMPARE(unsigned int)
SVE_FP_COMPARE(unsigned long)
#undef SVE_FP_COMPARE
template int FPCompare<unsigned int>(unsigned int, unsigned int, bool, FPSCR&);
template int FPCompare<unsigned long>(unsigned long, unsigned long, bool, FPSCR&);

}  // namespace sve
