// `dak-time-sim tables [--json] FILE`: a capture's time tables, one a line,
// an engineer's first look at a capture before writing a scenario.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace daksim::capture {

// `args` are the words after "tables". Exit status: 0 listed, 2 not a
// transport stream, unreadable, or bad words.
int TablesCommand(const std::vector<std::string>& args, FILE* out, FILE* err);

}  // namespace daksim::capture
