#include "detection.h"

#include <cerrno>

namespace sve::detection {

long sve_vl_prctl(int option, unsigned long arg, bool* inherit) {
  if (option == pr_sve_set_vl) {
    const unsigned long vl = arg & pr_sve_vl_len_mask, flags = arg & ~pr_sve_vl_len_mask;
    if (flags & ~(pr_sve_vl_inherit | pr_sve_set_vl_onexec)) return -EINVAL;
    if (vl % 16 != 0 || vl < 16 || vl > 8192) return -EINVAL;
    *inherit = (flags & pr_sve_vl_inherit) != 0;
  }
  return long(sve_vl_bytes) | (*inherit ? long(pr_sve_vl_inherit) : 0);
}

}  // namespace sve::detection
