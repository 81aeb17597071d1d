// The time tables decoded from their sections: TDT (0x70) and TOT (0x73) on
// PID 0x14, STT (0xCD) on PID 0x1FFB. Every CRC_32 is checked here (Crc32.h),
// the TOT's too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Capture.h"

namespace dakinput {

struct DecodedSection {
    enum class Verdict { Table, NotATimeTable, Damaged };
    Verdict verdict = Verdict::NotATimeTable;
    TimeTable table;      // Table: pid, kind, times, offsets, CRC, quirks of the section
    std::string problem;  // Damaged: why it is skipped; Table: a part that was not used
};

// The kind of time table `tableId` is on `pid`; nothing for other tables.
std::optional<TimeTable::Kind> TimeTableKind(uint16_t pid, uint8_t tableId);

DecodedSection DecodeTimeSection(uint16_t pid, const uint8_t* section, size_t size);

}  // namespace dakinput
