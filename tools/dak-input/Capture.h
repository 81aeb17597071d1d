// A broadcast capture as the replay sees it: the time tables it carries, in
// capture order, each with where it sits in the file and in the capture's
// own time, and the notes on what had to be skipped or was taken as a
// receiver takes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace dakinput {

constexpr size_t kPacketSize = 188;        // a transport packet, sync byte first
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

// What a table's CRC_32 said.
enum class Crc {
    None,        // a TDT, as it should be: no CRC
    Ok,          // TOT, STT: checked and right
    Appended,    // a TDT with four bytes after its time that are its CRC_32
    NotChecked,  // a TDT with bytes after its time that are not a CRC_32
};

struct TimeTable {
    enum class Kind { Tdt, Tot, Stt };
    Kind kind = Kind::Tdt;
    uint16_t pid = 0;
    uint64_t packetOffset = 0;  // file byte of the packet the section started in
    uint64_t pcrMs = 0;         // capture time from the first PCR (0 before it)
    bool paced = false;         // a PCR came before it: pcrMs counts

    uint64_t dvbTime = 0;              // TDT/TOT: 40-bit MJD + BCD hhmmss
    std::vector<OffsetEntry> offsets;  // TOT: every 0x58 entry in order

    uint32_t systemTime = 0;  // STT: GPS seconds since 1980-01-06
    uint8_t gpsUtcOffset = 0;
    uint16_t daylightSavings = 0;

    Crc crc = Crc::None;
    uint32_t crcValue = 0;  // the CRC_32 field, when there is one
    unsigned quirks = 0;    // Quirk bits (Quirks.h) met on its PID since the last table
};

// Damage found and skipped, or a quirk taken, at the file byte of its packet.
struct Note {
    uint64_t packetOffset = 0;
    std::string text;
    // A table that was begun but is lost with this damage (its kind).
    std::optional<TimeTable::Kind> lost;
};

// A whole capture in memory: for tests and the fuzz target, small inputs.
struct Capture {
    std::vector<TimeTable> tables;
    std::vector<Note> notes;  // in the order they were found
    bool hasPcr = false;
    uint64_t endMs = 0;  // the last PCR, from the first
    size_t packetSize = kPacketSize;
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

}  // namespace dakinput
