#include "Values.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "DakHostControl.h"
#include "TimeText.h"
#include "Vocabulary.h"

namespace daksim::grammar {

namespace {

constexpr int64_t kMinSigned32 = std::numeric_limits<int32_t>::min();
constexpr int64_t kMaxSigned32 = std::numeric_limits<int32_t>::max();

}  // namespace

int64_t Integer(const Word& word, const char* what)
{
    const auto value = ParseInteger(word.text);
    if (!value) {
        throw LineError{std::string("bad ") + what + " " + Quote(word.text) + " (want an integer)"};
    }
    return *value;
}

std::optional<int32_t> AsInt32(std::string_view text)
{
    const auto value = ParseInteger(text);
    if (!value || *value < kMinSigned32 || *value > kMaxSigned32) {
        return std::nullopt;
    }
    return static_cast<int32_t>(*value);
}

int32_t Int32(const Word& word, const char* what)
{
    const int64_t value = Integer(word, what);
    if (value < kMinSigned32 || value > kMaxSigned32) {
        throw LineError{std::string(what) + " out of range " + Quote(word.text) +
                        " (want a 32-bit integer)"};
    }
    return static_cast<int32_t>(value);
}

bool Boolean(const Word& word, const char* what)
{
    const auto value = ParseBool(word.text);
    if (!value) {
        throw LineError{std::string("bad ") + what + " " + Quote(word.text) +
                        " (want 0/1, false/true or off/on)"};
    }
    return *value;
}

int32_t WireOffset(const std::string& text)
{
    const bool negative = !text.empty() && text[0] == '-';
    const bool signed_ = !text.empty() && (text[0] == '-' || text[0] == '+');
    const std::string body = text.substr(signed_ ? 1 : 0);
    const size_t colon = body.find(':');
    const std::string hours = body.substr(0, colon);
    const std::string minutes = colon == std::string::npos ? "00" : body.substr(colon + 1);
    const auto digits = [](const std::string& part, size_t most) {
        return !part.empty() && part.size() <= most &&
               std::all_of(part.begin(), part.end(),
                           [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
    };
    if (!digits(hours, 2) || !digits(minutes, 2) || minutes.size() != 2 || std::stoi(hours) > 14 ||
        std::stoi(minutes) > 59) {
        throw LineError{"bad wire offset " + Quote(text) + " (want +9, -3 or +5:30)"};
    }
    const int32_t total = std::stoi(hours) * 60 + std::stoi(minutes);
    return negative ? -total : total;
}

int64_t SetType(const Word& word)
{
    const auto value = ParseSetType(word.text);
    if (!value) {
        throw LineError{"bad setting type " + Quote(word.text) +
                        " (want manual stream net 3 netfail sync init facotryreset, a printed "
                        "name or an integer)"};
    }
    return *value;
}

int64_t Reason(const Word& word)
{
    const auto value = ParseReason(word.text);
    if (!value || *value < kMinSigned32 || *value > kMaxSigned32) {
        throw LineError{"bad reason " + Quote(word.text) +
                        " (want init micom net stream, a printed name or an integer)"};
    }
    return *value;
}

int64_t AutoType(const Word& word)
{
    const auto value = ParseAutoType(word.text);
    if (!value || *value < kMinSigned32 || *value > kMaxSigned32) {
        throw LineError{"bad auto clock type " + Quote(word.text) +
                        " (want stream net max, a printed name or an integer)"};
    }
    return *value;
}

TimeValue Time(const Word& word, Tolerance tolerance, int64_t maximum)
{
    const std::string& text = word.text;
    TimeValue time;
    std::string_view base = text;
    const size_t tilde = text.find('~');
    if (tilde != std::string::npos) {
        if (tolerance == Tolerance::Refused) {
            throw LineError{"no tolerance allowed here " + Quote(text)};
        }
        const auto within = ParseInteger(std::string_view(text).substr(tilde + 1));
        if (!within || *within < 0) {
            throw LineError{"bad tolerance " + Quote(text) + " (want TIME~SECONDS)"};
        }
        time.tolerance = *within;
        base = base.substr(0, tilde);
    }
    if (SameWord(base, "now")) {
        time.now = true;
        return time;
    }
    std::optional<int64_t> seconds = UtcFromIso(base);
    if (!seconds && !base.empty() && base.front() >= '0' && base.front() <= '9') {
        seconds = ParseInteger(base);
    }
    if (!seconds) {
        throw LineError{"bad time " + Quote(text) +
                        " (want 2024-03-05T10:00:00Z, seconds since 1970 or now)"};
    }
    if (*seconds < 0 || *seconds > maximum) {
        throw LineError{"time out of range " + Quote(text) + " (at most " +
                        std::to_string(maximum) + ")"};
    }
    time.seconds = *seconds;
    return time;
}

int64_t Duration(const Word& word)
{
    const std::string& text = word.text;
    struct Unit {
        const char* suffix;
        int64_t ms;
    };
    static constexpr Unit kUnits[] = {
        {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}, {"d", 86400000}};
    for (const Unit& unit : kUnits) {
        const std::string_view suffix = unit.suffix;
        if (text.size() <= suffix.size() ||
            text.compare(text.size() - suffix.size(), suffix.size(), suffix) != 0) {
            continue;
        }
        const std::string_view number =
            std::string_view(text).substr(0, text.size() - suffix.size());
        const auto value = ParseInteger(number);
        if (!value || *value < 0) {
            break;
        }
        if (*value > std::numeric_limits<int64_t>::max() / unit.ms) {
            throw LineError{"duration too long " + Quote(text)};
        }
        return *value * unit.ms;
    }
    throw LineError{"bad duration " + Quote(text) + " (want a number with ms, s, m, h or d)"};
}

TimeValue FirstStreamTime(const Word& word, Tolerance tolerance)
{
    const auto integer = ParseInteger(word.text);
    if (integer && *integer < 0) {
        TimeValue stored;
        stored.seconds = Int32(word, "first stream time");
        return stored;
    }
    return Time(word, tolerance);
}

int64_t TimeOfChange(const Word& word)
{
    const auto integer = ParseInteger(word.text);
    if (integer && *integer < 0) {
        return static_cast<int64_t>(static_cast<uint32_t>(Int32(word, "time of change")));
    }
    return Time(word, Tolerance::Refused).seconds;
}

args::StreamHandle Handle(const Word& word)
{
    const std::string& text = word.text;
    const size_t slash = text.find('/');
    std::optional<int64_t> profile;
    std::optional<int64_t> sub;
    if (slash != std::string::npos) {
        profile = ParseInteger(std::string_view(text).substr(0, slash));
        sub = ParseInteger(std::string_view(text).substr(slash + 1));
    }
    if (!profile || !sub || *profile < kMinSigned32 || *profile > kMaxSigned32 || *sub < 0 ||
        *sub > std::numeric_limits<uint16_t>::max()) {
        throw LineError{"bad handle " + Quote(text) +
                        " (want PROFILE/SUB, a 32-bit profile and a 16-bit sub, e.g. 1/0)"};
    }
    return {static_cast<int32_t>(*profile), static_cast<uint16_t>(*sub)};
}

std::optional<int> ViaByName(std::string_view word)
{
    using dakhost::Via;
    static constexpr std::pair<const char*, Via> kVias[] = {
        {"Print", Via::Print}, {"PrintF", Via::PrintF}, {"Profiling", Via::Profiling},
        {"Trace", Via::Trace}, {"Assert", Via::Assert}, {"Stdout", Via::Stdout},
    };
    for (const auto& [name, via] : kVias) {
        if (SameWord(word, name)) {
            return static_cast<int>(via);
        }
    }
    return std::nullopt;
}

}  // namespace daksim::grammar
