// The element loops of the floating-point instructions.
//
// Library route: a routine computes each active element with the library
// under a fresh FPSCR made from the context's fpcr and merges the status
// bits into the context's fpsr, in ascending element order.
//
// Direct route: a kernel computes each active element with the AArch64
// instruction of the operation, under the processor's own FPCR, and the
// handler copies the processor's FPSR afterwards. On a host that is not
// AArch64 the kernel's element operation is the library operation under the
// routine protocol instead, which gives the same bits and flags.
//
// The element-wise operations with a form in the whole-vector fast path
// (sve/fplib/fast_vector.h) try it first on the direct route, and compute
// one by one only the lanes it leaves.
//
// Every loop leaves inactive elements as they were, with no arithmetic that
// counts, so that a NaN in an inactive element raises nothing.
#pragma once

#include <array>
#include <bit>
#include <utility>

#include "../decode/direct.h"
#include "../fplib/fast_half.h"
#include "../fplib/fast_vector.h"
#include "../fplib/fplib.h"
#include "../integer/kernel_loop.h"
#include "../support/routine_loop.h"

namespace sve {

// The FPSR bits that the merge keeps: N, Z, C, V, QC and the cumulative
// exception flags.
inline constexpr uint32_t fpsr_status_mask = 0xf800009f;

// One library operation on one element: op(FPSCR&) under a fresh FPSCR made
// from fpcr, its status bits merged into fpsr.
template <class Op>
inline auto fp_element(uint32_t fpcr, uint32_t& fpsr, Op op) {
  FPSCR fpscr = fpcr;
  const auto r = op(fpscr);
  fpsr = (fpsr | fpscr) & fpsr_status_mask;
  return r;
}

// Routine loops: op(x, y, fpscr) or op(x, fpscr) on the format's words.
template <class T, class Op>
VecV fp_routine_merge(const VecV& a, const PredV& pg, const VecV& b, CpuContext* c, Op op) {
  return routine_merge<T>(a, pg, b, c, [&](T x, T y) {
    return fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return op(x, y, s); });
  });
}
template <class T, class Op>
VecV fp_routine_unary(const VecV& a, const PredV& pg, const VecV& b, CpuContext* c, Op op) {
  return fp_routine_merge<T>(a, pg, b, c, [&](T, T y, FPSCR& s) { return op(y, s); });
}
template <class T, class Op>
VecV fp_routine_pair(const VecV& a, const VecV& b, CpuContext* c, Op op) {
  return routine_pair<T>(a, b, c, [&](T x, T y) {
    return fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return op(x, y, s); });
  });
}

// Three-vector merging loop: op(x, y, z, fpscr) in active elements, a elsewhere.
template <class T, class Op>
VecV fp_routine_merge3(const VecV& a, const PredV& pg, const VecV& b, const VecV& d, CpuContext* c, Op op) {
  VecV r = a;
  const unsigned n = c->elements(sizeof(T) * 8);
  for (unsigned i = 0; i < n; ++i)
    if (pg.active(i, sizeof(T)))
      r.set<T>(i, fp_element(c->fpcr, c->fpsr, [&](FPSCR& s) { return op(a.get<T>(i), b.get<T>(i), d.get<T>(i), s); }));
  return r;
}

// The element of a 128-bit segment that indexed forms take: element `index`
// of the segment that holds element i.
template <class T>
constexpr unsigned segment_element(unsigned i, uint64_t index) {
  constexpr unsigned per_segment = 16 / sizeof(T);
  return unsigned(i / per_segment * per_segment + index);
}

// The host's type of the format of T, for the native operations.
template <class T>
using host_float = std::conditional_t<sizeof(T) == 4, float, double>;

