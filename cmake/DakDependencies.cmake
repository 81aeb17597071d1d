# Boost is used for its headers only (boost::shared_ptr). In a cross build the
# host's /usr/include must not be searched as a whole, so the boost folder is
# reached through a directory that holds nothing else.
find_path(DAK_BOOST_ROOT boost/shared_ptr.hpp
  PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH NO_DEFAULT_PATH)
if(NOT DAK_BOOST_ROOT)
  message(FATAL_ERROR "boost headers not found: install libboost-dev")
endif()
set(DAK_BOOST_INCLUDE ${CMAKE_BINARY_DIR}/boost-include)
file(MAKE_DIRECTORY ${DAK_BOOST_INCLUDE})
file(CREATE_LINK ${DAK_BOOST_ROOT}/boost ${DAK_BOOST_INCLUDE}/boost SYMBOLIC)
add_library(dak-boost-headers INTERFACE)
target_include_directories(dak-boost-headers SYSTEM INTERFACE ${DAK_BOOST_INCLUDE})

# GoogleTest: the installed package on the host; built from Debian's sources
# when cross compiling (or when asked).
option(DAK_GTEST_FROM_SOURCE "Build GoogleTest from /usr/src/googletest" ${CMAKE_CROSSCOMPILING})
if(DAK_BUILD_TESTS OR DAK_BUILD_TOOLS)
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
