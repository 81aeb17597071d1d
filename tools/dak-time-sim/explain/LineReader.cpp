#include "LineReader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace daksim::explain {

namespace {
constexpr size_t kChunk = size_t{256} * 1024;
}  // namespace

LineReader::LineReader() : m_buffer(kChunk + LineReader::kMaxLine)
{
}

LineReader::~LineReader()
{
    if (m_file != nullptr) {
        gzclose(m_file);
    }
}

bool LineReader::Open(const std::string& path, std::string& problem)
{
    if (path == "-") {
        const int fd = dup(STDIN_FILENO);
        m_file = fd >= 0 ? gzdopen(fd, "rb") : nullptr;
        if (m_file == nullptr && fd >= 0) {
            close(fd);
        }
    } else {
        struct stat info {};
        if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
            problem = "is a directory, not a log";
            return false;
        }
        m_file = gzopen(path.c_str(), "rb");
    }
    if (m_file == nullptr) {
        problem = std::string("cannot read the log: ") + std::strerror(errno);
        return false;
    }
    // zlib reads plain files as they are, so ".gz" needs no special case.
    gzbuffer(m_file, static_cast<unsigned>(kChunk));
    return true;
}

bool LineReader::Fill()
{
    if (m_eof) {
        return false;
    }
    if (m_begin > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    const size_t room = m_buffer.size() - m_end;
    const int got = gzread(m_file, m_buffer.data() + m_end, static_cast<unsigned>(room));
    if (got <= 0) {
        // zlib ends a compressed file cut short as it ends a whole one, but
        // for the error it keeps.
        int code = Z_OK;
        const char* message = gzerror(m_file, &code);
        if (got < 0 || code != Z_OK) {
            m_error = message != nullptr && *message != '\0' ? message : "read error";
            const size_t named = m_error.rfind(": ");  // zlib names the file first
            if (named != std::string::npos) {
                m_error.erase(0, named + 2);
            }
        }
        m_eof = true;
        return false;
    }
    m_end += static_cast<size_t>(got);
    m_bytes += static_cast<uint64_t>(got);
    return true;
}

namespace {

// The end of the line that starts at `from`: the first CR or LF.
const char* LineEnd(const char* from, const char* to)
{
    const auto* newline =
        static_cast<const char*>(std::memchr(from, '\n', static_cast<size_t>(to - from)));
    const char* limit = newline != nullptr ? newline : to;
    const auto* carriage =
        static_cast<const char*>(std::memchr(from, '\r', static_cast<size_t>(limit - from)));
    return carriage != nullptr ? carriage : newline;
}

// The length of the end of line at `end` (LF, CR LF, CR CR LF, LF CR or a
// lone CR), or 0 when more bytes must be read to tell.
size_t EndLength(const char* end, const char* to, bool eof)
{
    const char* at = end;
    if (*at == '\r') {
        while (at < to && *at == '\r') {
            ++at;
        }
        if (at == to && !eof) {
            return 0;
        }
        if (at < to && *at == '\n') {
            ++at;
        }
    } else {
        ++at;  // LF; a CR after it belongs to it unless a LF follows that
        if (at < to && *at == '\r') {
            if (at + 1 == to && !eof) {
                return 0;
            }
            if (at + 1 == to || at[1] != '\n') {
                ++at;
            }
        }
    }
    return static_cast<size_t>(at - end);
}

}  // namespace

size_t DropEscapes(char* text, size_t length)
{
    constexpr char kEscape = '\x1b';
    constexpr char kBell = '\x07';
    size_t out = 0;
    size_t i = 0;
    while (i < length) {
        if (text[i] != kEscape) {
            text[out++] = text[i++];
            continue;
        }
        ++i;
        if (i < length && text[i] == '[') {  // CSI: parameters, intermediates, final
            ++i;
            while (i < length && text[i] >= 0x20 && text[i] <= 0x3F) {
                ++i;
            }
            if (i < length && text[i] >= 0x40 && text[i] <= 0x7E) {
                ++i;
            }
        } else if (i < length && text[i] == ']') {  // OSC: up to BEL or ESC backslash
            while (i < length && text[i] != kBell &&
                   !(text[i] == kEscape && i + 1 < length && text[i + 1] == '\\')) {
                ++i;
            }
            i += i < length && text[i] == kBell ? 1 : 2;
        } else {  // intermediates, then the final byte
            while (i < length && text[i] >= 0x20 && text[i] <= 0x2F) {
                ++i;
            }
            i += i < length ? 1 : 0;
        }
    }
    return std::min(out, length);
}

bool LineReader::Next(std::string_view& line, bool& cut)
{
    cut = false;
    if (m_file == nullptr) {
        return false;
    }
    bool skipping = false;  // inside a line too long to keep
    for (;;) {
        char* start = m_buffer.data() + m_begin;
        const char* end = LineEnd(start, m_buffer.data() + m_end);
        const size_t endLength =
            end != nullptr ? EndLength(end, m_buffer.data() + m_end, m_eof) : 0;
        if (endLength > 0) {
            const auto length = static_cast<size_t>(end - start);
            m_begin += length + endLength;
            ++m_lineNumber;
            if (skipping || length > kMaxLine) {
                cut = true;
                line = {};
                return true;
            }
            line = Clean(start, length);
            return true;
        }
        if (m_end - m_begin > kMaxLine) {
            skipping = true;  // keep none of it: the rest is passed over too
            m_begin = m_end;
        }
        if (!Fill()) {
            if (m_end == m_begin && !skipping) {
                return false;
            }
            if (end != nullptr) {
                continue;  // at the end of the file, the end of line is known
            }
            // The last line, without an end of line: cut short when the file
            // ended early.
            ++m_lineNumber;
            cut = skipping || !m_error.empty();
            line = cut ? std::string_view() : Clean(m_buffer.data() + m_begin, m_end - m_begin);
            m_begin = m_end;
            return true;
        }
    }
}

std::string_view LineReader::Clean(char* text, size_t length)
{
    if (std::memchr(text, '\x1b', length) != nullptr) {
        length = DropEscapes(text, length);
    }
    return {text, length};
}

}  // namespace daksim::explain
