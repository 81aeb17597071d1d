// What is worth a look in a log, each finding with the log lines it was
// seen at: first what the log cannot tell; then clock jumps and the source
// that made them, runs of refused stream tables, hardware-clock read
// failures and readings before 2001, the clock going backwards, time spent on
// Reason_init, sync corrections (a drift rate only from corrections hours
// apart, with the span it rests on), every fault of the platform the log
// shows (the platform clock refusing a setting or unreadable, the hardware
// clock unwritable, an event not sent, a task, mutex or alarm not made), and
// the time spent on each automatic source. Only counters and the first few
// line numbers are kept: memory does not grow with the log.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Events.h"

namespace daksim::explain {

enum class Kind : size_t {
    Jump,
    Backwards,
    RefusedTables,
    RtcReadFailure,
    RtcBefore2001,
    ReasonInit,
    Drift,
    ClockRefused,
    ClockUnreadable,
    RtcUnwritable,
    SendRefused,
    NotCreated,
    Count
};

// The short name of a kind of finding (a column of the fleet summary).
const char* KindName(Kind kind);

class Findings : public Listener {
public:
    static constexpr size_t kLinesKept = 8;
    static constexpr size_t kRefusedRun = 3;  // refused tables in a row that make a finding

    explicit Findings(int64_t jumpSeconds);

    // A new log: everything counted so far is forgotten.
    void Reset();
    // Each boot of a log has findings of its own, printed to `out` as the
    // next boot begins (the last one's by Print).
    void PrintEachBoot(FILE* out) { m_printTo = out; }

    void BeginFile(const std::string& name, const At& at) override;
    void BeginBoot(const std::string& name, const At& at) override;
    void EndFile(const At& at) override;
    void Setting(const SettingEvent& event, const At& at) override;
    void Sync(const Decisions::Sync& sync, const At& at) override;
    void RtcRead(bool ok, std::optional<int64_t> utc, const std::string& how,
                 const At& at) override;
    void Store(const std::string& key, int64_t value, const At& at) override;
    void Table(const TableEvent& table, const At& at) override;
    void StartupRead(const Startup& startup, const At& at) override;
    void Log(const dakhost::LogLine& line, const At& at) override;
    void Undecided(const std::string& what, const At& at) override;

    // Of the whole log, every boot of it.
    uint64_t CountOf(Kind kind) const
    {
        return m_earlierBoots[static_cast<size_t>(kind)] + m_found[static_cast<size_t>(kind)].count;
    }
    void Print(FILE* out) const;

private:
    struct Found {
        uint64_t count = 0;
        std::vector<uint64_t> lines;
        void Add(uint64_t line);
    };
    void Add(Kind kind, uint64_t line) { m_found[static_cast<size_t>(kind)].Add(line); }
    // Time on the stored reason / auto clock type up to `at`.
    void Spend(const At& at);
    // A stretch on Reason_init ends: a finding when it lasted.
    void EndInitStretch();

    const int64_t m_jumpSeconds;
    std::array<Found, static_cast<size_t>(Kind::Count)> m_found;
    std::map<std::string, uint64_t> m_jumpSources;  // jumps by the type that made them
    int64_t m_largestJump = 0;
    size_t m_refusedInRow = 0;
    size_t m_longestRefusedRun = 0;
    uint64_t m_refusedRunLine = 0;
    // Sync corrections: their differences and moments, for the drift rate.
    uint64_t m_corrections = 0;
    uint64_t m_firstCorrectionMs = 0;
    uint64_t m_lastCorrectionMs = 0;
    int64_t m_correctedSeconds = 0;  // after the first
    // Time on each stored reason and auto clock type.
    std::optional<int64_t> m_reason;
    std::optional<int64_t> m_autoClock;
    uint64_t m_sinceMs = 0;
    uint64_t m_fileBaseMs = 0;  // the moments of earlier files of the same log
    uint64_t m_reasonInitMs = 0;
    uint64_t m_initStretchMs = 0;
    uint64_t m_initLine = 0;
    std::map<int64_t, uint64_t> m_autoClockMs;
    // The part of the log: its name, whether the log has others.
    std::string m_part;
    bool m_boots = false;
    FILE* m_printTo = nullptr;
    std::array<uint64_t, static_cast<size_t>(Kind::Count)> m_earlierBoots{};
    bool m_correctionsBothWays = false;
    int64_t m_lastCorrection = 0;
    std::vector<std::string> m_cannotTell;  // what the log cannot tell (a few)
};

}  // namespace daksim::explain
