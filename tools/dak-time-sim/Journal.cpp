#include "Journal.h"

#include "Timeline.h"
#include "Trace.h"
#include "Vocabulary.h"

namespace daksim {

namespace {

const char* StoreKey(dakhost::Setting setting)
{
    switch (setting) {
        case dakhost::Setting::Reason:
            return "reason";
        case dakhost::Setting::FlagDst:
            return "dst";
        case dakhost::Setting::TimeOffset:
            return "offset";
        case dakhost::Setting::ClockMode:
            return "clockmode";
        case dakhost::Setting::TimeZone:
            return "region";
        case dakhost::Setting::NetworkSet:
            return "networkset";
        case dakhost::Setting::AutoClockType:
            return "autoclock";
        case dakhost::Setting::FirstStt:
            return "firststt";
        case dakhost::Setting::Presentation:
            return "presentation";
    }
    return "?";
}

}  // namespace

std::string HandleText(const args::StreamHandle& handle)
{
    return std::to_string(handle.profileId) + "/" + std::to_string(handle.subId);
}

Journal::Journal(TraceFile* trace, Timeline* timeline) : m_trace(trace), m_timeline(timeline)
{
}

Moment Journal::Stamp()
{
    const Moment moment = Now();
    if (m_timeline != nullptr) {
        m_timeline->Clocks(moment, dakhost::Rtc());
    }
    return moment;
}

void Journal::Write(const TraceRecord& record)
{
    if (m_trace != nullptr) {
        m_trace->Write(record);
    }
}

void Journal::BeginFile(const std::string& name, std::optional<uint32_t> seed)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_file = name;
    const Moment moment = Now();
    if (m_timeline != nullptr) {
        // The picture names the seed beside the file, as the header does.
        m_timeline->BeginFile(seed ? name + "  (seed " + std::to_string(*seed) + ")" : name,
                              moment);
        m_timeline->Clocks(moment, dakhost::Rtc());
        m_timeline->Reason(moment, dakhost::GetSetting(dakhost::Setting::Reason));
        m_timeline->AutoClock(moment, dakhost::GetSetting(dakhost::Setting::AutoClockType));
    }
    TraceRecord record("file", moment, m_file);
    record.Int("rtc", dakhost::Rtc());
    if (seed) {
        record.Text("scheduling", "seeded").Int("seed", *seed);
    } else {
        record.Text("scheduling", "fixed");
    }
    Write(record);
}

void Journal::EndFile(int passed, int failed)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    if (m_timeline != nullptr) {
        m_timeline->EndFile(moment);
    }
    Write(TraceRecord("end", moment, m_file)
              .Int("rtc", dakhost::Rtc())
              .Int("passed", passed)
              .Int("failed", failed));
}

Moment Journal::Step(const daksim::Step& step)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Now();
    if (m_timeline != nullptr) {
        m_timeline->StepBegins(moment);
        m_timeline->Clocks(moment, dakhost::Rtc());
    }
    Write(TraceRecord("step", moment, m_file).Int("line", step.line).Text("text", step.source));
    return moment;
}

Moment Journal::Expectation(const daksim::Step& step, bool holds, const std::string& message)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    TraceRecord record("expect", moment, m_file);
    record.Int("line", step.line).Text("text", step.source).Bool("ok", holds);
    if (!holds) {
        record.Text("message", message);
    }
    Write(record);
    return moment;
}

Moment Journal::Log(const dakhost::LogLine& line)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = m_trace != nullptr ? Stamp() : Now();
    Write(TraceRecord("log", moment, m_file)
              .Int("level", line.level)
              .Text("via", dakhost::ViaName(line.via))
              .Text("function", line.function)
              .Int("source_line", line.line)
              .Text("text", line.text));
    return moment;
}

Moment Journal::SyncAlarm(unsigned short eventId)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    if (m_timeline != nullptr) {
        m_timeline->SyncFired(moment);
    }
    Write(TraceRecord("alarm", moment, m_file).Int("event_id", eventId));
    return moment;
}

