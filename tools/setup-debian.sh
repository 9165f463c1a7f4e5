#!/usr/bin/env bash
# Installs everything the project needs from Debian's packages: the native
# toolchain and test libraries, the AArch64 cross toolchain, and qemu-user,
# which runs SVE code as the reference and AArch64 code on a CPU without SVE;
# clang with its runtime libraries builds the sanitizer layer and the fuzzer.
# With --if-missing it installs only when a needed command is absent.
set -euo pipefail
packages=(cmake make g++ libgtest-dev libgmock-dev googletest libbenchmark-dev
          g++-aarch64-linux-gnu binutils-aarch64-linux-gnu qemu-user python3 clang libclang-rt-14-dev)
if [[ "${1:-}" == --if-missing ]]; then
  missing=0
  for cmd in cmake g++ aarch64-linux-gnu-g++ aarch64-linux-gnu-objdump qemu-aarch64 python3 clang++; do
    command -v "$cmd" >/dev/null || missing=1
  done
  [[ -d /usr/src/googletest && -f /usr/include/benchmark/benchmark.h ]] || missing=1
  compgen -G "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null || missing=1
  [[ $missing == 0 ]] && exit 0
fi
sudo=""
[[ $(id -u) == 0 ]] || sudo=sudo
$sudo apt-get update
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${packages[@]}"
