// What the manager decided, read from what it logs: the library tells the
// platform nothing else about a setting it accepted or refused, or about what
// a sync found. Every reading of the library's log texts is kept here, so
// that a change of wording is mended in one place.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "DakHostControl.h"

namespace daksim {

class Decisions {
public:
    struct Setting {
        int64_t type = 0;
        int64_t utc = 0;  // -1: not known
        bool accepted = false;
        std::string why;  // why it was refused ("" when accepted)
        int reasonBefore = 0;
        int reasonAfter = 0;
    };
    struct Sync {
        std::optional<int64_t> system;  // the clocks it compared, when it got to read them
        std::optional<int64_t> rtc;
        std::string decision;
    };

    Decisions(std::function<void(const Setting&)> onSetting,
              std::function<void(const Sync&)> onSync);

    // Before a call step on the simulator's thread: the setting that step
    // would ask for (nullopt: it asks for none).
    void CallStep(std::optional<int64_t> type, int64_t utc);
    // The stored reason as it is now (after a write by a step or by the library).
    void ReasonStored(int reason);
    // Factory option 24 as a step set it.
    void Option24(std::optional<int> value);
    // A log line, on the thread that logged it.
    void Line(const dakhost::LogLine& line);

private:
    void Refused(bool onCallThread, std::optional<int64_t> utc, const std::string& why);
    void EndSync(const Sync& sync);

    std::function<void(const Setting&)> m_onSetting;
    std::function<void(const Sync&)> m_onSync;

    std::mutex m_lock;
    std::optional<int64_t> m_callType;  // of the running call step
    int64_t m_callUtc = -1;
    int64_t m_taskType = 5;  // what the task asks for on its own: a sync's setting
    int m_reason = 0;
    int m_reasonBefore = 0;  // before the library's last write of it
    std::optional<int> m_option24;
    bool m_inSync = false;
    std::optional<int64_t> m_syncSystem;
    // The setting the task is applying, from its first line to its last.
    std::optional<Setting> m_applying;
};

}  // namespace daksim