Moment Journal::Signal(int number, unsigned type)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    Write(TraceRecord("signal", moment, m_file)
              .Int("signal", 108)
              .Int("number", number)
              .Int("type", type)
              .Text("type_name", SetTypeName(static_cast<int16_t>(type))));
    return moment;
}

void Journal::Setting(const Decisions::Setting& setting)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    if (m_timeline != nullptr) {
        m_timeline->Setting(moment, setting.type, setting.accepted);
    }
    TraceRecord record("setting", moment, m_file);
    record.Int("type", setting.type)
        .Text("type_name", SetTypeName(setting.type))
        .Bool("accepted", setting.accepted);
    if (setting.utc >= 0) {
        record.Int("time", setting.utc);
    }
    if (!setting.accepted) {
        record.Text("why", setting.why);
    }
    record.Text("reason_before", ReasonName(setting.reasonBefore))
        .Text("reason_after", ReasonName(setting.reasonAfter));
    Write(record);
}

void Journal::Sync(const Decisions::Sync& sync)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    TraceRecord record("sync", moment, m_file);
    if (sync.system) {
        record.Int("system", *sync.system);
    }
    if (sync.rtc) {
        record.Int("rtc", *sync.rtc);
    }
    if (sync.system && sync.rtc) {
        record.Int("difference", *sync.system - *sync.rtc);
    }
    record.Text("decision", sync.decision);
    Write(record);
}

void Journal::Store(dakhost::Setting setting, int value, bool byLibrary)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    if (m_timeline != nullptr) {
        if (setting == dakhost::Setting::Reason) {
            m_timeline->Reason(moment, value);
        } else if (setting == dakhost::Setting::AutoClockType) {
            m_timeline->AutoClock(moment, value);
        }
    }
    if (byLibrary) {
        Write(TraceRecord("store", moment, m_file)
                  .Text("setting", StoreKey(setting))
                  .Int("value", value));
    }
}

void Journal::RtcRead(bool ok, std::optional<int64_t> utc)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    TraceRecord record("rtc_read", Stamp(), m_file);
    record.Bool("ok", ok);
    if (utc) {
        record.Int("time", *utc);
    } else if (ok) {
        record.Bool("calendar", false);
    }
    Write(record);
}

void Journal::RtcWrite(bool ok, std::optional<int64_t> utc)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    TraceRecord record("rtc_write", Stamp(), m_file);
    record.Bool("ok", ok);
    if (utc) {
        record.Int("time", *utc);
    } else {
        record.Bool("calendar", false);
    }
    Write(record);
}

void Journal::ClockSet(int result, uint32_t utc)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    if (m_timeline != nullptr && result == 0) {
        m_timeline->ClockSetByLibrary(moment, utc);
    }
    Write(TraceRecord("clock_set", moment, m_file)
              .Bool("ok", result == 0)
              .Int("result", result)
              .Int("time", utc));
}

void Journal::StreamSet(const std::string& handle, int64_t utc, bool result)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    if (m_timeline != nullptr && result) {
        m_timeline->Stream(moment, handle, utc);
    }
    Write(TraceRecord("stream", moment, m_file)
              .Text("handle", handle)
              .Int("time", utc)
              .Bool("result", result));
}

void Journal::Table(const std::string& handle, const std::string& table, int64_t utc, bool result)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    if (m_timeline != nullptr) {
        m_timeline->Table(moment, handle,
                          result ? Timeline::TableMark::Accepted : Timeline::TableMark::Refused);
        if (result) {
            m_timeline->Stream(moment, handle, utc);
        }
    }
    Write(TraceRecord("table", moment, m_file)
              .Text("handle", handle)
              .Text("table", table)
              .Int("time", utc)
              .Bool("result", result));
}

void Journal::LostTable(const std::string& handle, const std::string& table)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Moment moment = Stamp();
    if (m_timeline != nullptr) {
        m_timeline->Table(moment, handle, Timeline::TableMark::Lost);
    }
    Write(TraceRecord("table_lost", moment, m_file).Text("handle", handle).Text("table", table));
}

}  // namespace daksim
