// What a file's run sees of the platform and the library while the steps
// run: the library's log lines, its writes to the settings store, the
// clocks, the signals it sends and the alarms that fire. Each is printed
// (unless quiet), journaled, and fed to the readers of the log (the log
// expectations and the decisions); the signals are kept for the
// expectations and the summary.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "DakHostControl.h"
#include "Decisions.h"
#include "Journal.h"
#include "LogWindow.h"
#include "Moment.h"
#include "Runner.h"
#include "Scenario.h"

namespace daksim {

// The signals 108 a run has seen: all counted, the first ones kept.
class SignalBook {
public:
    struct Seen {
        Moment moment;
        unsigned type = 0;  // the 16-bit setting type it carries
    };

    // `kept`: how many are kept (at least those a summary lists).
    explicit SignalBook(size_t kept) : m_kept(kept) {}

    // Counts a signal and returns its number (1 for the first).
    int Count();
    void Keep(const Seen& seen);

    int Total() const;
    // The signal numbered `number` when it was kept.
    std::optional<Seen> Numbered(int number) const;
    std::vector<Seen> Kept() const;

private:
    const size_t m_kept;
    mutable std::mutex m_lock;  // the task sends signals
    int m_count = 0;
    std::vector<Seen> m_seen;
};

class RunObserver : public dakhost::Observer {
public:
    RunObserver(Runner& runner, const Script& script, const RunOptions& options, Journal& journal,
                Decisions& decisions, LogWindow& window);

    const SignalBook& Signals() const { return m_signals; }

    // A line the library logged, on the thread that logged it.
    void Logged(const dakhost::LogLine& line);

    void SettingWritten(dakhost::Setting setting, int value) override;
    void RtcRead(bool ok, std::optional<int64_t> utc) override;
    void RtcWritten(bool ok, std::optional<int64_t> utc) override;
    void ClockSet(int result, uint32_t utc) override;
    void SignalSent(const dakhost::SignalRecord& signal) override;
    void AlarmDue(uint64_t virtualMs, unsigned short eventId) override;

private:
    Runner& m_runner;
    const RunOptions& m_options;
    Journal& m_journal;
    Decisions& m_decisions;
    LogWindow& m_window;
    const bool m_colour;
    SignalBook m_signals;
    std::atomic<unsigned> m_linesSinceClear{0};
};

}  // namespace daksim
