#include "Stamp.h"

#include <array>
#include <cstring>

namespace daksim::explain {

namespace {

bool Digit(char c)
{
    return c >= '0' && c <= '9';
}

// `count` digits at `at` as a number, or nullopt.
std::optional<int64_t> Digits(std::string_view text, size_t at, size_t count)
{
    if (at + count > text.size()) {
        return std::nullopt;
    }
    int64_t value = 0;
    for (size_t i = at; i < at + count; ++i) {
        if (!Digit(text[i])) {
            return std::nullopt;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

// "HH:MM:SS" at `at`: seconds of the day.
std::optional<int64_t> ClockTime(std::string_view text, size_t at)
{
    const auto hour = Digits(text, at, 2);
    const auto minute = Digits(text, at + 3, 2);
    const auto second = Digits(text, at + 6, 2);
    if (!hour || !minute || !second || text[at + 2] != ':' || text[at + 5] != ':' || *hour > 23 ||
        *minute > 59 || *second > 60) {
        return std::nullopt;
    }
    return *hour * 3600 + *minute * 60 + *second;
}

// A fraction ".123456" at `at` as milliseconds; `at` moves past it.
int64_t Fraction(std::string_view text, size_t& at)
{
    if (at >= text.size() || (text[at] != '.' && text[at] != ',')) {
        return 0;
    }
    ++at;
    int64_t ms = 0;
    int digits = 0;
    while (at < text.size() && Digit(text[at])) {
        if (digits < 3) {
            ms = ms * 10 + (text[at] - '0');
        }
        ++digits;
        ++at;
    }
    for (; digits < 3; ++digits) {
        ms *= 10;
    }
    return ms;
}

// "YYYY-MM-DD" at `at`: days since 1970.
std::optional<int64_t> Date(std::string_view text, size_t at)
{
    const auto year = Digits(text, at, 4);
    const auto month = Digits(text, at + 5, 2);
    const auto day = Digits(text, at + 8, 2);
    if (!year || !month || !day || text[at + 4] != '-' || text[at + 7] != '-' || *month < 1 ||
        *month > 12 || *day < 1 || *day > 31) {
        return std::nullopt;
    }
    return DaysFromCivil(*year, static_cast<unsigned>(*month), static_cast<unsigned>(*day));
}

// The simulator's elapsed time " +3d 04:05:06.789" at `at`.
std::optional<int64_t> Elapsed(std::string_view text, size_t& at)
{
    if (at + 2 >= text.size() || text[at] != ' ' || text[at + 1] != '+') {
        return std::nullopt;
    }
    size_t i = at + 2;
    int64_t days = 0;
    size_t digits = 0;
    while (i < text.size() && Digit(text[i]) && digits < 12) {
        days = days * 10 + (text[i] - '0');
        ++i;
        ++digits;
    }
    if (digits == 0 || i + 1 >= text.size() || text[i] != 'd' || text[i + 1] != ' ') {
        return std::nullopt;
    }
    const auto seconds = ClockTime(text, i + 2);
    if (!seconds) {
        return std::nullopt;
    }
    i += 10;
    const int64_t ms = Fraction(text, i);
    at = i;
    return (days * 86400 + *seconds) * 1000 + ms;
}

std::optional<Stamp> Calendar(std::string_view text, size_t at)
{
    const auto days = Date(text, at);
    if (!days || at + 19 > text.size() || (text[at + 10] != 'T' && text[at + 10] != ' ')) {
        return std::nullopt;
    }
    const auto seconds = ClockTime(text, at + 11);
    if (!seconds) {
        return std::nullopt;
    }
    size_t i = at + 19;
    const int64_t ms = Fraction(text, i);
    int64_t offset = 0;
    if (i < text.size() && text[i] == 'Z') {
        ++i;
    } else if (i + 5 < text.size() && (text[i] == '+' || text[i] == '-')) {
        const auto hours = Digits(text, i + 1, 2);
        const size_t minutesAt = i + 3 < text.size() && text[i + 3] == ':' ? i + 4 : i + 3;
        const auto minutes = Digits(text, minutesAt, 2);
        if (hours && minutes) {
            offset = (*hours * 60 + *minutes) * 60 * (text[i] == '-' ? -1 : 1);
            i = minutesAt + 2;
        }
    }
    Stamp stamp;
    const int64_t utc = *days * 86400 + *seconds - offset;
    stamp.ms = utc * 1000 + ms;
    stamp.length = i;
    size_t after = i;
    if (const auto elapsed = Elapsed(text, after)) {
        stamp.kind = Stamp::Kind::Simulator;
        stamp.clock = utc;
        stamp.ms = *elapsed;
        stamp.length = after;
    }
    return stamp;
}

std::optional<Stamp> Syslog(std::string_view text, size_t at)
{
    static constexpr std::array<const char*, 12> kMonths = {
        "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    if (at + 15 > text.size()) {
        return std::nullopt;
    }
    unsigned month = 0;
    while (month < 12 && std::memcmp(text.data() + at, kMonths[month], 3) != 0) {
        ++month;
    }
    if (month == 12 || text[at + 3] != ' ') {
        return std::nullopt;
    }
    const char tens = text[at + 4] == ' ' ? '0' : text[at + 4];
    if (!Digit(tens) || !Digit(text[at + 5]) || text[at + 6] != ' ') {
        return std::nullopt;
    }
    const auto day = static_cast<unsigned>((tens - '0') * 10 + (text[at + 5] - '0'));
    const auto seconds = ClockTime(text, at + 7);
    if (day < 1 || day > 31 || !seconds) {
        return std::nullopt;
    }
    size_t i = at + 15;
    const int64_t ms = Fraction(text, i);
    Stamp stamp;
    stamp.kind = Stamp::Kind::Syslog;
    stamp.ms = (DaysFromCivil(1970, month + 1, day) * 86400 + *seconds) * 1000 + ms;
    stamp.length = i;
    return stamp;
}

std::optional<Stamp> Uptime(std::string_view text, size_t at)
{
    size_t i = at + 1;
    while (i < text.size() && text[i] == ' ') {
        ++i;
    }
    int64_t seconds = 0;
    size_t digits = 0;
    while (i < text.size() && Digit(text[i]) && digits < 12) {
        seconds = seconds * 10 + (text[i] - '0');
        ++i;
        ++digits;
    }
    if (digits == 0 || i >= text.size() || text[i] != '.') {
        return std::nullopt;
    }
    const int64_t ms = Fraction(text, i);
    if (i >= text.size() || text[i] != ']') {
        return std::nullopt;
    }
    Stamp stamp;
    stamp.kind = Stamp::Kind::Uptime;
    stamp.ms = seconds * 1000 + ms;
    stamp.length = i + 1;
    return stamp;
}

}  // namespace

int64_t DaysFromCivil(int64_t year, unsigned month, unsigned day)
{
    year -= month <= 2 ? 1 : 0;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const auto yearOfEra = static_cast<unsigned>(year - era * 400);
    const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + static_cast<int64_t>(dayOfEra) - 719468;
}

std::optional<Stamp> ReadStamp(std::string_view line)
{
    size_t at = 0;
    if (!line.empty() && line[0] == '<') {  // a syslog priority
        const size_t close = line.find('>');
        if (close <= 4) {  // npos is more
            at = close + 1;
        }
    }
    if (at >= line.size()) {
        return std::nullopt;
    }
    std::optional<Stamp> stamp;
    if (Digit(line[at])) {
        stamp = Calendar(line, at);
    } else if (line[at] == '[') {
        stamp = Uptime(line, at);
    } else {
        stamp = Syslog(line, at);
    }
    return stamp;
}

}  // namespace daksim::explain
