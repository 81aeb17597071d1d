// What a generated scenario has set on the simulator's platform, beside what
// the log shows of the set's: the stored reason, the clock mode, factory
// option 24, the time-update agent, each stream clock's mode. A value is
// written when the log shows it differing from the scenario's, so that each
// replayed step meets the state the set was in.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "ScenarioFile.h"

namespace daksim::explain {

class ScenarioPlatform {
public:
    explicit ScenarioPlatform(ScenarioFile& out) : m_out(out) {}

    // A fresh platform (a new file of the simulator's).
    void Fresh();
    // The set starts again: the stream clocks are gone, the store keeps.
    void PowerCut() { m_streamModes.clear(); }

    // The stored reason as the log shows it now.
    void ReasonSeen(int64_t reason) { m_reason = reason; }
    // The scenario wrote it, or the library in the replay did.
    void ReasonHeld(int64_t reason);
    // Writes the reason the log shows when the scenario's differs.
    void KeepReason();
    std::optional<int64_t> ReasonHeldNow() const { return m_reasonSet; }

    void ClockModeSeen(int64_t mode) { m_clockModeSeen = mode; }
    std::optional<int64_t> ClockModeSeenNow() const { return m_clockModeSeen; }
    int64_t ClockModeNow() const { return m_clockMode; }
    void ClockMode(int64_t mode);
    void KeepClockMode();

    // Factory option 24: 4 (the hardware clock follows) or unreadable.
    void RtcFollows(bool follows);
    void AgentDenies(bool denies);
    void StreamMode(const std::string& handle, int mode);

private:
    ScenarioFile& m_out;
    std::optional<int64_t> m_reason;         // as the log shows it
    std::optional<int64_t> m_reasonSet = 0;  // as the scenario's platform holds it
    int64_t m_clockMode = 0;                 // as the scenario set it
    std::optional<int64_t> m_clockModeSeen;
    bool m_rtcFollows = false;
    bool m_agentDenies = false;
    // Each stream clock's mode as the scenario set it (a log names few).
    std::map<std::string, int> m_streamModes;
};

}  // namespace daksim::explain
