#!/usr/bin/env bash
# Installs everything the project needs from Debian's packages: the native
# toolchain and test libraries, the AArch64 cross toolchain, and qemu-user,
# which runs SVE code as the reference and AArch64 code on a CPU without SVE;
# clang with its runtime libraries builds the sanitizer layer and the fuzzer;
# pyelftools lets tools/sve-report read modules' symbols and line tables.
# It also downloads, without installing them, the arm64 packages of the real
# libraries that the end-to-end tests run under the emulator into
# out/packages/. Installing a foreign arm64 package would bring Debian's arm64
# C library with it, and qemu runs with -L /usr/aarch64-linux-gnu must keep
# the cross toolchain's; the build unpacks the downloaded files itself.
# With --if-missing it installs only when a needed command is absent and
# downloads only when a package file is absent.
set -euo pipefail
packages=(cmake make g++ libgtest-dev libgmock-dev googletest libbenchmark-dev
          g++-aarch64-linux-gnu binutils-aarch64-linux-gnu qemu-user python3 python3-pyelftools clang libclang-rt-14-dev)
# Highway: its sorting code in libhwy_contrib picks an SVE target at run time.
arm64_packages=(libhwy1 libhwy-dev)
package_dir=$(cd "$(dirname "$0")/.." && pwd)/out/packages

have_package_files() {
  local p
  for p in "${arm64_packages[@]}"; do
    compgen -G "$package_dir/${p}_*_arm64.deb" >/dev/null || return 1
  done
}

install=1 download=1
if [[ "${1:-}" == --if-missing ]]; then
  install=0
  for cmd in cmake g++ aarch64-linux-gnu-g++ aarch64-linux-gnu-objdump qemu-aarch64 python3 clang++; do
    command -v "$cmd" >/dev/null || install=1
  done
  [[ -d /usr/src/googletest && -f /usr/include/benchmark/benchmark.h ]] || install=1
  /usr/bin/python3 -c "import elftools" 2>/dev/null || install=1
  compgen -G "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null || install=1
  have_package_files && download=0
  [[ $install == 0 && $download == 0 ]] && exit 0
fi
sudo=""
[[ $(id -u) == 0 ]] || sudo=sudo
# apt finds arm64 packages only once dpkg knows the architecture.
if [[ $download == 1 ]] && ! dpkg --print-foreign-architectures | grep -qx arm64; then
  $sudo dpkg --add-architecture arm64
fi
$sudo apt-get update
if [[ $install == 1 ]]; then
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${packages[@]}"
fi
if [[ $download == 1 ]]; then
  # Into a fresh folder first, so that a failed download keeps the files
  # there were and a new version replaces the old rather than joining it.
  mkdir -p "$package_dir"
  tmp=$(mktemp -d "$package_dir/.download.XXXXXX")
  trap 'rm -rf "$tmp"' EXIT
  (cd "$tmp" && apt-get download "${arm64_packages[@]/%/:arm64}")
  for p in "${arm64_packages[@]}"; do
    rm -f "$package_dir/${p}"_*_arm64.deb
  done
  mv "$tmp"/*.deb "$package_dir/"
fi
