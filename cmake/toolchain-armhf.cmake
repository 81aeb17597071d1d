# 32-bit ARM hard-float (armhf), the set's architecture, with Debian's cross
# compiler, g++-arm-linux-gnueabihf.
#
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake
#
# Tests and tools run under user-mode emulation (Debian's qemu-user): CTest
# and gtest_discover_tests prefix every run with CMAKE_CROSSCOMPILING_EMULATOR,
# so no binfmt registration is needed. -L points the emulator at the cross
# sysroot for the dynamic loader, and LD_LIBRARY_PATH keeps the runtime
# libraries to that same sysroot: a machine that also has the armhf C library
# installed natively (/lib/arm-linux-gnueabihf, for a cross package build)
# would otherwise pair the sysroot's loader with another build of libc.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(DAK_CROSS_TRIPLE arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/DakCrossToolchain.cmake)

find_program(DAK_QEMU_ARM qemu-arm NO_CMAKE_FIND_ROOT_PATH)
if(DAK_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${DAK_QEMU_ARM};-L;${DAK_CROSS_SYSROOT};-E;LD_LIBRARY_PATH=${DAK_CROSS_SYSROOT}/lib)
endif()
