// The system time manager: a task of the framework that owns the UTC system
// clock. Public operations check their arguments on the caller's thread and
// post an event; the task applies it, one event at a time.
#pragma once

#include <linux/rtc.h>

#include <boost/shared_ptr.hpp>

#include "IVConfCallbackSubscriber.h"
#include "TCAlarm.h"
#include "TCMutex.h"
#include "TCTask.h"
#include "TISystemTimeManager.h"
#include "TITimeProductHelper.h"

class TCSystemTimeManager : public TCTask,
                            public TISystemTimeManager,
                            public IVConfCallbackSubscriber {
public:
    // Event codes of the manager's task.
    enum : uint32_t {
        EVENT_TASK_STOP = 0,
        EVENT_SYNC_SYSTEM_TIME = 11500,
        EVENT_VCONF_CHANGED = 36864,
        EVENT_PRESENTATION_TIME_CHANGED = 36865,
        EVENT_SET_SYSTEM_TIME = 36866,
    };

    TCSystemTimeManager();
    ~TCSystemTimeManager() override;
    TCSystemTimeManager(const TCSystemTimeManager&) = delete;
    TCSystemTimeManager& operator=(const TCSystemTimeManager&) = delete;

    bool t_OnEvent(const TSEvent* event) override;

    // Declared in this order so that the manager's own table lists them so.
    bool Init() override;
    bool SetSystemTimeByNetworkTime() override;
    bool SetSystemTime(unsigned long utc, ETimeSettingType type, bool dst) override;
    bool GetSystemTime(unsigned long& utc) override;
    bool GetAutoClockType(ETypeOfAutoClock& type) override;
    void SetSystemTimeByReleaseTime() override;
    void OnVConfCallback(EVConfParam param, void* data) override;

    static const char* t_ToString(ETimeSettingType type);
    static const char* t_ToString(ESystemTimeReason reason);
    static const char* t_ToString(ETypeOfAutoClock type);

    // Hardware clock access and the calendar arithmetic of the library.
    static bool t_GetRTCTime(unsigned long* utc);
    static bool t_SetRTCTime(unsigned long utc);
    static unsigned long t_ConvertRTCToUTC(rtc_time tm);
    static unsigned long t_ConvertYearToUTC(int year);

    // Update permission rules over the stored reason.
    static bool t_IsPossibleUpdateTime(ETimeSettingType type);
    static void t_SetPossibleUpdateTime(ETimeSettingType type);
    static ETimeSettingType t_GetInitSettingTypeByReason();

private:
    void t_SetSystemTime(unsigned long utc, ETimeSettingType type, bool dst);
    bool t_SyncSystemTime();
    bool t_SetSystemTimeByNetworkTime();
    void t_SetNetworkTimeOffset();
    int t_GetNetworkDst();
    void t_SetBroadcastTimeOffset();

    void t_SubscribeNetworkTimeCallback();
    void t_UnsubscribeNetworkTimeCallback();
    void t_SubscribeTimeModeCallback();
    void t_UnsubscribeTimeModeCallback();
    void t_SubscribePresentationTimeCallback();
    void t_UnsubscribePresentationTimeCallback();

    bool PostToSelf(uint32_t eventId, const uint8_t (&payload)[8]);

    TCMutex m_mutex;
    ETypeOfAutoClock m_autoClockType = AutoType_max;
    bool m_networkTimeSubscribed = false;
    bool m_networkOffsetApplied = false;
    bool m_timeModeSubscribed = false;
    bool m_presentationTimeSubscribed = false;
    boost::shared_ptr<TITimeProductHelper> m_pProductHelper;
    TCStateAlarm m_syncAlarm;
};
