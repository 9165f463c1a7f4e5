// Decode maps and the entries that fill them.
//
// Every emulated instruction is one entry: a handler plus the bit pattern of
// its encoding, written as in the architecture's encoding diagrams, e.g.
//
//     "00000100 ss 0 00000 000 ggg mmmmm ddddd"     ADD (vectors, predicated)
//
// '0' and '1' are fixed bits, 's' bits take the element size code of the
// handler's type, and every other letter is an operand field. The key of the
// entry in its map is computed from the pattern at compile time, and the
// compiler rejects a pattern whose fixed bits are not exactly the map's
// ranges, so a wrong key can only come from a wrong pattern.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <span>

#include "sve_emu.h"

namespace sve {

struct bit_range {
  int hi, lo;
};

// The 44 maps of SVE in search order, widest key first: X(name suffix,
// ranges...).
#define SVE_DECODE_MAPS(X)                                            \
  X(31_0, {31, 0})                                                    \
  X(31_9__4_0, {31, 9}, {4, 0})                                       \
  X(31_4, {31, 4})                                                    \
  X(31_9__4_4, {31, 9}, {4, 4})                                       \
  X(31_14__9_9__4_0, {31, 14}, {9, 9}, {4, 0})                        \
  X(31_10__4_4, {31, 10}, {4, 4})                                     \
  X(31_9, {31, 9})                                                    \
  X(31_13__9_6, {31, 13}, {9, 6})                                     \
  X(31_21__15_10__4_0, {31, 21}, {15, 10}, {4, 0})                    \
  X(31_10, {31, 10})                                                  \
  X(31_13__9_8, {31, 13}, {9, 8})                                     \
  X(31_11, {31, 11})                                                  \
  X(31_14__9_9__4_4, {31, 14}, {9, 9}, {4, 4})                        \
  X(31_13__9_9, {31, 13}, {9, 9})                                     \
  X(31_20__15_9__4_4, {31, 20}, {15, 9}, {4, 4})                      \
  X(31_13__4_4, {31, 13}, {4, 4})                                     \
  X(31_24__21_10, {31, 24}, {21, 10})                                 \
  X(31_24__21_21__19_10, {31, 24}, {21, 21}, {19, 10})                \
  X(31_19__15_10, {31, 19}, {15, 10})                                 \
  X(31_13, {31, 13})                                                  \
  X(31_14__9_9, {31, 14}, {9, 9})                                     \
  X(31_20__15_10, {31, 20}, {15, 10})                                 \
  X(31_14, {31, 14})                                                  \
  X(31_23__21_13, {31, 23}, {21, 13})                                 \
  X(31_21__15_10__4_4, {31, 21}, {15, 10}, {4, 4})                    \
  X(31_24__21_21__18_10, {31, 24}, {21, 21}, {18, 10})                \
  X(31_17__15_13, {31, 17}, {15, 13})                                 \
  X(31_24__21_21__17_10, {31, 24}, {21, 21}, {17, 10})                \
  X(31_21__15_10, {31, 21}, {15, 10})                                 \
  X(31_23__21_21__15_10, {31, 23}, {21, 21}, {15, 10})                \
  X(31_21__15_11, {31, 21}, {15, 11})                                 \
  X(31_24__21_21__16_10, {31, 24}, {21, 21}, {16, 10})                \
  X(31_20__15_14__9_9__4_4, {31, 20}, {15, 14}, {9, 9}, {4, 4})       \
  X(31_21__15_13__4_4, {31, 21}, {15, 13}, {4, 4})                    \
  X(31_21__15_12, {31, 21}, {15, 12})                                 \
  X(31_20__15_13, {31, 20}, {15, 13})                                 \
  X(31_21__15_13, {31, 21}, {15, 13})                                 \
  X(31_20__15_14, {31, 20}, {15, 14})                                 \
  X(31_18, {31, 18})                                                  \
  X(31_22__15_13__4_4, {31, 22}, {15, 13}, {4, 4})                    \
  X(31_22__15_13, {31, 22}, {15, 13})                                 \
  X(31_21__15_14, {31, 21}, {15, 14})                                 \
  X(31_21__13_13__4_4, {31, 21}, {13, 13}, {4, 4})                    \
  X(31_21__15_15, {31, 21}, {15, 15})

// The maps of SVE2 and its optional extensions (AES, SHA3, SM4, BitPerm),
// searched after those of SVE by the same rule. SVE2 encodings lie in space
// that SVE leaves unallocated, so no word can match in both lists; the lists
// stay apart so that each instruction set is counted by itself.
#define SVE2_DECODE_MAPS(X)                                           \
  X(sve2_31_5, {31, 5})                                               \
  X(sve2_31_10, {31, 10})                                             \
  X(sve2_31_11, {31, 11})                                             \
  X(sve2_31_13__9_8, {31, 13}, {9, 8})                                \
  X(sve2_31_13__9_9, {31, 13}, {9, 9})                                \
  X(sve2_31_19__15_10, {31, 19}, {15, 10})                            \
  X(sve2_31_13, {31, 13})                                             \
  X(sve2_31_20__15_10, {31, 20}, {15, 10})                            \
  X(sve2_31_23__21_13, {31, 23}, {21, 13})                            \
  X(sve2_31_21__15_10__4_4, {31, 21}, {15, 10}, {4, 4})               \
  X(sve2_31_21__15_10, {31, 21}, {15, 10})                            \
  X(sve2_31_23__21_21__15_10, {31, 23}, {21, 21}, {15, 10})           \
  X(sve2_31_21__15_12__10_10, {31, 21}, {15, 12}, {10, 10})           \
  X(sve2_31_21__15_12, {31, 21}, {15, 12})                            \
  X(sve2_31_21__15_13__4_4, {31, 21}, {15, 13}, {4, 4})               \
  X(sve2_31_21__15_13, {31, 21}, {15, 13})

#define SVE_ALL_DECODE_MAPS(X) SVE_DECODE_MAPS(X) SVE2_DECODE_MAPS(X)

enum class map_id : uint8_t {
#define SVE_MAP_ID(name, ...) m##name,
  SVE_ALL_DECODE_MAPS(SVE_MAP_ID)
#undef SVE_MAP_ID
};

struct map_desc {
  const char* name;
  uint32_t mask;  // word bits that the map's key takes
  std::array<bit_range, 4> ranges;
  int nranges;
};

constexpr uint32_t ranges_mask(std::initializer_list<bit_range> rs) {
  uint32_t m = 0;
  for (auto r : rs)
    for (int b = r.lo; b <= r.hi; ++b) m |= 1u << b;
  return m;
}

inline constexpr map_desc map_descs[] = {
#define SVE_MAP_DESC(name, ...)                         \
  {"decode_map__" #name, ranges_mask({__VA_ARGS__}), \
   {{__VA_ARGS__}}, int(std::initializer_list<bit_range>{__VA_ARGS__}.size())},
    SVE_ALL_DECODE_MAPS(SVE_MAP_DESC)
#undef SVE_MAP_DESC
};
inline constexpr int map_count = std::size(map_descs);
// The maps of SVE come first; those from sve_map_count on are SVE2's.
#define SVE_MAP_ONE(...) +1
inline constexpr int sve_map_count = 0 SVE_DECODE_MAPS(SVE_MAP_ONE);
#undef SVE_MAP_ONE
static_assert(sve_map_count == 44);

// The key rule: the word bits under the map's mask, gathered from the most
// significant down and right-aligned.
constexpr int32_t map_key(uint32_t word, uint32_t mask) {
  uint32_t key = 0;
  for (int b = 31; b >= 0; --b)
    if (mask >> b & 1) key = key << 1 | (word >> b & 1);
  return int32_t(key);
}

// Fixed bits of a pattern; 's' bits take `size`, most significant first.
struct fixed_bits {
  uint32_t mask, value;
};

constexpr fixed_bits parse_pattern(const char* p, uint32_t size) {
  int nbits = 0, nsize = 0;
  for (const char* c = p; *c; ++c) nbits += *c != ' ', nsize += *c == 's';
  if (nbits != 32) throw "an encoding pattern must have 32 bits";
  fixed_bits f{0, 0};
  int bit = 32;
  for (const char* c = p; *c; ++c) {
    if (*c == ' ') continue;
    --bit;
    if (*c == '0' || *c == '1') {
      f.mask |= 1u << bit;
      f.value |= uint32_t(*c - '0') << bit;
    } else if (*c == 's') {
      --nsize;
      f.mask |= 1u << bit;
      f.value |= (size >> nsize & 1) << bit;
    }
  }
  return f;
}

struct decode_entry {
  map_id map;
  int32_t key;
  uint32_t fixed_mask, fixed_value;
  sve_handler handler;
  const char* name;    // "VecU32AddVVM"
  const char* sample;  // one assembler instance; "T" is the size letter, "R" w or x
  uint32_t size;       // element size code that 's' bits and "T" take
  uint8_t governing_lo, governing_bits;  // the 'g' field, the governing predicate; 0 bits when none
};

// The lowest bit and the width of the field that `letter` marks in a pattern.
struct letter_field {
  uint8_t lo, bits;
};

constexpr letter_field field_of(const char* p, char letter) {
  letter_field f{0, 0};
  int bit = 32;
  for (const char* c = p; *c; ++c) {
    if (*c == ' ') continue;
    --bit;
    if (*c == letter) f.lo = uint8_t(bit), ++f.bits;
  }
  return f;
}

constexpr decode_entry make_entry(map_id m, const char* pattern, uint32_t size,
                                  sve_handler h, const char* name, const char* sample) {
  fixed_bits f = parse_pattern(pattern, size);
  if (f.mask != map_descs[int(m)].mask)
    throw "the fixed bits of the pattern are not the ranges of its map";
  const letter_field g = field_of(pattern, 'g');
  return {m, map_key(f.value, f.mask), f.mask, f.value, h, name, sample, size, g.lo, g.bits};
}

// All entries of one instruction family, in a constant table.
struct decode_family {
  std::span<const decode_entry> entries;
  const char* name;
};

// Every family of the system, concatenated; built before any dynamic
// initialisation runs.
std::span<const decode_family* const> all_families();

// The entry of a word whose handler is known; null when none has both.
const decode_entry* entry_of(uint32_t word, sve_handler h);

// is_sve through a cache of recent words shared by all threads, for a host
// that looks up every instruction it runs (execute_sve_instruction, the
// SIGILL runner): a word met before costs one load. Safe in a signal
// handler: it takes no lock and allocates nothing.
sve_handler cached_is_sve(uint32_t word);

// The map objects, in search order.
extern std::map<int32_t, sve_handler>* const decode_maps[map_count];

}  // namespace sve

