// Immediates of the destructive integer forms, at the width of the
// handler's element type, for the library route's operand readers.
#pragma once

#include <type_traits>

#include "../decode/fields.h"
#include "kernel_loop.h"

namespace sve {

// The add and subtract immediate, imm8 shifted by 8 when bit 13 is set, cut
// to the element: bytes with the shift get 0.
struct imm_add_sub_elem {
  template <class T>
  static auto value(uint32_t w) { return typename elem_of<T::code>::type(imm_add_sub(w)); }
};

// imm8 12:5 as the element's unsigned or signed value.
template <bool Signed>
struct imm8_elem {
  template <class T>
  static auto value(uint32_t w) {
    using E = typename elem_of<T::code>::type;
    if constexpr (Signed) return std::make_signed_t<E>(sfield(w, 12, 5));
    else return E(field(w, 12, 5));
  }
};

}  // namespace sve
