#include "DvbTime.h"

#include <array>
#include <cstdio>

namespace dakinput {

namespace {

constexpr int64_t kMjdOf1970 = 40587;  // 1970-01-01
constexpr int64_t kSecondsPerDay = 86400;
// An MJD field below this counts from 0x10000 (2038-04-22 on).
constexpr uint32_t kMjdRollover = 0x8000;
constexpr int64_t kMjdWrap = 0x10000;

// Two BCD digits; nothing when either is above 9.
std::optional<uint32_t> Bcd2(uint32_t byte)
{
    const uint32_t high = (byte >> 4U) & 0xFU;
    const uint32_t low = byte & 0xFU;
    if (high > 9 || low > 9) {
        return std::nullopt;
    }
    return high * 10 + low;
}

uint32_t ToBcd2(uint32_t value)
{
    return ((value / 10U) << 4U) | (value % 10U);
}

}  // namespace

std::optional<int64_t> MjdBcdToUtc(uint64_t field)
{
    const auto mjdField = static_cast<uint32_t>((field >> 24U) & 0xFFFFU);
    const auto hours = Bcd2(static_cast<uint32_t>((field >> 16U) & 0xFFU));
    const auto minutes = Bcd2(static_cast<uint32_t>((field >> 8U) & 0xFFU));
    const auto seconds = Bcd2(static_cast<uint32_t>(field & 0xFFU));
    // A leap second may read 60.
    if (!hours || !minutes || !seconds || *hours > 23 || *minutes > 59 || *seconds > 60) {
        return std::nullopt;
    }
    const int64_t mjd = mjdField < kMjdRollover ? mjdField + kMjdWrap : int64_t{mjdField};
    return (mjd - kMjdOf1970) * kSecondsPerDay + int64_t{*hours} * 3600 + int64_t{*minutes} * 60 +
           int64_t{*seconds};
}

std::optional<int32_t> BcdHhmmToMinutes(uint16_t field)
{
    const auto hours = Bcd2(static_cast<uint32_t>(field >> 8U));
    const auto minutes = Bcd2(static_cast<uint32_t>(field & 0xFFU));
    if (!hours || !minutes || *minutes > 59) {
        return std::nullopt;
    }
    return static_cast<int32_t>(*hours * 60 + *minutes);
}

uint64_t UtcToMjdBcd(int64_t utc)
{
    // Days and seconds rounded down, also before 1970.
    int64_t days = utc / kSecondsPerDay;
    int64_t second = utc % kSecondsPerDay;
    if (second < 0) {
        second += kSecondsPerDay;
        --days;
    }
    const auto mjd = static_cast<uint64_t>(days + kMjdOf1970) & 0xFFFFU;
    const auto s = static_cast<uint32_t>(second);
    return (mjd << 24U) | (static_cast<uint64_t>(ToBcd2(s / 3600U)) << 16U) |
           (static_cast<uint64_t>(ToBcd2(s / 60U % 60U)) << 8U) | ToBcd2(s % 60U);
}

uint16_t MinutesToBcdHhmm(int32_t minutes)
{
    const auto magnitude = static_cast<uint32_t>(minutes < 0 ? -minutes : minutes);
    return static_cast<uint16_t>((ToBcd2(magnitude / 60U % 100U) << 8U) | ToBcd2(magnitude % 60U));
}

std::string UtcText(int64_t utc)
{
    int64_t days = utc / kSecondsPerDay;
    int64_t second = utc % kSecondsPerDay;
    if (second < 0) {
        second += kSecondsPerDay;
        --days;
    }
    // Days to the proleptic Gregorian calendar, in eras of 400 years from
    // 0000-03-01.
    const int64_t z = days + 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const int64_t day = doy - (153 * mp + 2) / 5 + 1;
    const int64_t month = mp < 10 ? mp + 3 : mp - 9;
    const int64_t year = yoe + era * 400 + (month <= 2 ? 1 : 0);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04lld-%02lld-%02lldT%02lld:%02lld:%02lldZ",
                  static_cast<long long>(year), static_cast<long long>(month),
                  static_cast<long long>(day), static_cast<long long>(second / 3600),
                  static_cast<long long>(second / 60 % 60), static_cast<long long>(second % 60));
    return text.data();
}

}  // namespace dakinput
