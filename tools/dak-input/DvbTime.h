// The time encodings of DVB's time tables: a 16-bit Modified Julian Date
// followed by the UTC time of day in six BCD digits (hhmmss), and the BCD
// hhmm offsets of the local time offset descriptor.
//
// The 16-bit MJD runs out on 2038-04-22; an MJD below 0x8000 counts from
// 0x10000, so the field covers 1948-09-05 to 2128-01-18 (how DVB has
// defined it since 2025).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace dakinput {

// Seconds since 1970-01-01 of a 40-bit MJD + BCD hhmmss field, in 64 bits
// (negative before 1970). Nothing when a digit is not decimal or the time
// of day is out of range.
std::optional<int64_t> MjdBcdToUtc(uint64_t field);

// Whether the set's unsigned 32-bit time can hold `utc`.
inline bool FitsSetTime(int64_t utc)
{
    return utc >= 0 && utc <= int64_t{0xFFFFFFFF};
}

// Minutes of a 16-bit BCD hhmm offset; nothing when a digit is not decimal
// or the minutes exceed 59.
std::optional<int32_t> BcdHhmmToMinutes(uint16_t field);

// The reverse, for writing captures: the MJD written modulo 0x10000, so
// that times from 1948 to 2128 come back as they went in.
uint64_t UtcToMjdBcd(int64_t utc);
uint16_t MinutesToBcdHhmm(int32_t minutes);  // magnitude only

// "2038-04-23T00:00:00Z", also for times the set's 32-bit time cannot hold.
std::string UtcText(int64_t utc);

}  // namespace dakinput
