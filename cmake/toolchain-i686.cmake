# 32-bit x86 (i686) build with Debian's cross compiler, g++-i686-linux-gnu.
# The 32-bit target has the set's data model (4-byte pointers and longs), so
# layout asserts and 32-bit arithmetic are exercised without an emulator.
#
#   cmake -S . -B build-i686 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i686.cmake
#
# The binaries run natively on an x86-64 kernel when Debian's libc6-i386 and
# lib32stdc++6 are installed (their loader is /lib/ld-linux.so.2). Without
# them, they are run through the cross sysroot's own loader instead.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(DAK_CROSS_TRIPLE i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/DakCrossToolchain.cmake)

if(NOT EXISTS /lib/ld-linux.so.2 OR NOT EXISTS /usr/lib32/libstdc++.so.6)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${DAK_CROSS_SYSROOT}/lib/ld-linux.so.2;--library-path;${DAK_CROSS_SYSROOT}/lib)
endif()
