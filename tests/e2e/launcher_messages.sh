#!/usr/bin/env bash
# launcher_messages.sh DIR: what sve-run and sve-dr tell a user when they
# cannot run a program or an instruction. DIR holds the built test program
# `illegal`, a static copy `illegal_static` and `shared_library`. Each case checks the exit
# status and one line of stderr. The cases of sve-dr that run a program need
# the framework client (SVE_CLIENT_LIB and DYNAMORIO_HOME) and are skipped
# without it.
set -uo pipefail
dir=$1
root=$(cd "$(dirname "$0")/../.." && pwd)
run=$root/tools/sve-run
dr=$root/tools/sve-dr
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0

# expect NAME STATUS PATTERN COMMAND...: COMMAND exits with STATUS and its
# stderr has a line matching PATTERN (an extended regular expression).
expect() {
  local name=$1 status=$2 pattern=$3; shift 3
  "$@" >"$tmp/out" 2>"$tmp/err"
  local rc=$?
  if [[ $rc != "$status" ]] || ! grep -qE -- "$pattern" "$tmp/err"; then
    echo "FAIL $name: exit $rc (want $status); stderr:"; sed 's/^/  /' "$tmp/err" | head -5
    failed=1
  else
    echo "ok   $name"
  fi
}

# quiet NAME COMMAND...: COMMAND exits with 0 and puts nothing on stderr but
# the exit report.
quiet() {
  local name=$1; shift
  "$@" >"$tmp/out" 2>"$tmp/err"
  local rc=$?
  if [[ $rc != 0 ]] || grep -vqE ": ([0-9]+ )?(Non-)?SVE .*instructions (executed|are not counted)" "$tmp/err"; then
    echo "FAIL $name: exit $rc (want 0, and only the report on stderr); stderr:"; sed 's/^/  /' "$tmp/err" | head -5
    failed=1
  else
    echo "ok   $name"
  fi
}

printf 'not a program\n' >"$tmp/text"; chmod +x "$tmp/text"
cp "$dir/illegal" "$tmp/noexec"; chmod -x "$tmp/noexec"
cp "$dir/illegal" "$tmp/unreadable"; chmod 100 "$tmp/unreadable"
x86=$(type -P true)

expect "runs an SVE instruction" 0 "^illegal: 1 SVE instructions executed$" "$run" "$dir/illegal" ok
expect "native instructions are not counted" 0 "^illegal: Non-SVE AArch64 instructions are not counted" "$run" "$dir/illegal" ok
expect "ARMv8.2 half precision runs" 0 "SVE instructions executed" "$run" "$dir/illegal" fp16
fault_message="^quorvex's SVESigHandler caught signal SIGSEGV from the process being emulated, passing it to the default signal handler.$"
expect "fatal fault of an emulated load" 139 "$fault_message" "$run" "$dir/illegal" fault
expect "BFloat16 word is named" 132 "^sve-run: SVE instruction 0x64628020 at 0x[0-9a-f]+ is not emulated$" "$run" "$dir/illegal" bf16
expect "missing instruction of an ARMv8.0 host is named" 132 \
  "^sve-run: instruction 0x1eee1000 at 0x[0-9a-f]+ is not SVE and this processor does not have it$" \
  env SVE_HOST_CPU=cortex-a72 "$run" "$dir/illegal" fp16
quiet "a SIGILL that the program's handler takes is not named" "$run" "$dir/illegal" probe
expect "no program" 127 "^sve-run: usage: " "$run"
expect "missing program" 127 "^sve-run: no such program: " "$run" "$tmp/missing"
expect "not executable" 127 "^sve-run: not executable: " "$run" "$tmp/noexec"
expect "not ELF" 127 "is not an AArch64 executable" "$run" "$tmp/text"
expect "not AArch64" 127 "is not an AArch64 executable" "$run" "$x86"
expect "static program" 127 "is a static executable" "$run" "$dir/illegal_static"
expect "missing runner library" 127 "the runner library libsve_run_1024.so is not built" \
  env -u SVE_RUN_LIB SVE_VL_BITS=1024 SVE_OUT="$tmp" "$run" "$dir/illegal" ok
if [[ $(uname -m) != aarch64 ]]; then
  expect "unknown processor model" 127 "has no processor model 'cortex-z9'" \
    env SVE_HOST_CPU=cortex-z9 "$run" "$dir/illegal" ok
fi
[[ $(id -u) == 0 ]] || expect "unreadable program" 127 "^sve-run: not a readable file: " "$run" "$tmp/unreadable"

expect "sve-dr: missing program" 127 "^sve-dr: no such program: " "$dr" "$tmp/missing"
expect "sve-dr: not AArch64" 127 "is not an AArch64 executable" "$dr" "$x86"
expect "sve-dr: no framework" 127 "^sve-dr: no DynamoRIO installation: set DYNAMORIO_HOME" \
  env -u DYNAMORIO_HOME SVE_OUT="$tmp" "$dr" "$dir/illegal" ok
expect "sve-dr: not a framework" 127 "is not a DynamoRIO installation for AArch64" \
  env DYNAMORIO_HOME="$tmp" "$dr" "$dir/illegal" ok
if [[ -n ${SVE_CLIENT_LIB:-} ]]; then
  expect "client: runs an SVE instruction" 0 "^illegal: 1 SVE instructions executed$" "$dr" "$dir/illegal" ok
  expect "client: fatal fault of an emulated load" 139 "$fault_message" "$dr" "$dir/illegal" fault
  expect "client: BFloat16 word is named" 132 "^SVE client: SVE instruction 0x64628020 at 0x[0-9a-f]+ is not emulated$" \
    "$dr" "$dir/illegal" bf16
  quiet "client: a SIGILL that the program's handler takes is not named" "$dr" "$dir/illegal" probe
  expect "client: SVE in a shared library is named, with the option that emulates it" 132 \
    "^SVE client: SVE instruction 0x[0-9a-f]+ at 0x[0-9a-f]+ lies in a shared library, .* -all_modules " \
    env -u SVE_ALL_MODULES "$dr" "$dir/shared_library"
  expect "client: a static program runs" 0 "^illegal_static: 1 SVE instructions executed$" "$dr" "$dir/illegal_static" ok
else
  echo "skipped: the cases of sve-dr that run a program (the framework client is not built)"
fi
exit $failed
