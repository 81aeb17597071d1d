// The controls of time and work: virtual time, Advance, firing alarms,
// waiting for idle, the framework's counts and faults.
#include <cstdint>
#include <mutex>

#include "DakHostControl.h"
#include "Framework.h"
#include "HostInternal.h"
#include "VirtualClock.h"

namespace {

std::mutex g_controlLock;  // one Advance/FireAlarms at a time

}  // namespace

namespace dakhost {

void UseVirtualTime(bool on)
{
    kernel::UseVirtualTime(on);
}

void Advance(uint64_t ms)
{
    const std::lock_guard<std::mutex> control(g_controlLock);
    const uint64_t endMs = kernel::NowMs() + ms;
    dakfw::DueAlarm due;
    while (kernel::VirtualTimeOn() && dakfw::NextDueAlarm(endMs, &due)) {
        kernel::MoveTo(due.dueMs);
        if (Observer* observer = detail::CurrentObserver()) {
            observer->AlarmDue(due.dueMs, due.eventId);
        }
        // Posted from here on the alarm's behalf: the task gets the same
        // event, and a virtual year of periods is not a million round trips
        // through the alarm's thread.
        dakfw::PostDueAlarm(due);
        dakfw::WaitIdle();
    }
    kernel::MoveTo(endMs);
}

void FireAlarms()
{
    const std::lock_guard<std::mutex> control(g_controlLock);
    dakfw::PostEveryAlarm();
    dakfw::WaitIdle();
}

uint64_t VirtualElapsedMs()
{
    return kernel::NowMs();
}

void WaitIdle()
{
    dakfw::WaitIdle();
}

bool InTaskTurn()
{
    return dakfw::InTaskTurn();
}

int PendingFaults()
{
    return dakfw::PendingFaults();
}

int AlarmCount()
{
    return dakfw::AlarmCount();
}

int TaskCount()
{
    return dakfw::TaskCount();
}

void FailSend(bool fail)
{
    dakfw::InjectedFaults().send = fail;
}

void FailMutexCreate(bool fail)
{
    dakfw::InjectedFaults().mutexCreate = fail;
}

void FailTaskCreate(bool fail)
{
    dakfw::InjectedFaults().taskCreate = fail;
}

}  // namespace dakhost
