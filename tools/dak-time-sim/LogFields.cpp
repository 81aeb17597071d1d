#include "LogFields.h"

namespace daksim {

bool Has(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

std::optional<int64_t> NumberAfter(std::string_view text, std::string_view key)
{
    const size_t at = text.find(key);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    size_t i = at + key.size();
    while (i < text.size() && text[i] == ' ') {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
        negative = text[i] == '-';
        ++i;
    }
    const size_t first = i;
    int64_t value = 0;
    // Up to 18 digits: no overflow, whatever the log holds.
    while (i < text.size() && text[i] >= '0' && text[i] <= '9' && i - first < 18) {
        value = value * 10 + (text[i] - '0');
        ++i;
    }
    if (i == first) {
        return std::nullopt;
    }
    return negative ? -value : value;
}

std::string WordAfter(std::string_view text, std::string_view key)
{
    size_t at = text.find(key);
    if (at == std::string_view::npos) {
        return {};
    }
    at += key.size();
    while (at < text.size() && text[at] == ' ') {
        ++at;
    }
    size_t end = at;
    while (end < text.size() && text[end] != ' ' && text[end] != ',' && text[end] != '\x1b') {
        ++end;
    }
    return std::string(text.substr(at, end - at));
}

}  // namespace daksim
