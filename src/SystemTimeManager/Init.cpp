// Start-up: the task, the power situation, the replay of the hardware clock
// where the rules allow it, the sync alarm and the first subscriptions.

#include <exception>
#include <utility>

#include "Common/DakLog.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "TCPowerTvProvider.h"
#include "TCVConfProvider.h"

namespace {
constexpr const char* kTaskName = "TCSystemTimeManger";
constexpr unsigned int kTaskPriority = 60;
constexpr unsigned long kTaskStackSize = 8192;
constexpr int kSyncPeriodMs = 30000;
constexpr unsigned long kRepeatForever = 0xFFFFFFFFUL;

// Runs `undo` when the scope is left by an exception, and only then.
template <typename Undo>
class OnUnwind {
public:
    explicit OnUnwind(Undo undo) : m_undo(std::move(undo)) {}
    ~OnUnwind()
    {
        if (std::uncaught_exceptions() > m_exceptions) {
            m_undo();
        }
    }
    OnUnwind(const OnUnwind&) = delete;
    OnUnwind& operator=(const OnUnwind&) = delete;
    OnUnwind(OnUnwind&&) = delete;
    OnUnwind& operator=(OnUnwind&&) = delete;

private:
    Undo m_undo;
    int m_exceptions = std::uncaught_exceptions();
};
}  // namespace

bool TCSystemTimeManager::Init()
{
    if (FlagCreate()) {
        DAK_LOG(dak::msg::kInitAgain);
        return false;
    }

    DAK_LOG(dak::msg::kInitTask, kTaskName);
    DAK_LOG(dak::msg::kProfileInitCreate);
    // A task that cannot be created shows later: SetSystemTime refuses to post.
    (void)Create(kTaskName, kTaskPriority, kTaskStackSize, 0);
    // All or nothing: should anything below fail to allocate, what this call
    // made is undone before the failure goes on to the caller, so that the
    // manager is back as constructed and a later Init starts anew.
    const OnUnwind undo([this]() noexcept {
        t_StopSources(false);
        t_StopTask();
        try {
            DAK_LOG_FROM("Init", dak::msg::kInitUndone);
        } catch (...) {
            // The failure itself goes on to the caller all the same.
        }
    });

    if (!m_mutex.FlagCreate() && !m_mutex.Create()) {
        DAK_LOG(dak::msg::kInitNoMutex);
        return false;
    }

    // The flags follow the platform's registry: they are all clear on a first
    // start, and a start retried after a failed task creation keeps what the
    // first one subscribed instead of subscribing it a second time.
    m_networkOffsetApplied.store(false);

    bool isMasterPowerOn = false;
    {
        DAK_SCOPE_TRACE(trace, dak::msg::kTraceInitPower);
        isMasterPowerOn = TCPowerTvProvider::IsMasterPowerOn();
    }

    // Without an object factory there is no product helper. The manager then
    // starts as the set it serves is built: without a backup battery, so that
    // a hardware clock that may have lost power is not taken for the time.
    const bool hasHelper = static_cast<bool>(m_pProductHelper);
    if (!hasHelper) {
        DAK_LOG(dak::msg::kInitNoHelper);
    }
    auto existBackupBattery = [this, hasHelper]() {
        return hasHelper && m_pProductHelper->ExistBackupBattery();
    };
    DAK_LOG(dak::msg::kInitPower, isMasterPowerOn ? 1 : 0, existBackupBattery() ? 1 : 0);
    DAK_LOG(dak::msg::kInitPowerShort, isMasterPowerOn ? 1 : 0, existBackupBattery() ? 1 : 0);

    if (isMasterPowerOn && !existBackupBattery()) {
        TCVConfProvider::SetTimeSettingReason(Reason_init);
        TCVConfProvider::SetFlagDST(0);
        DAK_LOG(dak::msg::kProfileInitReason);
    }

    unsigned long rtcUtc = 0;
    bool rtcRead = false;
    {
        DAK_SCOPE_TRACE(trace, dak::msg::kTraceInitRtc);
        DAK_LOG(dak::msg::kProfileInitRtcStart);
        rtcRead = t_GetRTCTime(&rtcUtc);
        DAK_LOG(dak::msg::kProfileInitRtcEnd);
    }

    auto utc = static_cast<uint32_t>(rtcUtc);
    const auto maxUtc = static_cast<uint32_t>(t_ConvertYearToUTC(2100));
    if (rtcRead && utc >= maxUtc) {
        DAK_LOG(dak::msg::kInitRtcOverMax, static_cast<unsigned long>(utc),
                static_cast<unsigned long>(maxUtc));
        utc = static_cast<uint32_t>(t_ConvertYearToUTC(2001));
    }

    const ESystemTimeReason reason = TCVConfProvider::GetTimeSettingReason();
    const ETimeSettingType type = t_GetInitSettingTypeByReason();

    DAK_LOG(dak::msg::kInitState, static_cast<unsigned long>(utc), t_ToString(reason),
            t_ToString(m_autoClockType), t_ToString(type), isMasterPowerOn ? 1 : 0);

    if (!rtcRead) {
        // Nothing was read, so there is nothing to replay.
        DAK_LOG(dak::msg::kInitRtcUnreadable);
    } else if (t_IsPossibleUpdateTime(type)) {
        DAK_LOG(dak::msg::kProfileInitReplayStart);
        (void)SetSystemTime(utc, type, TCVConfProvider::GetFlagDST() != 0);
        DAK_LOG(dak::msg::kProfileInitReplayEnd);
    }

    if (m_syncAlarm.FlagCreate()) {
        (void)m_syncAlarm.Reset(kSyncPeriodMs, kRepeatForever);
    } else if (!m_syncAlarm.Create(this, static_cast<unsigned short>(EVENT_SYNC_SYSTEM_TIME),
                                   kSyncPeriodMs, -1)) {
        DAK_LOG(dak::msg::kInitNoAlarm);
    }

    if (reason != Reason_stream) {
        t_SubscribeTimeModeCallback();
    }
    t_SubscribePresentationTimeCallback();
    return true;
}
