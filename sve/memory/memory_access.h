// Element access of the memory instructions. Direct kernels read and write
// application memory with plain host accesses of any alignment. Library
// routines go through the element readers and writers, whose readers also
// have a protected form for first-fault loads. A fault in a plain access is
// reported by SVESigHandler, and the process then ends by the signal.
#pragma once

#include <signal.h>

#include <cstdint>
#include <cstring>

#include "../support/records.h"

namespace sve {

// Plain accesses at any alignment.
template <class T>
inline T read_plain(uint64_t address) {
  T v;
  std::memcpy(&v, reinterpret_cast<const void*>(address), sizeof(T));
  return v;
}
template <class T>
inline void write_plain(uint64_t address, T v) {
  std::memcpy(reinterpret_cast<void*>(address), &v, sizeof(T));
}

// Element readers: with a null `fault` a plain read; otherwise a protected
// read that yields 0 and sets *fault when the element cannot be read, and
// leaves *fault alone when it can. `access_kind` is not consulted.
uint64_t ReadMemLib1(unsigned long address, int access_kind, bool* fault, CpuContext*);
uint64_t ReadMemLib2(unsigned long address, int access_kind, bool* fault, CpuContext*);
uint64_t ReadMemLib4(unsigned long address, int access_kind, bool* fault, CpuContext*);
uint64_t ReadMemLib8(unsigned long address, int access_kind, bool* fault, CpuContext*);
void WriteMemLib1(unsigned char value, unsigned long address, CpuContext*);
void WriteMemLib2(unsigned short value, unsigned long address, CpuContext*);
void WriteMemLib4(unsigned int value, unsigned long address, CpuContext*);
void WriteMemLib8(unsigned long value, unsigned long address, CpuContext*);

// Whether one byte at `address` can be read; nothing else changes.
template <class T>
bool addr_is_readable(T volatile* address);

// For a signal handler that takes SIGSEGV or SIGBUS in place of
// SVESigHandler: when the calling thread is inside a protected read or a
// probe, returns to it with the read failed; otherwise returns.
void resume_protected_read();

// Installs SVESigHandler for SIGSEGV and SIGBUS once; later calls do nothing.
void SVEInitialize();
void SVESigHandler(int signal, siginfo_t* info, void* context);

// An element of M's size through the library's readers: a plain read
// without a fault flag, a protected read with one.
template <class M>
uint64_t read_memory_element(uint64_t address, bool* fault = nullptr) {
  constexpr auto read = sizeof(M) == 1   ? ReadMemLib1
                        : sizeof(M) == 2 ? ReadMemLib2
                        : sizeof(M) == 4 ? ReadMemLib4
                                         : ReadMemLib8;
  return read(address, fault ? 1 : 0, fault, nullptr);
}

// The offset that an element of an offset vector contributes: whole, or its
// low word sign- or zero-extended.
struct whole {
  template <class T>
  static uint64_t of(T v) {
    return uint64_t(v);
  }
};
struct sxtw {
  template <class T>
  static uint64_t of(T v) {
    return uint64_t(int64_t(int32_t(uint32_t(v))));
  }
};
struct uxtw {
  template <class T>
  static uint64_t of(T v) {
    return uint64_t(uint32_t(v));
  }
};

}  // namespace sve
