#include "LineReader.h"

#include <sys/stat.h>
#include <unistd.h>

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
        if (got < 0) {
            int code = 0;
            const char* message = gzerror(m_file, &code);
            m_error = message != nullptr ? message : "read error";
        }
        m_eof = true;
        return false;
    }
    m_end += static_cast<size_t>(got);
    m_bytes += static_cast<uint64_t>(got);
    return true;
}

bool LineReader::Next(std::string_view& line, bool& cut)
{
    cut = false;
    if (m_file == nullptr) {
        return false;
    }
    bool skipping = false;  // inside a line too long to keep
    for (;;) {
        const char* start = m_buffer.data() + m_begin;
        const auto* newline = static_cast<const char*>(std::memchr(start, '\n', m_end - m_begin));
        if (newline != nullptr) {
            const auto length = static_cast<size_t>(newline - start);
            m_begin += length + 1;
            ++m_lineNumber;
            if (skipping || length > kMaxLine) {
                cut = true;
                line = {};
                return true;
            }
            line = std::string_view(start, length);
            if (!line.empty() && line.back() == '\r') {
                line.remove_suffix(1);
            }
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
            // The last line, without an end of line.
            ++m_lineNumber;
            line = skipping ? std::string_view()
                            : std::string_view(m_buffer.data() + m_begin, m_end - m_begin);
            cut = skipping;
            m_begin = m_end;
            return true;
        }
    }
}

}  // namespace daksim::explain
