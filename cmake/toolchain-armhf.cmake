# 32-bit ARM hard-float (armhf), the set's architecture, with Debian's cross
# compiler, g++-arm-linux-gnueabihf.
#
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake
#
# Tests and tools run under user-mode emulation (Debian's qemu-user): CTest
# and gtest_discover_tests prefix every run with CMAKE_CROSSCOMPILING_EMULATOR,
# so no binfmt registration is needed. -L points the emulator at the cross
# sysroot for the dynamic loader and the runtime libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(DAK_CROSS_TRIPLE arm-linux-gnueabihf)
set(DAK_CROSS_SYSROOT /usr/${DAK_CROSS_TRIPLE})

set(CMAKE_C_COMPILER ${DAK_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${DAK_CROSS_TRIPLE}-g++)

set(CMAKE_FIND_ROOT_PATH ${DAK_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(DAK_QEMU_ARM qemu-arm NO_CMAKE_FIND_ROOT_PATH)
if(DAK_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${DAK_QEMU_ARM};-L;${DAK_CROSS_SYSROOT})
endif()
