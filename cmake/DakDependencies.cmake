# Boost is used for its headers only (boost::shared_ptr), looked up in the
# toolchain's search path: a cross build takes the target's copy (Debian's
# libboost-dev:armhf, or the vendor sysroot's).
find_path(DAK_BOOST_INCLUDE_DIR boost/shared_ptr.hpp)
if(NOT DAK_BOOST_INCLUDE_DIR)
  message(FATAL_ERROR "Boost headers (boost/shared_ptr.hpp) not found for the target: "
    "install libboost-dev for it, or add its prefix to CMAKE_PREFIX_PATH / CMAKE_FIND_ROOT_PATH")
endif()
add_library(dak-boost-headers INTERFACE)
target_include_directories(dak-boost-headers SYSTEM INTERFACE ${DAK_BOOST_INCLUDE_DIR})

# GoogleTest: the installed package on the host; built from Debian's sources
# when cross compiling (or when asked).
option(DAK_GTEST_FROM_SOURCE "Build GoogleTest from /usr/src/googletest" ${CMAKE_CROSSCOMPILING})
if(DAK_BUILD_TESTS)
  if(DAK_GTEST_FROM_SOURCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
    # GoogleTest is not held to the project's warnings: hide the directory's
    # compile options (warnings, -Werror) from it while it is added.
    get_directory_property(DAK_SAVED_COMPILE_OPTIONS COMPILE_OPTIONS)
    set_directory_properties(PROPERTIES COMPILE_OPTIONS "")
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    set_directory_properties(PROPERTIES COMPILE_OPTIONS "${DAK_SAVED_COMPILE_OPTIONS}")
    if(NOT TARGET GTest::gtest)
      add_library(GTest::gtest ALIAS gtest)
      add_library(GTest::gtest_main ALIAS gtest_main)
    endif()
  else()
    find_package(GTest REQUIRED)
  endif()
endif()

if(DAK_BUILD_BENCH AND NOT CMAKE_CROSSCOMPILING)
  find_package(benchmark QUIET)
endif()
