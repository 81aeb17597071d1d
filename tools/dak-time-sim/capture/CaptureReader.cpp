#include "CaptureReader.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <vector>

extern "C" {
#include <dvbpsi/dvbpsi.h>
// dvbpsi.h first: the others use its types.
#include <dvbpsi/demux.h>
#include <dvbpsi/descriptor.h>
#include <dvbpsi/dr_58.h>
#include <dvbpsi/psi.h>
#include <dvbpsi/tot.h>
}

#include "SttSection.h"

namespace daksim::capture {

namespace {

constexpr uint8_t kSyncByte = 0x47;
constexpr uint8_t kTdtTableId = 0x70;
constexpr uint8_t kTotTableId = 0x73;
constexpr uint8_t kLocalTimeOffsetTag = 0x58;
constexpr int kMaxPrivateSection = 4096;

constexpr uint64_t kPcrTicksPerMs = 27000;
constexpr uint64_t kPcrWrap = (uint64_t{1} << 33U) * 300U;
// PCRs come at least every 100 ms; a larger step is a splice, not time.
constexpr uint64_t kMaxPcrStep = uint64_t{60000} * kPcrTicksPerMs;

std::string Hex(unsigned value, int width)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", width, value);
    return text;
}

// The PCR clock of the capture: the first PID that carries a PCR, its
// ticks summed from its first PCR on.
class PcrClock {
public:
    void Offer(uint16_t pid, uint64_t pcr, bool discontinuity)
    {
        if (!m_locked) {
            m_locked = true;
            m_pid = pid;
            m_last = pcr;
            return;
        }
        if (pid != m_pid) {
            return;
        }
        const uint64_t step = (pcr + kPcrWrap - m_last) % kPcrWrap;
        if (!discontinuity && step <= kMaxPcrStep) {
            m_ticks += step;
        }
        m_last = pcr;
    }

    bool Locked() const { return m_locked; }
    uint64_t Ms() const { return m_ticks / kPcrTicksPerMs; }

private:
    bool m_locked = false;
    uint16_t m_pid = 0;
    uint64_t m_last = 0;
    uint64_t m_ticks = 0;
};

class Reader;

// One libdvbpsi handle per PID we read; messages and tables come back to
// the reader through p_sys.
struct Handle {
    dvbpsi_t* handle = nullptr;
    uint16_t pid = 0;
    uint64_t sectionStart = 0;  // the packet of the last section start

    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle();

    bool SectionPending() const
    {
        return handle != nullptr && handle->p_decoder != nullptr &&
               handle->p_decoder->p_current_section != nullptr;
    }
};

class Reader {
public:
    Reader();

    std::variant<Capture, ReadError> Read(const uint8_t* data, size_t size);

    // libdvbpsi callbacks.
    void Message(dvbpsi_t* handle, dvbpsi_msg_level_t level, const char* text);
    void DvbTable(dvbpsi_tot_t* table);
    void AtscSection(dvbpsi_psi_section_t* section);

private:
    void Packet(const uint8_t* packet);
    void AddNote(uint64_t offset, const std::string& text);
    TimeTable Table(TimeTable::Kind kind, uint64_t offset) const;

