// Reading an MPEG transport stream capture for the time tables a set's
// table parser would see: TDT and TOT on PID 0x14, STT on PID 0x1FFB, paced
// by the first PID that carries a PCR. The capture streams through: each
// table and note goes to the sink as it is found, and memory does not grow
// with the capture. Damage is noted and skipped; only input that holds no
// transport stream at all is refused.
#pragma once

#include <cstddef>
#include <cstdint>
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

std::variant<CaptureEnd, ReadError> ReadCaptureStream(const ByteSource& source, CaptureSink& sink);
std::variant<CaptureEnd, ReadError> ReadCaptureFile(const std::string& path, CaptureSink& sink);

// Whether the file is a transport stream, from its first MiB; nothing when it is.
std::optional<ReadError> CheckCaptureFile(const std::string& path);

// A capture in memory, read whole (tests, the fuzz target).
std::variant<Capture, ReadError> ReadCapture(const uint8_t* data, size_t size);

}  // namespace dakinput
