# Cross build for AArch64 Linux with Debian's cross toolchain. Test programs
# run under qemu on a processor without SVE, as our users' machines are: an
# ARMv8.2 Neoverse N1 (half precision, dot product), or the qemu model named
# by SVE_HOST_CPU.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
if(DEFINED ENV{SVE_HOST_CPU})
  set(SVE_HOST_CPU $ENV{SVE_HOST_CPU})
else()
  set(SVE_HOST_CPU neoverse-n1)
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-cpu;${SVE_HOST_CPU};-L;/usr/aarch64-linux-gnu)
