#include "SttSection.h"

namespace dakinput {

namespace {

constexpr uint8_t kSttTableId = 0xCD;
// table_id, flags + section_length (2), table_id_extension (2), version +
// current_next, section_number, last_section_number.
constexpr size_t kHeaderSize = 8;
// protocol_version, system_time (4), GPS_UTC_offset, daylight_savings (2).
constexpr size_t kFieldsSize = 8;
constexpr size_t kCrcSize = 4;

}  // namespace

std::optional<SttFields> DecodeStt(const uint8_t* section, size_t size)
{
    if (size < kHeaderSize + kFieldsSize + kCrcSize || section[0] != kSttTableId) {
        return std::nullopt;
    }
    const size_t declared = 3 + ((static_cast<size_t>(section[1] & 0x0FU) << 8U) | section[2]);
    const bool currentNext = (section[5] & 0x01U) != 0;
    if (declared > size || declared < kHeaderSize + kFieldsSize + kCrcSize || !currentNext) {
        return std::nullopt;
    }
    const uint8_t* fields = section + kHeaderSize;
    SttFields stt;
    stt.systemTime = (static_cast<uint32_t>(fields[1]) << 24U) |
                     (static_cast<uint32_t>(fields[2]) << 16U) |
                     (static_cast<uint32_t>(fields[3]) << 8U) | fields[4];
    stt.gpsUtcOffset = fields[5];
    stt.daylightSavings = static_cast<uint16_t>((fields[6] << 8U) | fields[7]);
    return stt;
}

}  // namespace dakinput
