// Finding the transport packets in a stream of bytes: 188-byte packets, the
// 192-byte units of M2TS/BDAV recordings (a 4-byte timestamp before each
// packet) or 204-byte ones (16 parity bytes after each), the size found from
// the bytes themselves. The bytes pass through a buffer of a fixed size, so
// that a capture of any size is read in bounded memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace dakinput {

// Fills at most `size` bytes at `to`: the number of bytes, 0 at the end of
// the input, a negative number when it cannot be read.
using ByteSource = std::function<long(uint8_t* to, size_t size)>;

class PacketSink {
public:
    virtual ~PacketSink() = default;
    // `packet` is 188 bytes from the sync byte; `offset` the file byte of
    // its unit (its timestamp, for 192-byte units).
    virtual void Packet(const uint8_t* packet, uint64_t offset) = 0;
    virtual void FramingNote(uint64_t offset, const std::string& text) = 0;
};

struct Framing {
    bool transportStream = false;  // false: `problem` says why not
    std::string problem;
    size_t unitSize = 0;  // 188, 192 or 204, as found first
    uint64_t bytes = 0;   // read in all
};

// The first sync byte must be found within this many bytes.
constexpr size_t kSyncSearchLimit = size_t{1} << 20U;

Framing FramePackets(const ByteSource& source, PacketSink& sink);

// What the unit size means, for a note: "192-byte packets (...)".
std::string UnitSizeText(size_t unitSize);

}  // namespace dakinput
