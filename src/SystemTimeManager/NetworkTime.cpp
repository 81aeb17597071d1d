// Network time: the platform has set the process clock from the network; the
// manager adopts it as a net setting with the offset and daylight-saving
// state of the process's time zone.

#include <sys/time.h>

#include <cstdint>
#include <ctime>

#include "Common/DakLog.h"
#include "DakOs.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "TCVConfProvider.h"

bool TCSystemTimeManager::SetSystemTimeByNetworkTime()
{
    if (!FlagCreate()) {
        DAK_PRINT(4,
                  "[TCSystemTimeManager::SetSystemTimeByNetworkTime] TCSystemTimeManager isn't "
                  "Created");
        return false;
    }
    const int clockMode = TCVConfProvider::GetTvClockMode();
    DAK_PRINT(4, "[TCSystemTimeManager::SetSystemTimeByNetworkTime] manualClock = %d", clockMode);
    if (clockMode != 0) {
        DAK_PRINT(4,
                  "[TCSystemTimeManager::SetSystemTimeByNetworkTime] current clock mode is Manual");
        DAK_PRINTF(
            4, "[TCSystemTimeManager::SetSystemTimeByNetworkTime] current clock mode is Manual");
        // A later switch to the automatic clock brings the manager back here.
        t_SubscribeTimeModeCallback();
        return false;
    }
    if (m_autoClockType.load() == AutoType_stream) {
        DAK_PRINT(4, "[TCSystemTimeManager::SetSystemTimeByNetworkTime] StreamTime is already set");
        DAK_PRINTF(4,
                   "[TCSystemTimeManager::SetSystemTimeByNetworkTime] StreamTime is already set");
        return false;
    }

    DAK_PROFILE("SetSystemTimeByNetworkTime[BEGIN] GetSystemTime");
    unsigned long now = 0;
    (void)GetSystemTime(now);  // its log lines record the time at this point
    DAK_PROFILE("SetSystemTimeByNetworkTime[END] GetSystemTime");

    if (!t_IsPossibleUpdateTime(SetType_net)) {
        return false;
    }
    // A later change of the network time state brings the manager back here.
    t_SubscribeNetworkTimeCallback();
    (void)t_SetSystemTimeByNetworkTime();
    return true;
}

bool TCSystemTimeManager::t_SetSystemTimeByNetworkTime()
{
    DAK_PROFILE("t_SetSystemTimeByNetworkTime[BEGIN]");
    timeval tv{};
    const int getTimeOfDay = dakos::gettimeofday(&tv);
    const bool networkSet = TCVConfProvider::IsNetworkSet();
    if (getTimeOfDay != 0 || !networkSet) {
        DAK_PRINTF(1,
                   "SetSystemTimeByNetworkTime] Failed to set network time!, retVconf:%d, "
                   "networkTimeStatus:%d, getTimeOfDay:%d",
                   networkSet ? 1 : 0, 0, getTimeOfDay);
        DAK_PRINT(4,
                  "[TCSystemTimeManager::t_SetSystemTimeByNetworkTime]Failed to set network time!, "
                  "retVconf:%d, networkTimeStatus:%d, getTimeOfDay:%d",
                  networkSet ? 1 : 0, 0, getTimeOfDay);
        DAK_PROFILE("t_SetSystemTimeByNetworkTime, fail[END]");
        return false;
    }

    t_SetNetworkTimeOffset();

    const auto seconds = static_cast<uint32_t>(tv.tv_sec);
    if (!SetSystemTime(seconds, SetType_net, t_GetNetworkDst() != 0)) {
        return false;
    }
    DAK_PRINT(4,
              "[TCSystemTimeManager::t_SetSystemTimeByNetworkTime] Sucessfully set  network time "
              "with time = %lu! ]",
              static_cast<unsigned long>(seconds));
    DAK_PRINTF(1, "SetSystemTimeByNetworkTime] Sucessfully set network time with time = %lu! ] ",
               static_cast<unsigned long>(seconds));
    t_UnsubscribeTimeModeCallback();
    DAK_PROFILE("t_SetSystemTimeByNetworkTime, success[END]");
    return true;
}

void TCSystemTimeManager::t_SetNetworkTimeOffset()
{
    DAK_PROFILE("t_SetSystemTimeByNetworkTime[BEGIN] tzset");
    tzset();
    DAK_PROFILE("t_SetSystemTimeByNetworkTime[END] tzset");

    // `timezone` is seconds west of UTC for standard time; the offset is
    // minutes east, the division truncating toward zero.
    const auto offset = static_cast<int>(-(timezone / 60));
    TCVConfProvider::SetTvTimeOffset(offset);
    const int dst = t_GetNetworkDst();
    TCVConfProvider::SetFlagDST(dst);
    DAK_PRINT(4, "[TCSystemTimeManager::t_SetNetworkTimeOffset] networkTimeOffset %d, dst:%d",
              offset, dst);
    DAK_PRINTF(1, "[TCSystemTimeManager::t_SetNetworkTimeOffset] networkTimeOffset %d, dst:%d",
               offset, dst);
    m_networkOffsetApplied.store(true);
}

int TCSystemTimeManager::t_GetNetworkDst()
{
    time_t cur = -1;
    tm date{};
    if (dakos::time(&cur) == static_cast<time_t>(-1)) {
        DAK_PRINT(1, "[TCSystemTimeManager::GetNetworkDst] time(&cur) returned -1");
        DAK_PRINTF(1, "GetNetworkDst] time(&cur) returned -1");
        return 0;
    }
    if (localtime_r(&cur, &date) == nullptr) {
        DAK_PRINT(1, "[TCSystemTimeManager::GetNetworkDst] localtime_r() returned NULL");
        DAK_PRINTF(1, "GetNetworkDst] localtime_r() returned NULL");
        return 0;
    }
    const time_t local = mktime(&date);
    if (local == static_cast<time_t>(-1)) {
        DAK_PRINT(1, "[TCSystemTimeManager::GetNetworkDst] mktime() returned -1");
        DAK_PRINTF(1, "GetNetworkDst] mktime() returned -1");
        return 0;
    }
    date = tm{};
    if (gmtime_r(&cur, &date) == nullptr) {
        DAK_PRINT(1, "[TCSystemTimeManager::GetNetworkDst] localtime_r() returned NULL");
        DAK_PRINTF(1, "GetNetworkDst] localtime_r() returned NULL");
        return 0;
    }
    // The UTC fields read as local standard time: `local - utcAsLocal` is the
    // standard offset, and mktime leaves the offset in force in tm_gmtoff.
    const time_t utcAsLocal = mktime(&date);
    if (utcAsLocal == static_cast<time_t>(-1)) {
        DAK_PRINT(1, "[TCSystemTimeManager::GetNetworkDst] mktime() returned -1");
        DAK_PRINTF(1, "GetNetworkDst] mktime() returned -1");
        return 0;
    }
    const int64_t standardOffset = static_cast<int64_t>(local) - static_cast<int64_t>(utcAsLocal);
    const auto result =
        static_cast<int>((static_cast<int64_t>(date.tm_gmtoff) - standardOffset) / 3600);
    DAK_PRINT(4, "[TCSystemTimeManager::GetNetworkDst] result:%d", result);
    return result;
}
