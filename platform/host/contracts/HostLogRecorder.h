// The host logger's store of recorded lines: a fixed ring of bytes that
// allocates nothing per line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "DakHostControl.h"

namespace dakhost::detail {

// The recorded lines, oldest first, in a circular store of bytes. Each line
// is a header followed by its function and its text; a line may wrap around
// the store's end. A new line drops the oldest ones until it fits.
class Recorder {
public:
    // 4 MiB: some 40 000 lines of the library's length (about 100 bytes
    // each with their header), three times what a scenario of half a day of
    // syncs logs between two marks. Pages are touched only as lines come.
    static constexpr size_t kBytes = size_t{4} << 20;

    void Append(const char* function, int line, int module, int level, dakhost::Via via,
                const char* text, size_t textLength)
    {
        const size_t functionLength = std::strlen(function);
        // A line longer than the whole store keeps what fits of its text.
        const size_t room = kBytes - sizeof(Header) - functionLength;
        if (textLength > room) {
            textLength = room;
        }
        const Header header{static_cast<uint32_t>(functionLength),
                            static_cast<uint32_t>(textLength),
                            line,
                            module,
                            level,
                            static_cast<int>(via)};
        const size_t size = sizeof header + functionLength + textLength;
        while (kBytes - m_used < size) {
            Header oldest{};
            CopyOut(m_tail, &oldest, sizeof oldest);
            const size_t dropped = oldest.SizeOf();
            m_tail = (m_tail + dropped) % kBytes;
            m_used -= dropped;
            --m_count;
        }
        const size_t at = (m_tail + m_used) % kBytes;
        CopyIn(at, &header, sizeof header);
        CopyIn((at + sizeof header) % kBytes, function, functionLength);
        CopyIn((at + sizeof header + functionLength) % kBytes, text, textLength);
        m_used += size;
        ++m_count;
    }

    std::vector<dakhost::LogLine> Lines() const
    {
        std::vector<dakhost::LogLine> lines;
        lines.reserve(m_count);
        size_t at = m_tail;
        for (size_t i = 0; i < m_count; ++i) {
            Header header{};
            CopyOut(at, &header, sizeof header);
            std::string function(header.functionLength, '\0');
            std::string text(header.textLength, '\0');
            CopyOut((at + sizeof header) % kBytes, function.data(), function.size());
            CopyOut((at + sizeof header + function.size()) % kBytes, text.data(), text.size());
            lines.push_back(dakhost::LogLine{std::move(function), header.line, header.module,
                                             header.level, static_cast<dakhost::Via>(header.via),
                                             std::move(text)});
            at = (at + header.SizeOf()) % kBytes;
        }
        return lines;
    }

    void Clear()
    {
        m_tail = 0;
        m_used = 0;
        m_count = 0;
    }

private:
    struct Header {
        uint32_t functionLength;
        uint32_t textLength;
        int line;
        int module;
        int level;
        int via;
        size_t SizeOf() const { return sizeof(Header) + functionLength + textLength; }
    };

    void CopyIn(size_t at, const void* from, size_t length)
    {
        const size_t first = length < kBytes - at ? length : kBytes - at;
        std::memcpy(m_bytes.get() + at, from, first);
        std::memcpy(m_bytes.get(), static_cast<const char*>(from) + first, length - first);
    }

    void CopyOut(size_t at, void* to, size_t length) const
    {
        const size_t first = length < kBytes - at ? length : kBytes - at;
        std::memcpy(to, m_bytes.get() + at, first);
        std::memcpy(static_cast<char*>(to) + first, m_bytes.get(), length - first);
    }

    // Left uninitialised: the kernel hands the pages out as they are written.
    std::unique_ptr<char[]> m_bytes{new char[kBytes]};
    size_t m_tail = 0;   // offset of the oldest line
    size_t m_used = 0;   // bytes the lines take
    size_t m_count = 0;  // lines held
};

}  // namespace dakhost::detail
