#include "CaptureReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Quirks.h"
#include "SectionAssembler.h"
#include "TimeSections.h"

namespace dakinput {

namespace {

// The largest section either PID may carry: 4096 bytes (the stuffing
// table beside TDT and TOT, PSIP's tables beside the STT).
constexpr size_t kMaxSection = 4096;
constexpr uint64_t kPcrTicksPerMs = 27000;
constexpr uint64_t kPcrWrap = (uint64_t{1} << 33U) * 300U;
// PCRs come at least every 100 ms; a step over a minute is a splice, not time.
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
    uint16_t Pid() const { return m_pid; }
    uint64_t Ms() const { return m_ticks / kPcrTicksPerMs; }

private:
    bool m_locked = false;
    uint16_t m_pid = 0;
    uint64_t m_last = 0;
    uint64_t m_ticks = 0;
};

class Reader : public PacketSink, public SectionEvents {
public:
    explicit Reader(CaptureSink& sink) : m_sink(sink) {}

    std::variant<CaptureEnd, ReadError> Read(const ByteSource& source);

    void Packet(const uint8_t* packet, uint64_t offset) override;
    void FramingNote(uint64_t offset, const std::string& text) override;
    void Section(uint16_t pid, const uint8_t* section, size_t size, uint64_t offset) override;
    void Damage(uint16_t pid, uint64_t offset, const std::string& text,
                std::optional<uint8_t> tableId) override;
    void QuirkMet(uint16_t pid, uint64_t offset, unsigned quirk) override;
    void Restart(uint64_t offset, const std::string& why)
    {
        m_dvb.sections.Restart(offset, why);
        m_atsc.sections.Restart(offset, why);
    }

private:
    struct TimePid {
        SectionAssembler sections;
        unsigned noted = 0;      // quirks noted once already
        unsigned sinceLast = 0;  // quirks met since the last table
    };
    TimePid& Of(uint16_t pid) { return pid == kDvbTimePid ? m_dvb : m_atsc; }

