// Setting and reading the system time. SetSystemTime checks a request on the
// caller's thread and posts it; t_SetSystemTime applies it on the task.

#include <cstddef>
#include <cstring>

#include "BPTime.h"
#include "Common/DakLog.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "TCVConfProvider.h"
#include "TIEventManager.h"

namespace {

// The parameter record of the time-updated signal.
struct TSTimeUpdatedParam {
    uint16_t type;      // the setting type, on 16 bits
    uint8_t unused[6];  // nobody reads these; sent as zeros
    int64_t all;        // -1
};
static_assert(sizeof(TSTimeUpdatedParam) == 16, "the signal record is 16 bytes");
static_assert(offsetof(TSTimeUpdatedParam, all) == 8, "the -1 field starts at byte 8");

}  // namespace

bool TCSystemTimeManager::SetSystemTime(unsigned long utc, ETimeSettingType type, bool dst)
{
    if (!FlagCreate()) {
        DAK_PRINT(4, "[TCSystemTimeManager::SetSystemTime] TCSystemTimeManager isn't Created");
        return false;
    }
    // Compared at the caller's full width: a time of 2^32 or more (64-bit
    // callers only) is over the range, never its low 32 bits.
    const unsigned long maxUtc = t_ConvertYearToUTC(2100);
    if (utc >= maxUtc) {
        DAK_PRINTF(4, "SetSystemTime UTC %lu is over the range", utc);
        DAK_PRINT(4, "[TCSystemTimeManager::SetSystemTime] UTC %lu is over the range %lu", utc,
                  maxUtc);
        return false;
    }
    const unsigned long minUtc = t_ConvertYearToUTC(2001);
    if (utc < minUtc) {
        DAK_PRINTF(4, "SetSystemTime UTC %lu is less than range", utc);
        DAK_PRINT(4, "[TCSystemTimeManager::SetSystemTime] UTC %lu is less than range %lu", utc,
                  minUtc);
        return false;
    }
    // The request carries the type on 16 bits and the task applies it read
    // back with its sign: the rule judges that value, so that no type beyond
    // 16 bits (65536, INT_MIN...) reaches the task as a manual setting
    // unasked. The clock mode matters only to a manual setting.
    const ETimeSettingType applied = dak::AppliedSettingType(type);
    if (applied == SetType_manual && TCVConfProvider::GetTvClockMode() == 0 &&
        !t_IsPossibleUpdateTime(SetType_manual)) {
        DAK_PRINT(4,
                  "[TCSystemTimeManager::SetSystemTime]  not possible to set manual time on "
                  "auto type");
        DAK_PRINTF(4,
                   "[TCSystemTimeManager::SetSystemTime]  not possible to set manual time on "
                   "auto type");
        return false;
    }

    // Bytes 0-3 the time, 4-5 the type on 16 bits, 6-7 the daylight-saving flag.
    uint8_t payload[8] = {};
    const auto utc32 = static_cast<uint32_t>(utc);
    const auto type16 = static_cast<int16_t>(applied);
    const uint16_t dst16 = dst ? 1U : 0U;
    std::memcpy(&payload[0], &utc32, sizeof(utc32));
    std::memcpy(&payload[4], &type16, sizeof(type16));
    std::memcpy(&payload[6], &dst16, sizeof(dst16));
    return PostToSelf(EVENT_SET_SYSTEM_TIME, payload);
}

bool TCSystemTimeManager::GetSystemTime(unsigned long& utc)
{
    DAK_PRINT(5, "[TCSystemTimeManager::GetSystemTime]  UTC!");
    unsigned long now = 0;
    const int ret = BPTime_get_current_time(&now);
    if (ret != 0) {
        DAK_PRINT(1, "[TCSystemTimeManager::GetSystemTime]  UTC! failed, ret=%d", ret);
        DAK_PRINTF(1, "[TCSystemTimeManager::GetSystemTime]  UTC! failed, ret=%d", ret);
        return false;
    }
    const unsigned long value = static_cast<uint32_t>(now);
    DAK_PRINT(4, "[TCSystemTimeManager::GetSystemTime]  UTC = %lu", value);
    DAK_PRINTF(4, "[TCSystemTimeManager::GetSystemTime]  UTC = %lu", value);
    utc = value;
    return true;
}

bool TCSystemTimeManager::GetAutoClockType(ETypeOfAutoClock& type)
{
    type = m_autoClockType.load();
    return true;
}

