// Options of the simulator's command lines, given as "--name VALUE" or
// "--name=VALUE".
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace daksim {

enum class OptionMatch {
    No,       // args[i] is not the option
    Value,    // it is, and `value` holds its value (i moved past it)
    Missing,  // it is, but no value follows
};

OptionMatch MatchOption(const std::vector<std::string>& args, size_t& i, const std::string& name,
                        std::string& value);

}  // namespace daksim
