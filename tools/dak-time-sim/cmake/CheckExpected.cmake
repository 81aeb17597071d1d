# The output of each scenario file is the same on every target: its SHA-256
# is kept in scenarios/expected-outputs.sha256, recorded on x86-64, and an
# i686 or armhf build (under qemu) must print the very same bytes. A file
# whose output differs by target on purpose says so in a line
# "# target differs: WHY", and so does one that prints the workstation's
# clock ("# repeats: no"); those are not recorded.
#
# Check one file:  cmake -DSIM=... -DSCENARIO=dir/NAME.scn -DWORK=dir [-DEMULATOR=...]
#                        -P CheckExpected.cmake
# Record them all: cmake -DSIM=... -DSCENARIO_DIR=dir -DWORK=dir -DWRITE=1 -P CheckExpected.cmake
cmake_minimum_required(VERSION 3.18)
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
file(MAKE_DIRECTORY "${WORK}")

# Sets `digest` to the SHA-256 of what the file prints, run from its folder
# so that the name it prints is the same wherever the tree lies.
function(Digest scenario)
  get_filename_component(dir "${scenario}" DIRECTORY)
  get_filename_component(file "${scenario}" NAME)
  execute_process(COMMAND ${emulator} "${SIM}" "${file}"
    WORKING_DIRECTORY "${dir}"
    RESULT_VARIABLE status
    OUTPUT_FILE "${WORK}/${file}.out"
    ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${scenario} ended with ${status}: ${err}")
  endif()
  file(SHA256 "${WORK}/${file}.out" sum)
  set(digest "${sum}" PARENT_SCOPE)
endfunction()

function(Recorded scenario out)
  file(STRINGS "${scenario}" skip REGEX "^# (target differs|repeats: no)")
  if(skip)
    set(${out} FALSE PARENT_SCOPE)
  else()
    set(${out} TRUE PARENT_SCOPE)
  endif()
endfunction()

if(WRITE)
  file(GLOB scenarios "${SCENARIO_DIR}/*.scn")
  list(SORT scenarios)
  set(text "")
  foreach(scenario ${scenarios})
    Recorded("${scenario}" recorded)
    if(recorded)
      Digest("${scenario}")
      get_filename_component(file "${scenario}" NAME)
      string(APPEND text "${digest}  ${file}\n")
    endif()
  endforeach()
  file(WRITE "${SCENARIO_DIR}/expected-outputs.sha256" "${text}")
  return()
endif()

get_filename_component(dir "${SCENARIO}" DIRECTORY)
get_filename_component(file "${SCENARIO}" NAME)
file(STRINGS "${dir}/expected-outputs.sha256" line REGEX "  ${file}$")
if(NOT line MATCHES "^([0-9a-f]+)  ")
  message(FATAL_ERROR "no recorded output of ${file} in ${dir}/expected-outputs.sha256 "
                      "(build the target dak-time-sim-expected on x86-64)")
endif()
set(expected "${CMAKE_MATCH_1}")
Digest("${SCENARIO}")
if(NOT digest STREQUAL expected)
  message(FATAL_ERROR "${file} printed other bytes than on x86-64 (${WORK}/${file}.out); "
                      "if the change is meant, record again with the target dak-time-sim-expected")
endif()
