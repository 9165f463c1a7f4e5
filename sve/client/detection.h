// What a program that asks whether the processor has SVE is told: yes, at
// the emulated length, with SVE2 and its AES (with 128-bit polynomial
// multiply), BitPerm, SHA3 and SM4 extensions, as such a machine of that
// length answers, through the hardware capabilities of the auxiliary vector
// (getauxval: AT_HWCAP and AT_HWCAP2), the PR_SVE_GET_VL and PR_SVE_SET_VL
// calls of prctl, the SVE field of ID_AA64PFR0_EL1 and ID_AA64ZFR0_EL1. The
// host integrations apply these answers where they can reach the question;
// with detection hidden, the program gets the host's own answers and takes
// its code for processors without SVE.
//
// The SVE matrix-multiply and BFloat16 extensions are not emulated: their
// capability bits and ID fields stay clear.
#pragma once

#include <cstdint>

#include "../decode/sve_emu.h"

namespace sve::detection {

constexpr uint64_t hwcap_sve = uint64_t(1) << 22;
// HWCAP2_SVE2, SVEAES, SVEPMULL, SVEBITPERM, SVESHA3 and SVESM4.
constexpr uint64_t hwcap2_sve2 = 0x7e;
constexpr int at_hwcap = 16, at_hwcap2 = 26;  // the auxiliary vector's types

// The prctl options and flags of the SVE vector length.
constexpr int pr_sve_set_vl = 50, pr_sve_get_vl = 51;
constexpr unsigned long pr_sve_vl_len_mask = 0xffff, pr_sve_vl_inherit = 1ul << 17, pr_sve_set_vl_onexec = 1ul << 18;

// An auxiliary vector entry's value as the program is told it.
constexpr uint64_t advertised_auxv(unsigned long type, uint64_t host) {
  return type == at_hwcap ? host | hwcap_sve : type == at_hwcap2 ? host | hwcap2_sve2 : host;
}

// ID_AA64PFR0_EL1 with its SVE field, bits 35:32, saying SVE.
constexpr uint64_t advertised_pfr0(uint64_t host) { return (host & ~(uint64_t(0xf) << 32)) | uint64_t(1) << 32; }

// ID_AA64ZFR0_EL1 of an SVE2 machine with AES and PMULL128 (AES = 2),
// BitPerm, SHA3 and SM4. A processor without SVE reads it as zero, so the
// value replaces the host's whole.
constexpr uint64_t advertised_zfr0 = uint64_t(1) << 40 | uint64_t(1) << 32 | 1u << 16 | 2u << 4 | 1u;

// The ID registers whose reads are marked.
enum class id_register { none, pfr0, zfr0 };

// Which marked register `word` reads with MRS Xt; *rt gets t.
constexpr id_register reads_id_register(uint32_t word, unsigned* rt) {
  *rt = word & 31;
  switch (word & ~uint32_t(31)) {
    case 0xd5380400: return id_register::pfr0;
    case 0xd5380480: return id_register::zfr0;
    default: return id_register::none;
  }
}

// The kernel's answer to prctl(option, arg) for the two SVE options on a
// processor whose one vector length is the emulated one: the status (the
// length, with PR_SVE_VL_INHERIT when set) or a negated errno. A request for
// a length that the processor lacks gets the length it has. `inherit` is
// the process's PR_SVE_VL_INHERIT setting, which SET_VL changes.
long sve_vl_prctl(int option, unsigned long arg, bool* inherit);

}  // namespace sve::detection
