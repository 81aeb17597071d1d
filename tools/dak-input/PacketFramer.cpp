#include "PacketFramer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "Capture.h"

namespace dakinput {

namespace {

constexpr uint8_t kSyncByte = 0x47;
constexpr size_t kChunk = size_t{1} << 20U;
constexpr std::array<size_t, 3> kUnitSizes = {188, 192, 204};
// Sync bytes looked for after a candidate place, at each unit size.
constexpr size_t kConfirmations = 4;
constexpr size_t kLookahead = (kConfirmations + 1) * 204;
constexpr size_t kBufferSize = kChunk + kLookahead;

size_t PrefixOf(size_t unitSize)
{
    return unitSize == 192 ? 4 : 0;
}

class Framer {
public:
    Framer(const ByteSource& source, PacketSink& sink) : m_source(source), m_sink(sink) {}

    Framing Run();

private:
    enum class Found { Yes, NeedMore, No };

    void Fill();
    Found Search(size_t& at, size_t& unitSize, size_t known) const;
    size_t Matches(size_t at, size_t unitSize, bool& toEnd) const;
    uint64_t FileByte(size_t at, size_t unitSize) const { return m_base + at - PrefixOf(unitSize); }

    const ByteSource& m_source;
    PacketSink& m_sink;
    // Not cleared: only bytes read are looked at.
    std::unique_ptr<uint8_t[]> m_buffer{new uint8_t[kBufferSize]};
    size_t m_begin = 0;   // the next byte to look at
    size_t m_end = 0;     // bytes held
    uint64_t m_base = 0;  // file byte of m_buffer[0]
    bool m_atEnd = false;
    bool m_readError = false;
};

void Framer::Fill()
{
    m_begin = std::min(m_begin, m_end);
    if (m_begin > 0) {
        std::memmove(m_buffer.get(), m_buffer.get() + m_begin, m_end - m_begin);
        m_base += m_begin;
        m_end -= m_begin;
        m_begin = 0;
    }
    while (!m_atEnd && m_end < kBufferSize) {
        const long got = m_source(m_buffer.get() + m_end, kBufferSize - m_end);
        if (got <= 0) {
            m_atEnd = true;
            m_readError = got < 0;
            break;
        }
        m_end += static_cast<size_t>(got);
    }
}

// How many sync bytes follow `at` at the unit size, at most kConfirmations;
// `toEnd` when all that the input holds agree.
size_t Framer::Matches(size_t at, size_t unitSize, bool& toEnd) const
{
    toEnd = false;
    if (at + kPacketSize > m_end) {
        return 0;
    }
    for (size_t k = 1; k <= kConfirmations; ++k) {
        const size_t next = at + k * unitSize;
        if (next >= m_end) {
            toEnd = m_atEnd;
            return k - 1;
        }
        if (m_buffer[next] != kSyncByte) {
            return k - 1;
        }
    }
    return kConfirmations;
}

// The first place from `at` in sync, and its unit size. With `known` (a
// unit size already found) one following sync byte at that size is enough,
// as for a receiver that lost one packet, and another size needs all the
// sync bytes looked for; otherwise the size with the most
// sync bytes following wins (a 192- or 204-byte stream whose timestamp or
// parity byte happens to be 0x47 matches once at 188, four times at its
// own size).
Framer::Found Framer::Search(size_t& at, size_t& unitSize, size_t known) const
{
    while (at < m_end) {
        const void* sync = std::memchr(m_buffer.get() + at, kSyncByte, m_end - at);
        if (sync == nullptr) {
            at = m_end;
            break;
        }
        at = static_cast<size_t>(static_cast<const uint8_t*>(sync) - m_buffer.get());
        if (!m_atEnd && at + kLookahead > m_end) {
            return Found::NeedMore;
        }
        bool toEnd = false;
        if (known != 0 && (Matches(at, known, toEnd) >= 1 || toEnd)) {
            unitSize = known;
            return Found::Yes;
        }
        size_t best = 0;
        for (const size_t size : kUnitSizes) {
            const size_t matches = Matches(at, size, toEnd);
            // None will do only for an input that is this one packet; a
            // change of the size found before wants every one.
            const bool enough = known != 0 ? matches == kConfirmations || (toEnd && matches >= 1)
                                           : matches >= 1 || (toEnd && m_base + at == 0);
            if (enough && matches + 1 > best) {
                best = matches + 1;
                unitSize = size;
            }
        }
        if (best > 0) {
            return Found::Yes;
        }
        ++at;
    }
    return m_atEnd ? Found::No : Found::NeedMore;
}

Framing Framer::Run()
{
    Framing framing;
    Fill();
    size_t unitSize = 0;  // 0: not in sync
    bool first = true;
    uint64_t lostAt = 0;
    for (;;) {
        if (unitSize == 0) {
            size_t at = m_begin;
            size_t size = 0;
            const Found found = Search(at, size, framing.unitSize);
            if (found == Found::NeedMore) {
                if (first && m_base + at >= kSyncSearchLimit) {
                    framing.problem =
                        "no 188-, 192- or 204-byte packets starting with the sync "
                        "byte 0x47 in its first MiB";
                    return framing;
                }
                m_begin = at;
                Fill();
                continue;
            }
            if (found == Found::No) {
                if (first) {
                    framing.problem = m_base + m_end < kPacketSize
                                          ? "shorter than one 188-byte packet"
                                          : "no 188-, 192- or 204-byte packets starting with "
                                            "the sync byte 0x47";
                    if (m_readError) {
                        framing.problem = "cannot be read";
                    }
                    return framing;
                }
                m_sink.FramingNote(lostAt, "sync byte lost; not found again");
                m_begin = m_end;
                break;
            }
            const uint64_t fileByte = FileByte(at, size);
            if (first) {
                framing.transportStream = true;
                framing.unitSize = size;
                if (size != kPacketSize) {
                    m_sink.FramingNote(0, UnitSizeText(size));
                }
                if (m_base + at > PrefixOf(size)) {
                    m_sink.FramingNote(
                        0, std::to_string(fileByte) + " bytes before the first packet skipped");
                }
                first = false;
            } else {
                std::string text =
                    "sync byte lost; in sync again at byte " + std::to_string(fileByte);
                if (size != framing.unitSize) {
                    text += ", now " + UnitSizeText(size);
                }
                m_sink.FramingNote(lostAt, text);
            }
            framing.unitSize = size;
            unitSize = size;
            m_begin = at;
        }
        if (!m_atEnd && m_begin + kLookahead > m_end) {
            Fill();
        }
        if (m_begin + kPacketSize > m_end) {
            break;
        }
        if (m_buffer[m_begin] != kSyncByte) {
            lostAt = FileByte(m_begin, unitSize);
            unitSize = 0;
            continue;
        }
        m_sink.Packet(m_buffer.get() + m_begin, FileByte(m_begin, unitSize));
        m_begin += unitSize;
    }
    if (m_begin < m_end) {
        m_sink.FramingNote(m_base + m_begin, std::to_string(m_end - m_begin) +
                                                 " bytes at the end are not a whole packet, "
                                                 "skipped");
    }
    if (m_readError) {
        m_sink.FramingNote(m_base + m_end, "the capture could not be read on from here");
    }
    framing.bytes = m_base + m_end;
    return framing;
}

}  // namespace

Framing FramePackets(const ByteSource& source, PacketSink& sink)
{
    Framer framer(source, sink);
    return framer.Run();
}

std::string UnitSizeText(size_t unitSize)
{
    switch (unitSize) {
        case 192:
            return "192-byte packets (a 4-byte timestamp before each, M2TS/BDAV)";
        case 204:
            return "204-byte packets (16 parity bytes after each)";
        default:
            return std::to_string(unitSize) + "-byte packets";
    }
}

}  // namespace dakinput
