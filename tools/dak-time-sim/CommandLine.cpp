#include "CommandLine.h"

namespace daksim {

OptionMatch MatchOption(const std::vector<std::string>& args, size_t& i, const std::string& name,
                        std::string& value)
{
    const std::string& arg = args[i];
    if (arg.rfind(name + "=", 0) == 0) {
        value = arg.substr(name.size() + 1);
        return OptionMatch::Value;
    }
    if (arg != name) {
        return OptionMatch::No;
    }
    if (i + 1 >= args.size()) {
        return OptionMatch::Missing;
    }
    value = args[++i];
    return OptionMatch::Value;
}

}  // namespace daksim
