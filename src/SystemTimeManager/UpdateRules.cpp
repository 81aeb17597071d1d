// The update rules over the stored reason: each operation reads the stored
// reason once and bases its answer and its log line on that one reading.

#include "Common/DakLog.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "SystemTimeManager/TimeRules.h"
#include "TCVConfProvider.h"

bool TCSystemTimeManager::t_IsPossibleUpdateTime(ETimeSettingType type)
{
    const ESystemTimeReason stored = TCVConfProvider::GetTimeSettingReason();
    const bool result = dak::IsUpdatePermitted(stored, type);
    DAK_LOG(dak::msg::kPermitted, t_ToString(stored), result ? 1 : 0);
    return result;
}

void TCSystemTimeManager::t_SetPossibleUpdateTime(ETimeSettingType type)
{
    // A sync writes back what it reads, also a value outside the vocabulary.
    const ESystemTimeReason stored =
        type == SetType_sync ? TCVConfProvider::GetTimeSettingReason() : Reason_init;
    TCVConfProvider::SetTimeSettingReason(dak::SettingAccepted(type, stored).reason);
}

ETimeSettingType TCSystemTimeManager::t_GetInitSettingTypeByReason()
{
    const ESystemTimeReason stored = TCVConfProvider::GetTimeSettingReason();
    const ETimeSettingType result = dak::InitSettingTypeFor(stored);
    DAK_LOG(dak::msg::kInitType, t_ToString(stored), t_ToString(result));
    return result;
}
