#include "ScenarioPlatform.h"

namespace daksim::explain {

void ScenarioPlatform::Fresh()
{
    // The scenario goes on where the last file ended: it is brought back to
    // what a fresh platform has (the stream clocks have gone with them).
    m_reason = 0;
    KeepReason();
    ClockMode(0);
    m_clockModeSeen.reset();
    RtcFollows(false);
    AgentDenies(false);
    m_streamModes.clear();
}

void ScenarioPlatform::ReasonHeld(int64_t reason)
{
    m_reason = reason;
    m_reasonSet = reason;
}

void ScenarioPlatform::KeepReason()
{
    if (m_reason && m_reason != m_reasonSet) {
        m_out.Step("set reason " + ScenarioFile::ReasonWord(*m_reason));
        m_reasonSet = m_reason;
    }
}

void ScenarioPlatform::ClockMode(int64_t mode)
{
    if (mode != m_clockMode) {
        m_out.Step("set clockmode " + std::to_string(mode));
        m_clockMode = mode;
    }
}

void ScenarioPlatform::KeepClockMode()
{
    if (m_clockModeSeen) {
        ClockMode(*m_clockModeSeen);
    }
}

void ScenarioPlatform::RtcFollows(bool follows)
{
    if (follows != m_rtcFollows) {
        m_out.Step(follows ? "set option24 4" : "set option24 none");
        m_rtcFollows = follows;
    }
}

void ScenarioPlatform::AgentDenies(bool denies)
{
    if (denies != m_agentDenies) {
        m_out.Step(denies ? "set updateagent deny" : "set updateagent allow");
        m_agentDenies = denies;
    }
}

void ScenarioPlatform::StreamMode(const std::string& handle, int mode)
{
    constexpr size_t kHandlesKept = 256;
    const auto known = m_streamModes.find(handle);
    const int now = known == m_streamModes.end() ? 0 : known->second;
    if (mode != now) {
        m_out.Step("stream " + handle + " mode " + std::to_string(mode));
    }
    if (known != m_streamModes.end() || m_streamModes.size() < kHandlesKept) {
        m_streamModes[handle] = mode;
    }
}

}  // namespace daksim::explain
