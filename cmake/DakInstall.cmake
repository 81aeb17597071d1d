# What `cmake --install` puts in place, and how a consumer finds it:
#
#   lib/libdak-time.so.<version> (+ SONAME link libdak-time.so.<major>, .so)
#   include/dak-time/            the exported headers (and DAKHandle.h with the
#                                host platform, which provides it)
#   lib/cmake/dak-time/          find_package(dak-time): dak-time::dak-time
#   lib/pkgconfig/dak-time.pc    pkg-config dak-time
#
# With the host platform, its library and the regional object factories
# install beside the library (platform/host/CMakeLists.txt) and come along
# with dak-time::dak-time and dak-time.pc. With an external platform, the
# platform's headers and libraries are the vendor's: the package refers to
# them where the build found them, or through their pkg-config module
# (DAK_PLATFORM_PKGCONFIG).
include(CMakePackageConfigHelpers)

set(DAK_PLATFORM_PKGCONFIG "" CACHE STRING
  "External platform: its pkg-config module, required by dak-time.pc instead of its paths")
set(DAK_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/dak-time)

install(TARGETS dak-time
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
file(GLOB DAK_PUBLIC_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/*.h)
if(DAK_PLATFORM STREQUAL "host" OR DAK_PLATFORM STREQUAL "linux")
  # TIStreamClock.h includes it; an external platform's own copy is used otherwise.
  list(APPEND DAK_PUBLIC_HEADERS ${PROJECT_SOURCE_DIR}/platform/DAKHandle.h)
endif()
install(FILES ${DAK_PUBLIC_HEADERS}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/dak-time COMPONENT dev)

# ---- CMake package ----------------------------------------------------------------
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/dak-time-config.cmake.in
  ${PROJECT_BINARY_DIR}/package/dak-time-config.cmake
  INSTALL_DESTINATION ${DAK_CMAKE_PACKAGE_DIR}
  PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/dak-time-config-version.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/package/dak-time-config.cmake
  ${PROJECT_BINARY_DIR}/package/dak-time-config-version.cmake
  DESTINATION ${DAK_CMAKE_PACKAGE_DIR} COMPONENT dev)

# ---- pkg-config -------------------------------------------------------------------
if(DAK_PLATFORM STREQUAL "host")
  set(DAK_PC_REQUIRES "")
  set(DAK_PC_PLATFORM_CFLAGS "")
  set(DAK_PC_PLATFORM_LIBS
    " -Wl,--push-state,--no-as-needed -ldak-host-factories -ldak-host-platform -Wl,--pop-state")
elseif(DAK_PLATFORM STREQUAL "linux")
  set(DAK_PC_REQUIRES "")
  set(DAK_PC_PLATFORM_CFLAGS "")
  set(DAK_PC_PLATFORM_LIBS " -ldak-linux-platform")
elseif(DAK_PLATFORM_PKGCONFIG)
  set(DAK_PC_REQUIRES "Requires: ${DAK_PLATFORM_PKGCONFIG}")
  set(DAK_PC_PLATFORM_CFLAGS "")
  set(DAK_PC_PLATFORM_LIBS "")
else()
  set(DAK_PC_REQUIRES "")
  set(DAK_PC_PLATFORM_CFLAGS " -I${DAK_PLATFORM_INCLUDE_DIR}")
  list(JOIN DAK_PLATFORM_LINK " " DAK_PC_PLATFORM_LIBS)
  set(DAK_PC_PLATFORM_LIBS " -Wl,--push-state,--no-as-needed ${DAK_PC_PLATFORM_LIBS} -Wl,--pop-state")
endif()
dak_install_pkgconfig(${PROJECT_SOURCE_DIR}/cmake/dak-time.pc.in dak-time dev)
