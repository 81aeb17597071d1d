#include "DvbTime.h"

#include <array>
#include <cstdio>

#include "Calendar.h"

namespace dakinput {

namespace {

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
    return dakcal::UtcFromMjd(mjd) + int64_t{*hours} * 3600 + int64_t{*minutes} * 60 +
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
    const auto mjd = static_cast<uint64_t>(dakcal::MjdFromUtc(utc)) & 0xFFFFU;
    const auto s = static_cast<uint32_t>(dakcal::FloorMod(utc, dakcal::kSecondsPerDay));
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
    const int64_t second = dakcal::FloorMod(utc, dakcal::kSecondsPerDay);
    const dakcal::CivilDate date =
        dakcal::CivilFromDays(dakcal::FloorDiv(utc, dakcal::kSecondsPerDay));
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04lld-%02d-%02dT%02lld:%02lld:%02lldZ",
                  static_cast<long long>(date.year), date.month, date.day,
                  static_cast<long long>(second / 3600), static_cast<long long>(second / 60 % 60),
                  static_cast<long long>(second % 60));
    return text.data();
}

}  // namespace dakinput
