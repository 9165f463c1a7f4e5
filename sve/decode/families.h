// The instruction families of the system. Each line names the constant table
// that one family file defines with SVE_FAMILY; the decoder builds its maps
// from all of them.
#pragma once

#include "decode.h"

#define SVE_FAMILIES(X)     \
  X(integer_predicated)     \
  X(integer_multiply)       \
  X(move_reductions)        \
  X(integer_shifts)         \
  X(integer_counts)         \
  X(predicate_counts)       \
  X(integer_addresses)      \
  X(integer_unpredicated)   \
  X(integer_saturating)     \
  X(integer_library)        \
  X(move_permutes)          \
  X(predicate_logic)        \
  X(integer_compares)       \
  X(loop_control)           \
  X(predicate_breaks)       \
  X(predicate_permutes)     \
  X(move_broadcast)         \
  X(memory_contiguous)      \
  X(memory_replicate)       \
  X(memory_fill_spill)      \
  X(memory_gather_scatter)  \
  X(memory_first_fault)     \
  X(memory_prefetch)        \
  X(fp_arithmetic)          \
  X(fp_fused)               \
  X(fp_estimates)           \
  X(fp_conversions)         \
  X(fp_compares)            \
  X(fp_reductions)          \
  X(integer_ternary)        \
  X(integer_complex)        \
  X(integer_crypto)         \
  X(predicate_match)        \
  X(integer_histogram)      \
  X(integer_halving)        \
  X(integer_pairwise)       \
  X(integer_widening)       \
  X(integer_narrowing)      \
  X(integer_rounding_shifts)\
  X(fp_pairwise)            \
  X(fp_top_conversions)     \
  X(fp_exponent)            \
  X(fp_widening_fused)      \
  X(integer_multiply_long)  \
  X(integer_multiply_high)  \
  X(memory_nontemporal_gather)

namespace sve::families {
#define SVE_DECLARE_FAMILY(f) extern const decode_family f;
SVE_FAMILIES(SVE_DECLARE_FAMILY)
#undef SVE_DECLARE_FAMILY
}  // namespace sve::families
