#include "TimeSections.h"

#include "Crc32.h"
#include "Quirks.h"
#include "SttSection.h"

namespace dakinput {

namespace {

constexpr uint8_t kTdtTableId = 0x70;
constexpr uint8_t kTotTableId = 0x73;
constexpr uint8_t kSttTableId = 0xCD;
constexpr uint8_t kLocalTimeOffsetTag = 0x58;
constexpr size_t kHeaderSize = 3;
constexpr size_t kTimeSize = 5;
constexpr size_t kCrcSize = 4;
// section_syntax_indicator 0, reserved_future_use 1, reserved 11.
constexpr uint8_t kDvbHeaderBits = 0x70;

uint32_t Get32(const uint8_t* at)
{
    return (static_cast<uint32_t>(at[0]) << 24U) | (static_cast<uint32_t>(at[1]) << 16U) |
           (static_cast<uint32_t>(at[2]) << 8U) | at[3];
}

uint64_t Get40(const uint8_t* at)
{
    return (static_cast<uint64_t>(at[0]) << 32U) | Get32(at + 1);
}

DecodedSection Damaged(TimeTable::Kind kind, const std::string& problem)
{
    DecodedSection out;
    out.verdict = DecodedSection::Verdict::Damaged;
    out.table.kind = kind;
    out.problem = problem;
    return out;
}

// The entries of a local time offset descriptor's body, 13 bytes each,
// into `table`; false when the body is not a whole number of entries.
bool OffsetEntries(const uint8_t* body, uint8_t length, TimeTable& table)
{
    constexpr size_t kEntrySize = 13;
    if (length % kEntrySize != 0) {
        return false;
    }
    for (const uint8_t* entry = body; entry < body + length; entry += kEntrySize) {
        OffsetEntry offset;
        offset.country.assign(reinterpret_cast<const char*>(entry), 3);
        offset.region = static_cast<uint8_t>(entry[3] >> 2U);
        offset.negative = (entry[3] & 0x1U) != 0;
        offset.localOffset = static_cast<uint16_t>((entry[4] << 8U) | entry[5]);
        offset.timeOfChange = Get40(entry + 6);
        offset.nextOffset = static_cast<uint16_t>((entry[11] << 8U) | entry[12]);
        table.offsets.push_back(offset);
    }
    return true;
}

DecodedSection Tdt(const uint8_t* section, size_t size)
{
    if (size < kHeaderSize + kTimeSize) {
        return Damaged(TimeTable::Kind::Tdt, "TDT shorter than its time, skipped");
    }
    DecodedSection out;
    out.verdict = DecodedSection::Verdict::Table;
    TimeTable& table = out.table;
    table.kind = TimeTable::Kind::Tdt;
    table.dvbTime = Get40(section + kHeaderSize);
    if ((section[1] & 0xF0U) != kDvbHeaderBits) {
        table.quirks |= kQuirkReservedBits;
    }
    if (size > kHeaderSize + kTimeSize) {
        // A receiver reads the five bytes of the time and no more.
        table.quirks |= kQuirkTrailingBytes;
        const bool isCrc =
            size == kHeaderSize + kTimeSize + kCrcSize && SectionCrcMatches(section, size);
        table.crc = isCrc ? Crc::Appended : Crc::NotChecked;
        if (isCrc) {
            table.crcValue = Get32(section + size - kCrcSize);
        }
    }
    return out;
}

DecodedSection Tot(const uint8_t* section, size_t size)
{
    constexpr size_t kLoopAt = kHeaderSize + kTimeSize + 2;
    if (size < kLoopAt + kCrcSize) {
        return Damaged(TimeTable::Kind::Tot, "TOT too short, skipped");
    }
    if (!SectionCrcMatches(section, size)) {
        return Damaged(TimeTable::Kind::Tot, "TOT CRC_32 does not match, table skipped");
    }
    DecodedSection out;
    out.verdict = DecodedSection::Verdict::Table;
    TimeTable& table = out.table;
    table.kind = TimeTable::Kind::Tot;
    table.dvbTime = Get40(section + kHeaderSize);
    table.crc = Crc::Ok;
    table.crcValue = Get32(section + size - kCrcSize);
    if ((section[1] & 0xF0U) != kDvbHeaderBits || (section[8] & 0xF0U) != 0xF0U) {
        table.quirks |= kQuirkReservedBits;
    }
    size_t loop = (static_cast<size_t>(section[8] & 0x0FU) << 8U) | section[9];
    const size_t room = size - kCrcSize - kLoopAt;
    if (loop > room) {
        out.problem = "descriptor loop runs past the section, cut at its end";
        loop = room;
    }
    const uint8_t* at = section + kLoopAt;
    const uint8_t* const end = at + loop;
    while (end - at >= 2) {
        const uint8_t tag = at[0];
        const uint8_t length = at[1];
        if (length > end - at - 2) {
            out.problem = "a descriptor runs past the descriptor loop, ignored";
            break;
        }
        if (tag == kLocalTimeOffsetTag && !OffsetEntries(at + 2, length, table)) {
            out.problem = "a local time offset descriptor that does not decode, ignored";
        }
        at += 2 + length;
    }
    return out;
}

DecodedSection Stt(const uint8_t* section, size_t size)
{
    if (!SectionCrcMatches(section, size)) {
        return Damaged(TimeTable::Kind::Stt, "STT CRC_32 does not match, table skipped");
    }
    const auto stt = DecodeStt(section, size);
    if (!stt) {
        return Damaged(TimeTable::Kind::Stt, "STT too short or not current, skipped");
    }
    DecodedSection out;
    out.verdict = DecodedSection::Verdict::Table;
    out.table.kind = TimeTable::Kind::Stt;
    out.table.systemTime = stt->systemTime;
    out.table.gpsUtcOffset = stt->gpsUtcOffset;
    out.table.daylightSavings = stt->daylightSavings;
    out.table.crc = Crc::Ok;
    out.table.crcValue = Get32(section + size - kCrcSize);
    return out;
}

}  // namespace

std::optional<TimeTable::Kind> TimeTableKind(uint16_t pid, uint8_t tableId)
{
    if (pid == kDvbTimePid && tableId == kTdtTableId) {
        return TimeTable::Kind::Tdt;
    }
    if (pid == kDvbTimePid && tableId == kTotTableId) {
        return TimeTable::Kind::Tot;
    }
    if (pid == kAtscBasePid && tableId == kSttTableId) {
        return TimeTable::Kind::Stt;
    }
    return std::nullopt;
}

DecodedSection DecodeTimeSection(uint16_t pid, const uint8_t* section, size_t size)
{
    const auto kind = size > 0 ? TimeTableKind(pid, section[0]) : std::nullopt;
    if (!kind) {
        return {};
    }
    DecodedSection out;
    switch (*kind) {
        case TimeTable::Kind::Tdt:
            out = Tdt(section, size);
            break;
        case TimeTable::Kind::Tot:
            out = Tot(section, size);
            break;
        case TimeTable::Kind::Stt:
            out = Stt(section, size);
            break;
    }
    out.table.pid = pid;
    return out;
}

}  // namespace dakinput
