# `dak-time-sim explain` against a run's log as real sets and collectors
# write it: SCENARIO runs with --trace, RENDER writes its log records in each
# stamp form (journald, logcat, syslog, the kernel's uptime), with other
# programs' lines between and the damage terminals and serial consoles add,
# once with stamps that count on from a fixed start and once with stamps
# from the set's own clock (which the library moves), then in two boots. For
# each, explain must give the run's accepted settings exactly (type and
# time, in order) and the virtual time between two consecutive ones within
# a second of the run's, and the scenario it writes must replay with the
# same accepted settings. A log cut short in its gzip must be explained as far
# as it goes and end with exit 3 and a warning naming where it stopped.
#
# cmake -DSIM=dak-time-sim -DRENDER=dak-time-sim-log-render -DSCENARIO=file.scn
#       -DWORK=dir [-DFEW=ON] [-DEMULATOR="cmd args"] -P CheckExplainForms.cmake
cmake_minimum_required(VERSION 3.19)
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
file(MAKE_DIRECTORY "${WORK}")
get_filename_component(name "${SCENARIO}" NAME_WE)
set(base "${WORK}/${name}")

# The accepted settings of a trace: "type time" and their moments.
function(Accepted file settings moments)
  file(STRINGS "${file}" lines REGEX "\"event\":\"setting\".*\"accepted\":true")
  set(found "")
  set(at "")
  foreach(line IN LISTS lines)
    string(JSON type GET "${line}" type)
    string(JSON time GET "${line}" time)
    string(JSON t GET "${line}" t)
    list(APPEND found "${type}@${time}")
    list(APPEND at "${t}")
  endforeach()
  set(${settings} "${found}" PARENT_SCOPE)
  set(${moments} "${at}" PARENT_SCOPE)
endfunction()

execute_process(COMMAND ${emulator} "${SIM}" --quiet --trace "${base}.run.jsonl" "${SCENARIO}"
  RESULT_VARIABLE run_rc OUTPUT_QUIET ERROR_VARIABLE run_err)
if(NOT run_rc EQUAL 0)
  message(FATAL_ERROR "the scenario itself fails (${run_rc}): ${run_err}")
endif()
Accepted("${base}.run.jsonl" want want_t)
list(LENGTH want count)

# The run's accepted settings, `boots` times over.
function(Expected boots result)
  set(expected "")
  foreach(boot RANGE 1 ${boots})
    list(APPEND expected ${want})
  endforeach()
  set(${result} "${expected}" PARENT_SCOPE)
endfunction()

# Checks explain's trace `file` against the run's, `boots` times over; the
# time between settings unless `timed` is false.
function(Check what file boots timed)
  Accepted("${file}" got got_t)
  Expected(${boots} expected)
  if(NOT got STREQUAL expected)
    message(FATAL_ERROR "${what}: accepted settings differ\n run:     ${expected}\n explain: ${got}")
  endif()
  if(NOT timed)
    return()
  endif()
  # Within each boot, the time between consecutive settings.
  foreach(boot RANGE 1 ${boots})
    math(EXPR first "(${boot} - 1) * ${count}")
    foreach(i RANGE 1 ${count})
      if(i EQUAL count)
        break()
      endif()
      math(EXPR at "${first} + ${i}")
      math(EXPR before "${at} - 1")
      math(EXPR i_before "${i} - 1")
      list(GET want_t ${i} w1)
      list(GET want_t ${i_before} w0)
      list(GET got_t ${at} g1)
      list(GET got_t ${before} g0)
      math(EXPR off "(${g1} - ${g0}) - (${w1} - ${w0})")
      if(off GREATER 1000 OR off LESS -1000)
        math(EXPR run_gap "${w1} - ${w0}")
        math(EXPR got_gap "${g1} - ${g0}")
        message(FATAL_ERROR "${what}: between settings ${i_before} and ${i} of boot ${boot} the "
                            "run took ${run_gap} ms, explain says ${got_gap} ms")
      endif()
    endforeach()
  endforeach()
endfunction()

# What a log of the library's level-1 lines alone cannot tell, said where it
# leaves the time between settings unknown: a start-up that may be the
# library started again in the same boot, or moves of the clock that the
# stamps jumped with and no reading of the clock split from time passing.
set(untimed "cannot tell: (whether the start-up on line [0-9]+ is a new boot|[0-9]+ moves? of the clock that the stamps jumped with)")

set(forms iso short short-precise short-full monotonic kernel rfc5424 rfc3164 logcat-time
    logcat-threadtime logcat-year logcat-epoch logcat-monotonic)
# A set that logs only level 1, in forms with a year, without one, and of uptime.
set(level1_forms iso logcat-threadtime rfc3164 monotonic logcat-monotonic)
# FEW (emulated and sanitized builds): a form with a year, one without, one of
# uptime, and syslog's, whose log the check of unreadable stamps below reuses.
if(FEW)
  set(forms iso logcat-threadtime rfc3164 monotonic)
  set(level1_forms iso logcat-threadtime)