// Defines Name, an element operation of the direct kernels: `native` runs the
// AArch64 instruction Insn on scalar registers (AArch64 hosts only), and
// `library` the library operation Lib. On AArch64 hosts `group<T>` runs the
// vector form of the same instruction on the 16 bytes of four single or two
// double lanes, which gives each lane the bits and flags of the scalar form.
#if defined(__aarch64__)
using fp_group = uint8_t __attribute__((vector_size(16)));
#define SVE_FP_GROUP_ASM(T, insn, operands, ...)                                            \
  if constexpr (sizeof(T) == 4)                                                             \
    asm volatile(insn " %0.4s" operands(".4s") : __VA_ARGS__);                              \
  else                                                                                      \
    asm volatile(insn " %0.2d" operands(".2d") : __VA_ARGS__);
#define SVE_FP_TWO_SOURCES(arr) ", %1" arr ", %2" arr
#define SVE_FP_ONE_SOURCE(arr) ", %1" arr
#define SVE_FP_NATIVE_BINARY(insn)                                                          \
  static float native(float a, float b) {                                                   \
    float r;                                                                                \
    asm volatile(insn " %s0, %s1, %s2" : "=w"(r) : "w"(a), "w"(b));                         \
    return r;                                                                               \
  }                                                                                         \
  static double native(double a, double b) {                                                \
    double r;                                                                               \
    asm volatile(insn " %d0, %d1, %d2" : "=w"(r) : "w"(a), "w"(b));                         \
    return r;                                                                               \
  }                                                                                         \
  template <class T>                                                                        \
  static fp_group group(fp_group a, fp_group b) {                                           \
    fp_group r;                                                                             \
    SVE_FP_GROUP_ASM(T, insn, SVE_FP_TWO_SOURCES, "=w"(r) : "w"(a), "w"(b))                 \
    return r;                                                                               \
  }
#define SVE_FP_NATIVE_UNARY(insn)                                                           \
  static float native(float a) {                                                            \
    float r;                                                                                \
    asm volatile(insn " %s0, %s1" : "=w"(r) : "w"(a));                                      \
    return r;                                                                               \
  }                                                                                         \
  static double native(double a) {                                                          \
    double r;                                                                               \
    asm volatile(insn " %d0, %d1" : "=w"(r) : "w"(a));                                      \
    return r;                                                                               \
  }                                                                                         \
  template <class T>                                                                        \
  static fp_group group(fp_group a) {                                                       \
    fp_group r;                                                                             \
    SVE_FP_GROUP_ASM(T, insn, SVE_FP_ONE_SOURCE, "=w"(r) : "w"(a))                          \
    return r;                                                                               \
  }
#else
#define SVE_FP_NATIVE_BINARY(insn)
#define SVE_FP_NATIVE_UNARY(insn)
#endif
// Operations that the whole-vector fast path has add SVE_FP_VECTOR(op).
#define SVE_FP_BINARY_OP(name, insn, lib, ...)                                              \
  struct name {                                                                             \
    SVE_FP_NATIVE_BINARY(insn)                                                              \
    template <class T>                                                                      \
    static T library(T a, T b, FPSCR& s) { return lib(a, b, s); }                           \
    __VA_ARGS__                                                                             \
  };
#define SVE_FP_UNARY_OP(name, insn, lib, ...)                                               \
  struct name {                                                                             \
    SVE_FP_NATIVE_UNARY(insn)                                                               \
    template <class T>                                                                      \
    static T library(T a, FPSCR& s) { return lib(a, s); }                                   \
    __VA_ARGS__                                                                             \
  };
#define SVE_FP_VECTOR(op) static constexpr fast::vop vector = fast::vop::op;

// addend + n * m with the negations of the instruction.
template <bool NegAddend, bool NegFactor, class T>
T fused(T addend, T n, T m, FPSCR& s) {
  return FPMulAdd(NegAddend ? FPNeg(addend) : addend, NegFactor ? FPNeg(n) : n, m, s);
}

