# Sweeps a scenario file with a race over a range of seeds and checks that
# both outcomes show: some seeds hold every expectation, and the others are
# exactly the seeds the file names in its line
#   # other outcome under --seeds A-B: S1 S2 ...
# The generator and its reduction are the same on every target, so the same
# seeds must come out on x86-64, i686 and armhf.
# cmake -DSIM=path/to/dak-time-sim -DSCENARIO=file.scn [-DEMULATOR="cmd args"] -P CheckSweep.cmake
cmake_minimum_required(VERSION 3.18)
file(STRINGS "${SCENARIO}" claim REGEX "^# other outcome under --seeds [0-9]+-[0-9]+: ")
if(NOT claim MATCHES "--seeds ([0-9]+)-([0-9]+): ([0-9 ]+)$")
  message(FATAL_ERROR "${SCENARIO} names no seeds with another outcome")
endif()
set(first ${CMAKE_MATCH_1})
set(last ${CMAKE_MATCH_2})
string(STRIP "${CMAKE_MATCH_3}" seeds)
math(EXPR runs "${last} - ${first} + 1")
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
execute_process(COMMAND ${emulator} "${SIM}" --seeds ${first}-${last} "${SCENARIO}"
  RESULT_VARIABLE status
  OUTPUT_VARIABLE out
  ERROR_VARIABLE err)
if(NOT status EQUAL 1)
  message(FATAL_ERROR "the sweep ended with ${status}, not 1 (a seed failed):\n${out}${err}")
endif()
if(NOT out MATCHES ": ([0-9]+) of ${runs} seeds held every expectation")
  message(FATAL_ERROR "no count of the seeds that held:\n${out}")
endif()
if(CMAKE_MATCH_1 EQUAL 0)
  message(FATAL_ERROR "no seed showed the outcome the file expects:\n${out}")
endif()
if(NOT out MATCHES "failed under [0-9]+ of ${runs} seeds: ${seeds}\n")
  message(FATAL_ERROR "the other outcome did not come under seeds ${seeds}:\n${out}")
endif()
