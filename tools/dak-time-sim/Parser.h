// Reading scenario files: words, values and steps. A file is parsed as a
// whole; the first word not understood stops it with a message naming it.
#pragma once

#include <string>
#include <variant>

#include "Scenario.h"

namespace daksim {

struct ParseError {
    int line = 0;
    std::string message;  // names the word not understood

    // "NAME:LINE: message"
    std::string Format(const std::string& name) const;
};

// Parses the text of one file. `name` is kept in the script for messages.
std::variant<Script, ParseError> ParseScript(const std::string& name, const std::string& text);

}  // namespace daksim
