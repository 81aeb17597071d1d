# The part that the cross toolchain files share: Debian's cross compiler for
# DAK_CROSS_TRIPLE and its sysroot /usr/DAK_CROSS_TRIPLE, from which
# libraries, headers and packages are taken while programs come from the
# build machine. The including file sets DAK_CROSS_TRIPLE and
# CMAKE_SYSTEM_PROCESSOR first.
set(CMAKE_SYSTEM_NAME Linux)

set(DAK_CROSS_SYSROOT /usr/${DAK_CROSS_TRIPLE})

set(CMAKE_C_COMPILER ${DAK_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${DAK_CROSS_TRIPLE}-g++)

# Debian's multiarch layout installs the target's packages (libboost-dev:armhf
# and the like) under / beside the build machine's, so the search root is the
# cross sysroot plus /, with the target's library architecture. A vendor
# sysroot is added with -DCMAKE_FIND_ROOT_PATH=<sysroot>.
list(APPEND CMAKE_FIND_ROOT_PATH ${DAK_CROSS_SYSROOT} /)
set(CMAKE_LIBRARY_ARCHITECTURE ${DAK_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
