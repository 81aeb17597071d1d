// Writing transport stream captures: time table sections in 188-byte
// packets (in 192- or 204-byte units if asked), PCR packets, filler, and
// damage and broadcaster quirks on purpose. Used by the capture tests and
// make-capture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Capture.h"

namespace daksim::capture {

// The input component's names, as the writer's own.
using namespace dakinput;  // NOLINT(google-build-using-namespace)

using Bytes = std::vector<uint8_t>;

// A local time offset entry: offsets in signed minutes east of UTC (both
// take the sign of `local`, as the wire has one polarity bit for both).
OffsetEntry Offset(const std::string& country, int32_t local, int64_t timeOfChange, int32_t next,
                   uint8_t region = 0);

// Whole sections, CRC included where the table has one. `dvbTime` is the
// 40-bit MJD + BCD field (UtcToMjdBcd of a UTC time, or anything).
Bytes TdtSection(uint64_t dvbTime);
Bytes TotSection(uint64_t dvbTime, const std::vector<OffsetEntry>& offsets);
Bytes SttSection(uint32_t systemTime, uint8_t gpsUtcOffset, uint16_t daylightSavings);

// A section with a CRC_32 appended, its section_length counting it (a TDT
// as some broadcasters send it).
Bytes WithCrc(Bytes section);

class CaptureWriter {
public:
    // 188, 192 (a 4-byte timestamp before each packet) or 204 (16 parity
    // bytes after each).
    explicit CaptureWriter(size_t unitSize = kPacketSize) : m_unitSize(unitSize) {}

    // A section from the start of a packet (pointer field 0), in as many
    // packets as it needs, the last one stuffed with 0xFF.
    void Section(uint16_t pid, const Bytes& section) { Sections(pid, {section}); }
    // Sections one after the other, several to a packet where they fit; the
    // first packet with an adaptation field of `adaptation` bytes (0: none).
    void Sections(uint16_t pid, const std::vector<Bytes>& sections, size_t adaptation = 0);
    // An adaptation-field-only packet carrying the PCR of `ms`.
    void Pcr(uint16_t pid, uint64_t ms);
    // A packet of `pid` whose payload is all 0xFF (a stand-in for the
    // multiplex's other traffic).
    void Filler(uint16_t pid);
    // The last packet once more, as it was (a duplicate).
    void Repeat();
    // Bytes as they are (damage).
    void Raw(const Bytes& bytes);

    const Bytes& Data() const { return m_data; }
    Bytes& Data() { return m_data; }
    bool Save(const std::string& path) const;
    // Appends what was written so far to `file` and forgets it (long captures).
    bool Flush(std::FILE* file);

private:
    uint8_t NextCounter(uint16_t pid);
    void Emit(const uint8_t* packet);

    size_t m_unitSize;
    uint32_t m_units = 0;
    Bytes m_data;
    Bytes m_last;
    std::vector<uint8_t> m_counters = std::vector<uint8_t>(0x2000, 0);
};

}  // namespace daksim::capture
