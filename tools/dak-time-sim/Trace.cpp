#include "Trace.h"

#include <cstdio>
#include <utility>

namespace daksim {

namespace {

// The length of the valid UTF-8 sequence at `at`, or 0.
size_t Utf8Length(std::string_view text, size_t at)
{
    const auto lead = static_cast<unsigned char>(text[at]);
    size_t length = 0;
    unsigned int minimum = 0;
    unsigned int code = 0;
    if (lead < 0x80) {
        return 1;
    }
    if ((lead & 0xE0U) == 0xC0U) {
        length = 2;
        minimum = 0x80;
        code = lead & 0x1FU;
    } else if ((lead & 0xF0U) == 0xE0U) {
        length = 3;
        minimum = 0x800;
        code = lead & 0x0FU;
    } else if ((lead & 0xF8U) == 0xF0U) {
        length = 4;
        minimum = 0x10000;
        code = lead & 0x07U;
    } else {
        return 0;
    }
    if (at + length > text.size()) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0U) != 0x80U) {
            return 0;
        }
        code = (code << 6U) | (next & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < minimum || code > 0x10FFFF || surrogate ? 0 : length;
}

}  // namespace

std::string JsonString(std::string_view text)
{
    std::string out = "\"";
    out.reserve(text.size() + 2);
    for (size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c < 0x20 || c == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else if (c >= 0x80) {
            const size_t length = Utf8Length(text, i);
            if (length == 0) {
                out += "\\ufffd";
                ++i;
            } else {
                out.append(text.substr(i, length));
                i += length;
            }
            continue;
        } else {
            out += static_cast<char>(c);
        }
        ++i;
    }
    out += '"';
    return out;
}

TraceRecord::TraceRecord(std::string_view event, const Moment& moment, std::string_view file)
    : m_event(event), m_moment(moment), m_file(file)
{
    m_text = "{\"event\":" + JsonString(event) + ",\"t\":" + std::to_string(moment.elapsedMs) +
             ",\"clock\":" + std::to_string(moment.clock) + ",\"file\":" + JsonString(file);
}

void TraceRecord::Add(std::string_view key, std::string value)
{
    m_text += ',';
    m_text += JsonString(key);
    m_text += ':';
    m_text += value;
    m_fields.emplace_back(std::string(key), std::move(value));
}

std::string_view TraceRecord::Field(std::string_view key) const
{
    for (const auto& field : m_fields) {
        if (field.first == key) {
            return field.second;
        }
    }
    return {};
}

TraceRecord& TraceRecord::Int(std::string_view key, int64_t value)
{
    Add(key, std::to_string(value));
    return *this;
}

TraceRecord& TraceRecord::Text(std::string_view key, std::string_view value)
{
    Add(key, JsonString(value));
    return *this;
}

TraceRecord& TraceRecord::Bool(std::string_view key, bool value)
{
    Add(key, value ? "true" : "false");
    return *this;
}

TraceFile::~TraceFile()
{
    if (m_file != nullptr) {
        std::fclose(m_file);
    }
}

bool TraceFile::Open(const std::string& path)
{
    m_file = std::fopen(path.c_str(), "w");
    return m_file != nullptr;
}

void TraceFile::Write(const TraceRecord& record)
{
    if (m_also != nullptr) {
        m_also->Write(record);
    }
    if (m_file == nullptr) {
        return;
    }
    const std::string line = record.Line();
    std::fwrite(line.data(), 1, line.size(), m_file);
    std::fputc('\n', m_file);
    std::fflush(m_file);
}

}  // namespace daksim