// ±a ± n * m: on AArch64 hosts the scalar instruction Insn, whose
// negations are those of the vector instruction. The vector forms are FMLA
// (a + n * m) and FMLS (a + -n * m), and FNEG negates the addend first, as
// the negated forms' definition does.
#if defined(__aarch64__)
#define SVE_FP_NATIVE_FUSED(insn, neg_addend, neg_factor)                                \
  static float native(float a, float n, float m) {                                       \
    float r;                                                                             \
    asm volatile(insn " %s0, %s1, %s2, %s3" : "=w"(r) : "w"(n), "w"(m), "w"(a));         \
    return r;                                                                            \
  }                                                                                      \
  static double native(double a, double n, double m) {                                   \
    double r;                                                                            \
    asm volatile(insn " %d0, %d1, %d2, %d3" : "=w"(r) : "w"(n), "w"(m), "w"(a));         \
    return r;                                                                            \
  }                                                                                      \
  template <class T>                                                                     \
  static fp_group group(fp_group a, fp_group n, fp_group m) {                            \
    if constexpr (neg_addend) {                                                          \
      SVE_FP_GROUP_ASM(T, "fneg", SVE_FP_ONE_SOURCE, "=w"(a) : "w"(a))                   \
    }                                                                                    \
    if constexpr (neg_factor) {                                                          \
      SVE_FP_GROUP_ASM(T, "fmls", SVE_FP_TWO_SOURCES, "+w"(a) : "w"(n), "w"(m))          \
    } else {                                                                             \
      SVE_FP_GROUP_ASM(T, "fmla", SVE_FP_TWO_SOURCES, "+w"(a) : "w"(n), "w"(m))          \
    }                                                                                    \
    return a;                                                                            \
  }
#else
#define SVE_FP_NATIVE_FUSED(insn, neg_addend, neg_factor)
#endif
#define SVE_FP_FUSED_OP(name, insn, neg_addend, neg_factor)                              \
  struct op_##name {                                                                     \
    SVE_FP_NATIVE_FUSED(insn, neg_addend, neg_factor)                                    \
    template <class T>                                                                   \
    static T library(T a, T n, T m, FPSCR& s) { return fused<neg_addend, neg_factor>(a, n, m, s); } \
    SVE_FP_VECTOR(name)                                                                  \
  };

// Op on the elements x... of a direct kernel: an element of the format, or
// the outcome of a comparison. Half precision always takes the library, and
// its handlers maintain fpsr themselves.
template <class Op, class T, class... U>
inline auto fp_kernel_element(cpu_state* s, T x, U... y) {
#if defined(__aarch64__)
  if constexpr (sizeof(T) != 2) {
    const auto r = Op::native(std::bit_cast<host_float<T>>(x), std::bit_cast<host_float<T>>(T(y))...);
    if constexpr (std::is_floating_point_v<std::remove_const_t<decltype(r)>>)
      return std::bit_cast<T>(r);
    else
      return r;
  } else
#endif
    return fp_element(s->fpcr | s->fpcr_high, s->fpsr, [&](FPSCR& f) { return Op::library(x, T(y)..., f); });
}

// The kernel loop: elem(i) for each active element at byte offset i, the old
// destination element elsewhere, through a temporary. Single and double
// precision are the only paths.
template <class F>
inline aarch64_decode_rc fp_kernel_merge(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, F&& elem) {
  return by_size<Z_D, Z_S>(zd.rw_elem == Z_NONE ? zd.elem : zd.rw_elem, [&](auto e) {
    using T = decltype(e);
    alignas(16) uint8_t tmp[sve_vl_bytes];
    const uint8_t* p = s->p[pg.reg];
    uint8_t* d = s->z[zd.reg];
    for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T))
      store<T>(tmp + i, (p[i] & 1) ? T(elem(T{}, i)) : load<T>(d + i));
    std::memcpy(d, tmp, sve_vl_bytes);
    return aarch64_decode_ok;
  });
}

