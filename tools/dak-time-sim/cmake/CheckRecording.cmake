# Runs dak-time-sim on a scenario with --trace and --timeline, as a user
# would, and checks what comes out:
#   - every printed line of a step, log line or result shows its virtual
#     moment (at least 80% of all lines), and no escape character reaches a
#     file;
#   - every trace line is a JSON object with "event", "t", "clock" and
#     "file", "t" never goes back within a file, and the kinds of events the
#     scenario causes are all there;
#   - the timeline is well-formed XML that rsvg-convert renders to a PNG of
#     the picture's size and with something drawn on it.
# cmake -DSIM=dak-time-sim -DSCENARIO=file.scn -DOUT=dir -DXMLLINT=... -DRSVG=...
#       [-DEMULATOR="cmd args"] -P CheckRecording.cmake
cmake_minimum_required(VERSION 3.19)  # string(JSON)

file(MAKE_DIRECTORY "${OUT}")
set(trace "${OUT}/run.jsonl")
set(svg "${OUT}/run.svg")
set(png "${OUT}/run.png")
file(REMOVE "${trace}" "${svg}" "${png}")

separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
execute_process(COMMAND ${emulator} "${SIM}" --trace "${trace}" --timeline "${svg}" "${SCENARIO}"
  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "dak-time-sim exited ${status}\n${out}${err}")
endif()

# ---- printed lines ----
string(ASCII 27 escape)
string(FIND "${out}" "${escape}" at)
if(NOT at EQUAL -1)
  message(FATAL_ERROR "an escape character was printed to a file")
endif()
string(REPLACE ";" "," out "${out}")
string(REPLACE "\n" ";" lines "${out}")
set(total 0)
set(stamped 0)
foreach(line IN LISTS lines)
  if(line STREQUAL "")
    continue()
  endif()
  math(EXPR total "${total} + 1")
  if(line MATCHES "^[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]T[0-9][0-9]:[0-9][0-9]:[0-9][0-9]Z \\+[0-9]+d [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]  ")
    math(EXPR stamped "${stamped} + 1")
  endif()
endforeach()
math(EXPR share "100 * ${stamped} / ${total}")
if(share LESS 80)
  message(FATAL_ERROR "only ${stamped} of ${total} printed lines show their virtual moment")
endif()
foreach(wanted "~~ sync: " "<< signal 108 #1 " "#1 SetType_init at 20")
  string(FIND "${out}" "${wanted}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "missing from the output: ${wanted}")
  endif()
endforeach()

# ---- trace ----
# One list item a line: a semicolon would split a line in two and an
# unbalanced bracket would join lines, so (only ever inside a JSON string,
# as records hold no arrays) they become other characters.
file(READ "${trace}" content)
string(REPLACE ";" ":" content "${content}")
string(REPLACE "[" "(" content "${content}")
string(REPLACE "]" ")" content "${content}")
string(REGEX REPLACE "\n$" "" content "${content}")
string(REPLACE "\n" ";" records "${content}")
list(LENGTH records count)
if(count LESS 10)
  message(FATAL_ERROR "the trace holds ${count} lines")
endif()
set(seen "")
set(last_t 0)
set(last_file "")
foreach(record IN LISTS records)
  string(JSON type ERROR_VARIABLE problem TYPE "${record}")
  if(problem OR NOT type STREQUAL "OBJECT")
    message(FATAL_ERROR "not a JSON object: ${record}")
  endif()
  foreach(key event t clock file)
    string(JSON value ERROR_VARIABLE problem GET "${record}" ${key})
    if(problem)
      message(FATAL_ERROR "no \"${key}\" in: ${record}")
    endif()
  endforeach()
  string(JSON event GET "${record}" event)
  string(JSON t GET "${record}" t)
  string(JSON name GET "${record}" file)
  if(name STREQUAL last_file AND t LESS last_t)
    message(FATAL_ERROR "virtual time went back: ${record}")
  endif()
  set(last_t ${t})
  set(last_file "${name}")
  list(APPEND seen ${event})
endforeach()
list(REMOVE_DUPLICATES seen)
foreach(kind file step log setting sync alarm store rtc_read rtc_write clock_set signal stream expect end)
  if(NOT kind IN_LIST seen)
    message(FATAL_ERROR "no \"${kind}\" event in the trace (saw: ${seen})")
  endif()
endforeach()

# ---- timeline ----
execute_process(COMMAND "${XMLLINT}" --noout "${svg}" RESULT_VARIABLE status ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "the timeline is not well-formed XML:\n${err}")
endif()
file(READ "${svg}" picture)
foreach(unwanted "<script" "href=" "url(")
  string(FIND "${picture}" "${unwanted}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "the timeline is not self-contained: it holds ${unwanted}")
  endif()
endforeach()
if(NOT picture MATCHES "<svg [^>]*width=.([0-9]+). height=.([0-9]+).")
  message(FATAL_ERROR "the timeline has no size")
endif()
set(width ${CMAKE_MATCH_1})
set(height ${CMAKE_MATCH_2})
execute_process(COMMAND "${RSVG}" -o "${png}" "${svg}" RESULT_VARIABLE status ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "rsvg-convert cannot render the timeline:\n${err}")
endif()
# The PNG header: the signature, then IHDR with width and height.
file(READ "${png}" header LIMIT 24 HEX)
string(SUBSTRING "${header}" 0 16 signature)
string(SUBSTRING "${header}" 32 8 png_width)
string(SUBSTRING "${header}" 40 8 png_height)
math(EXPR png_width "0x${png_width}")
math(EXPR png_height "0x${png_height}")
if(NOT signature STREQUAL "89504e470d0a1a0a" OR NOT png_width EQUAL width
   OR NOT png_height EQUAL height)
  message(FATAL_ERROR "the PNG is ${png_width}x${png_height}, the picture ${width}x${height}")
endif()
# A blank picture compresses to almost nothing; lines, markers and text don't.
file(SIZE "${png}" bytes)
if(bytes LESS 20000)
  message(FATAL_ERROR "the rendered timeline looks blank (${bytes} bytes of PNG)")
endif()
