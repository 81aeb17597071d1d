// The time encodings of DVB's time tables: a 16-bit Modified Julian Date
// followed by the UTC time of day in six BCD digits (hhmmss), and the BCD
// hhmm offsets of the local time offset descriptor.
#pragma once

#include <cstdint>
#include <optional>

namespace daksim::capture {

// Seconds since 1970-01-01 of a 40-bit MJD + BCD hhmmss field, computed in
// 32 bits as the set's parser does (a date before 1970 wraps). Nothing when
// a digit is not decimal or the time of day is out of range.
std::optional<uint32_t> MjdBcdToUtc(uint64_t field);

// Minutes of a 16-bit BCD hhmm offset; nothing when a digit is not decimal
// or the minutes exceed 59.
std::optional<int32_t> BcdHhmmToMinutes(uint16_t field);

// The reverse, for writing captures.
uint64_t UtcToMjdBcd(uint32_t utc);
uint16_t MinutesToBcdHhmm(int32_t minutes);  // magnitude only

}  // namespace daksim::capture
