// The host platform's agent registry and its time-zone and time-update
// agents, and the controls that choose what they answer.
#include <map>
#include <mutex>

#include "DakHostControl.h"
#include "Framework.h"
#include "HostProviderState.h"
#include "TCAgentMgr.h"
#include "TIAgent.h"

using dakhost::detail::Providers;
using dakhost::detail::TheProviders;

namespace dakhost::detail {

bool HostTimeZoneAgent::GetTimeZoneOffset(int regionId, int* offset)
{
    if (refuseAll || offset == nullptr) {
        return false;
    }
    const auto found = offsets.find(regionId);
    if (found == offsets.end()) {
        return false;
    }
    *offset = found->second;
    return true;
}

}  // namespace dakhost::detail

// ---- agents, event manager ----------------------------------------------------------

TIAgent::~TIAgent() = default;

TCAgentMgr* TCAgentMgr::Instance()
{
    static auto* const registry = new TCAgentMgr;
    return registry;
}

TIAgent* TCAgentMgr::m_Instance(TSAgentInstanceKey key)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    dakhost::AgentMode mode = dakhost::AgentMode::None;
    TIAgent* agent = nullptr;
    if (key.agentType == AGENT_TYPE_TIME_ZONE_OFFSET) {
        mode = p.timeZoneMode;
        agent = &p.timeZoneAgent;
    } else if (key.agentType == AGENT_TYPE_TIME_UPDATE) {
        mode = p.timeUpdateMode;
        agent = &p.timeUpdateAgent;
    }
    switch (mode) {
        case dakhost::AgentMode::None:
            return nullptr;
        case dakhost::AgentMode::Other:
            return &p.otherAgent;
        case dakhost::AgentMode::Answer:
        case dakhost::AgentMode::Refuse:
            return agent;
    }
    return nullptr;
}

// ---- controls -------------------------------------------------------------------------------

namespace dakhost {

void SetTimeZoneAgent(AgentMode mode, const std::map<int, int>& offsets)
{
    // Under the registry's write lock: no reader is using the agent meanwhile.
    TCRWLock& registryLock = TCAgentMgr::Instance()->m_agentLock;
    registryLock.WLock();
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        p.timeZoneMode = mode;
        p.timeZoneAgent.offsets = mode == AgentMode::Answer ? offsets : std::map<int, int>{};
        p.timeZoneAgent.refuseAll = mode != AgentMode::Answer;
    }
    registryLock.WUnlock();
}

void SetTimeUpdateAgent(AgentMode mode)
{
    TCRWLock& registryLock = TCAgentMgr::Instance()->m_agentLock;
    registryLock.WLock();
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        p.timeUpdateMode = mode;
        p.timeUpdateAgent.allow = mode == AgentMode::Answer;
    }
    registryLock.WUnlock();
}

int AgentReadHolds()
{
    // The agent registry's lock is the one reader/writer lock there is.
    return dakfw::ReadHolds();
}

}  // namespace dakhost