// Element types of handler names, with their size codes.
namespace sve::types {
struct U8 { static constexpr uint32_t code = 0; };
struct U16 { static constexpr uint32_t code = 1; };
struct U32 { static constexpr uint32_t code = 2; };
struct U64 { static constexpr uint32_t code = 3; };
struct U128 { static constexpr uint32_t code = 4; };
struct S8 { static constexpr uint32_t code = 0; };
struct S16 { static constexpr uint32_t code = 1; };
struct S32 { static constexpr uint32_t code = 2; };
struct S64 { static constexpr uint32_t code = 3; };
struct B8 { static constexpr uint32_t code = 0; };
struct H16 { static constexpr uint32_t code = 1; };
struct F16 { static constexpr uint32_t code = 1; };
struct F32 { static constexpr uint32_t code = 2; };
struct D64 { static constexpr uint32_t code = 3; };
struct F64 { static constexpr uint32_t code = 3; };
struct H32 { static constexpr uint32_t code = 2; };
struct H64 { static constexpr uint32_t code = 3; };
struct P { static constexpr uint32_t code = 0; };
struct P8 { static constexpr uint32_t code = 0; };
struct P16 { static constexpr uint32_t code = 1; };
struct P32 { static constexpr uint32_t code = 2; };
struct P64 { static constexpr uint32_t code = 3; };
}  // namespace sve::types

