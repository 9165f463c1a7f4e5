#include "host_isa.h"

#include <cstdlib>
#include <cstring>

namespace sve::host {

#if defined(__x86_64__)
namespace {

bool capped_at_baseline() {
  const char* cap = std::getenv("SVE_HOST_ISA");
  return cap && std::strcmp(cap, "baseline") == 0;
}

}  // namespace
#endif

level find_level() {
#if defined(__x86_64__)
  __builtin_cpu_init();
  level has = level::baseline;
  if (__builtin_cpu_supports("fma")) has = level::fma;
  if (has == level::fma && __builtin_cpu_supports("avx2")) has = level::avx2;
  if (has == level::avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw"))
    has = level::avx512;
  if (has == level::avx512 && __builtin_cpu_supports("avx512vbmi")) has = level::vbmi;
  if (capped_at_baseline()) return level::baseline;
  const char* cap = std::getenv("SVE_HOST_ISA");
  if (cap && std::strcmp(cap, "avx2") == 0 && has > level::avx2) return level::avx2;
  if (cap && std::strcmp(cap, "avx512") == 0 && has > level::avx512) return level::avx512;
  return has;
#else
  return level::baseline;
#endif
}

bool find_aes() {
#if defined(__x86_64__)
  __builtin_cpu_init();
  return __builtin_cpu_supports("aes") && !capped_at_baseline();
#else
  return false;
#endif
}

}  // namespace sve::host
