// The library's log texts, each written once: the log calls take them from
// here, and the tools that read a set's log find each message by the same
// entry. An entry says which function logs the text and through which of
// the logger's outputs, at which level, in the order they are written.
//
// Nothing here is exported or stored: every object has internal linkage, and
// the library itself uses the table only in constant expressions, so only
// the texts it logs end up in the binary.
#pragma once

namespace dak {

// The library's module number, on each of its lines.
constexpr int kModule = 18;

// The outputs of the platform's logger.
enum class LogOutput : unsigned char { Print, PrintF, Profiling, Trace, Assert, Stdout };

struct LogEmission {
    LogOutput output;
    int level;  // 0: no such emission
};

struct LogMessage {
    const char* text;      // printf-style format, as written
    const char* function;  // the bare name of the function that logs it
    LogEmission first;
    LogEmission second;  // the same text again through another output ({} none)
};

namespace msg {

// Each a constant pointer to its characters, which the compiler checks a
// log call's arguments against and the linker merges with equal endings.

// Setting and reading the system time.
constexpr const char* kSetNotCreated =
    "[TCSystemTimeManager::SetSystemTime] TCSystemTimeManager isn't Created";
constexpr const char* kSetOverRangeShort = "SetSystemTime UTC %lu is over the range";
constexpr const char* kSetOverRange =
    "[TCSystemTimeManager::SetSystemTime] UTC %lu is over the range %lu";
constexpr const char* kSetUnderRangeShort = "SetSystemTime UTC %lu is less than range";
constexpr const char* kSetUnderRange =
    "[TCSystemTimeManager::SetSystemTime] UTC %lu is less than range %lu";
constexpr const char* kSetManualRefused =
    "[TCSystemTimeManager::SetSystemTime]  not possible to set manual time on auto type";
constexpr const char* kClockReading = "[TCSystemTimeManager::GetSystemTime]  UTC!";
constexpr const char* kClockReadFailed =
    "[TCSystemTimeManager::GetSystemTime]  UTC! failed, ret=%d";
constexpr const char* kClockRead = "[TCSystemTimeManager::GetSystemTime]  UTC = %lu";
constexpr const char* kApplying = "[TCSystemTimeManager::t_SetSystemTime] UTC = %lu,  %s";
constexpr const char* kClockRefused =
    "[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock UTC!failed, ret=%d";
constexpr const char* kClockRefusedShort =
    "[[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock UTC!failed, ret=%d";
constexpr const char* kApplied =
    "[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock \033[1;36m UTC = %lu, %s, "
    "offset =%d\033[0m";
constexpr const char* kAppliedShort = "t_SetSystemTime \033[1;36m UTC = %lu, %s, offset =%d\033[0m";
constexpr const char* kNoEventManager =
    "TCSystemTimeManager::%s send SIGNAL_BP_TIME_UPDATED, pEventMgr is NULL!!!";
constexpr const char* kProfilePreviousBegin = "SetSystemTime[BEGIN] GetSystemTime for prevUTC";
constexpr const char* kProfilePreviousEnd = "SetSystemTime[END] GetSystemTime for prevUTC";
constexpr const char* kProfileSetClockBegin = "SetSystemTime[BEGIN] BPTime_set_current_time";
constexpr const char* kProfileSetClockEnd = "SetSystemTime[END] BPTime_set_current_time";
constexpr const char* kProfileSetRtcBegin = "SetSystemTime[BEGIN] t_SetRTCTime";
constexpr const char* kProfileSetRtcEnd = "SetSystemTime[END] t_SetRTCTime";
constexpr const char* kProfileSignalBegin = "SetSystemTime[BEGIN] SIGNAL_SYSTEM_TIME_UPDATED";
constexpr const char* kProfileSignalEnd = "SetSystemTime[END] SIGNAL_SYSTEM_TIME_UPDATED";
constexpr const char* kTraceReadClock = "BPTime_set_current_time";
constexpr const char* kTraceSetClock = "BPTime_set_current_time: UPC[%lu]";
constexpr const char* kTraceSetRtc = "t_SetRTCTime: UPC[%lu]";
constexpr const char* kTraceStreamDropsNetwork = "t_UnsubscribeNetworkTimeCallback";
constexpr const char* kTraceStreamDropsTimeMode = "t_UnsubscribeTimeModeCallback";
constexpr const char* kTraceNetworkWatchesTimeMode = "t_SubscribeTimeModeCallback by Network";
constexpr const char* kTraceOtherWatchesTimeMode = "t_SubscribeTimeModeCallback by sync";

// The sync and the release-time report.
constexpr const char* kSyncState =
    "SyncSystemTime UTC=%lu, \033[1;36m %s\033[0m, ret=%d, \033[1;36m %s, offset=%d, "
    "dst=%d\033[0m";
constexpr const char* kSyncClocks =
    "[TCSystemTimeManager::t_SyncSystemTime] UTC=%lu, rtcTime=%lu, sub=%lu";
constexpr const char* kTraceSyncRtc = "t_SyncSystemTime: UTC[%lu]";
constexpr const char* kProfileSyncRtcBegin = "t_SyncSystemTime[BEGIN] t_SetRTCTime";
constexpr const char* kProfileSyncRtcEnd = "t_SyncSystemTime[END] t_SetRTCTime";
constexpr const char* kReleaseTimeShort =
    "SetSystemTimeByReleaseTime, after factory reset, offsetValue:%d";
constexpr const char* kReleaseTime =
    "SetSystemTimeByReleaseTime after factory reset, offsetValue:%d";

// The manager's lifecycle and its events.
constexpr const char* kAssertObjectFactory = "pObjectFactory";
constexpr const char* kAssertRegistryMutex = "t_pStreamClockMutex != __null";
constexpr const char* kAssertRegistryMap = "t_streamClockMap != __null";
constexpr const char* kAssertFunction = "ASSERT!, Func:%s\n";
constexpr const char* kDestroy = "[TCSystemTimeManager::~TCSystemTimeManager] thread destroy\n";
constexpr const char* kStepFailed = "[TCSystemTimeManager::%s] a step failed and was passed over";
constexpr const char* kEventSettingChanged =
    "[TCSystemTimeManager::t_OnEvent] vconf callback becase of [%s]";
constexpr const char* kEventSet = "[TCSystemTimeManager::t_OnEvent] try to set system time\n";
constexpr const char* kEventSync =
    "[TCSystemTimeManager::t_OnEvent] try to sync system time with micom time\n";

// Start-up.
constexpr const char* kInitAgain =
    "[TCSystemTimeManager::Init] TCSystemTimeManager is already Created";
constexpr const char* kInitTask = " thread Create %s";
constexpr const char* kInitUndone = "[TCSystemTimeManager::Init] start-up failed, undone";
constexpr const char* kInitNoMutex = "[TCSystemTimeManager::Init] Mutex create failed.";
constexpr const char* kInitNoHelper =
    "[TCSystemTimeManager::Init] no product helper, taken as no backup battery";
constexpr const char* kInitPower =
    "[TCSystemTimeManager::Init , isMasterPowerOn:%d ExistBackupBattery:%d\n";
constexpr const char* kInitPowerShort =
    "[TCSystemTimeManager::Init] isMasterPowerOn:%d ExistBackupBattery:%d\n";
constexpr const char* kInitRtcOverMax = "InitSystemTime UTC=%lu is over max=%lu";
constexpr const char* kInitState =
    "InitSystemTime \033[1;36m UTC=%lu, %s, %s, %s,   isMasterPowerOn=%d \033[0m";
constexpr const char* kInitRtcUnreadable =
    "[TCSystemTimeManager::Init] hardware clock unreadable, no replay";
constexpr const char* kInitNoAlarm = "[TCSystemTimeManager::Init] sync alarm create failed";
constexpr const char* kProfileInitCreate = "[TISystemTimeManager::Init] Create";
constexpr const char* kProfileInitReason = "[TISystemTimeManager::Init] SetPossibleUpdateTime, end";
constexpr const char* kProfileInitRtcStart = "[TISystemTimeManager::Init] t_GetRTCTime, start";
constexpr const char* kProfileInitRtcEnd = "[TISystemTimeManager::Init] t_GetRTCTime, end";
constexpr const char* kProfileInitReplayStart = "[TISystemTimeManager::Init] SetSystemTime, start";
constexpr const char* kProfileInitReplayEnd = "[TISystemTimeManager::Init] SetSystemTime, end";
constexpr const char* kTraceInitPower = "TCPowerTvProvider::IsMasterPowerOn()";
constexpr const char* kTraceInitRtc = "t_GetRTCTime";

// The update rules.
constexpr const char* kPermitted = "[TCSystemTimeManager::t_IsPossibleUpdateTime]  %s, result=%d";
constexpr const char* kInitType = "[TCSystemTimeManager::t_GetSettingTypeByReason]  %s, result=%s";

// The hardware clock.
constexpr const char* kRtcReadOpenFail = "[TCSystemTimeManager::t_GetRTCTime] open fail";
constexpr const char* kRtcReadFail = "[TCSystemTimeManager::t_GetRTCTime] read fail";
constexpr const char* kRtcReadInvalid =
    "[TCSystemTimeManager::t_GetRTCTime] read fail, invalid rtc_tm.tm_year=%d, "
    "rtc_tm.tm_mon=%d, rtc_tm.tm_mday=%d, rtc_tm.tm_hour=%d, rtc_tm.tm_min=%d, "
    "rtc_tm.tm_sec=%d";
constexpr const char* kRtcRead =
    "[TCSystemTimeManager::t_GetRTCTime] _time=%lu rtc_tm.tm_year=%d, rtc_tm.tm_mon=%d, "
    "rtc_tm.tm_mday=%d";
constexpr const char* kRtcWrite =
    "[TCSystemTimeManager::t_SetRTCTime] _time=%lu rtc_tm.tm_year=%d, rtc_tm.tm_mon=%d, "
    "rtc_tm.tm_mday=%d";
constexpr const char* kRtcWriteOpenFail = "[TCSystemTimeManager::t_SetRTCTime] open fail";
constexpr const char* kRtcWriteFail = "[TCSystemTimeManager::t_SetRTCTime] set fail";

// Network time and the offsets.
constexpr const char* kNetNotCreated =
    "[TCSystemTimeManager::SetSystemTimeByNetworkTime] TCSystemTimeManager isn't Created";
constexpr const char* kNetClockMode =
    "[TCSystemTimeManager::SetSystemTimeByNetworkTime] manualClock = %d";
constexpr const char* kNetManual =
    "[TCSystemTimeManager::SetSystemTimeByNetworkTime] current clock mode is Manual";
constexpr const char* kNetStreamSet =
    "[TCSystemTimeManager::SetSystemTimeByNetworkTime] StreamTime is already set";
constexpr const char* kNetFailedShort =
    "SetSystemTimeByNetworkTime] Failed to set network time!, retVconf:%d, "
    "networkTimeStatus:%d, getTimeOfDay:%d";
constexpr const char* kNetFailed =
    "[TCSystemTimeManager::t_SetSystemTimeByNetworkTime]Failed to set network time!, "
    "retVconf:%d, networkTimeStatus:%d, getTimeOfDay:%d";
constexpr const char* kNetTaken =
    "[TCSystemTimeManager::t_SetSystemTimeByNetworkTime] Sucessfully set  network time "
    "with time = %lu! ]";
constexpr const char* kNetTakenShort =
    "SetSystemTimeByNetworkTime] Sucessfully set network time with time = %lu! ] ";
constexpr const char* kNetOffset =
    "[TCSystemTimeManager::t_SetNetworkTimeOffset] networkTimeOffset %d, dst:%d";
constexpr const char* kDstNoTime = "[TCSystemTimeManager::GetNetworkDst] time(&cur) returned -1";
constexpr const char* kDstNoTimeShort = "GetNetworkDst] time(&cur) returned -1";
constexpr const char* kDstNoLocal =
    "[TCSystemTimeManager::GetNetworkDst] localtime_r() returned NULL";
constexpr const char* kDstNoLocalShort = "GetNetworkDst] localtime_r() returned NULL";
constexpr const char* kDstNoMktime = "[TCSystemTimeManager::GetNetworkDst] mktime() returned -1";
constexpr const char* kDstNoMktimeShort = "GetNetworkDst] mktime() returned -1";
constexpr const char* kDst = "[TCSystemTimeManager::GetNetworkDst] result:%d";
constexpr const char* kProfileNetReadBegin = "SetSystemTimeByNetworkTime[BEGIN] GetSystemTime";
constexpr const char* kProfileNetReadEnd = "SetSystemTimeByNetworkTime[END] GetSystemTime";
constexpr const char* kProfileNetBegin = "t_SetSystemTimeByNetworkTime[BEGIN]";
constexpr const char* kProfileNetFailed = "t_SetSystemTimeByNetworkTime, fail[END]";
constexpr const char* kProfileNetTaken = "t_SetSystemTimeByNetworkTime, success[END]";
constexpr const char* kProfileTzsetBegin = "t_SetSystemTimeByNetworkTime[BEGIN] tzset";
constexpr const char* kProfileTzsetEnd = "t_SetSystemTimeByNetworkTime[END] tzset";
constexpr const char* kNoOffsetAgent =
    "[TCSystemTimeManager::t_SetBroadcastTimeOffset] no time zone offset agent, "
    "curRegionId=%d";
constexpr const char* kBroadcastOffset =
    "[TCSystemTimeManager::t_SetBroadcastTimeOffset] ret:%d,  curRegionId=%d, "
    "curTimeZoneOffset =%d";
constexpr const char* kBroadcastOffsetShort =
    "TCSystemTimeManager::t_SetBroadcastTimeOffset]  ret:%d,  curRegionId=%d, "
    "curTimeZoneOffset =%d";

// Subscriptions.
constexpr const char* kTimeModeSubscribed = "Register TimeMode Callback";
constexpr const char* kPresentationSubscribed = "Register Presentation Time Callback";
constexpr const char* kSettingChanged =
    "[TCSystemTimeManager::OnVConfCallback] received type:%d, Send ret=%d";
constexpr const char* kPresentationChanged =
    "[TCSystemTimeManager::OnVConfCallback] PRESENTATION_TIME is set, received type:%d, "
    "Send ret=%d";

// Stream clocks.
constexpr const char* kStreamNoMutex = "Mutex create failed.";
constexpr const char* kBaseClockFailed = "Error clock_gettime : %d";
constexpr const char* kStreamClockNoBase =
    "TCStreamClockManager::StreamClock, Getting base clock error!";
constexpr const char* kSystemStreamClockNoBase =
    "TCStreamClockManager::StreamClockOfSystem, Getting base clock error!";
constexpr const char* kTable = "[TCStreamClock::SetStreamClock] utc %lu, isScan:%d, clockMode:%d";
constexpr const char* kTableInvalid =
    "TCStreamClockManager::SetStreamClock, Invalid UTC[%lu <%lu  - %lu>]";
constexpr const char* kTableInvalidShort =
    "TCStreamClockManager::SetStreamClock, Invalid UTC[%lu  <%lu  - %lu>]";
constexpr const char* kTableNoBase =
    "TCStreamClockManager::SetStreamClock, Getting base clock error!";
constexpr const char* kTableNotTaken =
    "TCStreamClockManager::SetStreamClock, clockMode[%d] != m_clockMode[%d] "
    "bUpdateSystemTime = %d";
constexpr const char* kFirstTable =
    "TCStreamClockManager::SetStreamClock, First STT Set-->UTC[%lu], profileId:%d, "
    "subId:%d";
constexpr const char* kTableManual = "Doesn't set Stream Clock manualClock = %d, UTC = %lu";
constexpr const char* kTableSystemBefore = "oldTime [%ld], diff [%d] autoClockType [%d]";
constexpr const char* kTableSets = "BPTime_set_current_time %lu";
constexpr const char* kStreamDst = "SetStreamDST  bOnOfft = %d, mode = %d";
constexpr const char* kStreamDstTaken = "SetStreamDST, dst=%d, mode:%d, autoClockType:%d";
constexpr const char* kStreamDstRead = "Get StreamDST  bOnOfft = %d";
constexpr const char* kDvbOffset =
    "SetDVBTimeOffset  timeOfchange = %lu, nextTimeOffset = %d, localOffset = %d";

}  // namespace msg

namespace catalogue {
constexpr LogEmission kPrint1{LogOutput::Print, 1};
constexpr LogEmission kPrint2{LogOutput::Print, 2};
constexpr LogEmission kPrint4{LogOutput::Print, 4};
constexpr LogEmission kPrint5{LogOutput::Print, 5};
constexpr LogEmission kPrintF1{LogOutput::PrintF, 1};
constexpr LogEmission kPrintF4{LogOutput::PrintF, 4};
constexpr LogEmission kPrintF5{LogOutput::PrintF, 5};
// The levels of the platform's own outputs, which the library does not choose.
constexpr LogEmission kProfiling{LogOutput::Profiling, 5};
constexpr LogEmission kTrace{LogOutput::Trace, 5};
constexpr LogEmission kAssert{LogOutput::Assert, 1};
constexpr LogEmission kStdout{LogOutput::Stdout, 1};
constexpr LogEmission kNone{LogOutput::Print, 0};
}  // namespace catalogue

// Every message, a function's more particular texts before the texts they
// start with.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-c-arrays): sized by its entries.
constexpr LogMessage kMessages[] = {
    // clang-format off
    {msg::kSetNotCreated, "SetSystemTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kSetOverRangeShort, "SetSystemTime", catalogue::kPrintF4, catalogue::kNone},
    {msg::kSetOverRange, "SetSystemTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kSetUnderRangeShort, "SetSystemTime", catalogue::kPrintF4, catalogue::kNone},
    {msg::kSetUnderRange, "SetSystemTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kSetManualRefused, "SetSystemTime", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kClockReadFailed, "GetSystemTime", catalogue::kPrint1, catalogue::kPrintF1},
    {msg::kClockRead, "GetSystemTime", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kClockReading, "GetSystemTime", catalogue::kPrint5, catalogue::kNone},
    {msg::kApplying, "t_SetSystemTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kClockRefused, "t_SetSystemTime", catalogue::kPrint1, catalogue::kNone},
    {msg::kClockRefusedShort, "t_SetSystemTime", catalogue::kPrintF1, catalogue::kNone},
    {msg::kApplied, "t_SetSystemTime", catalogue::kPrint1, catalogue::kNone},
    {msg::kAppliedShort, "t_SetSystemTime", catalogue::kPrintF1, catalogue::kNone},
    {msg::kNoEventManager, "t_SetSystemTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kProfilePreviousBegin, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfilePreviousEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileSetClockBegin, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileSetClockEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileSetRtcBegin, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileSetRtcEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileSignalBegin, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileSignalEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kTraceSetClock, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kTraceReadClock, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kTraceSetRtc, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kTraceStreamDropsNetwork, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kTraceStreamDropsTimeMode, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kTraceNetworkWatchesTimeMode, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kTraceOtherWatchesTimeMode, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kSyncState, "t_SyncSystemTime", catalogue::kPrintF4, catalogue::kPrint4},
    {msg::kSyncClocks, "t_SyncSystemTime", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kTraceSyncRtc, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kProfileSyncRtcBegin, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileSyncRtcEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kReleaseTimeShort, "SetSystemTimeByReleaseTime", catalogue::kPrintF1, catalogue::kNone},
    {msg::kReleaseTime, "SetSystemTimeByReleaseTime", catalogue::kPrint1, catalogue::kNone},
    // An assertion's "function" is the source folder the platform is given;
    // standard output's lines have none.
    {msg::kAssertObjectFactory, "", catalogue::kAssert, catalogue::kNone},
    {msg::kAssertRegistryMutex, "", catalogue::kAssert, catalogue::kNone},
    {msg::kAssertRegistryMap, "", catalogue::kAssert, catalogue::kNone},
    {msg::kAssertFunction, "", catalogue::kStdout, catalogue::kNone},
    {msg::kDestroy, "~TCSystemTimeManager", catalogue::kPrint4, catalogue::kNone},
    {msg::kStepFailed, "t_ReportStepFailed", catalogue::kPrint1, catalogue::kNone},
    {msg::kEventSettingChanged, "t_OnEvent", catalogue::kPrint5, catalogue::kNone},
    {msg::kEventSet, "t_OnEvent", catalogue::kPrint5, catalogue::kNone},
    {msg::kEventSync, "t_OnEvent", catalogue::kPrint5, catalogue::kNone},
    {msg::kInitAgain, "Init", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kInitTask, "Init", catalogue::kPrint5, catalogue::kNone},
    {msg::kInitUndone, "Init", catalogue::kPrint1, catalogue::kNone},
    {msg::kInitNoMutex, "Init", catalogue::kPrint1, catalogue::kNone},
    {msg::kInitNoHelper, "Init", catalogue::kPrint1, catalogue::kNone},
    {msg::kInitPower, "Init", catalogue::kPrint1, catalogue::kNone},
    {msg::kInitPowerShort, "Init", catalogue::kPrintF1, catalogue::kNone},
    {msg::kInitRtcOverMax, "Init", catalogue::kPrintF4, catalogue::kPrint4},
    {msg::kInitState, "Init", catalogue::kPrintF1, catalogue::kPrint4},
    {msg::kInitRtcUnreadable, "Init", catalogue::kPrint1, catalogue::kPrintF1},
    {msg::kInitNoAlarm, "Init", catalogue::kPrint1, catalogue::kNone},
    {msg::kProfileInitCreate, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileInitReason, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileInitRtcStart, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileInitRtcEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileInitReplayStart, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileInitReplayEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kTraceInitPower, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kTraceInitRtc, "TCScopeTrace", catalogue::kTrace, catalogue::kNone},
    {msg::kPermitted, "t_IsPossibleUpdateTime", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kInitType, "t_GetInitSettingTypeByReason", catalogue::kPrintF4, catalogue::kPrint4},
    {msg::kRtcReadOpenFail, "t_GetRTCTime", catalogue::kPrint1, catalogue::kPrintF1},
    {msg::kRtcReadInvalid, "t_GetRTCTime", catalogue::kPrint1, catalogue::kPrintF1},
    {msg::kRtcReadFail, "t_GetRTCTime", catalogue::kPrint1, catalogue::kPrintF1},
    {msg::kRtcRead, "t_GetRTCTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kRtcWrite, "t_SetRTCTime", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kRtcWriteOpenFail, "t_SetRTCTime", catalogue::kPrint1, catalogue::kPrintF1},
    {msg::kRtcWriteFail, "t_SetRTCTime", catalogue::kPrint1, catalogue::kPrintF1},
    {msg::kNetNotCreated, "SetSystemTimeByNetworkTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kNetClockMode, "SetSystemTimeByNetworkTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kNetManual, "SetSystemTimeByNetworkTime", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kNetStreamSet, "SetSystemTimeByNetworkTime", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kNetFailedShort, "t_SetSystemTimeByNetworkTime", catalogue::kPrintF1, catalogue::kNone},
    {msg::kNetFailed, "t_SetSystemTimeByNetworkTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kNetTaken, "t_SetSystemTimeByNetworkTime", catalogue::kPrint4, catalogue::kNone},
    {msg::kNetTakenShort, "t_SetSystemTimeByNetworkTime", catalogue::kPrintF1, catalogue::kNone},
    {msg::kNetOffset, "t_SetNetworkTimeOffset", catalogue::kPrint4, catalogue::kPrintF1},
    {msg::kDstNoTime, "t_GetNetworkDst", catalogue::kPrint1, catalogue::kNone},
    {msg::kDstNoTimeShort, "t_GetNetworkDst", catalogue::kPrintF1, catalogue::kNone},
    {msg::kDstNoLocal, "t_GetNetworkDst", catalogue::kPrint1, catalogue::kNone},
    {msg::kDstNoLocalShort, "t_GetNetworkDst", catalogue::kPrintF1, catalogue::kNone},
    {msg::kDstNoMktime, "t_GetNetworkDst", catalogue::kPrint1, catalogue::kNone},
    {msg::kDstNoMktimeShort, "t_GetNetworkDst", catalogue::kPrintF1, catalogue::kNone},
    {msg::kDst, "t_GetNetworkDst", catalogue::kPrint4, catalogue::kNone},
    {msg::kProfileNetReadBegin, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileNetReadEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileNetBegin, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileNetFailed, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileNetTaken, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileTzsetBegin, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kProfileTzsetEnd, "PrintProfiling", catalogue::kProfiling, catalogue::kNone},
    {msg::kNoOffsetAgent, "t_SetBroadcastTimeOffset", catalogue::kPrint1, catalogue::kPrintF1},
    {msg::kBroadcastOffset, "t_SetBroadcastTimeOffset", catalogue::kPrint4, catalogue::kNone},
    {msg::kBroadcastOffsetShort, "t_SetBroadcastTimeOffset", catalogue::kPrintF4, catalogue::kNone},
    {msg::kTimeModeSubscribed, "t_SubscribeTimeModeCallback", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kPresentationSubscribed, "t_SubscribePresentationTimeCallback", catalogue::kPrint4, catalogue::kPrintF4},
    {msg::kPresentationChanged, "OnVConfCallback", catalogue::kPrint4, catalogue::kNone},
    {msg::kSettingChanged, "OnVConfCallback", catalogue::kPrint4, catalogue::kNone},
    {msg::kStreamNoMutex, "TCStreamClock", catalogue::kPrint2, catalogue::kNone},
    {msg::kBaseClockFailed, "m_GetBaseClock", catalogue::kPrint5, catalogue::kNone},
    {msg::kStreamClockNoBase, "StreamClock", catalogue::kPrint5, catalogue::kNone},
    {msg::kSystemStreamClockNoBase, "StreamClockOfSystem", catalogue::kPrint5, catalogue::kNone},
    {msg::kTable, "SetStreamClock", catalogue::kPrint4, catalogue::kNone},
    {msg::kTableInvalid, "SetStreamClock", catalogue::kPrint4, catalogue::kNone},
    {msg::kTableInvalidShort, "SetStreamClock", catalogue::kPrintF5, catalogue::kNone},
    {msg::kTableNoBase, "SetStreamClock", catalogue::kPrint5, catalogue::kNone},
    {msg::kTableNotTaken, "SetStreamClock", catalogue::kPrint5, catalogue::kNone},
    {msg::kFirstTable, "SetStreamClock", catalogue::kPrint4, catalogue::kNone},
    {msg::kTableManual, "SetStreamClock", catalogue::kPrint5, catalogue::kNone},
    {msg::kTableSystemBefore, "SetStreamClock", catalogue::kPrint5, catalogue::kNone},
    {msg::kTableSets, "SetStreamClock", catalogue::kPrint5, catalogue::kNone},
    {msg::kStreamDst, "SetStreamDST", catalogue::kPrint1, catalogue::kNone},
    {msg::kStreamDstTaken, "SetStreamDST", catalogue::kPrintF1, catalogue::kNone},
    {msg::kStreamDstRead, "StreamDST", catalogue::kPrint4, catalogue::kNone},
    {msg::kDvbOffset, "SetDVBTimeOffset", catalogue::kPrint5, catalogue::kNone},
    // clang-format on
};

constexpr bool SameText(const char* a, const char* b)
{
    while (*a != '\0' && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

// The catalogue's index of `text`, found while compiling: a text outside the
// catalogue does not compile.
constexpr unsigned MessageIndex(const char* text)
{
    unsigned index = 0;
    for (const LogMessage& message : kMessages) {
        if (SameText(message.text, text)) {
            return index;
        }
        ++index;
    }
    throw "the text is not in the catalogue";  // only ever evaluated at compile time
}

constexpr const LogMessage& MessageOf(const char* text)
{
    return kMessages[MessageIndex(text)];
}

constexpr unsigned kMessageCount = sizeof kMessages / sizeof kMessages[0];

}  // namespace dak
