#include "TablesCommand.h"

#include <variant>

#include "CapturePlayer.h"
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

// ,"key":value, the value already JSON.
std::string Field(const char* key, const std::string& value)
{
    return "," + Quoted(key) + ":" + value;
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
            const std::string line =
                Field("byte", std::to_string(note.packetOffset)) + Field("note", Quoted(note.text));
            std::fprintf(m_out, "{%s}\n", line.substr(1).c_str());
        } else {
            std::fprintf(m_out, "note (byte %llu): %s\n",
                         static_cast<unsigned long long>(note.packetOffset), note.text.c_str());
        }
    }

    void End(const CaptureEnd& end) const
    {
        if (m_json) {
            const std::string line = Field("end", "true") +
                                     Field("packet_size", std::to_string(end.packetSize)) +
                                     Field("bytes", std::to_string(end.bytes)) +
                                     Field("tables", std::to_string(m_tables)) +
                                     Field("notes", std::to_string(m_notes)) +
                                     Field("pcr", end.hasPcr ? "true" : "false") +
                                     Field("ms", std::to_string(end.endMs));
            std::fprintf(m_out, "{%s}\n", line.substr(1).c_str());
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
        const auto time = [](const std::optional<int64_t>& value) {
            return value ? std::to_string(*value) : std::string("null");
        };
        const auto iso = [](const std::optional<int64_t>& value) {
            return value ? Quoted(IsoFromUtc(*value)) : std::string("null");
        };
        const auto boolean = [](bool value) { return std::string(value ? "true" : "false"); };
        std::string line = Field("byte", std::to_string(table.packetOffset)) +
                           Field("ms", table.paced ? std::to_string(table.pcrMs) : "null") +
                           Field("pid", std::to_string(table.pid)) +
                           Field("table", Quoted(KindName(table.kind))) + Field("utc", time(utc)) +
                           Field("time", iso(utc)) +
                           Field("fits_32_bit", boolean(utc && FitsSetTime(*utc)));
        if (table.kind == TimeTable::Kind::Stt) {
            line += Field("system_time", std::to_string(table.systemTime)) +
                    Field("gps_utc_offset", std::to_string(table.gpsUtcOffset)) +
                    Field("ds_status", boolean(DsStatus(table.daylightSavings)));
        }
        if (table.kind == TimeTable::Kind::Tot) {
            std::string offsets;
            for (const OffsetEntry& raw : table.offsets) {
                const Entry entry = EntryOf(raw);
                const auto number = [](const std::optional<int32_t>& value) {
                    return value ? std::to_string(*value) : std::string("null");
                };
                offsets +=
                    ",{" +
                    (Field("country", Quoted(entry.country)) +
                     Field("region", std::to_string(entry.region)) +
                     Field("local", number(entry.local)) + Field("next", number(entry.next)) +
                     Field("change", time(entry.change)) + Field("change_time", iso(entry.change)))
                        .substr(1) +
                    "}";
            }
            line += Field("offsets", "[" + (offsets.empty() ? "" : offsets.substr(1)) + "]");
        }
        line += Field("crc", Quoted(CrcWord(table.crc)));
        if (table.crc == Crc::Ok || table.crc == Crc::Appended) {
            line += Field("crc_value", Quoted(Hex32(table.crcValue)));
        }
        std::string quirks;
        const std::string names = QuirkNames(table.quirks);
        size_t from = 0;
        while (from < names.size()) {
            const size_t comma = names.find(',', from);
            const size_t to = comma == std::string::npos ? names.size() : comma;
            quirks += "," + Quoted(names.substr(from, to - from));
            from = to + 1;
        }
        line = "{" + line.substr(1) +
               Field("quirks", "[" + (quirks.empty() ? "" : quirks.substr(1)) + "]") + "}";
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