// A family file lists its entries once, one row per handler:
//
//   #define INTEGER_PREDICATED(X)
//     X(31_13, AddVVM, U32, "00000100 ss 0 00000 000 ggg mmmmm ddddd",
//       direct, (vvm<sve_add_zpz>), "add z0.T, p0/m, z0.T, z1.T")
//   SVE_FAMILY(integer_predicated, INTEGER_PREDICATED)
//
// That defines each handler as a function named Vec<type><op> and a constant
// table of the family's entries. The route says what stands behind the
// handler:
//   direct   impl::run<type>(s, w), which calls a direct kernel;
//   library  impl::run<type, &sve::lib::Vec<type><op>>(s, w): the routine of
//            the handler's own name, through the marshalling adapter;
//   self     nothing: the handler returns at once (prefetches).
// The sample is one assembler instance of the instruction; in it "T" stands
// for the size letter of the type (b, h, s, d, q) and "R" for the general
// register view (w, or x for doublewords).
#define SVE_UNPAREN(...) __VA_ARGS__
#define SVE_ROUTE_direct(impl, type, op) \
  SVE_UNPAREN impl::template run<::sve::types::type>(s, w)
#define SVE_ROUTE_library(impl, type, op) \
  SVE_UNPAREN impl::template run<::sve::types::type, &::sve::lib::Vec##type##op>(s, w)
#define SVE_ROUTE_self(impl, type, op) ((void)s, (void)w, aarch64_decode_ok)

// Rows may take several arguments from one helper macro, so the row macros
// expand their arguments before splitting them.
#define SVE_DEFINE_HANDLER(...) SVE_DEFINE_HANDLER_(__VA_ARGS__)
#define SVE_TABLE_ROW(...) SVE_TABLE_ROW_(__VA_ARGS__)
#define SVE_DEFINE_HANDLER_(map, op, type, pattern, route, impl, sample) \
  aarch64_decode_rc Vec##type##op(cpu_state* s, unsigned int w) {       \
    return SVE_ROUTE_##route(impl, type, op);                           \
  }
#define SVE_TABLE_ROW_(map, op, type, pattern, route, impl, sample)                  \
  ::sve::make_entry(::sve::map_id::m##map, pattern, ::sve::types::type::code,        \
                    &Vec##type##op, "Vec" #type #op, sample),

#define SVE_FAMILY(family, LIST)                                                   \
  LIST(SVE_DEFINE_HANDLER)                                                         \
  namespace sve::families {                                                        \
  static constexpr decode_entry family##_entries[] = {LIST(SVE_TABLE_ROW)};        \
  constinit const decode_family family{family##_entries, #family};                 \
  }

// One row per type of a family that exists at the four integer sizes.
#define SVE_U4(X, map, op, ...) \
  X(map, op, U8, __VA_ARGS__)   \
  X(map, op, U16, __VA_ARGS__)  \
  X(map, op, U32, __VA_ARGS__)  \
  X(map, op, U64, __VA_ARGS__)
#define SVE_S4(X, map, op, ...) \
  X(map, op, S8, __VA_ARGS__)   \
  X(map, op, S16, __VA_ARGS__)  \
  X(map, op, S32, __VA_ARGS__)  \
  X(map, op, S64, __VA_ARGS__)
