// The interrupted thread's registers in a Linux AArch64 signal frame, moved
// to and from its cpu_state as the framework's inserted sequence moves them:
// X0-X30, SP, NZCV, FPSR, FPCR and the low 16 bytes of each Z register from
// the V registers. The upper bytes of Z, the predicates and FFR have no host
// counterpart on a processor without SVE and stay in cpu_state.
#pragma once

#if defined(__aarch64__)
#include <ucontext.h>

#include "../decode/sve_emu.h"

namespace sve {

// Returns false when the frame carries no FP/SIMD record.
bool state_from_signal(const ucontext_t* uc, cpu_state* s);
bool state_to_signal(const cpu_state* s, ucontext_t* uc);

}  // namespace sve
#endif
