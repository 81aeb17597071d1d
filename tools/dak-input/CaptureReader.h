// Reading an MPEG transport stream capture for the time tables a set's
// table parser would see: TDT and TOT on PID 0x14, STT on PID 0x1FFB, paced
// by the first PID that carries a PCR. The capture streams through: each
// table and note goes to the sink as it is found, and memory does not grow
// with the capture. Damage is noted and skipped; only input that holds no
// transport stream at all is refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "Capture.h"
#include "PacketFramer.h"

namespace dakinput {

struct ReadError {
    std::string message;
};

class CaptureSink {
public:
    virtual ~CaptureSink() = default;
    virtual void Table(const TimeTable& table) = 0;
    virtual void Note(const Note& note) = 0;
};

// What the whole capture came to.
struct CaptureEnd {
    bool hasPcr = false;
    uint64_t endMs = 0;  // the last PCR, from the first
    size_t packetSize = kPacketSize;
    uint64_t bytes = 0;
};

// The time tables of a live stream handed over piece by piece: whole
// transport packets (datagrams carry whole packets), or whole sections (a
// demux's section filter hands them over). `offset` places them in the
// stream for the notes: the byte of the packet, the count of the section.
class PacketReader {
public:
    explicit PacketReader(CaptureSink& sink);
    ~PacketReader();
    PacketReader(const PacketReader&) = delete;
    PacketReader& operator=(const PacketReader&) = delete;

    void Packet(const uint8_t* packet, uint64_t offset);  // 188 bytes from the sync byte
    void Section(uint16_t pid, const uint8_t* section, size_t size, uint64_t offset);
    // The stream starts afresh after a silence or a change of its framing:
    // continuity is not compared across it.
    void Restart(uint64_t offset, const std::string& why);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

std::variant<CaptureEnd, ReadError> ReadCaptureStream(const ByteSource& source, CaptureSink& sink);
// `more`, when given, is asked before each read: false ends the capture there.
std::variant<CaptureEnd, ReadError> ReadCaptureFile(const std::string& path, CaptureSink& sink,
                                                    const std::function<bool()>& more = {});

// Whether the file is a transport stream, from its first MiB; nothing when it is.
std::optional<ReadError> CheckCaptureFile(const std::string& path);

// A capture in memory, read whole (tests, the fuzz target).
std::variant<Capture, ReadError> ReadCapture(const uint8_t* data, size_t size);

}  // namespace dakinput
