// The library's own calendar arithmetic for the hardware clock: calendar
// time (struct rtc_time, always UTC) to UTC seconds, in unsigned 32-bit
// arithmetic so that a 64-bit build gives the 32-bit set's answers.
#pragma once

#include <linux/rtc.h>

#include <cstdint>

namespace dak {

// Days of a common year before the first of each month; the thirteenth entry
// is the length of the year.
constexpr int32_t kDaysBeforeMonth[13] = {0,   31,  59,  90,  120, 151, 181,
                                          212, 243, 273, 304, 334, 365};

// The years the hardware clock may hold: from 1970, and up to 2105, the last
// whole year below 2^32 seconds.
constexpr int kFirstRtcYear = 70;  // 1970, counted from 1900
constexpr int kLastRtcYear = 205;  // 2105

constexpr bool IsRtcMonthValid(int month)
{
    return month >= 0 && month <= 11;
}

// Can the registers stand for a calendar time between 1970 and 2105? A dead
// battery leaves zeros, a corrupted chip anything; such a reading is no time,
// and the arithmetic below would wrap it into the valid range.
constexpr bool IsRtcReadingValid(const rtc_time& tm)
{
    if (tm.tm_year < kFirstRtcYear || tm.tm_year > kLastRtcYear || !IsRtcMonthValid(tm.tm_mon)) {
        return false;
    }
    const int year = tm.tm_year + 1900;
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    const int monthDays = kDaysBeforeMonth[tm.tm_mon + 1] - kDaysBeforeMonth[tm.tm_mon] +
                          (tm.tm_mon == 1 && leap ? 1 : 0);
    return tm.tm_mday >= 1 && tm.tm_mday <= monthDays && tm.tm_hour >= 0 && tm.tm_hour <= 23 &&
           tm.tm_min >= 0 && tm.tm_min <= 59 && tm.tm_sec >= 0 && tm.tm_sec <= 59;
}

// Every fourth year is a leap year, with no century exception: exact from
// 1970-01-01 to 2100-01-01. Fields are not normalised. A month outside 0-11
// is clamped to the nearest month so that the table is never read outside
// its bounds; the device reader rejects such readings before they get here.
constexpr uint32_t RtcToUtc(const rtc_time& tm)
{
    const int month = tm.tm_mon < 0 ? 0 : (tm.tm_mon > 11 ? 11 : tm.tm_mon);
    const int64_t year = tm.tm_year;  // years since 1900
    uint32_t days =
        static_cast<uint32_t>(year - 70) * 365U + static_cast<uint32_t>((year - 69) / 4) +
        static_cast<uint32_t>(kDaysBeforeMonth[month]) + static_cast<uint32_t>(tm.tm_mday) - 1U;
    if (month > 1 && year % 4 == 0) {
        days += 1U;
    }
    return static_cast<uint32_t>(tm.tm_sec) + 60U * static_cast<uint32_t>(tm.tm_min) +
           3600U * (static_cast<uint32_t>(tm.tm_hour) + 24U * days);
}

// 00:00:00 UTC on 1 January of `year` (a full year number, such as 2001).
constexpr uint32_t YearToUtc(int year)
{
    rtc_time tm{};
    tm.tm_mday = 1;
    tm.tm_year = year - 1900;
    return RtcToUtc(tm);
}

static_assert(YearToUtc(1970) == 0U, "epoch");
static_assert(YearToUtc(2001) == 978307200U, "lower bound of the valid range");
static_assert(YearToUtc(2100) == 4102444800U, "upper bound of the valid range");
// The last second of the last year a reading may hold still fits 32 bits.
static_assert(YearToUtc(2106) - 1U > YearToUtc(2105) && YearToUtc(2106) - 1U < 0xFFFFFFFFU,
              "2105 fits in 32-bit seconds");

}  // namespace dak
