// Writing small transport stream captures: time table sections in 188-byte
// packets, PCR packets, and damage on purpose. Used by the capture tests
// and make-capture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Capture.h"

namespace daksim::capture {

using Bytes = std::vector<uint8_t>;

// A local time offset entry: offsets in signed minutes east of UTC (both
// take the sign of `local`, as the wire has one polarity bit for both).
OffsetEntry Offset(const std::string& country, int32_t local, uint32_t timeOfChange, int32_t next,
                   uint8_t region = 0);

// Whole sections, CRC included where the table has one. `dvbTime` is the
// 40-bit MJD + BCD field (UtcToMjdBcd of a UTC time, or anything).
Bytes TdtSection(uint64_t dvbTime);
Bytes TotSection(uint64_t dvbTime, const std::vector<OffsetEntry>& offsets);
Bytes SttSection(uint32_t systemTime, uint8_t gpsUtcOffset, uint16_t daylightSavings);

class CaptureWriter {
public:
    // A section from the start of a packet (pointer field 0), in as many
    // packets as it needs, the last one stuffed with 0xFF.
    void Section(uint16_t pid, const Bytes& section);
    // An adaptation-field-only packet carrying the PCR of `ms`.
    void Pcr(uint16_t pid, uint64_t ms);
    // Bytes as they are (damage).
    void Raw(const Bytes& bytes);

    const Bytes& Data() const { return m_data; }
    Bytes& Data() { return m_data; }
    bool Save(const std::string& path) const;

private:
    uint8_t NextCounter(uint16_t pid);

    Bytes m_data;
    std::vector<uint8_t> m_counters = std::vector<uint8_t>(0x2000, 0);
};

}  // namespace daksim::capture
