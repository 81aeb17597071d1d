#include "TablesCommand.h"

#include <variant>

#include "CapturePlayer.h"
#include "CaptureReader.h"
#include "DvbTime.h"
#include "Quirks.h"
#include "SttSection.h"
#include "TimeText.h"

namespace daksim::capture {

namespace {

constexpr int kExitBadInput = 2;

std::string Seconds(uint64_t ms)
{
    std::string fraction = std::to_string(ms % 1000U);
    fraction.insert(0, 3 - fraction.size(), '0');
    return std::to_string(ms / 1000U) + "." + fraction + "s";
}

std::string Hex32(uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

std::string Quoted(const std::string& text)
{
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20 || byte >= 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04X", byte);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

const char* CrcWord(Crc crc)
{
    switch (crc) {
        case Crc::None:
            return "none";
        case Crc::Ok:
            return "ok";
        case Crc::Appended:
            return "appended";
        case Crc::NotChecked:
            return "not-a-crc";
    }
    return "?";
}

// "+01:00" of signed minutes.
std::string Offset(int32_t minutes)
{
    const int32_t magnitude = minutes < 0 ? -minutes : minutes;
    char text[16];
    std::snprintf(text, sizeof text, "%c%02d:%02d", minutes < 0 ? '-' : '+',
                  static_cast<int>(magnitude / 60), static_cast<int>(magnitude % 60));
    return text;
}

struct Entry {
    std::string country;
    int region = 0;
    std::optional<int32_t> local;
    std::optional<int32_t> next;
    std::optional<int64_t> change;
};

Entry EntryOf(const OffsetEntry& in)
{
    Entry entry;
    entry.country = in.country;
    entry.region = in.region;
    const int32_t sign = in.negative ? -1 : 1;
    if (const auto local = BcdHhmmToMinutes(in.localOffset)) {
        entry.local = sign * *local;
    }
    if (const auto next = BcdHhmmToMinutes(in.nextOffset)) {
        entry.next = sign * *next;
    }
    entry.change = MjdBcdToUtc(in.timeOfChange);
    return entry;
}

std::string TimeText(const std::optional<int64_t>& utc)
{
    if (!utc) {
        return "not-BCD";
    }
    return IsoFromUtc(*utc) + (FitsSetTime(*utc) ? "" : "(beyond-32-bit)");
}

class Lister : public CaptureSink {
public:
    Lister(FILE* out, bool json) : m_out(out), m_json(json) {}

    void Table(const TimeTable& table) override
    {
        ++m_tables;
        const auto utc = TableUtc(table);
        const std::string time = table.paced ? Seconds(table.pcrMs) : "-";
        if (m_json) {
            Json(table, utc);
            return;
        }
        std::string line =
            time + " PID " + Pid(table.pid) + " " + KindName(table.kind) + " " + TimeText(utc);
        if (table.kind == TimeTable::Kind::Stt) {
            line += " system_time " + std::to_string(table.systemTime) + " GPS_UTC_offset " +
                    std::to_string(table.gpsUtcOffset) + " DS_status " +
                    (DsStatus(table.daylightSavings) ? "1" : "0");
        }
        for (const OffsetEntry& raw : table.offsets) {
            const Entry entry = EntryOf(raw);
            line += " offset " + entry.country + "/" + std::to_string(entry.region) + " " +
                    (entry.local ? Offset(*entry.local) : "not-BCD") + " next " +
                    (entry.next ? Offset(*entry.next) : "not-BCD") + " from " +
                    TimeText(entry.change);
        }
        line += std::string(" CRC ") + CrcWord(table.crc);
        if (table.crc == Crc::Ok || table.crc == Crc::Appended) {
            line += " " + Hex32(table.crcValue);
        }
        if (table.quirks != 0) {
            line += " quirks " + QuirkNames(table.quirks);
        }
        std::fprintf(m_out, "%s (byte %llu)\n", line.c_str(),
                     static_cast<unsigned long long>(table.packetOffset));
    }

    void Note(const struct Note& note) override
    {
        ++m_notes;
        if (m_json) {
            std::fprintf(m_out, "{\"byte\":%llu,\"note\":%s}\n",
                         static_cast<unsigned long long>(note.packetOffset),
                         Quoted(note.text).c_str());
        } else {
            std::fprintf(m_out, "note (byte %llu): %s\n",
                         static_cast<unsigned long long>(note.packetOffset), note.text.c_str());
        }
    }

    void End(const CaptureEnd& end) const
    {
        if (m_json) {
            std::fprintf(m_out,
                         "{\"end\":true,\"packet_size\":%zu,\"bytes\":%llu,\"tables\":%llu,"
                         "\"notes\":%llu,\"pcr\":%s,\"ms\":%llu}\n",
                         end.packetSize, static_cast<unsigned long long>(end.bytes),
                         static_cast<unsigned long long>(m_tables),
                         static_cast<unsigned long long>(m_notes), end.hasPcr ? "true" : "false",
                         static_cast<unsigned long long>(end.endMs));
            return;
        }
        std::fprintf(m_out, "%llu time tables, %llu notes; %zu-byte packets, %llu bytes; %s\n",
                     static_cast<unsigned long long>(m_tables),
                     static_cast<unsigned long long>(m_notes), end.packetSize,
                     static_cast<unsigned long long>(end.bytes),
                     end.hasPcr ? ("PCR over " + Seconds(end.endMs)).c_str() : "no PCR");
    }

private:
    static std::string Pid(uint16_t pid)
    {
        char text[8];
        std::snprintf(text, sizeof text, "0x%04X", pid);
        return text;
    }

    void Json(const TimeTable& table, const std::optional<int64_t>& utc) const
    {
        std::string line = "{\"byte\":" + std::to_string(table.packetOffset) +
                           ",\"ms\":" + (table.paced ? std::to_string(table.pcrMs) : "null") +
                           ",\"pid\":" + std::to_string(table.pid) + ",\"table\":\"" +
                           KindName(table.kind) +
                           "\",\"utc\":" + (utc ? std::to_string(*utc) : "null") +
                           ",\"time\":" + (utc ? Quoted(IsoFromUtc(*utc)) : "null") +
                           ",\"fits_32_bit\":" + (utc && FitsSetTime(*utc) ? "true" : "false");
        if (table.kind == TimeTable::Kind::Stt) {
            line += ",\"system_time\":" + std::to_string(table.systemTime) +
                    ",\"gps_utc_offset\":" + std::to_string(table.gpsUtcOffset) +
                    ",\"ds_status\":" + (DsStatus(table.daylightSavings) ? "true" : "false");
        }
        if (table.kind == TimeTable::Kind::Tot) {
            line += ",\"offsets\":[";
            for (size_t i = 0; i < table.offsets.size(); ++i) {
                const Entry entry = EntryOf(table.offsets[i]);
                const auto number = [](const std::optional<int32_t>& value) {
                    return value ? std::to_string(*value) : std::string("null");
                };
                line += std::string(i > 0 ? "," : "") + "{\"country\":" + Quoted(entry.country) +
                        ",\"region\":" + std::to_string(entry.region) +
                        ",\"local\":" + number(entry.local) + ",\"next\":" + number(entry.next) +
                        ",\"change\":" + (entry.change ? std::to_string(*entry.change) : "null") +
                        ",\"change_time\":" +
                        (entry.change ? Quoted(IsoFromUtc(*entry.change)) : "null") + "}";
            }
            line += "]";
        }
        line += std::string(",\"crc\":\"") + CrcWord(table.crc) + "\"";
        if (table.crc == Crc::Ok || table.crc == Crc::Appended) {
            line += ",\"crc_value\":\"" + Hex32(table.crcValue) + "\"";
        }
        line += ",\"quirks\":[";
        const std::string names = QuirkNames(table.quirks);
        size_t from = 0;
        while (from < names.size()) {
            const size_t comma = names.find(',', from);
            const size_t to = comma == std::string::npos ? names.size() : comma;
            line += std::string(from > 0 ? "," : "") + "\"" + names.substr(from, to - from) + "\"";
            from = to + 1;
        }
        line += "]}";
        std::fprintf(m_out, "%s\n", line.c_str());
    }

    FILE* m_out;
    bool m_json;
    uint64_t m_tables = 0;
    uint64_t m_notes = 0;
};

}  // namespace

int TablesCommand(const std::vector<std::string>& args, FILE* out, FILE* err)
{
    bool json = false;
    std::string path;
    for (const std::string& arg : args) {
        if (arg == "--json") {
            json = true;
        } else if ((arg.size() > 1 && arg[0] == '-') || !path.empty()) {
            std::fprintf(err, "usage: dak-time-sim tables [--json] FILE\n");
            return kExitBadInput;
        } else {
            path = arg;
        }
    }
    if (path.empty()) {
        std::fprintf(err, "usage: dak-time-sim tables [--json] FILE\n");
        return kExitBadInput;
    }
    Lister lister(out, json);
    const auto read = ReadCaptureFile(path, lister);
    if (const auto* error = std::get_if<ReadError>(&read)) {
        std::fflush(out);
        std::fprintf(err, "%s\n", error->message.c_str());
        return kExitBadInput;
    }
    lister.End(std::get<CaptureEnd>(read));
    return std::fflush(out) == 0 ? 0 : kExitBadInput;
}

}  // namespace daksim::capture