    CaptureSink& m_sink;
    PcrClock m_pcr;
    bool m_hasPcr = false;
    TimePid m_dvb{SectionAssembler(kDvbTimePid, kMaxSection, *this)};
    TimePid m_atsc{SectionAssembler(kAtscBasePid, kMaxSection, *this)};
};

void Reader::FramingNote(uint64_t offset, const std::string& text)
{
    m_sink.Note({offset, text, std::nullopt});
}

void Reader::QuirkMet(uint16_t pid, uint64_t offset, unsigned quirk)
{
    TimePid& time = Of(pid);
    time.sinceLast |= quirk;
    if ((time.noted & quirk) != 0) {
        return;
    }
    time.noted |= quirk;
    for (unsigned i = 0; i < kQuirkCount; ++i) {
        if ((quirk & (1U << i)) != 0) {
            m_sink.Note(
                {offset,
                 "PID " + Hex(pid, 4) + ": " + QuirkOf(i).note + "; noted once for this PID",
                 std::nullopt});
        }
    }
}

void Reader::Damage(uint16_t pid, uint64_t offset, const std::string& text,
                    std::optional<uint8_t> tableId)
{
    const auto kind = tableId ? TimeTableKind(pid, *tableId) : std::nullopt;
    if (tableId && !kind) {
        return;  // another table of the PID (PSIP's other tables): not ours
    }
    m_sink.Note({offset, "PID " + Hex(pid, 4) + ": " + text, kind});
}

void Reader::Section(uint16_t pid, const uint8_t* section, size_t size, uint64_t offset)
{
    DecodedSection decoded = DecodeTimeSection(pid, section, size);
    if (decoded.verdict == DecodedSection::Verdict::NotATimeTable) {
        return;
    }
    if (decoded.verdict == DecodedSection::Verdict::Damaged) {
        m_sink.Note({offset, "PID " + Hex(pid, 4) + ": " + decoded.problem, decoded.table.kind});
        return;
    }
    TimeTable& table = decoded.table;
    if (table.quirks != 0) {
        QuirkMet(pid, offset, table.quirks);
    }
    TimePid& time = Of(pid);
    table.quirks |= time.sinceLast;
    time.sinceLast = 0;
    table.packetOffset = offset;
    table.pcrMs = m_pcr.Ms();
    table.paced = m_hasPcr;
    if (!decoded.problem.empty()) {
        m_sink.Note({offset,
                     "PID " + Hex(pid, 4) + ": " + KindName(table.kind) + ": " + decoded.problem,
                     std::nullopt});
    }
    m_sink.Table(table);
}

void Reader::Packet(const uint8_t* packet, uint64_t offset)
{
    const auto pid = static_cast<uint16_t>(((packet[1] & 0x1FU) << 8U) | packet[2]);
    const bool timePid = pid == kDvbTimePid || pid == kAtscBasePid;
    const unsigned control = (packet[3] >> 4U) & 0x3U;
    // Most packets: neither a time table nor a PCR that counts.
    if (!timePid && (control & 0x2U) == 0) {
        return;
    }
    if (!timePid && m_pcr.Locked() && pid != m_pcr.Pid()) {
        return;
    }
    if ((packet[1] & 0x80U) != 0) {
        if (timePid) {
            Of(pid).sections.Lost(offset, "transport error indicator set, packet skipped");
        }
        return;
    }
    size_t payload = 4;
    bool discontinuity = false;
    if ((control & 0x2U) != 0) {
        const size_t length = packet[4];
        // With a payload at most 182 bytes; alone exactly 183.
        if (length > kPacketSize - 5 || (control == 0x3U && length == kPacketSize - 5)) {
            if (timePid) {
                Of(pid).sections.Lost(offset, "adaptation field of " + std::to_string(length) +
                                                  " bytes claims the whole packet, packet "
                                                  "skipped");
            }
            return;
        }
        payload = 5 + length;
        const uint8_t flags = length > 0 ? packet[5] : 0;
        discontinuity = (flags & 0x80U) != 0;
        if ((flags & 0x10U) != 0 && length >= 7) {
            const uint64_t base = (static_cast<uint64_t>(packet[6]) << 25U) |
                                  (static_cast<uint64_t>(packet[7]) << 17U) |
                                  (static_cast<uint64_t>(packet[8]) << 9U) |
                                  (static_cast<uint64_t>(packet[9]) << 1U) |
                                  (static_cast<uint64_t>(packet[10]) >> 7U);
            const uint64_t extension =
                (static_cast<uint64_t>(packet[10] & 0x1U) << 8U) | packet[11];
            m_pcr.Offer(pid, base * 300U + extension, discontinuity);
            m_hasPcr = true;
        }
        if (timePid && control == 0x3U) {
            QuirkMet(pid, offset, kQuirkAdaptationField);
        }
    }
    if (!timePid || (control & 0x1U) == 0) {
        return;
    }
    Of(pid).sections.Packet(packet, payload, offset, discontinuity);
}

std::variant<CaptureEnd, ReadError> Reader::Read(const ByteSource& source)
{
    const Framing framing = FramePackets(source, *this);
    if (!framing.transportStream) {
        return ReadError{"not an MPEG transport stream: " + framing.problem};
    }
    m_dvb.sections.End();
    m_atsc.sections.End();
    CaptureEnd end;
    end.hasPcr = m_hasPcr;
    end.endMs = m_pcr.Ms();
    end.packetSize = framing.unitSize;
    end.bytes = framing.bytes;
    return end;
}

// Reads a file with read(2), in the framer's chunks.
class FileSource {
public:
    explicit FileSource(const std::string& path) : m_fd(open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        if (m_fd >= 0) {
            posix_fadvise(m_fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        }
    }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;
    ~FileSource()
    {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }

    bool Open() const { return m_fd >= 0; }

    long Read(uint8_t* to, size_t size, size_t limit)
    {
        if (m_limited && m_done >= limit) {
            return 0;
        }
        const size_t want = m_limited ? std::min(size, limit - m_done) : size;
        ssize_t got = 0;
        do {
            got = read(m_fd, to, want);
        } while (got < 0 && errno == EINTR);
        if (got < 0) {
            m_error = errno;
            return -1;
        }
        m_done += static_cast<size_t>(got);
        return static_cast<long>(got);
    }

    void Limit() { m_limited = true; }
    int Error() const { return m_error; }

private:
    int m_fd;
    size_t m_done = 0;
    bool m_limited = false;
    int m_error = 0;
};

class NullSink : public CaptureSink {
public:
    void Table(const TimeTable&) override {}
    void Note(const struct Note&) override {}
};

class CollectSink : public CaptureSink {
public:
    explicit CollectSink(Capture& capture) : m_capture(capture) {}
    void Table(const TimeTable& table) override { m_capture.tables.push_back(table); }
    void Note(const struct Note& note) override { m_capture.notes.push_back(note); }

private:
    Capture& m_capture;
};

}  // namespace

class PacketReader::Impl : public Reader {
public:
    using Reader::Reader;
};

PacketReader::PacketReader(CaptureSink& sink) : m_impl(std::make_unique<Impl>(sink))
{
}

PacketReader::~PacketReader() = default;

void PacketReader::Packet(const uint8_t* packet, uint64_t offset)
{
    m_impl->Packet(packet, offset);
}

void PacketReader::Restart(uint64_t offset, const std::string& why)
{
    m_impl->Restart(offset, why);
}

void PacketReader::Section(uint16_t pid, const uint8_t* section, size_t size, uint64_t offset)
{
    m_impl->Section(pid, section, size, offset);
}

std::variant<CaptureEnd, ReadError> ReadCaptureStream(const ByteSource& source, CaptureSink& sink)
{
    Reader reader(sink);
    return reader.Read(source);
}

std::variant<CaptureEnd, ReadError> ReadCaptureFile(const std::string& path, CaptureSink& sink,
                                                    const std::function<bool()>& more)
{
    FileSource file(path);
    if (!file.Open()) {
        return ReadError{"cannot read the capture " + path + ": " + std::strerror(errno)};
    }
    auto result = ReadCaptureStream(
        [&file, &more](uint8_t* to, size_t size) {
            return more && !more() ? 0L : file.Read(to, size, 0);
        },
        sink);
    if (auto* error = std::get_if<ReadError>(&result)) {
        if (file.Error() != 0) {
            error->message = "cannot read the capture: " + std::string(std::strerror(file.Error()));
        }
        error->message = path + ": " + error->message;
    }
    return result;
}

std::optional<ReadError> CheckCaptureFile(const std::string& path)
{
    FileSource file(path);
    if (!file.Open()) {
        return ReadError{"cannot read the capture " + path + ": " + std::strerror(errno)};
    }
    file.Limit();
    NullSink sink;
    // The head is enough: the first packet must start in it.
    const auto result = ReadCaptureStream(
        [&file](uint8_t* to, size_t size) { return file.Read(to, size, 2 * kSyncSearchLimit); },
        sink);
    if (const auto* error = std::get_if<ReadError>(&result)) {
        return ReadError{path + ": " + error->message};
    }
    return std::nullopt;
}

std::variant<Capture, ReadError> ReadCapture(const uint8_t* data, size_t size)
{
    Capture capture;
    CollectSink sink(capture);
    size_t done = 0;
    auto result = ReadCaptureStream(
        [&](uint8_t* to, size_t room) {
            const size_t part = std::min(room, size - done);
            if (part > 0) {
                std::memcpy(to, data + done, part);
            }
            done += part;
            return static_cast<long>(part);
        },
        sink);
    if (auto* error = std::get_if<ReadError>(&result)) {
        return std::move(*error);
    }
    const auto& end = std::get<CaptureEnd>(result);
    capture.hasPcr = end.hasPcr;
    capture.endMs = end.endMs;
    capture.packetSize = end.packetSize;
    return capture;
}

}  // namespace dakinput
