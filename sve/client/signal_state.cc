#include "signal_state.h"

#if defined(__aarch64__)
#include <cstddef>
#include <cstring>

namespace sve {

namespace {

// The records of the frame's reserved area: a magic word and a size each, up
// to a record of magic 0. The FP/SIMD record holds FPSR, FPCR and V0-V31.
struct frame_record {
  uint32_t magic, size;
};
struct fpsimd_record {
  frame_record head;
  uint32_t fpsr, fpcr;
  uint8_t v[32][16];
};
constexpr uint32_t fpsimd_magic = 0x46508001;
constexpr uint64_t flags_mask = 0xf0000000;  // NZCV in PSTATE and in the NZCV register

fpsimd_record* find_fpsimd(const ucontext_t* uc) {
  auto* area = const_cast<unsigned char*>(uc->uc_mcontext.__reserved);
  size_t at = 0;
  while (at + sizeof(frame_record) <= sizeof(uc->uc_mcontext.__reserved)) {
    frame_record head;
    std::memcpy(&head, area + at, sizeof head);
    if (head.magic == fpsimd_magic && head.size >= sizeof(fpsimd_record))
      return reinterpret_cast<fpsimd_record*>(area + at);
    if (head.magic == 0 || head.size == 0) break;
    at += head.size;
  }
  return nullptr;
}

}  // namespace

bool state_from_signal(const ucontext_t* uc, cpu_state* s) {
  const fpsimd_record* fp = find_fpsimd(uc);
  if (!fp) return false;
  std::memcpy(s->x, uc->uc_mcontext.regs, sizeof s->x);
  s->sp = uc->uc_mcontext.sp;
  s->nzcv = uc->uc_mcontext.pstate & flags_mask;
  s->fpsr = fp->fpsr;
  s->fpcr = fp->fpcr;
  for (int i = 0; i < 32; ++i) std::memcpy(s->z[i], fp->v[i], 16);
  return true;
}

bool state_to_signal(const cpu_state* s, ucontext_t* uc) {
  fpsimd_record* fp = find_fpsimd(uc);
  if (!fp) return false;
  std::memcpy(uc->uc_mcontext.regs, s->x, sizeof s->x);
  uc->uc_mcontext.sp = s->sp;
  uc->uc_mcontext.pstate = (uc->uc_mcontext.pstate & ~flags_mask) | (s->nzcv & flags_mask);
  fp->fpsr = s->fpsr;
  fp->fpcr = s->fpcr;
  for (int i = 0; i < 32; ++i) std::memcpy(fp->v[i], s->z[i], 16);
  return true;
}

}  // namespace sve
#endif