// The kernel loop of the whole-vector fast paths over the element C of the
// destination d: `fast()` computes what it can of the active lanes (all of
// them when pg is null) into d and returns the lanes that it left, which
// keep their value; `element(i)` computes lane i of those one by one from
// lane i of the sources, and so goes straight to d even when d is also a
// source.
template <class C, class Fast, class Element>
inline aarch64_decode_rc fp_kernel_vector(uint8_t* d, const uint8_t* pg, Fast&& fast, Element&& element) {
  const fast::lane_set left = fast();
  if (left)
    for (unsigned i = 0; i < fast::lanes<C>; ++i)
      if ((left >> i & 1) && (!pg || active_mask<C>(pg, i * sizeof(C)))) store<C>(d + i * sizeof(C), C(element(i)));
  return aarch64_decode_ok;
}

#if defined(__aarch64__)
// The direct route in vector registers: Op::group<T> on each 16-byte group
// of lanes that are all active (every group when pg is null), written to d
// once the group's sources are read, and the lanes of the other groups left
// to the scalar loop. Only where FPCR.AH is 0, as it always is on hosts
// without the alternative floating-point behaviour: under AH the separate
// FNEG of the negated fused forms is not shown to treat a NaN as the scalar
// forms do.
template <class Op, class T, size_t K>
inline fast::lane_set native_groups(const std::array<const uint8_t*, K>& src, const uint8_t* pg, FPSCR fpcr, uint8_t* d) {
  if (fpcr & 2) return fast::every_lane;
  constexpr unsigned per_group = 16 / sizeof(T);
  constexpr uint64_t first_bytes = sizeof(T) == 4 ? 0x0000000100000001 : 1;
  fast::lane_set left = 0;
  for (unsigned g = 0; g < sve_vl_bytes; g += 16) {
    if (pg && (load<uint64_t>(pg + g) & load<uint64_t>(pg + g + 8) & first_bytes) != first_bytes) {
      left |= fast::lane_set((1u << per_group) - 1) << (g / sizeof(T));
      continue;
    }
    const fp_group r = [&]<size_t... j>(std::index_sequence<j...>) {
      return Op::template group<T>(load<fp_group>(src[j] + g)...);
    }(std::make_index_sequence<K>{});
    std::memcpy(d + g, &r, sizeof r);
  }
  return left;
}
#endif

// The element-wise kernel loop of Op on operand vectors: operands(T{},
// scratch) gives the bytes of each operand's lanes (a vector register, or a
// vector built in `scratch`, room for two vectors), in the order of Op's
// arguments. Active lanes (all of them when pg is null) get Op of their
// operands, the others keep the destination's old element. Operations with
// a vector form go through the fast layer first and compute only the lanes
// it leaves one by one.
template <class Op, class Operands>
inline aarch64_decode_rc fp_kernel_lanes(cpu_state* s, aarch64_z_reg zd, const uint8_t* pg, Operands operands) {
  return by_size<Z_D, Z_S, Z_H>(zd.rw_elem == Z_NONE ? zd.elem : zd.rw_elem, [&](auto e) {
    using T = decltype(e);
    alignas(32) uint8_t scratch[2 * sve_vl_bytes];
    const auto src = operands(e, scratch);
    constexpr unsigned k = std::tuple_size_v<decltype(src)>;
    const auto operand = [&](unsigned j) { return j < k ? src[j] : nullptr; };
    uint8_t* d = s->z[zd.reg];
    return fp_kernel_vector<T>(
        d, pg,
        [&] {
          const FPSCR fpcr = s->fpcr | s->fpcr_high;
#if defined(__aarch64__)
          if constexpr (sizeof(T) != 2 && requires { &Op::template group<T>; })
            return native_groups<Op, T>(src, pg, fpcr, d);
#endif
          if constexpr (!requires { Op::vector; })
            return fast::every_lane;
          else if constexpr (sizeof(T) == 2)
            return fast::vector_half(Op::vector, operand(0), operand(1), pg, fpcr, s->fpsr, d);
          else
            return fast::vector<T>(Op::vector, operand(0), operand(1), operand(2), pg, fpcr, s->fpsr, d);
        },
        [&](unsigned i) {
          return [&]<size_t... j>(std::index_sequence<j...>) {
            return T(fp_kernel_element<Op>(s, load<T>(src[j] + i * sizeof(T))...));
          }(std::make_index_sequence<k>{});
        });
  });
}

