#include "Perfetto.h"

#include <cstring>

namespace daksim {

namespace {

enum Track : int { kSteps = 1, kTask = 2, kCallers = 3, kLog = 4 };

// Which thread a record happened on.
int TrackOf(const TraceRecord& record)
{
    const std::string& event = record.Event();
    if (event == "step" || event == "expect" || event == "file" || event == "end") {
        return kSteps;
    }
    if (event == "log") {
        return kLog;
    }
    if (event == "stream" || event == "table") {
        return kCallers;
    }
    return kTask;
}

// The value of a JSON number field, or nullopt.
std::optional<int64_t> Number(std::string_view json)
{
    if (json.empty() || json[0] == '"' || json[0] == 't' || json[0] == 'f') {
        return std::nullopt;
    }
    int64_t value = 0;
    bool negative = false;
    size_t i = 0;
    if (json[0] == '-') {
        negative = true;
        i = 1;
    }
    for (; i < json.size() && json[i] >= '0' && json[i] <= '9'; ++i) {
        value = value * 10 + (json[i] - '0');
    }
    return negative ? -value : value;
}

// A short name for the event in the viewer.
std::string NameOf(const TraceRecord& record)
{
    const std::string& event = record.Event();
    std::string name = event;
    auto add = [&](std::string_view key) {
        const std::string_view value = record.Field(key);
        if (value.size() >= 2 && value[0] == '"') {
            name += " ";
            name += value.substr(1, value.size() - 2);
        }
    };
    if (event == "setting") {
        add("type_name");
        name += record.Field("accepted") == "true" ? " accepted" : " refused";
    } else if (event == "sync") {
        add("decision");
    } else if (event == "signal") {
        add("type_name");
    } else if (event == "table" || event == "stream") {
        add("handle");
    } else if (event == "log") {
        add("function");
    } else if (event == "store") {
        add("setting");
    } else if (event == "step") {
        add("text");
    }
    return JsonString(name);
}

}  // namespace

PerfettoFile::~PerfettoFile()
{
    (void)Close();
}

bool PerfettoFile::Open(const std::string& path)
{
    m_file = std::fopen(path.c_str(), "w");
    if (m_file == nullptr) {
        return false;
    }
    std::fputs(R"({"displayTimeUnit":"ms","traceEvents":[)"
               "\n",
               m_file);
    return true;
}

bool PerfettoFile::Close()
{
    if (m_file == nullptr) {
        return !m_failed;
    }
    std::fputs("\n]}\n", m_file);
    m_failed = std::ferror(m_file) != 0 || m_failed;
    m_failed = std::fclose(m_file) != 0 || m_failed;
    m_file = nullptr;
    return !m_failed;
}

void PerfettoFile::Emit(const std::string& event)
{
    if (!m_first) {
        std::fputs(",\n", m_file);
    }
    m_first = false;
    std::fwrite(event.data(), 1, event.size(), m_file);
}

void PerfettoFile::NameThread(int tid, const char* name)
{
    Emit(R"({"ph":"M","name":"thread_name","pid":)" + std::to_string(m_pid) + R"(,"tid":)" +
         std::to_string(tid) + R"(,"args":{"name":)" + JsonString(name) + "}}");
}

void PerfettoFile::Counter(const std::string& name, int64_t ts, int64_t value)
{
    const std::string key = std::to_string(m_pid) + name;
    const auto found = m_counters.find(key);
    if (found != m_counters.end() && found->second == value) {
        return;
    }
    m_counters[key] = value;
    Emit(R"({"ph":"C","name":)" + JsonString(name) + R"(,"pid":)" + std::to_string(m_pid) +
         R"(,"ts":)" + std::to_string(ts) + R"(,"args":{"utc":)" + std::to_string(value) + "}}");
}

void PerfettoFile::Write(const TraceRecord& record)
{
    if (m_file == nullptr) {
        return;
    }
    const std::string& event = record.Event();
    const auto ts = static_cast<int64_t>(record.At().elapsedMs * 1000U);
    if (event == "file" || m_pid == 0) {
        ++m_pid;
        m_counters.clear();
        Emit(R"({"ph":"M","name":"process_name","pid":)" + std::to_string(m_pid) +
             R"(,"args":{"name":)" + JsonString(record.File()) + "}}");
        NameThread(kSteps, "steps");
        NameThread(kTask, "manager task");
        NameThread(kCallers, "callers");
        NameThread(kLog, "library log");
    }
    if (record.At().clock != 0) {  // 0: not known yet (a log read back)
        Counter("platform clock", ts, record.At().clock);
    }
    std::string args = "{";
    for (const auto& field : record.Fields()) {
        if (args.size() > 1) {
            args += ',';
        }
        args += JsonString(field.first) + ":" + field.second;
    }
    args += "}";
    if (event != "file") {
        Emit(R"({"ph":"i","s":"t","name":)" + NameOf(record) + R"(,"tid":)" +
             std::to_string(TrackOf(record)) + R"(,"pid":)" + std::to_string(m_pid) + R"(,"ts":)" +
             std::to_string(ts) + R"(,"args":)" + args + "}");
    }
    const std::optional<int64_t> rtc = event == "rtc_read" || event == "rtc_write"
                                           ? Number(record.Field("time"))
                                           : Number(record.Field("rtc"));
    if (rtc) {
        Counter("hardware clock", ts, *rtc);
    }
    if (event == "table" || event == "stream") {
        const std::string_view handle = record.Field("handle");
        if (const auto time = Number(record.Field("time"))) {
            std::string name = "stream clock ";
            name += handle.size() >= 2 ? handle.substr(1, handle.size() - 2) : "?";
            Counter(name, ts, *time);
        }
    }
    if (std::ferror(m_file) != 0) {
        m_failed = true;
    }
}

}  // namespace daksim
