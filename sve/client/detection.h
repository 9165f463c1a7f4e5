// What a program that asks whether the processor has SVE is told: yes, at
// the emulated length, as an SVE machine of that length answers, through the
// hardware capabilities of the auxiliary vector (getauxval), the
// PR_SVE_GET_VL and PR_SVE_SET_VL calls of prctl, and the SVE field of
// ID_AA64PFR0_EL1. The host integrations apply these answers where they
// can reach the question; with detection hidden, the program gets the host's
// own answers and takes its code for processors without SVE.
//
// SVE2 and the SVE matrix and BFloat16 extensions are not emulated, so
// AT_HWCAP2 and ID_AA64ZFR0_EL1 stay the host's.
#pragma once

#include <cstdint>

#include "../decode/sve_emu.h"

namespace sve::detection {

constexpr uint64_t hwcap_sve = uint64_t(1) << 22;
constexpr int at_hwcap = 16;  // the auxiliary vector's AT_HWCAP

// The prctl options and flags of the SVE vector length.
constexpr int pr_sve_set_vl = 50, pr_sve_get_vl = 51;
constexpr unsigned long pr_sve_vl_len_mask = 0xffff, pr_sve_vl_inherit = 1ul << 17, pr_sve_set_vl_onexec = 1ul << 18;

constexpr uint64_t advertised_hwcap(uint64_t host) { return host | hwcap_sve; }

// ID_AA64PFR0_EL1 with its SVE field, bits 35:32, saying SVE.
constexpr uint64_t advertised_pfr0(uint64_t host) { return (host & ~(uint64_t(0xf) << 32)) | uint64_t(1) << 32; }

// Whether `word` is MRS Xt, ID_AA64PFR0_EL1; *rt gets t.
constexpr bool reads_pfr0(uint32_t word, unsigned* rt) {
  *rt = word & 31;
  return (word & ~uint32_t(31)) == 0xd5380400;
}

// The kernel's answer to prctl(option, arg) for the two SVE options on a
// processor whose one vector length is the emulated one: the status (the
// length, with PR_SVE_VL_INHERIT when set) or a negated errno. A request for
// a length that the processor lacks gets the length it has. `inherit` is
// the process's PR_SVE_VL_INHERIT setting, which SET_VL changes.
long sve_vl_prctl(int option, unsigned long arg, bool* inherit);

}  // namespace sve::detection
