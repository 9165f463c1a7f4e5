#include "memory_access.h"

#include <setjmp.h>

#include <atomic>
#include <cstdio>

#include "host_memory.h"

namespace sve {

namespace {

// The recovery point and region flag of protected reads, one per thread, so
// that a fault comes back to the thread that read and a fault on another
// thread is never taken for it.
thread_local sigjmp_buf sveFaultJB;
thread_local volatile sig_atomic_t SVEFaultRegion;
std::atomic<int> SVELibInitialized{0};

// The in-process host: the two test reads of the first and the last byte
// cover every page that an element of at most 8 bytes touches; the element
// itself is read after the region has closed.
// The recovery point keeps no signal mask: saving it is a system call on
// every read. A fault that comes back unblocks the fault signals instead,
// which a handler installed without SA_NODEFER leaves blocked.
void unblock_fault_signals() {
  sigset_t faults;
  sigemptyset(&faults);
  sigaddset(&faults, SIGSEGV);
  sigaddset(&faults, SIGBUS);
  pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

bool signal_try_read(const void* addr, void* out, unsigned n) {
  if (sigsetjmp(sveFaultJB, 0)) {
    unblock_fault_signals();
    return false;
  }
  SVEFaultRegion = 1;
  touch_app(addr, n);
  SVEFaultRegion = 0;
  copy_from_app(out, reinterpret_cast<uint64_t>(addr), n);
  return true;
}

constexpr memory_host in_process{signal_try_read};
std::atomic<const memory_host*> host{&in_process};

struct sigaction action(void (*handler)(int, siginfo_t*, void*)) {
  struct sigaction sa {};
  sa.sa_sigaction = handler;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_SIGINFO | SA_RESTART | SA_NODEFER;
  return sa;
}

template <class T>
uint64_t read_element(unsigned long address, bool* fault) {
  if (!fault) return read_plain<T>(address);
  T v{};
  if (!current_memory_host().try_read(reinterpret_cast<const void*>(address), &v, sizeof(T))) {
    *fault = true;
    return 0;
  }
  return v;
}

}  // namespace

const memory_host& current_memory_host() { return *host.load(std::memory_order_acquire); }
void set_memory_host(const memory_host& h) { host.store(&h, std::memory_order_release); }

uint64_t ReadMemLib1(unsigned long a, int, bool* fault, CpuContext*) { return read_element<uint8_t>(a, fault); }
uint64_t ReadMemLib2(unsigned long a, int, bool* fault, CpuContext*) { return read_element<uint16_t>(a, fault); }
uint64_t ReadMemLib4(unsigned long a, int, bool* fault, CpuContext*) { return read_element<uint32_t>(a, fault); }
uint64_t ReadMemLib8(unsigned long a, int, bool* fault, CpuContext*) { return read_element<uint64_t>(a, fault); }
void WriteMemLib1(unsigned char v, unsigned long a, CpuContext*) { write_plain(a, v); }
void WriteMemLib2(unsigned short v, unsigned long a, CpuContext*) { write_plain(a, v); }
void WriteMemLib4(unsigned int v, unsigned long a, CpuContext*) { write_plain(a, v); }
void WriteMemLib8(unsigned long v, unsigned long a, CpuContext*) { write_plain(a, v); }

template <>
bool addr_is_readable<char>(char volatile* address) {
  char c;
  return current_memory_host().try_read(const_cast<const char*>(address), &c, 1);
}

// The message goes out before the default actions come back: a protected
// read on another thread that faults after that point ends the process, and
// the report must already be there.
bool in_protected_read() { return SVEFaultRegion; }

void report_memory_fault(int signal) {
  fprintf(stderr,
          "quorvex's SVESigHandler caught signal %s from the process being emulated, passing it to the default "
          "signal handler.\n",
          signal == SIGSEGV ? "SIGSEGV" : "SIGBUS");
  fflush(stderr);
}

void resume_protected_read() {
  if (SVEFaultRegion) {
    SVEFaultRegion = 0;
    siglongjmp(sveFaultJB, 1);
  }
}

void SVESigHandler(int signal, siginfo_t*, void*) {
  resume_protected_read();
  report_memory_fault(signal);
  struct sigaction dfl = action(nullptr);
  dfl.sa_handler = SIG_DFL;
  sigaction(SIGSEGV, &dfl, nullptr);
  sigaction(SIGBUS, &dfl, nullptr);
}

// A host integration that owns the signal handlers (the framework client)
// defines this to return true; the emulator then installs none.
extern "C" [[gnu::weak]] bool sve_host_owns_signals();

void SVEInitialize() {
  if (SVELibInitialized.load()) return;
  if (!(sve_host_owns_signals && sve_host_owns_signals())) {
    struct sigaction sa = action(SVESigHandler);
    sigaction(SIGSEGV, &sa, nullptr);
    sigaction(SIGBUS, &sa, nullptr);
  }
  SVELibInitialized = 1;
}

}  // namespace sve
