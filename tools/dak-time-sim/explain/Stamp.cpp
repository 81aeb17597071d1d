#include "Stamp.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Calendar.h"

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
    return dakcal::DaysFromCivil(*year, *month, *day);
}

// Seconds since 1970 from this on (2001) are taken for a date, below it for
// an uptime.
constexpr int64_t kEpochStampFrom = 978307200;

// The time of day of a stamp without a year, at `at`.
std::optional<Stamp> WithoutYear(std::string_view text, unsigned month, unsigned day, size_t at)
{
    const auto seconds = ClockTime(text, at);
    if (month < 1 || month > 12 || day < 1 || day > 31 || !seconds) {
        return std::nullopt;
    }
    size_t i = at + 8;
    const int64_t ms = Fraction(text, i);
    Stamp stamp;
    stamp.kind = Stamp::Kind::Syslog;
    stamp.month = month;
    stamp.day = day;
    stamp.ms = *seconds * 1000 + ms;
    stamp.length = i;
    return stamp;
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
    if (i + 4 <= text.size() && text[i] == ' ' &&
        (text.compare(i + 1, 3, "UTC") == 0 || text.compare(i + 1, 3, "GMT") == 0)) {
        i += 4;  // journald's short-full names the zone
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

// "Mon DD HH:MM:SS[.frac]" (syslog, journald's short): no year.
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
    return WithoutYear(text, month + 1, day, at + 7);
}

// logcat's "MM-DD HH:MM:SS.mmm" (time, threadtime): no year.
std::optional<Stamp> MonthDay(std::string_view text, size_t at)
{
    const auto month = Digits(text, at, 2);
    const auto day = Digits(text, at + 3, 2);
    if (!month || !day || text[at + 2] != '-' || at + 5 >= text.size() || text[at + 5] != ' ') {
        return std::nullopt;
    }
    return WithoutYear(text, static_cast<unsigned>(*month), static_cast<unsigned>(*day), at + 6);
}

// Spaces, then seconds with a fraction ("  1234.567") at `at`, followed by
// `end`: milliseconds, with `at` moved past `end`.
std::optional<int64_t> SecondsAndFraction(std::string_view text, size_t& at, char end)
{
    size_t i = at;
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
    if (digits == 0 || i + 1 >= text.size() || text[i] != '.' || !Digit(text[i + 1])) {
        return std::nullopt;
    }
    const int64_t ms = Fraction(text, i);
    if (i >= text.size() || text[i] != end) {
        return std::nullopt;
    }
    at = i + 1;
    return seconds * 1000 + ms;
}

// Seconds with a fraction and a space after ("1709620200.123 ", logcat's
// epoch; "  1234.567 ", its monotonic): since 1970 when they could be a
// date of this century, else since boot.
std::optional<Stamp> Seconds(std::string_view text, size_t at)
{
    const auto ms = SecondsAndFraction(text, at, ' ');
    if (!ms) {
        return std::nullopt;
    }
    Stamp stamp;
    stamp.kind = *ms >= kEpochStampFrom * 1000 ? Stamp::Kind::Calendar : Stamp::Kind::Uptime;
    stamp.ms = *ms;
    stamp.length = at - 1;  // the space is the rest's
    return stamp;
}

// The kernel's "[ 1234.567890]".
std::optional<Stamp> Uptime(std::string_view text, size_t at)
{
    ++at;
    const auto ms = SecondsAndFraction(text, at, ']');
    if (!ms) {
        return std::nullopt;
    }
    Stamp stamp;
    stamp.kind = Stamp::Kind::Uptime;
    stamp.ms = *ms;
    stamp.length = at;
    return stamp;
}

}  // namespace

int64_t InYear(const Stamp& stamp, int64_t year)
{
    return dakcal::DaysFromCivil(year, stamp.month, stamp.day) * dakcal::kSecondsPerDay * 1000 +
           stamp.ms;
}

int64_t YearOf(int64_t utc)
{
    return dakcal::CivilFromDays(dakcal::FloorDiv(utc, dakcal::kSecondsPerDay)).year;
}

std::optional<Stamp> ReadStamp(std::string_view line)
{
    size_t at = 0;
    if (!line.empty() && line[0] == '<') {  // a syslog priority
        const size_t close = line.find('>');
        if (close <= 4) {  // npos is more
            at = close + 1;
            if (line.compare(at, 2, "1 ") == 0) {
                at += 2;  // RFC 5424's version
            }
        }
    }
    if (at >= line.size()) {
        return std::nullopt;
    }
    std::optional<Stamp> stamp;
    if (Digit(line[at])) {
        stamp = Calendar(line, at);
        if (!stamp) {
            stamp = MonthDay(line, at);
        }
        if (!stamp) {
            stamp = Seconds(line, at);
        }
    } else if (line[at] == '[') {
        stamp = Uptime(line, at);
    } else if (line[at] == ' ') {
        stamp = Seconds(line, at);
    } else {
        stamp = Syslog(line, at);
        if (!stamp && at + 4 < line.size() && line[at + 3] == ' ') {
            stamp = Calendar(line, at + 4);  // a weekday first: journald's short-full
        }
    }
    return stamp;
}

}  // namespace daksim::explain
