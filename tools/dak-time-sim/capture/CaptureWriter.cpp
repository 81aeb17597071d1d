#include "CaptureWriter.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>

extern "C" {
#include <dvbpsi/dvbpsi.h>
// dvbpsi.h first: the others use its types.
#include <dvbpsi/descriptor.h>
#include <dvbpsi/dr_58.h>
#include <dvbpsi/psi.h>
}

#include "DvbTime.h"

namespace daksim::capture {

namespace {

constexpr size_t kMaxSection = 1024;

struct DvbpsiDeleter {
    void operator()(dvbpsi_t* handle) const { dvbpsi_delete(handle); }
    void operator()(dvbpsi_psi_section_t* section) const { dvbpsi_DeletePSISections(section); }
    void operator()(dvbpsi_descriptor_t* descriptor) const { dvbpsi_DeleteDescriptors(descriptor); }
};

// libdvbpsi writes the header and the CRC of a section whose payload we
// filled. (Its TOT generator is not used: it writes a section_length that
// leaves out the CRC_32.)
Bytes Build(uint8_t tableId, bool longForm, uint16_t extension, const Bytes& payload)
{
    const std::unique_ptr<dvbpsi_t, DvbpsiDeleter> handle(dvbpsi_new(nullptr, DVBPSI_MSG_NONE));
    const std::unique_ptr<dvbpsi_psi_section_t, DvbpsiDeleter> section(
        dvbpsi_NewPSISection(static_cast<int>(kMaxSection)));
    if (!handle || !section || payload.size() > kMaxSection - 16) {
        return {};
    }
    dvbpsi_psi_section_t& s = *section;
    s.i_table_id = tableId;
    s.b_syntax_indicator = longForm;
    // TDT and TOT have reserved_future_use there, STT private_indicator:
    // 1 in all three.
    s.b_private_indicator = true;
    s.i_extension = extension;
    s.i_version = 0;
    s.b_current_next = true;
    s.i_number = 0;
    s.i_last_number = 0;
    s.p_payload_start = s.p_data + (longForm ? 8 : 3);
    std::memcpy(s.p_payload_start, payload.data(), payload.size());
    s.p_payload_end = s.p_payload_start + payload.size();
    const bool hasCrc = dvbpsi_has_CRC32(&s);
    s.i_length = static_cast<uint16_t>(s.p_payload_end - s.p_data - 3 + (hasCrc ? 4 : 0));
    dvbpsi_BuildPSISection(handle.get(), &s);
    return {s.p_data, s.p_data + 3 + s.i_length};
}

void Put40(Bytes& out, uint64_t value)
{
    for (int shift = 32; shift >= 0; shift -= 8) {
        out.push_back(static_cast<uint8_t>(value >> static_cast<unsigned>(shift)));
    }
}

}  // namespace

OffsetEntry Offset(const std::string& country, int32_t local, int64_t timeOfChange, int32_t next,
                   uint8_t region)
{
    OffsetEntry entry;
    entry.country = country;
    entry.region = region;
    entry.negative = local < 0;
    entry.localOffset = MinutesToBcdHhmm(local);
    entry.timeOfChange = UtcToMjdBcd(timeOfChange);
    entry.nextOffset = MinutesToBcdHhmm(next);
    return entry;
}

Bytes TdtSection(uint64_t dvbTime)
{
    Bytes payload;
    Put40(payload, dvbTime);
    return Build(0x70, false, 0, payload);
}

Bytes TotSection(uint64_t dvbTime, const std::vector<OffsetEntry>& offsets)
{
    // libdvbpsi's generator of the local time offset descriptor.
    dvbpsi_local_time_offset_dr_t decoded{};
    Bytes descriptors;
    for (size_t first = 0; first < offsets.size(); first += DVBPSI_LOCAL_TIME_OFFSET_DR_MAX) {
        decoded.i_local_time_offsets_number = 0;
        for (size_t i = first; i < offsets.size() && i < first + DVBPSI_LOCAL_TIME_OFFSET_DR_MAX;
             ++i) {
            const OffsetEntry& in = offsets[i];
            dvbpsi_local_time_offset_t& out =
                decoded.p_local_time_offset[decoded.i_local_time_offsets_number++];
            std::memset(out.i_country_code, ' ', 3);
            std::memcpy(out.i_country_code, in.country.data(),
                        std::min<size_t>(3, in.country.size()));
            out.i_country_region_id = in.region;
            out.i_local_time_offset_polarity = in.negative ? 1 : 0;
            out.i_local_time_offset = in.localOffset;
            out.i_time_of_change = in.timeOfChange;
            out.i_next_time_offset = in.nextOffset;
        }
        const std::unique_ptr<dvbpsi_descriptor_t, DvbpsiDeleter> descriptor(
            dvbpsi_GenLocalTimeOffsetDr(&decoded, false));
        if (!descriptor) {
            return {};
        }
        descriptors.push_back(descriptor->i_tag);
        descriptors.push_back(descriptor->i_length);
        descriptors.insert(descriptors.end(), descriptor->p_data,
                           descriptor->p_data + descriptor->i_length);
    }
    Bytes payload;
    Put40(payload, dvbTime);
    payload.push_back(static_cast<uint8_t>(0xF0U | ((descriptors.size() >> 8U) & 0x0FU)));
    payload.push_back(static_cast<uint8_t>(descriptors.size()));
    payload.insert(payload.end(), descriptors.begin(), descriptors.end());
    return Build(0x73, false, 0, payload);
}

Bytes SttSection(uint32_t systemTime, uint8_t gpsUtcOffset, uint16_t daylightSavings)
{
    const Bytes payload = {0,  // protocol_version
                           static_cast<uint8_t>(systemTime >> 24U),
                           static_cast<uint8_t>(systemTime >> 16U),
                           static_cast<uint8_t>(systemTime >> 8U),
                           static_cast<uint8_t>(systemTime),
                           gpsUtcOffset,
                           static_cast<uint8_t>(daylightSavings >> 8U),
                           static_cast<uint8_t>(daylightSavings)};
    return Build(0xCD, true, 0, payload);
}

Bytes WithCrc(Bytes section)
{
    if (section.size() < 3) {
        return section;
    }
    const size_t length = (static_cast<size_t>(section[1] & 0x0FU) << 8U | section[2]) + 4;
    section[1] = static_cast<uint8_t>((section[1] & 0xF0U) | ((length >> 8U) & 0x0FU));
    section[2] = static_cast<uint8_t>(length);
    const size_t body = section.size();
    section.resize(body + 4);
    dvbpsi_psi_section_t view{};
    view.p_data = section.data();
    view.p_payload_end = section.data() + body;
    dvbpsi_CalculateCRC32(&view);
    return section;
}

uint8_t CaptureWriter::NextCounter(uint16_t pid)
{
    uint8_t& counter = m_counters[pid & 0x1FFFU];
    const uint8_t value = counter;
    counter = static_cast<uint8_t>((counter + 1U) & 0xFU);
    return value;
}

void CaptureWriter::Emit(const uint8_t* packet)
{
    if (m_unitSize == 192) {
        // A 30-bit arrival timestamp, 27 MHz ticks; any steady count will do.
        const uint32_t stamp = (m_units * 1000U) & 0x3FFFFFFFU;
        for (const unsigned shift : {24U, 16U, 8U, 0U}) {
            m_data.push_back(static_cast<uint8_t>(stamp >> shift));
        }
    }
    m_data.insert(m_data.end(), packet, packet + kPacketSize);
    if (m_unitSize == 204) {
        m_data.insert(m_data.end(), 16, 0x00);  // parity that nothing checks
    }
    m_last.assign(packet, packet + kPacketSize);
    ++m_units;
}

void CaptureWriter::Sections(uint16_t pid, const std::vector<Bytes>& sections, size_t adaptation)
{
    Bytes all;
    for (const Bytes& section : sections) {
        all.insert(all.end(), section.begin(), section.end());
    }
    size_t done = 0;
    bool first = true;
    while (first || done < all.size()) {
        uint8_t packet[kPacketSize];
        std::memset(packet, 0xFF, sizeof packet);
        packet[0] = 0x47;
        packet[1] = static_cast<uint8_t>((first ? 0x40U : 0U) | ((pid >> 8U) & 0x1FU));
        packet[2] = static_cast<uint8_t>(pid);
        size_t at = 4;
        const bool withField = first && adaptation > 0;
        packet[3] = static_cast<uint8_t>((withField ? 0x30U : 0x10U) | NextCounter(pid));
        if (withField) {
            packet[at] = static_cast<uint8_t>(adaptation - 1);  // adaptation_field_length
            if (adaptation > 1) {
                packet[at + 1] = 0x00;  // no flags; stuffing bytes follow
            }
            at += adaptation;
        }
        if (first) {
            packet[at++] = 0;  // pointer_field
        }
        const size_t chunk = std::min(all.size() - done, kPacketSize - at);
        std::memcpy(packet + at, all.data() + done, chunk);
        done += chunk;
        first = false;
        Emit(packet);
    }
}

void CaptureWriter::Filler(uint16_t pid)
{
    uint8_t packet[kPacketSize];
    std::memset(packet, 0xFF, sizeof packet);
    packet[0] = 0x47;
    packet[1] = static_cast<uint8_t>((pid >> 8U) & 0x1FU);
    packet[2] = static_cast<uint8_t>(pid);
    packet[3] = static_cast<uint8_t>(0x10U | NextCounter(pid));
    Emit(packet);
}

void CaptureWriter::Repeat()
{
    if (m_last.size() == kPacketSize) {
        const Bytes last = m_last;
        Emit(last.data());
    }
}

bool CaptureWriter::Flush(std::FILE* file)
{
    const bool ok = std::fwrite(m_data.data(), 1, m_data.size(), file) == m_data.size();
    m_data.clear();
    return ok;
}

void CaptureWriter::Pcr(uint16_t pid, uint64_t ms)
{
    const uint64_t ticks = ms * 27000U;
    const uint64_t base = (ticks / 300U) & ((uint64_t{1} << 33U) - 1U);
    const uint64_t extension = ticks % 300U;
    uint8_t packet[kPacketSize];
    std::memset(packet, 0xFF, sizeof packet);
    packet[0] = 0x47;
    packet[1] = static_cast<uint8_t>((pid >> 8U) & 0x1FU);
    packet[2] = static_cast<uint8_t>(pid);
    packet[3] = 0x20;  // adaptation field only; the counter does not move
    packet[4] = 183;
    packet[5] = 0x10;  // PCR_flag
    packet[6] = static_cast<uint8_t>(base >> 25U);
    packet[7] = static_cast<uint8_t>(base >> 17U);
    packet[8] = static_cast<uint8_t>(base >> 9U);
    packet[9] = static_cast<uint8_t>(base >> 1U);
    packet[10] = static_cast<uint8_t>(((base & 1U) << 7U) | 0x7EU | (extension >> 8U));
    packet[11] = static_cast<uint8_t>(extension);
    Emit(packet);
}

void CaptureWriter::Raw(const Bytes& bytes)
{
    m_data.insert(m_data.end(), bytes.begin(), bytes.end());
}

bool CaptureWriter::Save(const std::string& path) const
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(m_data.data()),
               static_cast<std::streamsize>(m_data.size()));
    return static_cast<bool>(file);
}

}  // namespace daksim::capture
