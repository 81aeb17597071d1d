# Runs a scenario file twice, with --trace and --timeline, and fails unless
# both runs print the same bytes and write the same trace and picture: under
# deterministic scheduling nothing of the workstation may show in a run.
# cmake -DSIM=path/to/dak-time-sim -DSCENARIO=file.scn -DWORK=dir [-DARGS="--seed 7"]
#       [-DEMULATOR="cmd args"] -P CheckRepeat.cmake
cmake_minimum_required(VERSION 3.18)
get_filename_component(name "${SCENARIO}" NAME_WE)
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
separate_arguments(args UNIX_COMMAND "${ARGS}")
string(MAKE_C_IDENTIFIER "${name}${ARGS}" tag)
file(MAKE_DIRECTORY "${WORK}")
foreach(run 1 2)
  set(base "${WORK}/${tag}.${run}")
  execute_process(COMMAND ${emulator} "${SIM}" ${args} --trace "${base}.jsonl"
                          --timeline "${base}.svg" "${SCENARIO}"
    RESULT_VARIABLE status
    OUTPUT_FILE "${base}.out"
    ERROR_VARIABLE err)
  # Under a seed an expectation may fail (a race the file shows): the two
  # runs must still end alike.
  if(NOT (status EQUAL 0 OR status EQUAL 1))
    file(READ "${base}.out" out)
    message(FATAL_ERROR "run ${run} of ${SCENARIO} ended with ${status}:\n${out}${err}")
  endif()
  set(status${run} ${status})
endforeach()
if(NOT status1 EQUAL status2)
  message(FATAL_ERROR "two runs of ${SCENARIO} ${ARGS} ended with ${status1} and ${status2}")
endif()
foreach(kind out jsonl svg)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files
                          "${WORK}/${tag}.1.${kind}" "${WORK}/${tag}.2.${kind}"
    RESULT_VARIABLE differ)
  if(NOT differ EQUAL 0)
    message(FATAL_ERROR "two runs of ${SCENARIO} ${ARGS} wrote different ${kind} files: "
                        "${WORK}/${tag}.1.${kind} and ${WORK}/${tag}.2.${kind}")
  endif()
endforeach()
