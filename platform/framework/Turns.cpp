// The scheduler and the alarm clock in use, the faults to inject, and the
// calling thread's place in the framework.
#include <atomic>
#include <chrono>

#include "AlarmClock.h"
#include "Framework.h"
#include "FrameworkInternal.h"
#include "Scheduler.h"
#include "TCDebugPrint.h"

namespace {

// Never destroyed: threads may outlive the static destructors of the process.
dakfw::Scheduler& RealScheduler()
{
    static auto* const scheduler = new dakfw::Scheduler;
    return *scheduler;
}

dakfw::AlarmClock& MonotonicClock()
{
    static auto* const clock = new dakfw::AlarmClock;
    return *clock;
}

std::atomic<dakfw::Scheduler*> g_scheduler{nullptr};
std::atomic<dakfw::AlarmClock*> g_alarmClock{nullptr};

// Constant-initialised, so that a post reads the send fault without a
// guarded first-use check.
dakfw::Faults g_faults;

}  // namespace

namespace dakfw {

Scheduler& Turns()
{
    Scheduler* const scheduler = g_scheduler.load(std::memory_order_acquire);
    return scheduler != nullptr ? *scheduler : RealScheduler();
}

void UseScheduler(Scheduler* scheduler)
{
    g_scheduler.store(scheduler, std::memory_order_release);
}

uint64_t AlarmClock::NowNs() const
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

AlarmClock& AlarmTime()
{
    AlarmClock* const clock = g_alarmClock.load(std::memory_order_acquire);
    return clock != nullptr ? *clock : MonotonicClock();
}

void UseAlarmClock(AlarmClock* clock)
{
    if (g_alarmClock.exchange(clock) != clock) {
        RestartAlarmPeriods();
    }
}

Faults& InjectedFaults()
{
    return g_faults;
}

}  // namespace dakfw

namespace dakfw::detail {

thread_local const TCThread* tlsThread = nullptr;
thread_local bool tlsOnTaskThread = false;
thread_local bool tlsSelfDestroyed = false;
thread_local bool tlsCreatingQueueMutex = false;

void Report(const char* expression, const char* file, unsigned long line)
{
    _TCAssert(expression, file, line);
}

}  // namespace dakfw::detail
