# `dak-time-sim explain` against what a scenario run recorded.
#
#   MODE=roundtrip  runs SCENARIO with --trace, explains its printed output and
#                   the same messages under a foreign platform prefix (gzipped),
#                   and checks that the decisions (the "setting" and "sync"
#                   records) equal the run's: every field for the printed
#                   output, every field explain gives for the foreign log (it
#                   leaves out what the messages alone do not tell). Then the
#                   generated scenario must replay with every expectation held.
#                   The run and explain also write --perfetto (JSON with
#                   "traceEvents", settings among them) and explain --timeline.
#   MODE=lowlevel   the same run printed at --log-level 2: the settings explain
#                   finds are the run's accepted ones, and it says what it
#                   cannot tell.
#   MODE=fleet      two sets' logs (the printed runs of SCENARIO and of
#                   FLEET_OTHER) with --summary: a row each, the findings
#                   counted in their columns, the sets that show each.
#   MODE=garbage    random bytes, an empty file, one enormous line: exit 2 with
#                   a message that says no library message was found; an
#                   enormous line before a message is counted as cut; a
#                   directory is refused by name.
#
# cmake -DSIM=dak-time-sim -DMODE=... [-DSCENARIO=file.scn] -DWORK=dir
#       [-DEMULATOR="cmd args"] -P CheckExplain.cmake
cmake_minimum_required(VERSION 3.19)
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
file(MAKE_DIRECTORY "${WORK}")

# Runs the simulator; sets <prefix>_rc and <prefix>_out.
macro(Sim prefix output)
  execute_process(COMMAND ${emulator} "${SIM}" ${ARGN}
    RESULT_VARIABLE ${prefix}_rc OUTPUT_FILE "${output}" ERROR_VARIABLE ${prefix}_err)
  file(READ "${output}" ${prefix}_out)
  string(APPEND ${prefix}_out "${${prefix}_err}")
endmacro()

# The decisions of a trace file: one entry a record, "event|key=value|...",
# "?" for a field the record leaves out.
function(Decisions file result)
  file(STRINGS "${file}" lines REGEX "\"event\":\"(setting|sync)\"")
  set(records "")
  foreach(line IN LISTS lines)
    string(JSON event GET "${line}" event)
    if(event STREQUAL "setting")
      set(keys type accepted time why reason_before reason_after)
    else()
      set(keys system rtc difference decision)
    endif()
    set(record "${event}")
    foreach(key IN LISTS keys)
      string(JSON value ERROR_VARIABLE missing GET "${line}" ${key})
      if(missing)
        set(value "?")
      endif()
      string(APPEND record "|${key}=${value}")
    endforeach()
    list(APPEND records "${record}")
  endforeach()
  set(${result} "${records}" PARENT_SCOPE)
endfunction()

# Whether record `got` says what `want` does, its "?" fields apart.
function(Agrees want got result)
  string(REPLACE "|" ";" want_fields "${want}")
  string(REPLACE "|" ";" got_fields "${got}")
  set(agrees TRUE)
  foreach(want_field got_field IN ZIP_LISTS want_fields got_fields)
    if(NOT got_field MATCHES "=[?]$" AND NOT want_field STREQUAL got_field)
      set(agrees FALSE)
    endif()
  endforeach()
  set(${result} ${agrees} PARENT_SCOPE)
endfunction()

function(Compare what run explained exact)
  list(LENGTH run run_count)
  list(LENGTH explained explained_count)
  if(NOT run_count EQUAL explained_count)
    message(FATAL_ERROR "${what}: the run made ${run_count} decisions, explain found "
                        "${explained_count}:\n run: ${run}\n explain: ${explained}")
  endif()
  foreach(want got IN ZIP_LISTS run explained)
    if(exact)
      set(agrees FALSE)
      if(want STREQUAL got)
        set(agrees TRUE)
      endif()
    else()
      Agrees("${want}" "${got}" agrees)
    endif()
    if(NOT agrees)
      message(FATAL_ERROR "${what}: decisions differ\n run:     ${want}\n explain: ${got}")
    endif()
  endforeach()
endfunction()

