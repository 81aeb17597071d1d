// The system time manager: a task of the framework that owns the UTC system
// clock. Public operations check their arguments on the caller's thread and
// post an event; the task applies it, one event at a time.
#pragma once

#include <linux/rtc.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>

#include <boost/shared_ptr.hpp>

#include "Calendar.h"
#include "IVConfCallbackSubscriber.h"
#include "SystemTimeManager/TimeRules.h"
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

    static const char* t_ToString(ETimeSettingType type) { return dak::SettingTypeName(type); }
    static const char* t_ToString(ESystemTimeReason reason) { return dak::ReasonName(reason); }
    static const char* t_ToString(ETypeOfAutoClock type) { return dak::AutoClockTypeName(type); }

    // Hardware clock access and the calendar arithmetic of the library.
    static bool t_GetRTCTime(unsigned long* utc);
    static bool t_SetRTCTime(unsigned long utc);
    static unsigned long t_ConvertRTCToUTC(rtc_time tm) { return dakcal::RtcToUtc(tm); }
    static unsigned long t_ConvertYearToUTC(int year) { return dakcal::YearToUtc(year); }

    // Update permission rules over the stored reason.
    static bool t_IsPossibleUpdateTime(ETimeSettingType type);
    static void t_SetPossibleUpdateTime(ETimeSettingType type);
    static ETimeSettingType t_GetInitSettingTypeByReason();

private:
    // Stopping what Init made, in the destructor's order: first what posts
    // to the task (the alarm, the subscriptions; `forGood` keeps any from
    // being made again), then the task and the mutex. An undone start-up
    // does both and leaves the manager as constructed, to be started again.
    void t_StopSources(bool forGood) noexcept;
    void t_StopTask() noexcept;
    // Runs one step of a stop; a failure inside it (an allocation by a log
    // line or a platform call) ends that step only.
    template <typename Step>
    static void t_Guarded(const Step& step) noexcept
    {
        try {
            step();
        } catch (...) {
            t_ReportStepFailed();
        }
    }
    static void t_ReportStepFailed() noexcept;

    void t_SetSystemTime(uint32_t utc, ETimeSettingType type, bool dst);
    void t_FollowNewSource(ETimeSettingType type, bool dst);
    bool t_SyncSystemTime();
    bool t_SetSystemTimeByNetworkTime();
    void t_SetNetworkTimeOffset();
    int t_GetNetworkDst();
    void t_SetBroadcastTimeOffset();

    // Subscriptions. Each flag and its platform call change together under
    // m_subscriptionLock, whichever thread asks (the task, a client calling
    // SetSystemTimeByNetworkTime, the destructor).
    void t_SubscribeNetworkTimeCallback();
    void t_UnsubscribeNetworkTimeCallback();
    void t_SubscribeTimeModeCallback();
    void t_UnsubscribeTimeModeCallback();
    void t_SubscribePresentationTimeCallback();
    void t_UnsubscribePresentationTimeCallback();
    // Withdraws every subscription held; `forGood` keeps any new one from
    // being made afterwards. Never throws.
    void t_WithdrawSubscriptions(bool forGood) noexcept;

    // Posts an event of the manager's own to its task; false when the task is
    // not running or the queue refused it. In line: a client's request pays
    // one call, into the platform.
    bool PostToSelf(uint32_t eventId, const uint8_t (&payload)[8])
    {
        if (!FlagCreate()) {
            return false;
        }
        TSEvent event;
        event.receiver = static_cast<TCHandler*>(this);
        event.eventId = eventId;
        std::memcpy(event.payload, payload, sizeof(event.payload));
        return Send(&event, false, false);
    }

    TCMutex m_mutex;
    // Read on client threads while the task writes it: one aligned word.
    std::atomic<ETypeOfAutoClock> m_autoClockType{AutoType_max};
    bool m_networkTimeSubscribed = false;
    // Written by the network path on a client's thread, read on the task.
    std::atomic<bool> m_networkOffsetApplied{false};
    bool m_timeModeSubscribed = false;
    bool m_presentationTimeSubscribed = false;
    boost::shared_ptr<TITimeProductHelper> m_pProductHelper;
    TCStateAlarm m_syncAlarm;

    // Leaf lock of the three subscription flags: nothing else is taken while
    // it is held but the platform's callback registry, whose callbacks only
    // post. Once m_subscriptionsClosed is set (destruction) nothing subscribes.
    std::mutex m_subscriptionLock;
    bool m_subscriptionsClosed = false;

    static_assert(sizeof(std::atomic<ETypeOfAutoClock>) == sizeof(int32_t) &&
                      std::atomic<ETypeOfAutoClock>::is_always_lock_free,
                  "the auto clock type must stay one lock-free 32-bit word");
};
