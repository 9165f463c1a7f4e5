#!/usr/bin/env bash
# compare.sh MODE PROGRAM [ARGS...]: runs an AArch64 SVE program on the real
# SVE reference (qemu at the build's vector length) and under the emulator,
# MODE "runner" (sve-run) or "client" (the framework client through
# sve-dr), and fails unless standard output and exit status are identical.
# Environment: SVE_VL_BITS; SVE_RUN_LIB for the runner; SVE_CLIENT_LIB and
# DYNAMORIO_HOME for the client; SVE_EXPECT_COUNT, the number of SVE
# instructions that the exit report must give; SVE_REFERENCE_CPU, another
# qemu processor model for the reference (one without SVE, say).
set -uo pipefail
mode=$1 prog=$2; shift 2
root=$(cd "$(dirname "$0")/../.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
sysroot=${SVE_SYSROOT:-/usr/aarch64-linux-gnu}

qemu-aarch64 -cpu "${SVE_REFERENCE_CPU:-max,sve-default-vector-length=$((SVE_VL_BITS / 8))}" -L "$sysroot" "$prog" "$@" \
  >"$tmp/ref.out"
ref_rc=$?
case $mode in
  runner) "$root/tools/sve-run" "$prog" "$@" >"$tmp/emu.out" 2>"$tmp/emu.err" ;;
  client)
    if [[ -z ${SVE_CLIENT_LIB:-} ]]; then
      echo "skipped: the framework client is not built (set DYNAMORIO_HOME to a DynamoRIO for AArch64, or configure with DynamoRIO_DIR, to build and test it)"
      exit 77
    fi
    "$root/tools/sve-dr" "$prog" "$@" >"$tmp/emu.out" 2>"$tmp/emu.err" ;;
  *) echo "compare.sh: unknown mode $mode" >&2; exit 2 ;;
esac
emu_rc=$?
status=0
if ! cmp -s "$tmp/ref.out" "$tmp/emu.out"; then
  echo "standard output differs (reference <, emulator >):"
  diff "$tmp/ref.out" "$tmp/emu.out" | head -20
  status=1
fi
if [[ $ref_rc != "$emu_rc" ]]; then
  echo "exit status: reference $ref_rc, emulator $emu_rc"
  status=1
fi
name=$(basename "$prog")
if ! grep -qE "^$name: [0-9]+ SVE instructions executed$" "$tmp/emu.err"; then
  echo "no exit report from the emulator; its stderr:"
  head -20 "$tmp/emu.err"
  status=1
elif [[ -n ${SVE_EXPECT_COUNT:-} ]] && ! grep -qx "$name: $SVE_EXPECT_COUNT SVE instructions executed" "$tmp/emu.err"; then
  echo "expected $SVE_EXPECT_COUNT SVE instructions; the report says:"
  grep -E "^$name: " "$tmp/emu.err"
  status=1
fi
[[ $status == 0 ]] && echo "same output ($(wc -l <"$tmp/ref.out") lines); $(grep -E "^$name: [0-9]+ SVE" "$tmp/emu.err")"
exit $status