if(MODE STREQUAL "roundtrip")
  get_filename_component(name "${SCENARIO}" NAME_WE)
  set(base "${WORK}/${name}")
  Sim(run "${base}.printed" --trace "${base}.run.jsonl" --perfetto "${base}.run.json"
      "${SCENARIO}")
  if(NOT run_rc EQUAL 0)
    message(FATAL_ERROR "the scenario itself fails (${run_rc}):\n${run_out}")
  endif()
  Decisions("${base}.run.jsonl" run_decisions)

  Sim(explain "${base}.explained" explain --quiet --trace "${base}.explain.jsonl"
      --scenario "${base}.replay.scn" --perfetto "${base}.explain.json"
      --timeline "${base}.explain.svg" "${base}.printed")
  if(NOT explain_rc EQUAL 0)
    message(FATAL_ERROR "explain failed (${explain_rc}):\n${explain_out}")
  endif()
  Decisions("${base}.explain.jsonl" explained)
  Compare("the printed output" "${run_decisions}" "${explained}" TRUE)
  foreach(json run explain)
    file(READ "${base}.${json}.json" perfetto)
    string(JSON events ERROR_VARIABLE bad LENGTH "${perfetto}" traceEvents)
    if(bad OR events EQUAL 0)
      message(FATAL_ERROR "${json}: no Trace Event Format JSON: ${bad}")
    endif()
    if(run_decisions AND NOT perfetto MATCHES "\"name\":\"(setting|sync) ")
      message(FATAL_ERROR "${json}: the Perfetto trace shows no setting or sync")
    endif()
  endforeach()
  file(READ "${base}.explain.svg" svg LIMIT 200)
  if(NOT svg MATCHES "<svg")
    message(FATAL_ERROR "explain --timeline drew no SVG picture")
  endif()

  # The library's lines behind a syslog prefix of another platform, every
  # other line replaced by the platform's own chatter.
  execute_process(COMMAND sed -E
      -e "s/^[^ ]+ [+][^ ]+ [^ ]+ +\\[([0-9]+) [A-Za-z]+ [^]]+\\] (.*)$/<14>Mar  5 06:30:00 tv-set tvservice[812]: DAK(18)\\/L\\1 \\2/"
      -e t -e "s/.*/Mar  5 06:30:00 tv-set kernel: usb 1-1: new high-speed USB device/"
      "${base}.printed"
    OUTPUT_FILE "${base}.foreign.log" RESULT_VARIABLE sed_rc)
  execute_process(COMMAND gzip -f "${base}.foreign.log" RESULT_VARIABLE gzip_rc)
  if(NOT sed_rc EQUAL 0 OR NOT gzip_rc EQUAL 0)
    message(FATAL_ERROR "cannot make the foreign log (sed ${sed_rc}, gzip ${gzip_rc})")
  endif()
  Sim(foreign "${base}.foreign.explained" explain --quiet --trace "${base}.foreign.jsonl"
      "${base}.foreign.log.gz")
  if(NOT foreign_rc EQUAL 0)
    message(FATAL_ERROR "explain of the foreign log failed (${foreign_rc}):\n${foreign_out}")
  endif()
  Decisions("${base}.foreign.jsonl" foreign_decisions)
  Compare("the foreign log" "${run_decisions}" "${foreign_decisions}" FALSE)

  Sim(replay "${base}.replayed" --quiet "${base}.replay.scn")
  if(NOT replay_rc EQUAL 0)
    message(FATAL_ERROR "the generated scenario does not replay (${replay_rc}):\n${replay_out}")
  endif()
elseif(MODE STREQUAL "lowlevel")
  get_filename_component(name "${SCENARIO}" NAME_WE)
  set(base "${WORK}/${name}.low")
  Sim(run "${base}.printed" --log-level 2 --trace "${base}.run.jsonl" "${SCENARIO}")
  Sim(explain "${base}.explained" explain --trace "${base}.explain.jsonl" "${base}.printed")
  if(NOT explain_rc EQUAL 0)
    message(FATAL_ERROR "explain failed (${explain_rc}):\n${explain_out}")
  endif()
  if(NOT explain_out MATCHES "cannot tell: the log holds no line above level [12]")
    message(FATAL_ERROR "explain does not say what it cannot tell:\n${explain_out}")
  endif()
  # Of the decisions, the accepted settings are known (their level-1 lines).
  Decisions("${base}.run.jsonl" run_decisions)
  list(FILTER run_decisions INCLUDE REGEX "^setting[|].*[|]accepted=ON[|]")
  Decisions("${base}.explain.jsonl" explained)
  if(NOT run_decisions)
    message(FATAL_ERROR "the scenario accepts no setting: nothing to check")
  endif()
  Compare("a log at level 2" "${run_decisions}" "${explained}" FALSE)
