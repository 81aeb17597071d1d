// What the manager decided, read from what it logs: the library tells the
// platform nothing else about a setting it accepted or refused, or about what
// a sync found. The messages are the library's catalogue's, told apart by
// LibraryMessages; this reads the settings and syncs out of them, for a run
// (Line) and for explain (LineRead) alike.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "DakHostControl.h"
#include "LibraryMessages.h"
#include "TimeSettingTypes.h"

namespace daksim {

class Decisions {
public:
    // A setting's type that its log lines do not tell.
    static constexpr int64_t kTypeUnknown = std::numeric_limits<int64_t>::min();

    struct Setting {
        int64_t type = 0;  // kTypeUnknown: not known
        int64_t utc = 0;   // -1: not known
        bool accepted = false;
        std::string why;      // why it was refused ("" when accepted)
        int clockResult = 0;  // what the platform clock answered when it refused the time
        int reasonBefore = 0;
        int reasonAfter = 0;
    };
    struct Sync {
        std::optional<int64_t> system;  // the clocks it compared, when it got to read them
        std::optional<int64_t> rtc;
        std::string decision;
    };

    // A run's decisions, told as they are made (on the thread that logged them).
    Decisions(std::function<void(const Setting&)> onSetting,
              std::function<void(const Sync&)> onSync);
    // Reading a log back: the decisions wait in Decided() until the reader
    // takes them, so that nothing calls back into it.
    Decisions() = default;

    using Decision = std::variant<Setting, Sync>;
    // The decisions made since the last Clear(), in order.
    const std::vector<Decision>& Decided() const { return m_decided; }
    void ClearDecided() { m_decided.clear(); }

    // Before a call step on the simulator's thread: the setting that step
    // would ask for (nullopt: it asks for none).
    void CallStep(std::optional<int64_t> type, int64_t utc);
    // Reading a log back: what a client asks for from now on is not known.
    void CallUnknown();
    // The stored reason as it is now (after a write by a step or by the library).
    void ReasonStored(int reason);
    // Factory option 24 as a step set it.
    void Option24(std::optional<int> value);
    // A log line, on the thread that logged it.
    void Line(const dakhost::LogLine& line);
    // A log line read back from a log, where no thread is known: a refusal
    // is the caller's unless a sync is under way, and a sync's decision
    // waits for the line after its clocks (factory option 24 is not logged:
    // the hardware clock written next says it was 4).
    void LineRead(const dakhost::LogLine& line, const LibraryMessage& known);
    // The end of a log read back: a decision still waiting is given.
    void EndOfLog();

private:
    void Read(const LibraryMessage& known, bool onCallThread);
    void ReadSyncClocks(const LibraryMessage& known);
    // The type a refusal logged on the caller's or the task's side is of.
    std::optional<int64_t> Asked(bool onCallThread) const;
    void Refused(std::optional<int64_t> type, std::optional<int64_t> utc, const std::string& why,
                 bool onCallThread);
    void EndSync(const Sync& sync);
    void Tell(const Setting& setting);

    std::function<void(const Setting&)> m_onSetting;
    std::function<void(const Sync&)> m_onSync;
    std::vector<Decision> m_decided;

    std::mutex m_lock;
    std::optional<int64_t> m_callType;  // of the running call step
    int64_t m_callUtc = -1;
    int64_t m_taskType = SetType_sync;  // what the task asks for on its own: a sync's setting
    int m_reason = 0;
    int m_reasonBefore = 0;  // before the library's last write of it
    std::optional<int> m_option24;
    bool m_inSync = false;
    std::optional<int64_t> m_syncSystem;
    // The setting the task is applying, from its first line to its last.
    std::optional<Setting> m_applying;
    // Reading a log back: the sync whose decision the next line tells.
    bool m_fromLog = false;
    std::optional<Sync> m_syncPending;
};

}  // namespace daksim
