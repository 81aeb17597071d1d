// The trace records and the timeline of an explained log: the records a
// scenario run writes ("Trace records" of the scenario format), made from
// what the log shows rather than from the host platform. A field the log
// does not show is left out.
#pragma once

#include <optional>
#include <string>

#include "Events.h"

namespace daksim {
class RecordSink;
class Timeline;
class TraceRecord;
}  // namespace daksim

namespace daksim::explain {

class Records : public Listener {
public:
    // Either may be null.
    Records(RecordSink* sink, Timeline* timeline);

    void BeginFile(const std::string& name, const At& at) override;
    void EndFile(const At& at) override;
    void Log(const dakhost::LogLine& line, const At& at) override;
    void Setting(const SettingEvent& event, const At& at) override;
    void Sync(const Decisions::Sync& sync, const At& at) override;
    void RtcRead(bool ok, std::optional<int64_t> utc, const std::string& how,
                 const At& at) override;
    void RtcWrite(bool ok, std::optional<int64_t> utc, const At& at) override;
    void ClockSet(int result, int64_t utc, const At& at) override;
    void Store(const std::string& key, int64_t value, const At& at) override;
    void Table(const TableEvent& table, const At& at) override;
    void Signal(int number, int64_t type, const At& at) override;

private:
    void Write(const TraceRecord& record);
    // Feeds the timeline the clocks at `at`.
    void Clocks(const At& at);

    RecordSink* const m_sink;
    Timeline* const m_timeline;
    std::string m_file;
    std::optional<int64_t> m_rtc;  // the hardware clock last seen, running on
    uint64_t m_rtcAtMs = 0;
};

}  // namespace daksim::explain
