#include "Vocabulary.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

#include "SystemTimeManager/TimeRules.h"
#include "TimeSettingTypes.h"

namespace daksim {

namespace {

// The scenario format's short names; the printed names are the library's
// own (SystemTimeManager/TimeRules.h).
struct Name {
    const char* shortName;
    int value;
};

// 3 has no name of its own: "3" reads as the integer.
constexpr std::array<Name, 7> kSetTypes = {{
    {"manual", SetType_manual},
    {"stream", SetType_stream},
    {"net", SetType_net},
    {"netfail", SetType_netfail},
    {"sync", SetType_sync},
    {"init", SetType_init},
    {"facotryreset", SetType_facotryreset},
}};

constexpr std::array<Name, 4> kReasons = {{
    {"init", Reason_init},
    {"micom", Reason_micom},
    {"net", Reason_net},
    {"stream", Reason_stream},
}};

constexpr std::array<Name, 3> kAutoTypes = {{
    {"stream", AutoType_stream},
    {"net", AutoType_net},
    {"max", AutoType_max},
}};

const char* PrintedSetType(int value)
{
    return dak::SettingTypeName(static_cast<ETimeSettingType>(value));
}
const char* PrintedReason(int value)
{
    return dak::ReasonName(static_cast<ESystemTimeReason>(value));
}
const char* PrintedAutoType(int value)
{
    return dak::AutoClockTypeName(static_cast<ETypeOfAutoClock>(value));
}

template <size_t N>
std::optional<int64_t> Lookup(const std::array<Name, N>& names, const char* (*printed)(int),
                              std::string_view word)
{
    for (const auto& name : names) {
        if (SameWord(word, name.shortName) || SameWord(word, printed(name.value))) {
            return name.value;
        }
    }
    return ParseInteger(word);
}

// The library's printed name of `value` (its "..._unknown" one for a value
// no enumerator of its holds).
std::string Print(const char* (*printed)(int), int64_t value)
{
    constexpr int64_t kOutside = -1000;  // no enumerator's value
    const bool fits = value >= INT32_MIN && value <= INT32_MAX;
    return printed(static_cast<int>(fits ? value : kOutside));
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
    return Lookup(kSetTypes, PrintedSetType, word);
}

std::optional<int64_t> ParseReason(std::string_view word)
{
    return Lookup(kReasons, PrintedReason, word);
}

std::optional<int64_t> ParseAutoType(std::string_view word)
{
    return Lookup(kAutoTypes, PrintedAutoType, word);
}

std::string SetTypeName(int64_t value)
{
    return Print(PrintedSetType, value);
}

std::string ReasonName(int64_t value)
{
    return Print(PrintedReason, value);
}

std::string AutoTypeName(int64_t value)
{
    return Print(PrintedAutoType, value);
}

}  // namespace daksim