    Capture m_capture;
    PcrClock m_pcr;
    Handle m_dvb;
    Handle m_atsc;
    uint64_t m_offset = 0;  // the packet being read
    bool m_usable = true;   // false when libdvbpsi could not be set up
};

Handle::~Handle()
{
    if (handle == nullptr) {
        return;
    }
    if (pid == kDvbTimePid) {
        if (handle->p_decoder != nullptr) {
            dvbpsi_DetachDemux(handle);
        }
    } else if (handle->p_decoder != nullptr) {
        dvbpsi_decoder_delete(handle->p_decoder);
        handle->p_decoder = nullptr;
    }
    dvbpsi_delete(handle);
}

Reader* ReaderOf(dvbpsi_t* handle)
{
    return static_cast<Reader*>(handle->p_sys);
}

void OnMessage(dvbpsi_t* handle, const dvbpsi_msg_level_t level, const char* text)
{
    ReaderOf(handle)->Message(handle, level, text);
}

void OnDvbTable(void* reader, dvbpsi_tot_t* table)
{
    static_cast<Reader*>(reader)->DvbTable(table);
}

void OnNewSubtable(dvbpsi_t* handle, uint8_t tableId, uint16_t extension, void* reader)
{
    if (tableId == kTdtTableId || tableId == kTotTableId) {
        dvbpsi_tot_attach(handle, tableId, extension, &OnDvbTable, reader);
    }
}

void OnAtscSection(dvbpsi_t* handle, dvbpsi_psi_section_t* section)
{
    ReaderOf(handle)->AtscSection(section);
}

Reader::Reader()
{
    m_dvb.pid = kDvbTimePid;
    m_atsc.pid = kAtscBasePid;
    m_dvb.handle = dvbpsi_new(&OnMessage, DVBPSI_MSG_WARN);
    m_atsc.handle = dvbpsi_new(&OnMessage, DVBPSI_MSG_WARN);
    if (m_dvb.handle == nullptr || m_atsc.handle == nullptr) {
        m_usable = false;
        return;
    }
    m_dvb.handle->p_sys = this;
    m_atsc.handle->p_sys = this;
    // PID 0x14: TDT and TOT through libdvbpsi's demultiplexer and TOT decoder.
    if (!dvbpsi_AttachDemux(m_dvb.handle, &OnNewSubtable, this)) {
        m_usable = false;
    }
    // PID 0x1FFB: libdvbpsi's section layer (continuity, CRC) feeding our own
    // STT decoder (see SttSection.h).
    m_atsc.handle->p_decoder = static_cast<dvbpsi_decoder_t*>(
        dvbpsi_decoder_new(&OnAtscSection, kMaxPrivateSection, true, sizeof(dvbpsi_decoder_t)));
    if (m_atsc.handle->p_decoder == nullptr) {
        m_usable = false;
    }
}

void Reader::AddNote(uint64_t offset, const std::string& text)
{
    m_capture.notes.push_back({offset, text});
}

TimeTable Reader::Table(TimeTable::Kind kind, uint64_t offset) const
{
    TimeTable table;
    table.kind = kind;
    table.packetOffset = offset;
    table.pcrMs = m_pcr.Ms();
    return table;
}

void Reader::Message(dvbpsi_t* handle, dvbpsi_msg_level_t level, const char* text)
{
    if (level > DVBPSI_MSG_WARN) {
        return;
    }
    const uint16_t pid = handle == m_dvb.handle ? kDvbTimePid : kAtscBasePid;
    AddNote(m_offset, "PID " + Hex(pid, 4) + ": table skipped: " + text);
}

void Reader::DvbTable(dvbpsi_tot_t* table)
{
    const bool isTot = table->i_table_id == kTotTableId;
    TimeTable out = Table(isTot ? TimeTable::Kind::Tot : TimeTable::Kind::Tdt, m_offset);
    out.dvbTime = table->i_utc_time & 0xFFFFFFFFFFULL;
    for (dvbpsi_descriptor_t* d = table->p_first_descriptor; isTot && d != nullptr; d = d->p_next) {
        if (d->i_tag != kLocalTimeOffsetTag) {
            continue;
        }
        const dvbpsi_local_time_offset_dr_t* decoded = dvbpsi_DecodeLocalTimeOffsetDr(d);
        if (decoded == nullptr) {
            AddNote(m_offset, "TOT: a local time offset descriptor that does not decode, ignored");
            continue;
        }
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
            out.offsets.push_back(offset);
        }
    }
    dvbpsi_tot_delete(table);
    m_capture.tables.push_back(std::move(out));
}

void Reader::AtscSection(dvbpsi_psi_section_t* section)
{
    const uint8_t tableId = section->i_table_id;
    if (tableId == 0xCD && section->p_data != nullptr && section->p_payload_end != nullptr) {
        // The whole section: header, fields, descriptors and CRC.
        const size_t size = static_cast<size_t>(section->i_length) + 3;
        if (const auto stt = DecodeStt(section->p_data, size)) {
            TimeTable out = Table(TimeTable::Kind::Stt, m_offset);
            out.systemTime = stt->systemTime;
            out.gpsUtcOffset = stt->gpsUtcOffset;
            out.daylightSavings = stt->daylightSavings;
            m_capture.tables.push_back(out);
        } else {
            AddNote(m_offset, "PID 0x1FFB: STT too short or not current, skipped");
        }
    }
    dvbpsi_DeletePSISections(section);
}

