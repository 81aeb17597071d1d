// The trace records in the Trace Event Format ("traceEvents"), which
// Perfetto's UI and chrome://tracing open as they are: each file a process,
// a track for each thread of the set (the manager's task, the callers, the
// simulator's steps) and one for the library's log lines; settings, syncs,
// tables and signals as events; the platform, hardware and stream clocks as
// counters. Written as the records come, so its size is the only thing that
// grows with a run.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>

#include "Trace.h"

namespace daksim {

class PerfettoFile : public RecordSink {
public:
    PerfettoFile() = default;
    ~PerfettoFile() override;
    PerfettoFile(const PerfettoFile&) = delete;
    PerfettoFile& operator=(const PerfettoFile&) = delete;

    // False (errno set) when the file cannot be created.
    bool Open(const std::string& path);
    void Write(const TraceRecord& record) override;
    // Ends the JSON; false when something could not be written.
    bool Close();

private:
    void Emit(const std::string& event);
    void Counter(const std::string& name, int64_t ts, int64_t value);
    void NameThread(int tid, const char* name);

    FILE* m_file = nullptr;
    bool m_first = true;
    bool m_failed = false;
    int m_pid = 0;
    // Each counter's last value: a value is written when it changes.
    std::map<std::string, int64_t> m_counters;
};

}  // namespace daksim
