#include "Wording.h"

namespace daksim::explain {

std::string Counted(uint64_t count, const std::string& one, const std::string& many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string Duration(uint64_t seconds)
{
    const uint64_t days = seconds / 86400;
    const uint64_t hours = seconds / 3600 % 24;
    const uint64_t minutes = seconds / 60 % 60;
    std::string text;
    if (days > 0) {
        text += std::to_string(days) + "d ";
    }
    if (!text.empty() || hours > 0) {
        text += std::to_string(hours) + "h ";
    }
    if (!text.empty() || minutes > 0) {
        text += std::to_string(minutes) + "m ";
    }
    return text + std::to_string(seconds % 60) + "s";
}

std::string Move(int64_t seconds)
{
    if (seconds == 0) {
        return "not at all";
    }
    const uint64_t size =
        seconds < 0 ? 0 - static_cast<uint64_t>(seconds) : static_cast<uint64_t>(seconds);
    return (seconds < 0 ? "back " : "forward ") + Duration(size);
}

}  // namespace daksim::explain
