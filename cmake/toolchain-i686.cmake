# 32-bit x86 (i686) build with Debian's cross compiler, g++-i686-linux-gnu.
# The 32-bit target has the set's data model (4-byte pointers and longs), so
# layout asserts and 32-bit arithmetic are exercised.
#
#   cmake -S . -B build-i686 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i686.cmake
#
# How the build's programs (tests, scenario files, the simulator) are run
# depends on the machine, and is found out at configure time by building a
# small i386 program and starting it:
#   native  the kernel runs i386 programs (IA-32 emulation on) and Debian's
#           libc6-i386 and lib32stdc++6 are installed: run as they are;
#   loader  the kernel runs them but those packages are missing: run through
#           the cross sysroot's own loader;
#   qemu    the kernel refuses them ("Exec format error": a 64-bit-only
#           kernel): run under user-mode QEMU (qemu-i386, Debian's
#           qemu-user) with the cross sysroot, as the armhf build does.
# -DDAK_I686_RUN=native|loader|qemu forces a way (qemu is how a machine
# without IA-32 emulation is tried on one that has it); the way chosen is
# printed and kept in the cache.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(DAK_CROSS_TRIPLE i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/DakCrossToolchain.cmake)

# The toolchain file is read again by every try_compile, which passes on
# neither the cache nor this probe: the probe runs once, in the top-level
# configuration, and its answer travels through the environment.
if(NOT DEFINED DAK_I686_RUN AND DEFINED ENV{DAK_I686_RUN})
  set(DAK_I686_RUN "$ENV{DAK_I686_RUN}")
endif()

if(NOT DEFINED DAK_I686_RUN)
  set(probe_dir "${CMAKE_BINARY_DIR}/CMakeFiles/dak-i386-probe")
  file(MAKE_DIRECTORY "${probe_dir}")
  file(WRITE "${probe_dir}/probe.c" "int main(void) { return 0; }\n")
  execute_process(COMMAND ${CMAKE_C_COMPILER} "${probe_dir}/probe.c" -o "${probe_dir}/probe"
                  RESULT_VARIABLE probe_built OUTPUT_QUIET ERROR_QUIET)
  set(run_native 1)
  if(probe_built EQUAL 0)
    # A refused binary fails to start (exec format error); a missing loader
    # does too, and is told apart below by the presence of the packages.
    execute_process(COMMAND "${probe_dir}/probe" RESULT_VARIABLE run_native
                    OUTPUT_QUIET ERROR_QUIET)
    if(NOT run_native EQUAL 0)
      execute_process(COMMAND "${DAK_CROSS_SYSROOT}/lib/ld-linux.so.2" --library-path
                              "${DAK_CROSS_SYSROOT}/lib" "${probe_dir}/probe"
                      RESULT_VARIABLE run_loader OUTPUT_QUIET ERROR_QUIET)
    endif()
  endif()
  if(run_native EQUAL 0)
    set(DAK_I686_RUN native)
  elseif(DEFINED run_loader AND run_loader EQUAL 0)
    set(DAK_I686_RUN loader)
  else()
    set(DAK_I686_RUN qemu)
  endif()
endif()
set(DAK_I686_RUN "${DAK_I686_RUN}" CACHE STRING
    "How the i686 programs are run on this machine: native, loader or qemu")
set(ENV{DAK_I686_RUN} "${DAK_I686_RUN}")

if(DAK_I686_RUN STREQUAL "qemu")
  find_program(DAK_QEMU_I386 qemu-i386 NO_CMAKE_FIND_ROOT_PATH)
  if(NOT DAK_QEMU_I386)
    message(FATAL_ERROR "This machine's kernel does not run i386 programs, and qemu-i386 to run "
                        "them under emulation is missing (ci/setup.sh cross installs qemu-user)")
  endif()
  # -E LD_LIBRARY_PATH keeps the runtime libraries to the sysroot's, as for
  # armhf: the sysroot's loader must not pair with another build of libc.
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${DAK_QEMU_I386};-L;${DAK_CROSS_SYSROOT};-E;LD_LIBRARY_PATH=${DAK_CROSS_SYSROOT}/lib)
elseif(DAK_I686_RUN STREQUAL "loader")
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${DAK_CROSS_SYSROOT}/lib/ld-linux.so.2;--library-path;${DAK_CROSS_SYSROOT}/lib)
elseif(NOT DAK_I686_RUN STREQUAL "native")
  message(FATAL_ERROR "DAK_I686_RUN='${DAK_I686_RUN}': allowed values are native, loader, qemu")
endif()

get_property(dak_in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
get_property(dak_told GLOBAL PROPERTY DAK_I686_RUN_TOLD)
if(NOT dak_in_try_compile AND NOT dak_told)
  message(STATUS "i686 programs run here: ${DAK_I686_RUN} ${CMAKE_CROSSCOMPILING_EMULATOR}")
  set_property(GLOBAL PROPERTY DAK_I686_RUN_TOLD ON)
endif()