endif()
foreach(variant IN LISTS forms level1_forms)
  set(form ${variant})
  set(level 5)
  if(DEFINED seen_${variant})
    set(level 1)
  endif()
  set(seen_${variant} TRUE)
  foreach(stamps counted clock)
    set(flags --foreign --damage --level ${level})
    if(stamps STREQUAL "clock")
      list(APPEND flags --clock)
    endif()
    set(boot_counts 1)
    if(stamps STREQUAL "clock")
      list(APPEND boot_counts 2)  # the set's clock starts again where the run began
    endif()
    foreach(boots IN LISTS boot_counts)
      set(log "${base}.${form}.${stamps}.${boots}.L${level}.log")
      set(what "${form}, ${stamps} stamps, ${boots} boots, level ${level}")
      execute_process(COMMAND ${emulator} "${RENDER}" --form ${form} ${flags} --boots ${boots}
                              "${base}.run.jsonl"
        OUTPUT_FILE "${log}" RESULT_VARIABLE render_rc)
      execute_process(COMMAND ${emulator} "${SIM}" explain --quiet --trace "${log}.jsonl"
                              --scenario "${log}.scn" "${log}"
        RESULT_VARIABLE explain_rc OUTPUT_VARIABLE explain_out ERROR_VARIABLE explain_err)
      if(NOT render_rc EQUAL 0 OR NOT explain_rc EQUAL 0)
        message(FATAL_ERROR "${what}: render ${render_rc}, explain ${explain_rc}:\n${explain_err}")
      endif()
      set(timed TRUE)
      if(level EQUAL 1 AND explain_out MATCHES "${untimed}")
        set(timed FALSE)
      endif()
      Check("${what}" "${log}.jsonl" ${boots} ${timed})
      # The scenario it wrote replays with the same accepted settings (for a
      # form with a year and one without: the form changes little of it).
      if(NOT form MATCHES "^(iso|logcat-threadtime)$")
        continue()
      endif()
      execute_process(COMMAND ${emulator} "${SIM}" --quiet --trace "${log}.replay.jsonl" "${log}.scn"
        RESULT_VARIABLE replay_rc OUTPUT_VARIABLE replay_out ERROR_VARIABLE replay_err)
      if(NOT replay_rc EQUAL 0)
        message(FATAL_ERROR "${what}: the written scenario does not replay (${replay_rc}):\n"
                            "${replay_out}${replay_err}")
      endif()
      Accepted("${log}.replay.jsonl" replayed replayed_t)
      Expected(${boots} expected)
      if(NOT replayed STREQUAL expected)
        message(FATAL_ERROR "${what}: the replay accepts\n ${replayed}\n where the run "
                            "accepted\n ${expected}")
      endif()
    endforeach()
  endforeach()
endforeach()

# The same log gzipped and cut short.
set(log "${base}.iso.clock.1.L5.log")
execute_process(COMMAND gzip -c "${log}" OUTPUT_FILE "${log}.gz")
file(SIZE "${log}.gz" size)
math(EXPR half "${size} / 2")
execute_process(COMMAND head -c ${half} "${log}.gz" OUTPUT_FILE "${log}.cut.gz")
execute_process(COMMAND ${emulator} "${SIM}" explain --quiet "${log}.cut.gz"
  RESULT_VARIABLE cut_rc OUTPUT_VARIABLE cut_out ERROR_VARIABLE cut_err)
if(NOT cut_rc EQUAL 3 OR NOT cut_err MATCHES "the log stops after line [0-9]+")
  message(FATAL_ERROR "a gzip cut short: expected exit 3 and where it stopped, got ${cut_rc}:\n"
                      "${cut_err}${cut_out}")
endif()

# Explains `log` quietly; fails unless it exits 0 and its output and error
# output match `pattern` exactly `times` times.
function(ExplainSays what log pattern times)
  execute_process(COMMAND ${emulator} "${SIM}" explain --quiet "${log}"
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  string(REGEX MATCHALL "${pattern}" said "${out}${err}")
  list(LENGTH said count)
  if(NOT rc EQUAL 0 OR NOT count EQUAL times)
    message(FATAL_ERROR "${what}: expected exit 0 and '${pattern}' ${times} times, got exit "
                        "${rc} and ${count} times:\n${out}${err}")
  endif()
endfunction()

# A log without stamps (logcat's brief) says that elapsed time cannot be told.
execute_process(COMMAND ${emulator} "${RENDER}" --form logcat-brief "${base}.run.jsonl"
  OUTPUT_FILE "${base}.brief.log")
ExplainSays("a log without stamps" "${base}.brief.log"
            "cannot tell: the lines carry no time stamps" 1)

# Stamps of a form it cannot read: said once, with the first such line.
file(STRINGS "${base}.rfc3164.counted.1.L5.log" syslog)
list(TRANSFORM syslog REPLACE "^<134>([A-Z][a-z][a-z]) +([0-9]+) " "<134>\\2 \\1 2024 ")
list(JOIN syslog "\n" odd)
file(WRITE "${base}.odd.log" "${odd}\n")
ExplainSays("stamps it cannot read" "${base}.odd.log" "a time stamp of a form explain cannot read" 1)
