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

// Emulated accesses reach the application's memory, whose layout is the
// application's business: an address sanitizer build leaves them unchecked,
// out of line (checked code may not inline unchecked code) and in a section
// of their own, so that a fault handler can tell a fault of the application
// from one of the emulator.
#define SVE_APP_ACCESS_UNCHECKED inline __attribute__((no_sanitize("address"), noinline, section("sve_app_access")))
#if defined(__SANITIZE_ADDRESS__)
#define SVE_APP_ACCESS SVE_APP_ACCESS_UNCHECKED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SVE_APP_ACCESS SVE_APP_ACCESS_UNCHECKED
#endif
#endif
#ifndef SVE_APP_ACCESS
#define SVE_APP_ACCESS inline
#endif

// Plain accesses at any alignment.
template <class T>
SVE_APP_ACCESS T read_plain(uint64_t address) {
  T v;
  __builtin_memcpy(&v, reinterpret_cast<const void*>(address), sizeof(T));
  return v;
}
template <class T>
SVE_APP_ACCESS void write_plain(uint64_t address, T v) {
  __builtin_memcpy(reinterpret_cast<void*>(address), &v, sizeof(T));
}

// A run of n bytes between application memory and the emulator, by plain
// accesses: never through the C library's copy, which a sanitizer build
// checks.
SVE_APP_ACCESS void copy_from_app(void* dst, uint64_t address, unsigned n) {
  auto* d = static_cast<uint8_t*>(dst);
  unsigned i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t v = read_plain<uint64_t>(address + i);
    __builtin_memcpy(d + i, &v, 8);
  }
  for (; i < n; ++i) d[i] = read_plain<uint8_t>(address + i);
}
SVE_APP_ACCESS void copy_to_app(uint64_t address, const void* src, unsigned n) {
  auto* s = static_cast<const uint8_t*>(src);
  unsigned i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t v;
    __builtin_memcpy(&v, s + i, 8);
    write_plain<uint64_t>(address + i, v);
  }
  for (; i < n; ++i) write_plain<uint8_t>(address + i, s[i]);
}

// Reads the first and the last byte of a run of application memory and
// nothing else: a protected read touches a run this way before it copies
// it, so that a fault comes from here.
SVE_APP_ACCESS void touch_app(const void* address, unsigned n) {
  auto* p = static_cast<const volatile char*>(address);
  (void)p[0];
  (void)p[n - 1];
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

// Whether the calling thread is inside a protected read or a probe, where a
// fault is the emulator's own and resume_protected_read takes it.
bool in_protected_read();

// Names a fatal SIGSEGV or SIGBUS of the program on stderr before the
// default action ends it.
void report_memory_fault(int signal);

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
