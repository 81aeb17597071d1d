// The manager's lifecycle: the singleton, construction and destruction, the
// posting of its own events and their dispatch on the task thread.

#include "SystemTimeManager/TCSystemTimeManager.h"

#include <cstdio>
#include <cstring>
#include <exception>

#include "Common/DakLog.h"
#include "TCObjectFactory.h"
#include "TCVConfProvider.h"

TISystemTimeManager* TISystemTimeManager::t_systemTimeManager = nullptr;

TISystemTimeManager::~TISystemTimeManager() = default;

TISystemTimeManager* TISystemTimeManager::Instance()
{
    if (t_systemTimeManager == nullptr) {
        // A throwing construction releases the memory and leaves the pointer null.
        t_systemTimeManager = new TCSystemTimeManager();
    }
    return t_systemTimeManager;
}

void TISystemTimeManager::Exit()
{
    if (t_systemTimeManager != nullptr) {
        delete t_systemTimeManager;
        t_systemTimeManager = nullptr;
    }
}

TCSystemTimeManager::TCSystemTimeManager()
{
    TCVConfProvider::SetAutoClockType(AutoType_max);

    TCObjectFactory* pObjectFactory = TCObjectFactory::GetInstance();
    if (pObjectFactory == nullptr) {
        // Reported with the line the set's build reports, wherever the check
        // stands in this file.
        DAK_ASSERT_REPORT_AS(dak::msg::kAssertObjectFactory, "src/SystemTimeManager", 85,
                             "TCSystemTimeManager");
        return;
    }
    // reset() deletes the helper itself should the shared count not be made.
    m_pProductHelper.reset(pObjectFactory->GetTimeProductHelper());
}

TCSystemTimeManager::~TCSystemTimeManager()
{
    t_StopSources(true);
    if (m_mutex.FlagCreate()) {
        try {
            DAK_LOG(dak::msg::kDestroy);
        } catch (...) {
            // A lost line; the stop goes on.
        }
    }
    t_StopTask();

    m_autoClockType.store(AutoType_max);
    t_Guarded([] { TCVConfProvider::SetAutoClockType(AutoType_max); });
}

void TCSystemTimeManager::t_StopSources(bool forGood) noexcept
{
    if (m_syncAlarm.FlagCreate()) {
        t_Guarded([this] { m_syncAlarm.Destroy(); });
    }
    // No settings callback may reach the manager once it is gone; withdrawn
    // before the task stops, so that none posts to a stopped task either.
    t_WithdrawSubscriptions(forGood);
}

void TCSystemTimeManager::t_StopTask() noexcept
{
    // Init creates the task before the mutex: a task whose mutex could not be
    // made is running all the same and is stopped too, only without the line.
    if (FlagCreate()) {
        t_Guarded([this] {
            const uint8_t payload[8] = {};
            (void)PostToSelf(EVENT_TASK_STOP, payload);
        });
        t_Guarded([this] { TCTask::Destroy(); });
    }
    if (m_mutex.FlagCreate()) {
        t_Guarded([this] { m_mutex.Destroy(); });
    }
}

void TCSystemTimeManager::t_ReportStepFailed() noexcept
{
    try {
        DAK_LOG(dak::msg::kStepFailed, "~TCSystemTimeManager");
    } catch (...) {
        // Not even the line could be made; the stop goes on regardless.
    }
}

bool TCSystemTimeManager::t_OnEvent(const TSEvent* event)
{
    if (TCTask::t_OnEvent(event)) {
        return true;
    }
    if (event == nullptr) {
        return true;
    }
    switch (event->eventId) {
        case EVENT_VCONF_CHANGED:
            DAK_LOG(dak::msg::kEventSettingChanged,
                    event->payload[0] == E_VCONF_NETWORK_TIME ? "NETWORKTIME_SET" : "CLOCK_SET");
            (void)SetSystemTimeByNetworkTime();
            break;
        case EVENT_SET_SYSTEM_TIME: {
            DAK_LOG(dak::msg::kEventSet);
            uint32_t utc = 0;
            int16_t type = 0;
            uint16_t dst = 0;
            std::memcpy(&utc, &event->payload[0], sizeof(utc));
            std::memcpy(&type, &event->payload[4], sizeof(type));
            std::memcpy(&dst, &event->payload[6], sizeof(dst));
            t_SetSystemTime(utc, static_cast<ETimeSettingType>(type), dst != 0);
            break;
        }
        case EVENT_SYNC_SYSTEM_TIME:
            DAK_LOG(dak::msg::kEventSync);
            (void)t_SyncSystemTime();
            break;
        default:
            // EVENT_PRESENTATION_TIME_CHANGED and anything unknown: consumed.
            break;
    }
    return true;
}
