// One conformance case on real SVE hardware (or its reference model): load
// the whole architectural state from the state block, run the instruction in
// the slot, store the whole state back. The code is a template that the
// runner copies to a writable page and patches with each case's word, so it
// names no address but the state block's, which it builds from immediates.
// While the case's registers are live, the epilogue needs one register
// before it can address anything: it parks x0 in TPIDR_EL0 for a moment and
// restores the C library's value at the end.
#include "layout.h"

.macro movabs reg, val
  movz \reg, #((\val) & 0xffff)
  movk \reg, #(((\val) >> 16) & 0xffff), lsl #16
.endm

.macro zregs op, base
  .irp n, 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31
  \op z\n, [\base, #\n, mul vl]
  .endr
.endm

.macro pregs op, base
  .irp n, 0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15
  \op p\n, [\base, #\n, mul vl]
  .endr
.endm

  .text
  .p2align 12
  .globl case_template_start, case_slot, case_template_end
case_template_start:
  // Save the runner's registers.
  movabs x16, CONF_STATE_ADDR + CONF_SAVE_OFF
  stp x19, x20, [x16, #0]
  stp x21, x22, [x16, #16]
  stp x23, x24, [x16, #32]
  stp x25, x26, [x16, #48]
  stp x27, x28, [x16, #64]
  stp x29, x30, [x16, #80]
  mov x17, sp
  str x17, [x16, #96]
  mrs x17, tpidr_el0
  str x17, [x16, #104]
  mrs x17, fpcr
  str x17, [x16, #112]

  // Load the case.
  movabs x16, CONF_STATE_ADDR
  zregs ldr, x16
  movabs x17, CONF_STATE_ADDR + CONF_P_OFF
  ldr p0, [x17, #16, mul vl]
  wrffr p0.b
  pregs ldr, x17
  ldr x17, [x16, #CONF_NZCV_OFF]
  msr nzcv, x17
  ldr x17, [x16, #CONF_FPCR_OFF]
  msr fpcr, x17
  ldr x17, [x16, #CONF_FPSR_OFF]
  msr fpsr, x17
  ldr x17, [x16, #CONF_SP_OFF]
  mov sp, x17
  movabs x0, CONF_STATE_ADDR + CONF_X_OFF
  ldp x1, x2, [x0, #8]
  ldp x3, x4, [x0, #24]
  ldp x5, x6, [x0, #40]
  ldp x7, x8, [x0, #56]
  ldp x9, x10, [x0, #72]
  ldp x11, x12, [x0, #88]
  ldp x13, x14, [x0, #104]
  ldp x15, x16, [x0, #120]
  ldp x17, x18, [x0, #136]
  ldp x19, x20, [x0, #152]
  ldp x21, x22, [x0, #168]
  ldp x23, x24, [x0, #184]
  ldp x25, x26, [x0, #200]
  ldp x27, x28, [x0, #216]
  ldp x29, x30, [x0, #232]
  ldr x0, [x0]
case_slot:
  nop

  // Store the case's final state.
  msr tpidr_el0, x0
  movabs x0, CONF_STATE_ADDR + CONF_X_OFF
  stp x1, x2, [x0, #8]
  stp x3, x4, [x0, #24]
  stp x5, x6, [x0, #40]
  stp x7, x8, [x0, #56]
  stp x9, x10, [x0, #72]
  stp x11, x12, [x0, #88]
  stp x13, x14, [x0, #104]
  stp x15, x16, [x0, #120]
  stp x17, x18, [x0, #136]
  stp x19, x20, [x0, #152]
  stp x21, x22, [x0, #168]
  stp x23, x24, [x0, #184]
  stp x25, x26, [x0, #200]
  stp x27, x28, [x0, #216]
  stp x29, x30, [x0, #232]
  mrs x1, tpidr_el0
  str x1, [x0]
  mov x1, sp
  str x1, [x0, #248]
  mrs x1, nzcv
  str x1, [x0, #256]
  mrs x1, fpsr
  str x1, [x0, #264]
  mrs x1, fpcr
  str x1, [x0, #272]
  movabs x16, CONF_STATE_ADDR
  zregs str, x16
  movabs x17, CONF_STATE_ADDR + CONF_P_OFF
  pregs str, x17
  rdffr p0.b
  str p0, [x17, #16, mul vl]

  // Restore the runner's registers.
  movabs x16, CONF_STATE_ADDR + CONF_SAVE_OFF
  ldp x19, x20, [x16, #0]
  ldp x21, x22, [x16, #16]
  ldp x23, x24, [x16, #32]
  ldp x25, x26, [x16, #48]
  ldp x27, x28, [x16, #64]
  ldp x29, x30, [x16, #80]
  ldr x17, [x16, #96]
  mov sp, x17
  ldr x17, [x16, #104]
  msr tpidr_el0, x17
  ldr x17, [x16, #112]
  msr fpcr, x17
  ret
case_template_end:
