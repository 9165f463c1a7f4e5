// The x86 vector extensions that kernels built for them may use: what the
// processor has, capped by the environment variable SVE_HOST_ISA
// ("baseline" or "avx2"), so that one machine can test every build of a
// kernel. On other hosts all are false.
#pragma once

namespace sve::host {

bool has_fma();     // fused multiply-add
bool has_avx2();    // AVX2 with FMA
bool has_avx512();  // AVX-512 F, VL, DQ and BW, with FMA

}  // namespace sve::host
