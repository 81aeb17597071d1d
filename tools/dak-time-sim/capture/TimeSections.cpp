#include "TimeSections.h"

#include <cstring>

extern "C" {
#include <dvbpsi/dvbpsi.h>
// dvbpsi.h first: the others use its types.
#include <dvbpsi/descriptor.h>
#include <dvbpsi/dr_58.h>
#include <dvbpsi/psi.h>
}

#include "Quirks.h"
#include "SttSection.h"

namespace daksim::capture {

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

// The CRC_32 over the whole section comes out 0 when it is right.
bool CrcMatches(const uint8_t* section, size_t size)
{
    if (size < kHeaderSize + kCrcSize) {
        return false;
    }
    dvbpsi_psi_section_t view{};
    view.i_table_id = section[0];
    view.b_syntax_indicator = true;               // check it, whatever the table
    view.p_data = const_cast<uint8_t*>(section);  // only read
    view.p_payload_end = view.p_data + size - kCrcSize;
    return dvbpsi_ValidPSISection(&view);
}

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

// The entries of a local time offset descriptor's body, into `table`.
bool OffsetEntries(const uint8_t* body, uint8_t length, TimeTable& table)
{
    // libdvbpsi copies the body and does not write to it.
    dvbpsi_descriptor_t* descriptor =
        dvbpsi_NewDescriptor(kLocalTimeOffsetTag, length, const_cast<uint8_t*>(body));
    if (descriptor == nullptr) {
        return false;
    }
    const dvbpsi_local_time_offset_dr_t* decoded = dvbpsi_DecodeLocalTimeOffsetDr(descriptor);
    if (decoded != nullptr) {
        const int count = decoded->i_local_time_offsets_number;
        for (int i = 0; i < count && i < DVBPSI_LOCAL_TIME_OFFSET_DR_MAX; ++i) {
            const dvbpsi_local_time_offset_t& entry = decoded->p_local_time_offset[i];
            OffsetEntry offset;
            offset.country.assign(reinterpret_cast<const char*>(entry.i_country_code), 3);
            offset.region = entry.i_country_region_id;
            offset.negative = entry.i_local_time_offset_polarity != 0;
            offset.localOffset = entry.i_local_time_offset;
            offset.timeOfChange = entry.i_time_of_change & 0xFFFFFFFFFFULL;
            offset.nextOffset = entry.i_next_time_offset;
            table.offsets.push_back(offset);
        }
    }
    dvbpsi_DeleteDescriptors(descriptor);
    return decoded != nullptr;
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
        const bool isCrc = size == kHeaderSize + kTimeSize + kCrcSize && CrcMatches(section, size);
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
    if (!CrcMatches(section, size)) {
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
    if (!CrcMatches(section, size)) {
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

}  // namespace daksim::capture
