#!/usr/bin/env bash
# Checks the emulator against real SVE code under qemu at one vector length.
#   tools/conformance.sh [--vl BITS] [--cases N] [--seed S] [--filter REGEX] [--sides native,aarch64]
#                        [--exact-fp] [--sanitize]
# Builds the native and the AArch64 trees for the length into out/ (or
# $SVE_OUT) when needed, then runs tools/conformance.py with the options.
# With --sanitize the native side is the clang build with AddressSanitizer
# and UndefinedBehaviorSanitizer (out/sanitize-BITS).
set -euo pipefail
cd "$(dirname "$0")/.."
vl=1792
native=native
args=()
while [[ $# -gt 0 ]]; do
  case $1 in
    --vl) vl=$2; shift 2 ;;
    --sanitize) native=sanitize; shift ;;
    *) args+=("$1"); shift ;;
  esac
done
out=${SVE_OUT:-out}
jobs=${SVE_JOBS:-2}
build() {
  local dir=$1; shift
  cmake -S . -B "$dir" -DSVE_VL_BITS="$vl" -DSVE_WERROR=ON "$@" >"$dir.configure.log" 2>&1 ||
    { cat "$dir.configure.log"; exit 1; }
  cmake --build "$dir" -j"$jobs" --target conformance_emu $(
    [[ $dir == *aarch64* ]] && echo conformance_ref) >"$dir.build.log" 2>&1 ||
    { grep -E "error" -A3 "$dir.build.log" | head -40; exit 1; }
}
mkdir -p "$out"
if [[ $native == sanitize ]]; then
  CC=clang CXX=clang++ build "$out/sanitize-$vl" -DSVE_FUZZ=ON
else
  build "$out/native-$vl"
fi
build "$out/aarch64-$vl" -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
exec python3 tools/conformance.py --vl "$vl" --native-build "$out/$native-$vl" --cross-build "$out/aarch64-$vl" "${args[@]}"
