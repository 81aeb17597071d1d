// The trace: one JSON object a line for everything that happened in a run,
// written and flushed as it happens, so that a run that dies leaves its
// trace up to that point.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "Moment.h"

namespace daksim {

// A JSON string literal: quotes, backslashes and control characters (the
// escape character among them) escaped, bytes that are not UTF-8 replaced
// by U+FFFD, so that every line parses whatever the library logged.
std::string JsonString(std::string_view text);

// One record: {"event":...,"t":...,"clock":...,"file":..., fields...}.
class TraceRecord {
public:
    TraceRecord(std::string_view event, const Moment& moment, std::string_view file);

    TraceRecord& Int(std::string_view key, int64_t value);
    TraceRecord& Text(std::string_view key, std::string_view value);
    TraceRecord& Bool(std::string_view key, bool value);

    // The finished line, without its newline.
    std::string Line() const { return m_text + "}"; }

private:
    void Key(std::string_view key);

    std::string m_text;
};

class TraceFile {
public:
    TraceFile() = default;
    ~TraceFile();
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    // False (errno set) when the file cannot be created.
    bool Open(const std::string& path);
    void Write(const TraceRecord& record);

private:
    FILE* m_file = nullptr;
};

}  // namespace daksim
