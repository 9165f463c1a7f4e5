/* Byte offsets of the conformance state block, for the reference runner's
   assembly and checked against the C++ record. The vector registers come
   first so that SVE loads and stores reach them by multiples of their
   length. */
#ifndef CONFORMANCE_LAYOUT_H
#define CONFORMANCE_LAYOUT_H

#define CONF_STATE_ADDR 0x50000000
#define CONF_VL (SVE_VL_BITS / 8)
#define CONF_PL (CONF_VL / 8)
#define CONF_P_OFF (32 * CONF_VL)
#define CONF_X_OFF (((CONF_P_OFF + 17 * CONF_PL) + 15) / 16 * 16)
#define CONF_SP_OFF (CONF_X_OFF + 31 * 8)
#define CONF_NZCV_OFF (CONF_SP_OFF + 8)
#define CONF_FPSR_OFF (CONF_NZCV_OFF + 8)
#define CONF_FPCR_OFF (CONF_FPSR_OFF + 8)
/* The runner's own registers while a case runs: x19 to x30, sp, tpidr_el0, fpcr. */
#define CONF_SAVE_OFF (CONF_FPCR_OFF + 8)

#endif
