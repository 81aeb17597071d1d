#include "Vocabulary.h"

#include <array>
#include <charconv>
#include <utility>

#include "TimeSettingTypes.h"

namespace daksim {

namespace {

struct Name {
    const char* shortName;
    const char* printedName;
    int64_t value;
};

// 3 has no name of its own: "3" reads as the integer.
constexpr std::array<Name, 7> kSetTypes = {{
    {"manual", "SetType_manual", SetType_manual},
    {"stream", "SetType_stream", SetType_stream},
    {"net", "SetType_net", SetType_net},
    {"netfail", "SetType_netfail", SetType_netfail},
    {"sync", "SetType_sync", SetType_sync},
    {"init", "SetType_init", SetType_init},
    {"facotryreset", "SetType_facotryreset", SetType_facotryreset},
}};

constexpr std::array<Name, 4> kReasons = {{
    {"init", "Reason_init", Reason_init},
    {"micom", "Reason_micom", Reason_micom},
    {"net", "Reason_net", Reason_net},
    {"stream", "Reason_stream", Reason_stream},
}};

constexpr std::array<Name, 3> kAutoTypes = {{
    {"stream", "AutoType_stream", AutoType_stream},
    {"net", "AutoType_net", AutoType_net},
    {"max", "AutoType_max", AutoType_max},
}};

template <size_t N>
std::optional<int64_t> Lookup(const std::array<Name, N>& names, std::string_view word)
{
    for (const auto& name : names) {
        if (SameWord(word, name.shortName) || SameWord(word, name.printedName)) {
            return name.value;
        }
    }
    return ParseInteger(word);
}

template <size_t N>
std::string Print(const std::array<Name, N>& names, int64_t value, const char* unknown)
{
    for (const auto& name : names) {
        if (name.value == value) {
            return name.printedName;
        }
    }
    return unknown;
}

char Lower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool SameWord(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (Lower(a[i]) != Lower(b[i])) {
            return false;
        }
    }
    return true;
}

std::optional<int64_t> ParseInteger(std::string_view word)
{
    if (word.empty()) {
        return std::nullopt;
    }
    int64_t value = 0;
    const char* first = word.data();
    const char* last = word.data() + word.size();
    const auto [end, error] = std::from_chars(first, last, value);
    if (error != std::errc() || end != last) {
        return std::nullopt;
    }
    return value;
}

std::optional<bool> ParseBool(std::string_view word)
{
    if (word == "1" || SameWord(word, "true") || SameWord(word, "on")) {
        return true;
    }
    if (word == "0" || SameWord(word, "false") || SameWord(word, "off")) {
        return false;
    }
    return std::nullopt;
}

std::optional<int64_t> ParseSetType(std::string_view word)
{
    return Lookup(kSetTypes, word);
}

std::optional<int64_t> ParseReason(std::string_view word)
{
    return Lookup(kReasons, word);
}

std::optional<int64_t> ParseAutoType(std::string_view word)
{
    return Lookup(kAutoTypes, word);
}

std::string SetTypeName(int64_t value)
{
    return Print(kSetTypes, value, "SetType_unknown");
}

std::string ReasonName(int64_t value)
{
    return Print(kReasons, value, "Reason_unknown");
}

std::string AutoTypeName(int64_t value)
{
    return Print(kAutoTypes, value, "AutoType_unknown");
}

}  // namespace daksim
