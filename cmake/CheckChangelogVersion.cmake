# cmake -DCHANGELOG=debian/changelog -DVERSION=<project version> -P CheckChangelogVersion.cmake
# Fails unless the newest entry of the Debian changelog carries the project's
# version as its upstream version (epoch and Debian revision aside).
file(STRINGS "${CHANGELOG}" first_line LIMIT_COUNT 1)
if(NOT first_line MATCHES "^[^ ]+ \\(([^)]+)\\)")
  message(FATAL_ERROR "${CHANGELOG}: no version in its first line: ${first_line}")
endif()
set(package_version "${CMAKE_MATCH_1}")
string(REGEX REPLACE "^[0-9]+:" "" upstream "${package_version}")
string(REGEX REPLACE "-[^-]*$" "" upstream "${upstream}")
if(NOT upstream STREQUAL VERSION)
  message(FATAL_ERROR "${CHANGELOG} is at ${package_version} (upstream ${upstream}); "
    "the project's version is ${VERSION}")
endif()
message(STATUS "debian/changelog ${package_version} matches the project's version ${VERSION}")
