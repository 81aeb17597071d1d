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
using daktest::Utc;

inline TISystemTimeManager* Mgr()
{
    return TISystemTimeManager::Instance();
}

// The manager's other faces, reached at run time: the manager's own type
// information stays inside the library.
inline TCTask* Task()
{
    return dynamic_cast<TCTask*>(Mgr());
}

inline IVConfCallbackSubscriber* Subscriber()
{
    return dynamic_cast<IVConfCallbackSubscriber*>(Mgr());
}

// Posts an event to the manager's task as the manager's own code does.
inline bool PostRaw(uint32_t eventId, const uint8_t (&payload)[8])
{
    TSEvent event;
    event.receiver = static_cast<TCHandler*>(Task());
    event.eventId = eventId;
    std::memcpy(event.payload, payload, sizeof(payload));
    return Task()->Send(&event, false, false);
}

// The setting type carried by the i-th signal 108, as its 16-bit field.
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
        if (call.param == param && call.subscribe == subscribe) {
            ++count;
        }
    }
    return count;
}

// Whether the library wrote `value` to `setting` at least once.
inline bool Wrote(Setting setting, int value)
{
    for (const auto& write : dakhost::SettingWrites()) {
        if (write.setting == setting && write.value == value) {
            return true;
        }
    }
    return false;
}

inline int WriteCount(Setting setting)
{
    int count = 0;
    for (const auto& write : dakhost::SettingWrites()) {
        count += write.setting == setting ? 1 : 0;
    }
    return count;
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
