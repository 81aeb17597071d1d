#include "DvbTime.h"

namespace daksim::capture {

namespace {

constexpr uint32_t kMjdOf1970 = 40587;  // 1970-01-01
constexpr uint32_t kSecondsPerDay = 86400;

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

std::optional<uint32_t> MjdBcdToUtc(uint64_t field)
{
    const auto mjd = static_cast<uint32_t>((field >> 24U) & 0xFFFFU);
    const auto hours = Bcd2(static_cast<uint32_t>((field >> 16U) & 0xFFU));
    const auto minutes = Bcd2(static_cast<uint32_t>((field >> 8U) & 0xFFU));
    const auto seconds = Bcd2(static_cast<uint32_t>(field & 0xFFU));
    // A leap second may read 60.
    if (!hours || !minutes || !seconds || *hours > 23 || *minutes > 59 || *seconds > 60) {
        return std::nullopt;
    }
    return (mjd - kMjdOf1970) * kSecondsPerDay + *hours * 3600U + *minutes * 60U + *seconds;
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

uint64_t UtcToMjdBcd(uint32_t utc)
{
    const uint32_t mjd = utc / kSecondsPerDay + kMjdOf1970;
    const uint32_t second = utc % kSecondsPerDay;
    return (static_cast<uint64_t>(mjd & 0xFFFFU) << 24U) |
           (static_cast<uint64_t>(ToBcd2(second / 3600U)) << 16U) |
           (static_cast<uint64_t>(ToBcd2(second / 60U % 60U)) << 8U) | ToBcd2(second % 60U);
}

uint16_t MinutesToBcdHhmm(int32_t minutes)
{
    const auto magnitude = static_cast<uint32_t>(minutes < 0 ? -minutes : minutes);
    return static_cast<uint16_t>((ToBcd2(magnitude / 60U % 100U) << 8U) | ToBcd2(magnitude % 60U));
}

}  // namespace daksim::capture
