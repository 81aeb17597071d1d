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
        DAK_LOG(dak::msg::kNetNotCreated);
        return false;
    }
    const int clockMode = TCVConfProvider::GetTvClockMode();
    DAK_LOG(dak::msg::kNetClockMode, clockMode);
    if (clockMode != 0) {
        DAK_LOG(dak::msg::kNetManual);
        // A later switch to the automatic clock brings the manager back here.
        t_SubscribeTimeModeCallback();
        return false;
    }
    if (m_autoClockType.load() == AutoType_stream) {
        DAK_LOG(dak::msg::kNetStreamSet);
        return false;
    }

    DAK_LOG(dak::msg::kProfileNetReadBegin);
    unsigned long now = 0;
    (void)GetSystemTime(now);  // its log lines record the time at this point
    DAK_LOG(dak::msg::kProfileNetReadEnd);

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
    DAK_LOG(dak::msg::kProfileNetBegin);
    timeval tv{};
    const int getTimeOfDay = dakos::gettimeofday(&tv);
    const bool networkSet = TCVConfProvider::IsNetworkSet();
    if (getTimeOfDay != 0 || !networkSet) {
        DAK_LOG(dak::msg::kNetFailedShort, networkSet ? 1 : 0, 0, getTimeOfDay);
        DAK_LOG(dak::msg::kNetFailed, networkSet ? 1 : 0, 0, getTimeOfDay);
        DAK_LOG(dak::msg::kProfileNetFailed);
        return false;
    }

    t_SetNetworkTimeOffset();

    const auto seconds = static_cast<uint32_t>(tv.tv_sec);
    if (!SetSystemTime(seconds, SetType_net, t_GetNetworkDst() != 0)) {
        return false;
    }
    DAK_LOG(dak::msg::kNetTaken, static_cast<unsigned long>(seconds));
    DAK_LOG(dak::msg::kNetTakenShort, static_cast<unsigned long>(seconds));
    t_UnsubscribeTimeModeCallback();
    DAK_LOG(dak::msg::kProfileNetTaken);
    return true;
}

void TCSystemTimeManager::t_SetNetworkTimeOffset()
{
    DAK_LOG(dak::msg::kProfileTzsetBegin);
    dakos::tzset();
    DAK_LOG(dak::msg::kProfileTzsetEnd);

    // `timezone` is seconds west of UTC for standard time; the offset is
    // minutes east, the division truncating toward zero.
    const auto offset = static_cast<int>(-(dakos::timezone() / 60));
    TCVConfProvider::SetTvTimeOffset(offset);
    const int dst = t_GetNetworkDst();
    TCVConfProvider::SetFlagDST(dst);
    DAK_LOG(dak::msg::kNetOffset, offset, dst);
    m_networkOffsetApplied.store(true);
}

int TCSystemTimeManager::t_GetNetworkDst()
{
    time_t cur = -1;
    tm date{};
    if (dakos::time(&cur) == static_cast<time_t>(-1)) {
        DAK_LOG(dak::msg::kDstNoTime);
        DAK_LOG(dak::msg::kDstNoTimeShort);
        return 0;
    }
    if (dakos::localtime_r(&cur, &date) == nullptr) {
        DAK_LOG(dak::msg::kDstNoLocal);
        DAK_LOG(dak::msg::kDstNoLocalShort);
        return 0;
    }
    const time_t local = dakos::mktime(&date);
    if (local == static_cast<time_t>(-1)) {
        DAK_LOG(dak::msg::kDstNoMktime);
        DAK_LOG(dak::msg::kDstNoMktimeShort);
        return 0;
    }
    date = tm{};
    if (gmtime_r(&cur, &date) == nullptr) {
        DAK_LOG(dak::msg::kDstNoLocal);
        DAK_LOG(dak::msg::kDstNoLocalShort);
        return 0;
    }
    // The UTC fields read as local standard time: `local - utcAsLocal` is the
    // standard offset, and mktime leaves the offset in force in tm_gmtoff.
    const time_t utcAsLocal = dakos::mktime(&date);
    if (utcAsLocal == static_cast<time_t>(-1)) {
        DAK_LOG(dak::msg::kDstNoMktime);
        DAK_LOG(dak::msg::kDstNoMktimeShort);
        return 0;
    }
    const int64_t standardOffset = static_cast<int64_t>(local) - static_cast<int64_t>(utcAsLocal);
    const auto result =
        static_cast<int>((static_cast<int64_t>(date.tm_gmtoff) - standardOffset) / 3600);
    DAK_LOG(dak::msg::kDst, result);
    return result;
}
