#include "HeldStartup.h"

#include "LibraryMessages.h"
#include "SystemTimeManager/TimeRules.h"

namespace daksim::explain {

void HeldStartup::Begin(const Startup& startup, uint64_t line)
{
    m_holding = true;
    m_line = line;
    // What the rules said is logged at level 4 (just before or after);
    // without it, they are asked.
    m_replayDue = !startup.rtcFailed &&
                  (m_startupPossible
                       ? *m_startupPossible
                       : startup.reason && startup.type &&
                             dak::IsUpdatePermitted(static_cast<ESystemTimeReason>(*startup.reason),
                                                    static_cast<ETimeSettingType>(*startup.type)));
}

void HeldStartup::Log(const dakhost::LogLine& line)
{
    // Start-up's own question to the rules is the first after its summary.
    const LibraryMessage known = Identify(line.function, line.text);
    if (known.id == Id(dak::msg::kInitState) || known.id == Id(dak::msg::kInitRtcOverMax)) {
        m_startupPossible.reset();
        m_awaitPossible = true;
    } else if (known.id == Id(dak::msg::kPermitted) && m_awaitPossible) {
        m_startupPossible = known.Number(1) == 1;  // "%s, result=%d"
        m_awaitPossible = false;
        m_replayDue = m_replayDue && *m_startupPossible;
    }
}

void HeldStartup::Release(bool replayed, bool noTask)
{
    if (!m_holding) {
        return;
    }
    m_holding = false;
    const bool lost = noTask || (m_replayDue && !replayed);
    if (lost) {
        m_out.From(m_line, "start-up's replay never ran: its task was not made (a guess)");
    }
    for (const std::string& step : m_steps) {
        if (lost && step == "init") {
            m_out.Step("fail taskcreate 1");
        }
        m_out.Step(step);
        if (lost && step == "init") {
            m_out.Step("fail taskcreate 0");
        }
    }
    m_steps.clear();
}

}  // namespace daksim::explain
