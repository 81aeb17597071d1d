// The platform's agent registry.
#pragma once

#include <cstdint>

#include "PlatformExport.h"
#include "TCRWLock.h"
#include "TIAgent.h"

struct TSAgentInstanceKey {
    int32_t agentType = 0;
    int32_t reserved1 = 0;
    int32_t reserved2 = 0;
};

enum : int32_t {
    AGENT_TYPE_TIME_ZONE_OFFSET = 31,
    AGENT_TYPE_TIME_UPDATE = 38,
};

class DAK_PLATFORM_API TCAgentMgr {
public:
    static TCAgentMgr* Instance();

    // The registered agent, or null. Callers hold m_agentLock for reading
    // from before the look-up until their last use of the agent.
    TIAgent* m_Instance(TSAgentInstanceKey key);

    TCRWLock m_agentLock;
};
