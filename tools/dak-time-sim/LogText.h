// How a library log line is shown: "[LEVEL OUTPUT FUNCTION] text".
#pragma once

#include <string>

#include "DakHostControl.h"

namespace daksim {

// With `colour`, the text's escape sequences are kept (and the colour reset
// at the end) for a terminal; without, colour sequences are dropped and any
// other escape character shows as "\e". A newline inside shows as "\n".
std::string LogLineText(const dakhost::LogLine& line, bool colour);

}  // namespace daksim
