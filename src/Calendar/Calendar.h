// The project's one civil calendar, a header shared by the library, the host
// platform and the tools: proleptic Gregorian UTC over every 64-bit second
// count, also before 1970 (Howard Hinnant's days_from_civil and
// civil_from_days), the Modified Julian Date of broadcast time tables, and
// the hardware clock's calendar arithmetic as the set does it.
#pragma once

#include <linux/rtc.h>

#include <cstdint>
#include <ctime>

namespace dakcal {

constexpr int64_t kSecondsPerDay = 86400;

// Rounds towards minus infinity, so that an instant before 1970 falls in the
// day (or week) that began before it.
constexpr int64_t FloorDiv(int64_t value, int64_t by)
{
    return value / by - (value % by < 0 ? 1 : 0);
}

constexpr int64_t FloorMod(int64_t value, int64_t by)
{
    return value - FloorDiv(value, by) * by;
}

constexpr bool IsLeapYear(int64_t year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Days of a common year before the first of each month; the thirteenth entry
// is the length of the year.
constexpr int32_t kDaysBeforeMonth[13] = {0,   31,  59,  90,  120, 151, 181,
                                          212, 243, 273, 304, 334, 365};

namespace detail {

constexpr int64_t kDaysPerEra = 146097;          // 400 Gregorian years
constexpr int64_t kEpochFromMarch0000 = 719468;  // days from 0000-03-01 to 1970-01-01

}  // namespace detail

// Days since 1970-01-01 of a date, month 1-12. Nothing is checked: a day past
// the month's end runs into the next month. The year counts from 1 March so
// that the leap day is the last day of its year.
constexpr int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day)
{
    year -= month <= 2 ? 1 : 0;
    const int64_t era = FloorDiv(year, 400);
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * ((month + 9) % 12) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * detail::kDaysPerEra + dayOfEra - detail::kEpochFromMarch0000;
}

struct CivilDate {
    int64_t year = 1970;
    int month = 1;  // 1-12
    int day = 1;    // 1-31
};

// The date of a count of days since 1970-01-01.
constexpr CivilDate CivilFromDays(int64_t days)
{
    const int64_t shifted = days + detail::kEpochFromMarch0000;
    const int64_t era = FloorDiv(shifted, detail::kDaysPerEra);
    const int64_t dayOfEra = shifted - era * detail::kDaysPerEra;
    const int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    const int64_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    CivilDate date;
    date.year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    date.month = static_cast<int>(month);
    date.day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    return date;
}

// UTC seconds of a civil time, month 1-12; nothing is checked (a day past
// the month's end runs into the next month). A date is real when
// CivilFromUtc gives its day back.
constexpr int64_t UtcFromCivil(int64_t year, int month, int day, int hour, int minute, int second)
{
    return DaysFromCivil(year, month, day) * kSecondsPerDay + int64_t{hour} * 3600 +
           int64_t{minute} * 60 + second;
}

// Fills every field of `out`: tm_mon 0-11, tm_year from 1900, tm_wday,
// tm_yday, tm_isdst 0 and, with glibc, tm_gmtoff 0 and tm_zone "UTC".
inline void CivilFromUtc(int64_t utc, tm* out)
{
    const int64_t days = FloorDiv(utc, kSecondsPerDay);
    const int64_t secondOfDay = utc - days * kSecondsPerDay;
    const CivilDate date = CivilFromDays(days);
    *out = tm{};
    out->tm_sec = static_cast<int>(secondOfDay % 60);
    out->tm_min = static_cast<int>(secondOfDay / 60 % 60);
    out->tm_hour = static_cast<int>(secondOfDay / 3600);
    out->tm_mday = date.day;
    out->tm_mon = date.month - 1;
    out->tm_year = static_cast<int>(date.year - 1900);
    out->tm_wday = static_cast<int>(FloorMod(days + 4, 7));  // 1970-01-01 was a Thursday
    out->tm_yday = static_cast<int>(days - DaysFromCivil(date.year, 1, 1));
    out->tm_isdst = 0;
#if defined(__GLIBC__)
    out->tm_gmtoff = 0;
    out->tm_zone = "UTC";
#endif
}

// ---- Modified Julian Date ------------------------------------------------------------

constexpr int64_t kMjdOf1970 = 40587;  // 1970-01-01

constexpr int64_t UtcFromMjd(int64_t mjd)
{
    return (mjd - kMjdOf1970) * kSecondsPerDay;
}

constexpr int64_t MjdFromUtc(int64_t utc)
{
    return FloorDiv(utc, kSecondsPerDay) + kMjdOf1970;
}

// ---- the hardware clock, as the set reads it ------------------------------------------
// Calendar time (struct rtc_time, always UTC) to UTC seconds, in unsigned
// 32-bit arithmetic so that a 64-bit build gives the 32-bit set's answers.

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
    const int monthDays = kDaysBeforeMonth[tm.tm_mon + 1] - kDaysBeforeMonth[tm.tm_mon] +
                          (tm.tm_mon == 1 && IsLeapYear(tm.tm_year + 1900) ? 1 : 0);
    return tm.tm_mday >= 1 && tm.tm_mday <= monthDays && tm.tm_hour >= 0 && tm.tm_hour <= 23 &&
           tm.tm_min >= 0 && tm.tm_min <= 59 && tm.tm_sec >= 0 && tm.tm_sec <= 59;
}

// Every fourth year is a leap year, with no century exception: exact from
// 1970-01-01 to 2100-01-01, as the set counts. Fields are not normalised. A
// month outside 0-11 is clamped to the nearest month so that the table is
// never read outside its bounds; the device reader rejects such readings
// before they get here.
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
// Where the set's count and the proleptic calendar agree.
static_assert(int64_t{YearToUtc(2100)} == UtcFromCivil(2100, 1, 1, 0, 0, 0), "same calendar");
static_assert(UtcFromMjd(kMjdOf1970) == 0 && MjdFromUtc(-1) == kMjdOf1970 - 1, "MJD");

}  // namespace dakcal
