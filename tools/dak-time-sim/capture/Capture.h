// A broadcast capture as the replay sees it: the time tables it carries, in
// capture order, each with where it sits in the file and in the capture's
// own time, and the notes on what had to be skipped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace daksim::capture {

constexpr size_t kPacketSize = 188;
constexpr uint16_t kDvbTimePid = 0x14;     // TDT and TOT
constexpr uint16_t kAtscBasePid = 0x1FFB;  // STT among the PSIP tables

// One entry of a local time offset descriptor, as on the wire.
struct OffsetEntry {
    std::string country;  // three letters, ISO 3166 alpha-3
    uint8_t region = 0;
    bool negative = false;      // local_time_offset_polarity
    uint16_t localOffset = 0;   // BCD hhmm
    uint64_t timeOfChange = 0;  // 40-bit MJD + BCD hhmmss
    uint16_t nextOffset = 0;    // BCD hhmm
};

struct TimeTable {
    enum class Kind { Tdt, Tot, Stt };
    Kind kind = Kind::Tdt;
    uint64_t packetOffset = 0;  // file byte of the packet the section started in
    uint64_t pcrMs = 0;         // capture time from the first PCR (0 before it)

    uint64_t dvbTime = 0;              // TDT/TOT: 40-bit MJD + BCD hhmmss
    std::vector<OffsetEntry> offsets;  // TOT: every 0x58 entry in order

    uint32_t systemTime = 0;  // STT: GPS seconds since 1980-01-06
    uint8_t gpsUtcOffset = 0;
    uint16_t daylightSavings = 0;
};

// Damage found and skipped, at the file byte of its packet.
struct Note {
    uint64_t packetOffset = 0;
    std::string text;
};

struct Capture {
    std::vector<TimeTable> tables;
    std::vector<Note> notes;  // in file order
    bool hasPcr = false;
    uint64_t endMs = 0;  // the last PCR, from the first
};

inline const char* KindName(TimeTable::Kind kind)
{
    switch (kind) {
        case TimeTable::Kind::Tdt:
            return "TDT";
        case TimeTable::Kind::Tot:
            return "TOT";
        case TimeTable::Kind::Stt:
            return "STT";
    }
    return "?";
}

}  // namespace daksim::capture
