# Runs dak-time-sim on a case of testdata/ and checks what the case asks of
# the run, from its header lines:
#   # exit: N            the exit status (required)
#   # files: A B ...     the files to pass (default: the case itself)
#   # args: ...          the options (default: --quiet)
#   # output: TEXT       the output (standard output and error) holds TEXT
#   # nooutput: TEXT     the output does not hold TEXT
# cmake -DSIM=path/to/dak-time-sim -DCASE=path/to/case.scn -P CheckRun.cmake
get_filename_component(case_dir "${CASE}" DIRECTORY)
get_filename_component(case_file "${CASE}" NAME)
file(STRINGS "${CASE}" header REGEX "^# (exit|files|args|output|nooutput): ")

set(expected_exit "")
set(files ${case_file})
set(args --quiet)
set(wanted "")
set(unwanted "")
foreach(line IN LISTS header)
  string(REGEX REPLACE "^# ([a-z]+): (.*)$" "\\1" key "${line}")
  string(REGEX REPLACE "^# ([a-z]+): (.*)$" "\\2" value "${line}")
  if(key STREQUAL "exit")
    set(expected_exit "${value}")
  elseif(key STREQUAL "files")
    separate_arguments(files UNIX_COMMAND "${value}")
  elseif(key STREQUAL "args")
    separate_arguments(args UNIX_COMMAND "${value}")
  elseif(key STREQUAL "output")
    list(APPEND wanted "${value}")
  elseif(key STREQUAL "nooutput")
    list(APPEND unwanted "${value}")
  endif()
endforeach()
if(expected_exit STREQUAL "")
  message(FATAL_ERROR "${CASE}: no '# exit:' line")
endif()

execute_process(COMMAND "${SIM}" ${args} ${files}
  WORKING_DIRECTORY "${case_dir}"
  RESULT_VARIABLE status
  OUTPUT_VARIABLE out
  ERROR_VARIABLE err)
set(all "${out}${err}")

set(problems "")
if(NOT status STREQUAL expected_exit)
  string(APPEND problems "exit status ${status}, expected ${expected_exit}\n")
endif()
foreach(text IN LISTS wanted)
  string(FIND "${all}" "${text}" at)
  if(at EQUAL -1)
    string(APPEND problems "missing from the output: ${text}\n")
  endif()
endforeach()
foreach(text IN LISTS unwanted)
  string(FIND "${all}" "${text}" at)
  if(NOT at EQUAL -1)
    string(APPEND problems "unexpected in the output: ${text}\n")
  endif()
endforeach()
if(problems)
  message(FATAL_ERROR "${case_file}:\n${problems}--- output ---\n${all}")
endif()