void TCSystemTimeManager::t_SetSystemTime(uint32_t utc, ETimeSettingType type, bool dst)
{
    // The reason stands even if the clock refuses the time below.
    t_SetPossibleUpdateTime(type);
    DAK_PRINT(4, "[TCSystemTimeManager::t_SetSystemTime] UTC = %lu,  %s",
              static_cast<unsigned long>(utc), t_ToString(type));

    {
        const TCScopeTrace trace("BPTime_set_current_time");
        DAK_PROFILE("SetSystemTime[BEGIN] GetSystemTime for prevUTC");
        unsigned long prevUtc = 0;
        (void)GetSystemTime(prevUtc);  // its log lines record the time before
        DAK_PROFILE("SetSystemTime[END] GetSystemTime for prevUTC");
    }

    {
        const TCScopeTrace trace("BPTime_set_current_time: UPC[%lu]",
                                 static_cast<unsigned long>(utc));
        DAK_PROFILE("SetSystemTime[BEGIN] BPTime_set_current_time");
        const int ret = BPTime_set_current_time(utc);
        DAK_PROFILE("SetSystemTime[END] BPTime_set_current_time");
        if (ret != 0) {
            DAK_PRINT(1,
                      "[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock UTC!failed, ret=%d",
                      ret);
            DAK_PRINTF(1,
                       "[[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock UTC!failed, ret=%d",
                       ret);
            return;
        }
    }

    // The hardware clock already holds a sync's or start-up's time.
    if (type != SetType_sync && type != SetType_init) {
        const TCScopeTrace trace("t_SetRTCTime: UPC[%lu]", static_cast<unsigned long>(utc));
        DAK_PROFILE("SetSystemTime[BEGIN] t_SetRTCTime");
        (void)t_SetRTCTime(utc);
        DAK_PROFILE("SetSystemTime[END] t_SetRTCTime");
    }

    t_FollowNewSource(type, dst);
    TCVConfProvider::SetAutoClockType(m_autoClockType.load());

    DAK_PRINT(1,
              "[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock \033[1;36m UTC = %lu, %s, "
              "offset =%d\033[0m",
              static_cast<unsigned long>(utc), t_ToString(type),
              TCVConfProvider::GetTvTimeOffset());
    DAK_PRINTF(1, "t_SetSystemTime \033[1;36m UTC = %lu, %s, offset =%d\033[0m",
               static_cast<unsigned long>(utc), t_ToString(type),
               TCVConfProvider::GetTvTimeOffset());

    TIEventManager* pEventMgr = TIEventManager::Instance();
    if (pEventMgr == nullptr) {
        DAK_PRINT(4, "TCSystemTimeManager::%s send SIGNAL_BP_TIME_UPDATED, pEventMgr is NULL!!!",
                  "t_SetSystemTime");
        return;
    }
    DAK_PROFILE("SetSystemTime[BEGIN] SIGNAL_SYSTEM_TIME_UPDATED");
    TSTimeUpdatedParam param{};
    param.type = static_cast<uint16_t>(type);
    param.all = -1;
    (void)pEventMgr->SendSignal(SIGNAL_SYSTEM_TIME_UPDATED, &param, 0);
    DAK_PROFILE("SetSystemTime[END] SIGNAL_SYSTEM_TIME_UPDATED");
}

void TCSystemTimeManager::t_FollowNewSource(ETimeSettingType type, bool dst)
{
    switch (type) {
        case SetType_stream: {
            const TCScopeTrace trace("t_UnsubscribeNetworkTimeCallback");
            t_UnsubscribeNetworkTimeCallback();
        }
            {
                const TCScopeTrace trace("t_UnsubscribeTimeModeCallback");
                t_UnsubscribeTimeModeCallback();
            }
            m_autoClockType.store(AutoType_stream);
            if (m_networkOffsetApplied.load()) {
                // The stored offset came from the network: the region's
                // broadcast offset takes its place.
                t_SetBroadcastTimeOffset();
                TCVConfProvider::SetFlagDST(dst ? 1 : 0);
            }
            break;
        case SetType_net:
            m_autoClockType.store(AutoType_net);
            m_networkOffsetApplied.store(true);
            {
                const TCScopeTrace trace("t_SubscribeTimeModeCallback by Network");
                t_SubscribeTimeModeCallback();
            }
            break;
        case SetType_sync:
            break;
        default: {
            m_autoClockType.store(AutoType_max);
            const TCScopeTrace trace("t_SubscribeTimeModeCallback by sync");
            t_SubscribeTimeModeCallback();
            break;
        }
    }
}
