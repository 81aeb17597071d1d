// Helpers shared by the manager's tests: the manager behind its interface,
// raw events to its task, and read-back of signals and subscriptions.
#pragma once

#include <cstdint>
#include <cstring>

#include "DakHostControl.h"
#include "DakTestFixture.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "TISystemTimeManager.h"

namespace mgrtest {

using dakhost::Setting;
using daktest::HasLog;
using daktest::Utc;

constexpr uint32_t kStart = 1704067200U;  // 2024-01-01: both clocks after a reset
constexpr uint32_t kT = 1709632800U;      // 2024-03-05T10:00:00Z

inline TISystemTimeManager* Mgr()
{
    return TISystemTimeManager::Instance();
}

// Posts an event to the manager's task as the manager's own code does (the
// manager's type information stays inside the library: reached at run time).
inline bool PostRaw(uint32_t eventId, const uint8_t (&payload)[8])
{
    auto* task = dynamic_cast<TCTask*>(Mgr());
    TSEvent event;
    event.receiver = static_cast<TCHandler*>(task);
    event.eventId = eventId;
    std::memcpy(event.payload, payload, sizeof(payload));
    return task->Send(&event, false, false);
}

// The setting type carried by the i-th signal 108 as its 16-bit field; -1 if none.
inline int SignalType(size_t i)
{
    const auto signals = dakhost::Signals();
    if (i >= signals.size() || signals[i].signalId != 108) {
        return -1;
    }
    uint16_t type = 0;
    std::memcpy(&type, signals[i].param, sizeof(type));
    return type;
}

inline int SubscriptionCallCount(int param, bool subscribe)
{
    int count = 0;
    for (const auto& call : dakhost::SubscriptionCalls()) {
        count += call.param == param && call.subscribe == subscribe ? 1 : 0;
    }
    return count;
}

inline int WriteCount(Setting setting)
{
    int count = 0;
    for (const auto& write : dakhost::SettingWrites()) {
        count += write.setting == setting ? 1 : 0;
    }
    return count;
}

inline ETypeOfAutoClock AutoClock()
{
    auto type = static_cast<ETypeOfAutoClock>(-7);  // overwritten by the call
    EXPECT_TRUE(Mgr()->GetAutoClockType(type));
    return type;
}

// Starts the manager without a replay (main power on, no backup battery:
// the stored reason goes back to Reason_init) and clears the logs.
inline void StartQuiet()
{
    ASSERT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    dakhost::ClearLogs();
}

}  // namespace mgrtest
