#!/usr/bin/env bash
# detection.sh PROGRAM: what the detect_sve program is told beyond its
# plain run, which compare.sh checks in both modes: under the runner,
# /proc/self/auxv, and under the client, the ID register and a raw prctl,
# as on the reference; in both modes, the length
# that PR_SVE_SET_VL gives for one the emulated processor lacks; and, with
# SVE_HIDE=1, what a processor without SVE tells it (the reference then runs
# on one). The client's cases are skipped where it is not built.
set -uo pipefail
prog=$1
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
failed=0

check() {
  local name=$1; shift
  if out=$("$@" 2>&1); then echo "ok   $name"; else echo "FAIL $name:"; sed 's/^/  /' <<<"$out" | head -8; failed=1; fi
}

other() {
  local got
  got=$("$@" "$prog" other 2>/dev/null | grep "PR_SVE_SET_VL of 256")
  [[ $got == "PR_SVE_SET_VL of 256 bytes: $((SVE_VL_BITS / 8))" ]] || { echo "got: $got"; return 1; }
}

check "runner: /proc/self/auxv" "$here/compare.sh" runner "$prog" auxv
check "runner: a length the processor lacks" other "$root/tools/sve-run"
check "runner, hidden: told no SVE, as on a processor without it" \
  env SVE_HIDE=1 SVE_REFERENCE_CPU=neoverse-n1 "$here/compare.sh" runner "$prog"
if [[ -n ${SVE_CLIENT_LIB:-} ]]; then
  check "client: the ID register and a raw prctl" "$here/compare.sh" client "$prog" id
  check "client: a length the processor lacks" other "$root/tools/sve-dr"
  check "client, hidden, every module: told no SVE, as on a processor without it" \
    env SVE_HIDE=1 SVE_ALL_MODULES=1 SVE_REFERENCE_CPU=neoverse-n1 "$here/compare.sh" client "$prog" id
else
  echo "skipped: the client's cases (the framework client is not built)"
fi
exit $failed