// The operand list of fp_kernel_lanes.
template <class... P>
inline std::array<const uint8_t*, sizeof...(P)> fp_operands(P... p) {
  return {p...};
}

// A vector of T whose every lane is v, in `scratch`.
template <class T>
inline const uint8_t* fp_splat(uint8_t* scratch, T v) {
  for (unsigned i = 0; i < sve_vl_bytes; i += sizeof(T)) store<T>(scratch + i, v);
  return scratch;
}

// The unpredicated kernel loop: elem(i) for every element.
template <class F>
inline aarch64_decode_rc fp_kernel_all(cpu_state* s, aarch64_z_reg zd, F&& elem) {
  return by_size<Z_D, Z_S>(zd.elem, [&](auto e) {
    using T = decltype(e);
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) { return T(elem(T{}, i)); });
  });
}

// The indexed forms of single and double precision: Zd 4:0, Zn 9:5, and Zm
// with its index in bits 20:16 (Zm 18:16 and index 20:19 for single, Zm
// 19:16 and index 20 for double).
template <auto Kernel>
struct vvx_index : direct_base<Kernel, true> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    constexpr bool d = T::code == Z_D;
    return vvx_index::call(s, w, z_plain(w, 4, 0, T::code), z_plain(w, 9, 5, T::code),
                           z_plain(w, d ? 19 : 18, 16, T::code), uint64_t(field(w, 20, d ? 20 : 19)));
  }
};

// Zm's element at the index within each 128-bit segment, in every lane of
// that segment, in `scratch`.
template <class T>
inline const uint8_t* fp_segment_splat(uint8_t* scratch, const uint8_t* zm, uint64_t index) {
  for (unsigned i = 0; i < sve_vl_bytes / sizeof(T); ++i)
    store<T>(scratch + i * sizeof(T), load<T>(zm + segment_element<T>(i, index) * sizeof(T)));
  return scratch;
}

}  // namespace sve

// Rows of a family at the three precisions: half precision on the library
// route with `lib_impl`, single and double on `route32` with `impl32`.
#define SVE_FP3(X, map, op, lib_impl, route32, impl32, pattern, sample) \
  X(map, op, F16, pattern, library, lib_impl, sample)                   \
  X(map, op, F32, pattern, route32, impl32, sample)                     \
  X(map, op, D64, pattern, route32, impl32, sample)
// The same, expanding a pattern-and-sample macro among the arguments first.
#define SVE_FP3_(...) SVE_FP3(__VA_ARGS__)
// Rows of a family whose kernel serves the three precisions: half precision
// maintains fpsr itself, single and double compute natively where they can.
#define SVE_FP3_KERNEL(X, map, op, shape, kernel, pattern, sample) \
  X(map, op, F16, pattern, direct, (shape<kernel>), sample)        \
  X(map, op, F32, pattern, direct, (shape<kernel, true>), sample)  \
  X(map, op, D64, pattern, direct, (shape<kernel, true>), sample)
#define SVE_FP3_KERNEL_(...) SVE_FP3_KERNEL(__VA_ARGS__)
// Rows of a family whose kernel computes every precision with the library
// and maintains fpsr itself.
#define SVE_FP3_LIBRARY_KERNEL(X, map, op, shape, kernel, pattern, sample) \
  X(map, op, F16, pattern, direct, (shape<kernel>), sample)                \
  X(map, op, F32, pattern, direct, (shape<kernel>), sample)                \
  X(map, op, D64, pattern, direct, (shape<kernel>), sample)
