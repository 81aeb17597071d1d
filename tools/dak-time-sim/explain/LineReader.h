// Reading a log line by line, whatever its size: plain text, gzip (".gz",
// or any file that starts like one) or standard input ("-"). The buffer is
// of a fixed size: a line longer than kMaxLine is not grown into memory but
// counted as cut and passed over up to its end.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace daksim::explain {

class LineReader {
public:
    static constexpr size_t kMaxLine = size_t{64} * 1024;

    LineReader();
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // False with `problem` set when the file cannot be opened.
    bool Open(const std::string& path, std::string& problem);

    // The next line, without its end of line (LF, CR LF, CR CR LF as serial
    // consoles write, LF CR, or a lone CR) and without the terminal's escape
    // sequences (CSI: colours, erasing, moving; OSC: titles); false at the
    // end. A line that was too long comes back empty, with `cut` set.
    bool Next(std::string_view& line, bool& cut);

    uint64_t LineNumber() const { return m_lineNumber; }
    uint64_t BytesRead() const { return m_bytes; }
    // A read error or damaged compressed data ended the file early.
    const std::string& Error() const { return m_error; }

private:
    bool Fill();
    static std::string_view Clean(char* text, size_t length);

    gzFile m_file = nullptr;
    std::vector<char> m_buffer;
    size_t m_begin = 0;
    size_t m_end = 0;
    bool m_eof = false;
    uint64_t m_lineNumber = 0;
    uint64_t m_bytes = 0;
    std::string m_error;
};

// Drops the terminal's escape sequences from `text` in place; the new length.
size_t DropEscapes(char* text, size_t length);

}  // namespace daksim::explain
