// What the profile needs to know of an instruction beyond its count: the
// predicate that governs it and the size of the elements that predicate
// governs, and what it moves to or from memory. Derived once per decode
// entry from the entry's pattern and its sample instance.
#pragma once

#include <cstdint>

#include "decode.h"

namespace sve::profile {

enum class direction : uint8_t { none, load, store };

// How many memory elements one execution moves, given its active elements.
enum class extent : uint8_t {
  active,          // each active element (times the registers of a structure)
  one_element,     // LD1R: one element when any is active
  quadword,        // LD1RQ: the active elements of the first 128 bits
  whole_register,  // LDR/STR of a vector or predicate: all of it, ungoverned
};

struct shape {
  uint8_t governing_lo = 0, governing_bits = 0;  // 0 bits: no governing predicate
  uint8_t element_bytes = 0;                     // of the elements the predicate governs
  direction memory = direction::none;
  extent moved = extent::active;
  uint8_t memory_bytes = 0;     // one memory element; for a whole register, see whole_bytes
  uint8_t registers = 1;        // of a structure load or store
  uint16_t whole_bytes = 0;     // of a whole-register transfer
  bool vector_addresses = false;  // gather or scatter
  bool first_fault = false;       // a first-fault or non-fault load, which may narrow FFR
  char mnemonic[12] = {};
};

// The shape of an entry. Its sample says the mnemonic, the operands'
// element sizes and the addressing; the pattern's 'g' field says where the
// governing predicate is. The governed elements are those of the first
// sized predicate operand (a compare or predicate operation), otherwise the
// widest vector operand (a conversion is governed at its wider side).
shape shape_of(const decode_entry& e);

// The active elements of a predicate in the emulator's layout, one byte per
// vector byte, with elements of `element_bytes`, among its first `bytes`.
unsigned active_elements(const uint8_t* predicate, unsigned element_bytes, unsigned bytes);

}  // namespace sve::profile
