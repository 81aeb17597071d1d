// The broadcast time-zone offset: when the clock goes back to stream time
// after the network path stored its offset, the region's broadcast offset
// takes its place.

#include "Common/DakLog.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "TCAgentMgr.h"
#include "TCRWLock.h"
#include "TCVConfProvider.h"

void TCSystemTimeManager::t_SetBroadcastTimeOffset()
{
    const int regionId = TCVConfProvider::GetTvTimeZone();
    int offset = 0;

    TCAgentMgr* agentMgr = TCAgentMgr::Instance();
    // Held from the look-up to the last log line, released on every way out.
    const TCReadGuard hold(agentMgr->m_agentLock);
    TSAgentInstanceKey key;
    key.agentType = AGENT_TYPE_TIME_ZONE_OFFSET;
    auto* agent = dynamic_cast<TITimeZoneOffsetAgent*>(agentMgr->m_Instance(key));
    if (agent == nullptr) {
        // Nobody to ask: the offset and m_networkOffsetApplied stay, so the
        // next stream setting asks again.
        DAK_LOG(dak::msg::kNoOffsetAgent, regionId);
        return;
    }
    const bool ok = agent->GetTimeZoneOffset(regionId, &offset);
    if (ok) {
        TCVConfProvider::SetTvTimeOffset(offset);
        m_networkOffsetApplied.store(false);
    }
    DAK_LOG(dak::msg::kBroadcastOffset, ok ? 1 : 0, regionId, offset);
    DAK_LOG(dak::msg::kBroadcastOffsetShort, ok ? 1 : 0, regionId, offset);
}
