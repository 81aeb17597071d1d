#include "TimeText.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "Calendar.h"

namespace daksim {

namespace {

// Reads `count` decimal digits at `pos`; -1 when one is not a digit.
int64_t Digits(std::string_view text, size_t pos, size_t count)
{
    int64_t value = 0;
    for (size_t i = pos; i < pos + count; ++i) {
        const char c = text[i];
        if (c < '0' || c > '9') {
            return -1;
        }
        value = value * 10 + (c - '0');
    }
    return value;
}

}  // namespace

std::string IsoFromUtc(int64_t utc)
{
    tm civil{};
    dakcal::CivilFromUtc(utc, &civil);
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%04lld-%02d-%02dT%02d:%02d:%02dZ",
                  static_cast<long long>(civil.tm_year) + 1900, civil.tm_mon + 1, civil.tm_mday,
                  civil.tm_hour, civil.tm_min, civil.tm_sec);
    return buffer.data();
}

std::optional<int64_t> UtcFromIso(std::string_view text)
{
    // 0123456789012345678 9
    // YYYY-MM-DDTHH:MM:SS Z
    if (text.size() != 20 || text[4] != '-' || text[7] != '-' || (text[10] != 'T') ||
        text[13] != ':' || text[16] != ':' || text[19] != 'Z') {
        return std::nullopt;
    }
    const int64_t year = Digits(text, 0, 4);
    const int64_t month = Digits(text, 5, 2);
    const int64_t day = Digits(text, 8, 2);
    const int64_t hour = Digits(text, 11, 2);
    const int64_t minute = Digits(text, 14, 2);
    const int64_t second = Digits(text, 17, 2);
    if (year < 0 || month < 1 || month > 12 || day < 1 || hour < 0 || hour > 23 || minute < 0 ||
        minute > 59 || second < 0 || second > 59) {
        return std::nullopt;
    }
    const int64_t utc = dakcal::UtcFromCivil(year, static_cast<int>(month), static_cast<int>(day),
                                             static_cast<int>(hour), static_cast<int>(minute),
                                             static_cast<int>(second));
    // A day past the month's end comes back as a day of the next month.
    tm civil{};
    dakcal::CivilFromUtc(utc, &civil);
    if (civil.tm_mday != day) {
        return std::nullopt;
    }
    return utc;
}

}  // namespace daksim
