#include "Records.h"

#include "Timeline.h"
#include "Trace.h"
#include "Vocabulary.h"

namespace daksim::explain {

Records::Records(RecordSink* sink, Timeline* timeline) : m_sink(sink), m_timeline(timeline)
{
}

void Records::Write(const TraceRecord& record)
{
    if (m_sink != nullptr) {
        m_sink->Write(record);
    }
}

void Records::Clocks(const At& at)
{
    if (m_timeline == nullptr) {
        return;
    }
    const int64_t rtc =
        m_rtc ? *m_rtc + static_cast<int64_t>((at.moment.elapsedMs - m_rtcAtMs) / 1000U)
              : static_cast<int64_t>(at.moment.clock);
    m_timeline->Clocks(at.moment, rtc);
}

void Records::BeginFile(const std::string& name, const At& at)
{
    m_file = name;
    m_rtc.reset();
    if (m_timeline != nullptr) {
        m_timeline->BeginFile(name, at.moment);
    }
    Write(TraceRecord("file", at.moment, m_file));
}

void Records::EndFile(const At& at)
{
    Clocks(at);
    if (m_timeline != nullptr) {
        m_timeline->EndFile(at.moment);
    }
    TraceRecord record("end", at.moment, m_file);
    if (m_rtc) {
        record.Int("rtc", *m_rtc + static_cast<int64_t>((at.moment.elapsedMs - m_rtcAtMs) / 1000U));
    }
    Write(record);
}

void Records::Log(const dakhost::LogLine& line, const At& at)
{
    if (m_sink == nullptr) {
        return;
    }
    Write(TraceRecord("log", at.moment, m_file)
              .Int("level", line.level)
              .Text("via", dakhost::ViaName(line.via))
              .Text("function", line.function)
              .Text("text", line.text)
              .Int("log_line", static_cast<int64_t>(at.line)));
}

void Records::Setting(const SettingEvent& event, const At& at)
{
    const Decisions::Setting& setting = event.setting;
    Clocks(at);
    if (m_timeline != nullptr) {
        m_timeline->Setting(at.moment, setting.type, setting.accepted);
    }
    TraceRecord record("setting", at.moment, m_file);
    if (setting.type != Decisions::kTypeUnknown) {
        record.Int("type", setting.type).Text("type_name", SetTypeName(setting.type));
    }
    record.Bool("accepted", setting.accepted);
    if (setting.utc >= 0) {
        record.Int("time", setting.utc);
    }
    if (!setting.accepted) {
        record.Text("why", setting.why);
    }
    if (event.reasonsKnown) {
        record.Text("reason_before", ReasonName(setting.reasonBefore))
            .Text("reason_after", ReasonName(setting.reasonAfter));
    }
    record.Int("log_line", static_cast<int64_t>(at.line));
    Write(record);
}

void Records::Sync(const Decisions::Sync& sync, const At& at)
{
    if (sync.rtc) {
        m_rtc = sync.rtc;
        m_rtcAtMs = at.moment.elapsedMs;
    }
    Clocks(at);
    if (m_timeline != nullptr) {
        m_timeline->SyncFired(at.moment);
    }
    TraceRecord record("sync", at.moment, m_file);
    if (sync.system) {
        record.Int("system", *sync.system);
    }
    if (sync.rtc) {
        record.Int("rtc", *sync.rtc);
    }
    if (sync.system && sync.rtc) {
        record.Int("difference", *sync.system - *sync.rtc);
    }
    record.Text("decision", sync.decision).Int("log_line", static_cast<int64_t>(at.line));
    Write(record);
}

void Records::RtcRead(bool ok, std::optional<int64_t> utc, const std::string& /*how*/, const At& at)
{
    if (utc) {
        m_rtc = utc;
        m_rtcAtMs = at.moment.elapsedMs;
    }
    Clocks(at);
    TraceRecord record("rtc_read", at.moment, m_file);
    record.Bool("ok", ok);
    if (utc) {
        record.Int("time", *utc);
    } else if (ok) {
        record.Bool("calendar", false);
    }
    Write(record);
}

void Records::RtcWrite(bool ok, std::optional<int64_t> utc, const At& at)
{
    if (ok && utc) {
        m_rtc = utc;
        m_rtcAtMs = at.moment.elapsedMs;
    }
    Clocks(at);
    TraceRecord record("rtc_write", at.moment, m_file);
    record.Bool("ok", ok);
    if (utc) {
        record.Int("time", *utc);
    }
    Write(record);
}

void Records::ClockSet(int result, int64_t utc, const At& at)
{
    Clocks(at);
    if (m_timeline != nullptr && result == 0) {
        m_timeline->ClockSetByLibrary(at.moment, utc);
    }
    Write(TraceRecord("clock_set", at.moment, m_file)
              .Bool("ok", result == 0)
              .Int("result", result)
              .Int("time", utc));
}

void Records::Store(const std::string& key, int64_t value, const At& at)
{
    if (key == "clockmode") {
        return;  // read by the library, not written
    }
    Clocks(at);
    if (m_timeline != nullptr) {
        if (key == "reason") {
            m_timeline->Reason(at.moment, static_cast<int>(value));
        } else if (key == "autoclock") {
            m_timeline->AutoClock(at.moment, static_cast<int>(value));
        }
    }
    Write(TraceRecord("store", at.moment, m_file).Text("setting", key).Int("value", value));
}

void Records::Table(const TableEvent& table, const At& at)
{
    const std::string handle = table.handle.empty() ? "?" : table.handle;
    Clocks(at);
    if (m_timeline != nullptr) {
        m_timeline->Table(
            at.moment, handle,
            table.result ? Timeline::TableMark::Accepted : Timeline::TableMark::Refused);
        if (table.result) {
            m_timeline->Stream(at.moment, handle, table.utc);
        }
    }
    TraceRecord record("table", at.moment, m_file);
    record.Text("handle", handle).Int("time", table.utc).Bool("result", table.result);
    if (!table.why.empty()) {
        record.Text("why", table.why);
    }
    Write(record.Int("log_line", static_cast<int64_t>(at.line)));
}

void Records::Signal(int number, int64_t type, const At& at)
{
    Clocks(at);
    Write(TraceRecord("signal", at.moment, m_file)
              .Int("signal", 108)
              .Int("number", number)
              .Int("type", static_cast<uint16_t>(type))
              .Text("type_name", SetTypeName(type)));
}

}  // namespace daksim::explain
