// The trace: one JSON object a line for everything that happened in a run,
// written and flushed as it happens, so that a run that dies leaves its
// trace up to that point.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

    // What the line holds, for writers of other formats.
    const std::string& Event() const { return m_event; }
    const Moment& At() const { return m_moment; }
    const std::string& File() const { return m_file; }
    // Each field of its own with its value as JSON (`"text"`, `12`, `true`).
    const std::vector<std::pair<std::string, std::string>>& Fields() const { return m_fields; }
    // The value of a field as JSON, "" when it has none.
    std::string_view Field(std::string_view key) const;

private:
    void Add(std::string_view key, std::string value);

    std::string m_text;
    std::string m_event;
    Moment m_moment;
    std::string m_file;
    std::vector<std::pair<std::string, std::string>> m_fields;
};

// Where records go: the trace file, and other formats beside it.
class RecordSink {
public:
    virtual ~RecordSink() = default;
    virtual void Write(const TraceRecord& record) = 0;
};

class TraceFile : public RecordSink {
public:
    TraceFile() = default;
    ~TraceFile() override;
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    // False (errno set) when the file cannot be created.
    bool Open(const std::string& path);
    // Every record also goes to `sink` (the trace file may be closed).
    void Also(RecordSink* sink) { m_also = sink; }
    void Write(const TraceRecord& record) override;

private:
    FILE* m_file = nullptr;
    RecordSink* m_also = nullptr;
};

}  // namespace daksim
