// The ATSC system time table (table 0xCD on PID 0x1FFB), decoded from its
// section. libdvbpsi's own STT decoder is not used: it hands over a table
// only when its version number changes, and an STT's version number never
// changes, so every STT after the first would be dropped; and it loses the
// first byte of daylight_savings, the one that carries DS_status.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace dakinput {

struct SttFields {
    uint32_t systemTime = 0;  // GPS seconds since 1980-01-06T00:00:00Z
    uint8_t gpsUtcOffset = 0;
    uint16_t daylightSavings = 0;  // DS_status is its top bit
};

// `section` is a whole section whose CRC has been checked, table id first.
// Nothing when it is not a current STT or too short for its fields.
std::optional<SttFields> DecodeStt(const uint8_t* section, size_t size);

// DS_status of a daylight_savings field.
inline bool DsStatus(uint16_t daylightSavings)
{
    return (daylightSavings & 0x8000U) != 0;
}

}  // namespace dakinput
