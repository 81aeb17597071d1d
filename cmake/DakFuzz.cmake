# Fuzzing with libFuzzer (clang only): -DDAK_BUILD_FUZZ=ON in a build of its
# own, with CMAKE_CXX_COMPILER=clang++-14 and DAK_SANITIZE=address,undefined.
# Everything is built with coverage for the fuzzer; each target links
# libFuzzer's main.
#
#   dak_add_fuzzer(NAME SOURCE... [CORPUS DIR...] [LIBRARIES LIB...])
#
# CORPUS names the seed folders kept in the repository (default
# tests/fuzz/corpus/NAME). ${CMAKE_BINARY_DIR}/fuzzers.txt lists every
# target as "NAME BINARY CORPUS...", one a line, for ci/fuzz.sh.
option(DAK_BUILD_FUZZ "Build the libFuzzer targets (needs clang)" OFF)

if(DAK_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "DAK_BUILD_FUZZ needs clang (CMAKE_CXX_COMPILER=clang++-14)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
  file(WRITE ${CMAKE_BINARY_DIR}/fuzzers.txt "")
endif()

function(dak_add_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 FUZZ "" "" "CORPUS;LIBRARIES")
  if(NOT FUZZ_CORPUS)
    set(FUZZ_CORPUS ${PROJECT_SOURCE_DIR}/tests/fuzz/corpus/${name})
  endif()
  add_executable(${name} ${FUZZ_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${FUZZ_LIBRARIES})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  string(REPLACE ";" " " corpus "${FUZZ_CORPUS}")
  file(APPEND ${CMAKE_BINARY_DIR}/fuzzers.txt
    "${name} ${CMAKE_CURRENT_BINARY_DIR}/${name} ${corpus}\n")
endfunction()
