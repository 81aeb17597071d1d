// The host platform's one civil calendar: proleptic Gregorian UTC over every
// 64-bit second count, with Howard Hinnant's days_from_civil and
// civil_from_days. The fake hardware clock, the date conversion provider, the
// simulator and the tests all convert through it.
#include <cstdint>
#include <ctime>

#include "DakHostControl.h"

namespace {

constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kDaysPerEra = 146097;          // 400 Gregorian years
constexpr int64_t kEpochFromMarch0000 = 719468;  // days from 0000-03-01 to 1970-01-01

// Rounds towards minus infinity, so that an instant before 1970 falls in the
// day (or week) that began before it.
int64_t FloorDiv(int64_t value, int64_t by)
{
    return value / by - (value % by < 0 ? 1 : 0);
}

int64_t FloorMod(int64_t value, int64_t by)
{
    return value - FloorDiv(value, by) * by;
}

// Days since 1970-01-01; the year counts from 1 March so that the leap day
// is the last day of its year.
int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day)
{
    year -= month <= 2 ? 1 : 0;
    const int64_t era = FloorDiv(year, 400);
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * ((month + 9) % 12) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * kDaysPerEra + dayOfEra - kEpochFromMarch0000;
}

}  // namespace

namespace dakhost {

int64_t UtcFromCivil(int64_t year, int month, int day, int hour, int minute, int second)
{
    return DaysFromCivil(year, month, day) * kSecondsPerDay + int64_t{hour} * 3600 +
           int64_t{minute} * 60 + second;
}

void CivilFromUtc(int64_t utc, tm* out)
{
    const int64_t days = FloorDiv(utc, kSecondsPerDay);
    const int64_t secondOfDay = utc - days * kSecondsPerDay;

    const int64_t shifted = days + kEpochFromMarch0000;
    const int64_t era = FloorDiv(shifted, kDaysPerEra);
    const int64_t dayOfEra = shifted - era * kDaysPerEra;
    const int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    const int64_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    const int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);

    *out = tm{};
    out->tm_sec = static_cast<int>(secondOfDay % 60);
    out->tm_min = static_cast<int>(secondOfDay / 60 % 60);
    out->tm_hour = static_cast<int>(secondOfDay / 3600);
    out->tm_mday = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    out->tm_mon = static_cast<int>(month - 1);
    out->tm_year = static_cast<int>(year - 1900);
    out->tm_wday = static_cast<int>(FloorMod(days + 4, 7));  // 1970-01-01 was a Thursday
    out->tm_yday = static_cast<int>(days - DaysFromCivil(year, 1, 1));
    out->tm_isdst = 0;
#if defined(__GLIBC__)
    out->tm_gmtoff = 0;
    out->tm_zone = "UTC";
#endif
}

}  // namespace dakhost