elseif(MODE STREQUAL "fleet")
  set(logs "")
  foreach(scenario "${SCENARIO}" "${FLEET_OTHER}")
    get_filename_component(name "${scenario}" NAME_WE)
    Sim(run "${WORK}/${name}.set.log" "${scenario}")
    list(APPEND logs "${WORK}/${name}.set.log")
  endforeach()
  Sim(fleet "${WORK}/fleet.explained" explain --quiet --summary ${logs})
  if(NOT fleet_rc EQUAL 0)
    message(FATAL_ERROR "explain --summary failed (${fleet_rc}):\n${fleet_out}")
  endif()
  # sync.scn reads a hardware clock of the year 2000 at two syncs, and a
  # sync setting moves the clock back.
  set(number " +([0-9]+)")
  if(NOT fleet_out MATCHES "log +messages +jumps +backwards +refused-tables +rtc-unreadable +rtc-before-2001"
     OR NOT fleet_out MATCHES "sync[.]set[.]log${number}${number}${number}${number}${number}${number}")
    message(FATAL_ERROR "no fleet table with a row for sync.set.log:\n${fleet_out}")
  endif()
  if(NOT CMAKE_MATCH_3 EQUAL 1 OR NOT CMAKE_MATCH_6 EQUAL 2)
    message(FATAL_ERROR "sync.set.log: expected 1 backwards and 2 readings before 2001, got "
                        "${CMAKE_MATCH_3} and ${CMAKE_MATCH_6}:\n${fleet_out}")
  endif()
  if(NOT fleet_out MATCHES "sets with it")
    message(FATAL_ERROR "no count of sets by finding:\n${fleet_out}")
  endif()
elseif(MODE STREQUAL "garbage")
  execute_process(COMMAND head -c 262144 /dev/urandom OUTPUT_FILE "${WORK}/random.log")
  file(WRITE "${WORK}/empty.log" "")
  string(REPEAT "0123456789abcdef" 8192 chunk)
  string(REPEAT "${chunk}" 4 enormous)
  file(WRITE "${WORK}/one-line.log" "${enormous}")
  foreach(log random empty one-line)
    Sim(garbage "${WORK}/${log}.explained" explain "${WORK}/${log}.log")
    if(NOT garbage_rc EQUAL 2 OR NOT garbage_out MATCHES "none of the library's messages")
      message(FATAL_ERROR "${log}: expected exit 2 saying no message was found, got "
                          "${garbage_rc}:\n${garbage_out}")
    endif()
  endforeach()
  Sim(directory "${WORK}/directory.explained" explain "${WORK}")
  if(NOT directory_rc EQUAL 2 OR NOT directory_out MATCHES "is a directory, not a log")
    message(FATAL_ERROR "a directory: expected exit 2 naming it, got ${directory_rc}:\n"
                        "${directory_out}")
  endif()
  file(WRITE "${WORK}/cut.log" "${enormous}\n2024-03-05 06:30:00.000 x: "
       "[TCSystemTimeManager::t_SyncSystemTime] UTC=1709620200, rtcTime=1709620200, sub=0\n")
  Sim(cut "${WORK}/cut.explained" explain "${WORK}/cut.log")
  if(NOT cut_rc EQUAL 0 OR NOT cut_out MATCHES "1 of them the library's message, 1 cut short")
    message(FATAL_ERROR "cut.log: expected the enormous line cut and the message read, got "
                        "${cut_rc}:\n${cut_out}")
  endif()
else()
  message(FATAL_ERROR "MODE must be roundtrip, lowlevel, fleet or garbage")
endif()
