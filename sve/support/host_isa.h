// The x86 vector extensions that kernels built for them may use: what the
// processor has, capped by the environment variable SVE_HOST_ISA
// ("baseline", "avx2" or "avx512"), so that one machine can test every build
// of a kernel. The AES instructions stand beside the levels, which do not
// imply them; the baseline cap turns them off too. On other hosts all are
// false. The level is found when the library is loaded (before that it
// reads as the baseline), and the queries are inline loads, because the
// byte-wise kernels ask on every call.
#pragma once

namespace sve::host {

enum class level { baseline, fma, avx2, avx512, vbmi };
level find_level();
inline const level host_level = find_level();
bool find_aes();
inline const bool host_aes = find_aes();

inline bool has_fma() { return host_level >= level::fma; }        // fused multiply-add
inline bool has_avx2() { return host_level >= level::avx2; }      // AVX2 with FMA
inline bool has_aes() { return host_aes; }                         // AES-NI
inline bool has_avx512() { return host_level >= level::avx512; }  // AVX-512 F, VL, DQ and BW, with FMA
inline bool has_vbmi() { return host_level >= level::vbmi; }      // and the byte permutes of AVX-512 VBMI

}  // namespace sve::host
