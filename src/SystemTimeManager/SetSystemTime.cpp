// Setting and reading the system time. SetSystemTime checks a request on the
// caller's thread and posts it; t_SetSystemTime applies it on the task.

#include <cstddef>
#include <cstring>

#include "BPTime.h"
#include "Common/DakLog.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "SystemTimeManager/TimeRules.h"
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
        DAK_LOG(dak::msg::kSetNotCreated);
        return false;
    }
    // Compared at the caller's full width: a time of 2^32 or more (64-bit
    // callers only) is over the range, never its low 32 bits.
    const unsigned long maxUtc = t_ConvertYearToUTC(2100);
    if (utc >= maxUtc) {
        DAK_LOG(dak::msg::kSetOverRangeShort, utc);
        DAK_LOG(dak::msg::kSetOverRange, utc, maxUtc);
        return false;
    }
    const unsigned long minUtc = t_ConvertYearToUTC(2001);
    if (utc < minUtc) {
        DAK_LOG(dak::msg::kSetUnderRangeShort, utc);
        DAK_LOG(dak::msg::kSetUnderRange, utc, minUtc);
        return false;
    }
    // The request carries the type on 16 bits and the task applies it read
    // back with its sign: the rule judges that value, so that no type beyond
    // 16 bits (65536, INT_MIN...) reaches the task as a manual setting
    // unasked. The clock mode matters only to a manual setting.
    const ETimeSettingType applied = dak::AppliedSettingType(type);
    if (applied == SetType_manual && TCVConfProvider::GetTvClockMode() == 0 &&
        !t_IsPossibleUpdateTime(SetType_manual)) {
        DAK_LOG(dak::msg::kSetManualRefused);
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
    DAK_LOG(dak::msg::kClockReading);
    unsigned long now = 0;
    const int ret = BPTime_get_current_time(&now);
    if (ret != 0) {
        DAK_LOG(dak::msg::kClockReadFailed, ret);
        return false;
    }
    const unsigned long value = static_cast<uint32_t>(now);
    DAK_LOG(dak::msg::kClockRead, value);
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
    DAK_LOG(dak::msg::kApplying, static_cast<unsigned long>(utc), t_ToString(type));

    {
        DAK_SCOPE_TRACE(trace, dak::msg::kTraceReadClock);
        DAK_LOG(dak::msg::kProfilePreviousBegin);
        unsigned long prevUtc = 0;
        (void)GetSystemTime(prevUtc);  // its log lines record the time before
        DAK_LOG(dak::msg::kProfilePreviousEnd);
    }

    {
        DAK_SCOPE_TRACE(trace, dak::msg::kTraceSetClock, static_cast<unsigned long>(utc));
        DAK_LOG(dak::msg::kProfileSetClockBegin);
        const int ret = BPTime_set_current_time(utc);
        DAK_LOG(dak::msg::kProfileSetClockEnd);
        if (ret != 0) {
            DAK_LOG(dak::msg::kClockRefused, ret);
            DAK_LOG(dak::msg::kClockRefusedShort, ret);
            return;
        }
    }

    // The hardware clock already holds a sync's or start-up's time.
    if (type != SetType_sync && type != SetType_init) {
        DAK_SCOPE_TRACE(trace, dak::msg::kTraceSetRtc, static_cast<unsigned long>(utc));
        DAK_LOG(dak::msg::kProfileSetRtcBegin);
        (void)t_SetRTCTime(utc);
        DAK_LOG(dak::msg::kProfileSetRtcEnd);
    }

    t_FollowNewSource(type, dst);
    TCVConfProvider::SetAutoClockType(m_autoClockType.load());

    DAK_LOG(dak::msg::kApplied, static_cast<unsigned long>(utc), t_ToString(type),
            TCVConfProvider::GetTvTimeOffset());
    DAK_LOG(dak::msg::kAppliedShort, static_cast<unsigned long>(utc), t_ToString(type),
            TCVConfProvider::GetTvTimeOffset());

    TIEventManager* pEventMgr = TIEventManager::Instance();
    if (pEventMgr == nullptr) {
        DAK_LOG(dak::msg::kNoEventManager, "t_SetSystemTime");
        return;
    }
    DAK_LOG(dak::msg::kProfileSignalBegin);
    TSTimeUpdatedParam param{};
    param.type = static_cast<uint16_t>(type);
    param.all = -1;
    (void)pEventMgr->SendSignal(SIGNAL_SYSTEM_TIME_UPDATED, &param, 0);
    DAK_LOG(dak::msg::kProfileSignalEnd);
}

void TCSystemTimeManager::t_FollowNewSource(ETimeSettingType type, bool dst)
{
    // The stored reason went before the clock was set.
    const dak::AcceptedSetting accepted = dak::SettingAccepted(type, Reason_init);
    if (accepted.dropsNetworkTime) {
        DAK_SCOPE_TRACE(trace, dak::msg::kTraceStreamDropsNetwork);
        t_UnsubscribeNetworkTimeCallback();
    }
    if (accepted.dropsTimeMode) {
        DAK_SCOPE_TRACE(trace, dak::msg::kTraceStreamDropsTimeMode);
        t_UnsubscribeTimeModeCallback();
    }
    if (accepted.setsAutoClock) {
        m_autoClockType.store(accepted.autoClock);
    }
    if (accepted.restoresBroadcastOffset && m_networkOffsetApplied.load()) {
        // The stored offset came from the network: the region's broadcast
        // offset takes its place.
        t_SetBroadcastTimeOffset();
        TCVConfProvider::SetFlagDST(dst ? 1 : 0);
    }
    if (accepted.takesNetworkOffset) {
        m_networkOffsetApplied.store(true);
    }
    if (accepted.watchesTimeMode) {
        if (type == SetType_net) {
            DAK_SCOPE_TRACE(trace, dak::msg::kTraceNetworkWatchesTimeMode);
            t_SubscribeTimeModeCallback();
        } else {
            DAK_SCOPE_TRACE(trace, dak::msg::kTraceOtherWatchesTimeMode);
            t_SubscribeTimeModeCallback();
        }
    }
}
