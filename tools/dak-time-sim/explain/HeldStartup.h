// A written scenario's start-up steps, held until the log shows whether the
// replay of the hardware clock that start-up asks for ran. Init does not say
// when the manager's task could not be made; its replay then never runs, and
// the steps are written under `fail taskcreate 1` so that the scenario does
// not apply it either.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "DakHostControl.h"
#include "Events.h"
#include "ScenarioFile.h"

namespace daksim::explain {

class HeldStartup {
public:
    explicit HeldStartup(ScenarioFile& out) : m_out(out) {}

    // Start-up was read: hold the steps from now on.
    void Begin(const Startup& startup, uint64_t line);
    bool Holding() const { return m_holding; }
    void Hold(const std::string& step) { m_steps.push_back(step); }
    // Every library line: start-up's question to the rules is logged.
    void Log(const dakhost::LogLine& line);
    // Writes the held steps. `replayed`: the replay was seen; `noTask`: it
    // was refused for want of the task.
    void Release(bool replayed, bool noTask = false);

private:
    ScenarioFile& m_out;
    bool m_holding = false;
    bool m_replayDue = false;
    std::optional<bool> m_startupPossible;  // what the rules said at start-up, when logged
    bool m_awaitPossible = false;
    uint64_t m_line = 0;
    std::vector<std::string> m_steps;
};

}  // namespace daksim::explain
