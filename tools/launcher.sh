# What the two launchers, sve-run and sve-dr, share: finding and checking the
# program, and the processor model that runs it where the host is not
# AArch64. Sourced with `me` set to the launcher's name.

die() { echo "$me: $*" >&2; exit 127; }

# Sets prog to the program named by $1, found on PATH when it has no slash,
# and makes sure that it is a readable, executable AArch64 ELF file.
find_program() {
  prog=$1
  if [[ $prog != */* ]] && command -v -- "$prog" >/dev/null 2>&1; then prog=$(command -v -- "$prog"); fi
  [[ -e $prog ]] || die "no such program: $prog"
  [[ -f $prog && -r $prog ]] || die "not a readable file: $prog"
  [[ -x $prog ]] || die "not executable: $prog"
  # 64-bit little-endian ELF, machine 183 (AArch64).
  local magic
  magic=$(od -An -t x1 -N 6 -- "$prog" | tr -d ' \n')
  [[ $magic == 7f454c460201 && $(elf_u16 18) == 183 ]] || die "$prog is not an AArch64 executable"
}

elf_u16() { od -An -t u2 -j "$1" -N 2 -- "$prog" | tr -d ' '; }
elf_u32() { od -An -t u4 -j "$1" -N 4 -- "$prog" | tr -d ' '; }
elf_u64() { od -An -t u8 -j "$1" -N 8 -- "$prog" | tr -d ' '; }

# Whether the program has a program interpreter (a PT_INTERP header), that
# is, whether the dynamic loader runs for it.
is_dynamic() {
  local phoff phentsize phnum i
  phoff=$(elf_u64 32) phentsize=$(elf_u16 54) phnum=$(elf_u16 56)
  for ((i = 0; i < phnum; ++i)); do
    [[ $(elf_u32 $((phoff + i * phentsize))) == 3 ]] && return 0
  done
  return 1
}

# Prints the qemu processor model for a host that is not AArch64: a
# processor without SVE that has what ARMv8.2 brings (half precision, dot
# product), as our users' machines do, or the model named by SVE_HOST_CPU.
qemu_host_cpu() {
  command -v qemu-aarch64 >/dev/null ||
    die "qemu-aarch64 is needed to run AArch64 programs on this $(uname -m) host; install Debian's qemu-user package"
  local cpu=${SVE_HOST_CPU:-neoverse-n1} models
  models=$(qemu-aarch64 -cpu help 2>/dev/null)
  grep -qxE -- "\s*$cpu" <<<"$models" ||
    die "qemu-aarch64 has no processor model '$cpu' (SVE_HOST_CPU); 'qemu-aarch64 -cpu help' lists them"
  echo "$cpu"
}

is_aarch64_host() { [[ $(uname -m) == aarch64 || $(uname -m) == arm64 ]]; }
