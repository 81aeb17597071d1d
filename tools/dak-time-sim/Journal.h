// Everything that happens in a run, stamped with its virtual moment and
// handed to the trace and the timeline (either may be absent). One method
// per kind of event; each writes one trace record and feeds the picture, so
// that a new kind of event is one more method here and one call where it
// happens. Thread-safe: the library's threads report through it too.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "DakHostControl.h"
#include "Decisions.h"
#include "Moment.h"
#include "Scenario.h"

namespace daksim {

class TraceFile;
class Timeline;

class Journal {
public:
    Journal(TraceFile* trace, Timeline* timeline);

    // Whether anything records (the trace or the timeline).
    bool Recording() const { return m_trace != nullptr || m_timeline != nullptr; }

    // `seed`: the seed that chooses the interleavings; none: the fixed rule.
    void BeginFile(const std::string& name, std::optional<uint32_t> seed);
    void EndFile(int passed, int failed);

    // Each returns the moment it stamped, for the printed line.
    Moment Step(const daksim::Step& step);
    Moment Expectation(const daksim::Step& step, bool holds, const std::string& message);
    Moment Log(const dakhost::LogLine& line);
    Moment SyncAlarm(unsigned short eventId);
    Moment Signal(int number, unsigned type);

    void Setting(const Decisions::Setting& setting);
    void Sync(const Decisions::Sync& sync);
    // A settings-store write, by the library (`byLibrary`) or by a step.
    void Store(dakhost::Setting setting, int value, bool byLibrary);
    // `utc` none: not a calendar time (or the read failed).
    void RtcRead(bool ok, std::optional<int64_t> utc);
    void RtcWrite(bool ok, std::optional<int64_t> utc);
    void ClockSet(int result, uint32_t utc);
    // A stream clock was handed a time by a step; `result` what the call said.
    void StreamSet(const std::string& handle, int64_t utc, bool result);
    // A table of a replayed capture reached the stream clock `handle`:
    // `table` names it (TDT, TOT, STT), `utc` is its time and `result` what
    // SetStreamClock answered.
    void Table(const std::string& handle, const std::string& table, int64_t utc, bool result);
    // A table of a replayed capture that was damaged, or whose time does
    // not decode, and never reached the stream clock.
    void LostTable(const std::string& handle, const std::string& table);

private:
    // Stamps a record now and feeds the clocks to the timeline; the caller
    // holds m_lock.
    Moment Stamp();
    void Write(const class TraceRecord& record);

    TraceFile* const m_trace;
    Timeline* const m_timeline;
    std::mutex m_lock;
    std::string m_file;
};

// "1/0": a stream clock's handle as the scenario writes it.
std::string HandleText(const args::StreamHandle& handle);

}  // namespace daksim
