// Test helpers: a thread state filled with reproducible bytes, and a way to
// run one instruction word on it as an embedder would.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>

#include "sve/decode/sve_emu.h"

namespace sve::test {

inline std::unique_ptr<cpu_state> random_state(uint32_t seed = 1) {
  auto s = std::make_unique<cpu_state>();
  std::mt19937_64 rng(seed);
  auto* bytes = reinterpret_cast<uint8_t*>(s.get());
  for (size_t i = 0; i < sizeof(cpu_state); ++i) bytes[i] = uint8_t(rng());
  s->pc = nullptr;
  s->fpcr_high = 0;
  return s;
}

// Runs `word` through execute_sve_instruction from a private code slot.
inline aarch64_decode_rc run(cpu_state* s, uint32_t word) {
  static thread_local uint32_t code[1];
  code[0] = word;
  s->pc = code;
  return execute_sve_instruction(s);
}

template <class T>
T elem(const uint8_t* v, unsigned i) {
  T x;
  std::memcpy(&x, v + i * sizeof(T), sizeof(T));
  return x;
}
template <class T>
void set_elem(uint8_t* v, unsigned i, T x) {
  std::memcpy(v + i * sizeof(T), &x, sizeof(T));
}

}  // namespace sve::test

#include <stdexcept>
#include <string>

#include "sve/decode/decode.h"

namespace sve::test {

// The entry of the handler named `name`.
inline const decode_entry& entry(const std::string& name) {
  for (const decode_family* f : all_families())
    for (const decode_entry& e : f->entries)
      if (name == e.name) return e;
  throw std::invalid_argument("no handler " + name);
}

// The fixed bits of the handler named `name`, to be ORed with operand fields.
inline uint32_t word(const std::string& name) { return entry(name).fixed_value; }

}  // namespace sve::test