void Reader::Packet(const uint8_t* packet)
{
    if ((packet[1] & 0x80U) != 0) {
        AddNote(m_offset, "transport error indicator set, packet skipped");
        return;
    }
    const auto pid = static_cast<uint16_t>(((packet[1] & 0x1FU) << 8U) | packet[2]);
    const bool unitStart = (packet[1] & 0x40U) != 0;
    const unsigned control = (packet[3] >> 4U) & 0x3U;
    size_t payload = 4;
    if ((control & 0x2U) != 0) {
        const size_t length = packet[4];
        if (length > kPacketSize - 5 || (control == 0x3U && length == kPacketSize - 5)) {
            AddNote(m_offset, "PID " + Hex(pid, 4) + ": adaptation field too long, packet skipped");
            return;
        }
        payload = 5 + length;
        const uint8_t flags = length > 0 ? packet[5] : 0;
        if ((flags & 0x10U) != 0 && length >= 7) {
            const uint64_t base = (static_cast<uint64_t>(packet[6]) << 25U) |
                                  (static_cast<uint64_t>(packet[7]) << 17U) |
                                  (static_cast<uint64_t>(packet[8]) << 9U) |
                                  (static_cast<uint64_t>(packet[9]) << 1U) |
                                  (static_cast<uint64_t>(packet[10]) >> 7U);
            const uint64_t extension =
                (static_cast<uint64_t>(packet[10] & 0x1U) << 8U) | packet[11];
            m_pcr.Offer(pid, base * 300U + extension, (flags & 0x80U) != 0);
            m_capture.hasPcr = true;
            m_capture.endMs = m_pcr.Ms();
        }
    }
    Handle* target = pid == kDvbTimePid ? &m_dvb : pid == kAtscBasePid ? &m_atsc : nullptr;
    if (target == nullptr || (control & 0x1U) == 0) {
        return;
    }
    if (unitStart && payload + 1 + packet[payload] >= kPacketSize) {
        AddNote(m_offset, "PID " + Hex(pid, 4) + ": pointer field past the packet, packet skipped");
        return;
    }
    if (unitStart && target->SectionPending() && packet[payload] == 0) {
        AddNote(target->sectionStart,
                "PID " + Hex(pid, 4) + ": section cut off by the next one, table skipped");
    }
    if (unitStart) {
        target->sectionStart = m_offset;
    }
    // libdvbpsi does not write to the packet.
    dvbpsi_packet_push(target->handle, const_cast<uint8_t*>(packet));
}

std::variant<Capture, ReadError> Reader::Read(const uint8_t* data, size_t size)
{
    if (!m_usable) {
        return ReadError{"libdvbpsi could not be set up"};
    }
    // In sync at `at` when a sync byte starts a whole packet followed by
    // another sync byte or the end of the file.
    const auto synced = [&](size_t at) {
        return at + kPacketSize <= size && data[at] == kSyncByte &&
               (at + kPacketSize == size || data[at + kPacketSize] == kSyncByte);
    };
    const auto findSync = [&](size_t from) {
        while (from + kPacketSize <= size && !synced(from)) {
            ++from;
        }
        return from;
    };

    size_t at = findSync(0);
    if (at + kPacketSize > size) {
        return ReadError{size < kPacketSize
                             ? "not an MPEG transport stream: shorter than one 188-byte packet"
                             : "not an MPEG transport stream: no 188-byte packets starting "
                               "with the sync byte 0x47"};
    }
    if (at > 0) {
        AddNote(0, std::to_string(at) + " bytes before the first sync byte skipped");
    }
    while (at + kPacketSize <= size) {
        if (data[at] != kSyncByte) {
            const size_t found = findSync(at);
            AddNote(at, "sync byte lost; " + (found + kPacketSize <= size
                                                  ? "in sync again at byte " + std::to_string(found)
                                                  : std::string("not found again")));
            at = found;
            continue;
        }
        m_offset = at;
        Packet(data + at);
        at += kPacketSize;
    }
    if (at < size) {
        AddNote(at,
                std::to_string(size - at) + " bytes at the end are not a whole packet, skipped");
    }
    for (const Handle* handle : {&m_dvb, &m_atsc}) {
        if (handle->SectionPending()) {
            AddNote(handle->sectionStart, "PID " + Hex(handle->pid, 4) +
                                              ": section cut off by the end of the capture, "
                                              "table skipped");
        }
    }
    std::stable_sort(m_capture.notes.begin(), m_capture.notes.end(),
                     [](const Note& a, const Note& b) { return a.packetOffset < b.packetOffset; });
    return std::move(m_capture);
}

}  // namespace

std::variant<Capture, ReadError> ReadCapture(const uint8_t* data, size_t size)
{
    Reader reader;
    return reader.Read(data, size);
}

std::variant<Capture, ReadError> ReadCaptureFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return ReadError{"cannot read the capture " + path + ": " + std::strerror(errno)};
    }
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                                     std::istreambuf_iterator<char>());
    if (file.bad()) {
        return ReadError{"cannot read the capture " + path};
    }
    auto result = ReadCapture(bytes.data(), bytes.size());
    if (auto* error = std::get_if<ReadError>(&result)) {
        error->message = path + ": " + error->message;
    }
    return result;
}

}  // namespace daksim::capture
