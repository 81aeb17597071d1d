# Which platform the library is bound to: the host substitute in
# platform/host (default), plain Linux in platform/linux (a real box's clock,
# for dak-timed), or an external platform given by its headers and
# libraries. Chosen before anything else is looked up, so that a build
# against a vendor's sysroot needs nothing the tests need.
set(DAK_PLATFORM_VALUES host linux external)
set(DAK_PLATFORM "host" CACHE STRING "Platform the library is built against: ${DAK_PLATFORM_VALUES}")
set_property(CACHE DAK_PLATFORM PROPERTY STRINGS ${DAK_PLATFORM_VALUES})
if(NOT DAK_PLATFORM IN_LIST DAK_PLATFORM_VALUES)
  string(REPLACE ";" ", " allowed "${DAK_PLATFORM_VALUES}")
  message(FATAL_ERROR "DAK_PLATFORM is '${DAK_PLATFORM}'; allowed values: ${allowed}")
endif()
set(DAK_PLATFORM_INCLUDE_DIR "" CACHE PATH "External platform: directory of its headers")
set(DAK_PLATFORM_LIBRARIES "" CACHE STRING
  "External platform: its libraries (names looked up in the toolchain's paths, full paths, or link flags)")

# Tests, the simulator and the benchmarks drive the host platform's controls;
# on the Linux platform the tests are that platform's own (tests/linux).
if(DAK_PLATFORM STREQUAL "host")
  set(DAK_HOST_ONLY_DEFAULT ON)
else()
  set(DAK_HOST_ONLY_DEFAULT OFF)
endif()
if(DAK_PLATFORM STREQUAL "external")
  set(DAK_TESTS_DEFAULT OFF)
else()
  set(DAK_TESTS_DEFAULT ON)
endif()
option(DAK_BUILD_TESTS "Build the tests (host or linux platform)" ${DAK_TESTS_DEFAULT})
option(DAK_BUILD_TOOLS "Build the scenario simulator (host platform only)" ${DAK_HOST_ONLY_DEFAULT})
option(DAK_BUILD_BENCH "Build the benchmarks (host platform only)" ${DAK_HOST_ONLY_DEFAULT})
if(DAK_PLATFORM STREQUAL "external" AND DAK_BUILD_TESTS)
  message(FATAL_ERROR "DAK_BUILD_TESTS=ON needs DAK_PLATFORM=host or linux")
endif()
if(NOT DAK_PLATFORM STREQUAL "host")
  foreach(part DAK_BUILD_TOOLS DAK_BUILD_BENCH)
    if(${part})
      message(FATAL_ERROR "${part}=ON needs DAK_PLATFORM=host (it drives the host platform's controls)")
    endif()
  endforeach()
endif()

# The platform headers the library's sources include. A vendor's platform
# that lacks one of them is refused here rather than by the compiler.
set(DAK_PLATFORM_REQUIRED_HEADERS
  BPTime.h DAKHandle.h HtLibHelper.h IVConfCallbackSubscriber.h TCAgentMgr.h TCAlarm.h
  TCDebugPrint.h TCFactoryProvider.h TCMutex.h TCObjectFactory.h TCPowerTvProvider.h
  TCRWLock.h TCTask.h TCTimeUtility.h TCVConfCallbackManager.h TCVConfProvider.h TIAgent.h
  TIEventManager.h)

# dak_use_external_platform(): checks the external platform's headers and
# libraries and defines dak-platform from them. DAK_PLATFORM_LINK is set to
# the resolved link items (full paths and flags), which the installed
# package hands on to consumers.
function(dak_use_external_platform)
  if(NOT DAK_PLATFORM_INCLUDE_DIR)
    message(FATAL_ERROR "DAK_PLATFORM=external needs DAK_PLATFORM_INCLUDE_DIR, the directory of the platform's headers")
  endif()
  if(NOT IS_DIRECTORY "${DAK_PLATFORM_INCLUDE_DIR}")
    message(FATAL_ERROR "DAK_PLATFORM_INCLUDE_DIR: no directory ${DAK_PLATFORM_INCLUDE_DIR}")
  endif()
  set(missing "")
  foreach(header ${DAK_PLATFORM_REQUIRED_HEADERS})
    if(NOT EXISTS "${DAK_PLATFORM_INCLUDE_DIR}/${header}")
      list(APPEND missing ${header})
    endif()
  endforeach()
  if(missing)
    string(REPLACE ";" " " missing "${missing}")
    message(FATAL_ERROR "The platform headers in ${DAK_PLATFORM_INCLUDE_DIR} lack: ${missing}")
  endif()

  if(NOT DAK_PLATFORM_LIBRARIES)
    message(FATAL_ERROR "DAK_PLATFORM=external needs DAK_PLATFORM_LIBRARIES, the platform's libraries")
  endif()
  set(link "")
  foreach(item ${DAK_PLATFORM_LIBRARIES})
    if(item MATCHES "^-")
      list(APPEND link "${item}")
    elseif(IS_ABSOLUTE "${item}")
      if(NOT EXISTS "${item}")
        message(FATAL_ERROR "The platform library ${item} does not exist")
      endif()
      list(APPEND link "${item}")
    else()
      string(MAKE_C_IDENTIFIER "DAK_PLATFORM_LIBRARY_${item}" var)
      find_library(${var} NAMES ${item})
      if(NOT ${var})
        message(FATAL_ERROR "The platform library '${item}' was not found in the toolchain's "
          "library path (CMAKE_FIND_ROOT_PATH: ${CMAKE_FIND_ROOT_PATH}; CMAKE_PREFIX_PATH: "
          "${CMAKE_PREFIX_PATH}); give its full path or extend CMAKE_PREFIX_PATH")
      endif()
      list(APPEND link "${${var}}")
    endif()
  endforeach()
  set(DAK_PLATFORM_LINK "${link}" PARENT_SCOPE)
  message(STATUS "External platform: headers ${DAK_PLATFORM_INCLUDE_DIR}, libraries ${link}")
endfunction()
