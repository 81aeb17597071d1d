# Turns a scenario file into a header holding its bytes, so that the binary
# carries the default scenario while scenarios/ stays its only source.
# cmake -DINPUT=file.scn -DOUTPUT=header.h -P EmbedScenario.cmake
get_filename_component(input_name "${INPUT}" NAME)
file(READ "${INPUT}" content HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${content}")
string(REGEX REPLACE "((0x..,){16})" "\\1\n    " bytes "${bytes}")
file(WRITE "${OUTPUT}.tmp"
  "// Generated from ${input_name} by EmbedScenario.cmake; do not edit.\n"
  "#pragma once\n\n"
  "namespace daksim {\n\n"
  "// The file's bytes and a terminating 0.\n"
  "constexpr unsigned char kDefaultScenario[] = {\n    ${bytes}0x00};\n\n"
  "}  // namespace daksim\n")
configure_file("${OUTPUT}.tmp" "${OUTPUT}" COPYONLY)
file(REMOVE "${OUTPUT}.tmp")
