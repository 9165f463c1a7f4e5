// Which of its targets Highway picks on this processor, as the sorting code
// of libhwy_contrib does: the best (lowest bit) of SupportedTargets(), which
// libhwy works out from getauxval and the vector length. Standard output
// says only whether that target is of the SVE family, since the reference
// processor has SVE2 and the emulator SVE alone; the exact names go to
// standard error.
#include <cstdint>
#include <cstdio>

#include "hwy/targets.h"

namespace {

constexpr int64_t kSveFamily = HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128;

}  // namespace

int main() {
  // Only targets that the library was built with (it was built with these
  // same headers) can be dispatched to.
  const int64_t supported = hwy::SupportedTargets() & HWY_ATTAINABLE_TARGETS;
  if (supported == 0) {
    std::printf("no supported target\n");
    return 1;
  }
  const int64_t best = supported & -supported;
  std::fprintf(stderr, "best target: %s; supported:", hwy::TargetName(best));
  for (int64_t rest = supported; rest != 0; rest &= rest - 1) {
    std::fprintf(stderr, " %s", hwy::TargetName(rest & -rest));
  }
  std::fprintf(stderr, "\n");

  std::printf("SVE family target chosen: %s\n", (best & kSveFamily) != 0 ? "yes" : "no");
  std::printf("NEON supported: %s\n", (supported & HWY_NEON) != 0 ? "yes" : "no");
  return 0;
}
