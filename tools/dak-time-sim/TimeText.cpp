#include "TimeText.h"

#include <array>
#include <cstdio>

namespace daksim {

namespace {

constexpr int64_t kSecondsPerDay = 86400;

bool IsLeap(int64_t year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int64_t year, int month)
{
    static constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month == 2 && IsLeap(year)) {
        return 29;
    }
    return kDays.at(static_cast<size_t>(month - 1));
}

// Days since 1970-01-01 (Howard Hinnant's days_from_civil).
int64_t DaysFromCivil(int64_t year, int month, int day)
{
    const int64_t y = year - (month <= 2 ? 1 : 0);
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t mp = (month + 9) % 12;
    const int64_t doy = (153 * mp + 2) / 5 + day - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

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

int64_t UtcFromCivil(int64_t year, int month, int day, int hour, int minute, int second)
{
    return DaysFromCivil(year, month, day) * kSecondsPerDay + int64_t{hour} * 3600 +
           int64_t{minute} * 60 + second;
}

std::string IsoFromUtc(int64_t utc)
{
    int64_t days = utc / kSecondsPerDay;
    int64_t rest = utc % kSecondsPerDay;
    if (rest < 0) {
        rest += kSecondsPerDay;
        --days;
    }
    // civil_from_days
    const int64_t z = days + 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const int64_t day = doy - (153 * mp + 2) / 5 + 1;
    const int64_t month = mp < 10 ? mp + 3 : mp - 9;
    const int64_t year = yoe + era * 400 + (month <= 2 ? 1 : 0);

    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%04lld-%02lld-%02lldT%02lld:%02lld:%02lldZ",
                  static_cast<long long>(year), static_cast<long long>(month),
                  static_cast<long long>(day), static_cast<long long>(rest / 3600),
                  static_cast<long long>(rest / 60 % 60), static_cast<long long>(rest % 60));
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
    if (day > DaysInMonth(year, static_cast<int>(month))) {
        return std::nullopt;
    }
    return UtcFromCivil(year, static_cast<int>(month), static_cast<int>(day),
                        static_cast<int>(hour), static_cast<int>(minute), static_cast<int>(second));
}

}  // namespace daksim
