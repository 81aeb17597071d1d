// The periodic comparison of the system clock with the hardware clock, and
// the release-time report.

#include <cstdint>

#include "Common/DakLog.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "TCFactoryProvider.h"
#include "TCVConfProvider.h"

namespace {
constexpr int kRtcFollowsSystemClock = 4;  // factory option 24
}  // namespace

bool TCSystemTimeManager::t_SyncSystemTime()
{
    unsigned long systemUtc = 0;
    const bool ret = GetSystemTime(systemUtc);

    if (DAK_LOG_ON(4)) {
        const ESystemTimeReason reason = TCVConfProvider::GetTimeSettingReason();
        DAK_LOG(dak::msg::kSyncState, systemUtc, t_ToString(reason), ret ? 1 : 0,
                t_ToString(m_autoClockType.load()), TCVConfProvider::GetTvTimeOffset(),
                TCVConfProvider::GetFlagDST());
    }
    if (!ret) {
        return false;
    }
    if (!t_IsPossibleUpdateTime(SetType_sync)) {
        return false;
    }
    unsigned long rtcRead = 0;
    if (!t_GetRTCTime(&rtcRead)) {
        return false;
    }
    auto rtcUtc = static_cast<uint32_t>(rtcRead);
    if (rtcUtc >= static_cast<uint32_t>(t_ConvertYearToUTC(2100))) {
        rtcUtc = static_cast<uint32_t>(t_ConvertYearToUTC(2001));
    }

    // The difference modulo 2^32 read as signed; its magnitude is compared as
    // a signed number, as the 32-bit set does.
    const auto system32 = static_cast<uint32_t>(systemUtc);
    const auto diff = static_cast<int32_t>(system32 - rtcUtc);
    const uint32_t magnitude =
        diff < 0 ? 0U - static_cast<uint32_t>(diff) : static_cast<uint32_t>(diff);
    DAK_LOG(dak::msg::kSyncClocks, static_cast<unsigned long>(system32),
            static_cast<unsigned long>(rtcUtc), static_cast<unsigned long>(magnitude));
    if (static_cast<int32_t>(magnitude) <= 1) {
        return true;
    }

    int option = 0;
    if (TCFactoryProvider().GetOption(TCFactoryProvider::E_OPTION_RTC_DIRECTION, &option) &&
        option == kRtcFollowsSystemClock) {
        t_SetPossibleUpdateTime(SetType_sync);
        DAK_SCOPE_TRACE(trace, dak::msg::kTraceSyncRtc, static_cast<unsigned long>(system32));
        DAK_LOG(dak::msg::kProfileSyncRtcBegin);
        (void)t_SetRTCTime(system32);
        DAK_LOG(dak::msg::kProfileSyncRtcEnd);
        return true;
    }

    // Posted, not applied here: requests already queued go first.
    (void)SetSystemTime(rtcUtc, SetType_sync, TCVConfProvider::GetFlagDST() != 0);
    return true;
}

void TCSystemTimeManager::SetSystemTimeByReleaseTime()
{
    const int offsetValue = TCVConfProvider::GetTvTimeOffset();
    DAK_LOG(dak::msg::kReleaseTimeShort, offsetValue);
    DAK_LOG(dak::msg::kReleaseTime, offsetValue);
}
