// Alarms and the time controls. Each created alarm has a thread that sleeps
// until its next period ends and then posts its event to the target task
// (under deterministic scheduling it has none: see DakHostControl.h).
// The periods run on the monotonic clock, or, in virtual time, on a virtual
// elapsed time that only Advance() moves: there the alarm's thread sleeps
// without a deadline and posts when the controls ask it to.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "DakHostControl.h"
#include "HostInternal.h"
#include "TCAlarm.h"
#include "TCDebugPrint.h"
#include "TCTask.h"
#include "TSEvent.h"

namespace {

constexpr const char* kSource = "platform/host/HostAlarm.cpp";
using SteadyClock = std::chrono::steady_clock;

struct AlarmState {
    // Fixed at creation.
    TCTask* target = nullptr;
    unsigned short eventId = 0;
    uint64_t order = 0;  // creation order, for alarms due at the same moment

    std::mutex lock;
    std::condition_variable changed;  // both the thread and the controls wait on it
    bool stop = false;
    uint64_t postsAsked = 0;  // posts asked for by the controls
    uint64_t postsMade = 0;   // ... and made by the thread
    bool armed = false;
    uint64_t periodMs = 0;
    bool endless = true;
    uint32_t remaining = 0;  // events left when not endless
    SteadyClock::time_point dueReal{};
    uint64_t dueVirtualMs = 0;
};

using AlarmPtr = std::shared_ptr<AlarmState>;

struct Alarms {
    std::mutex lock;  // guards `created` and `nextOrder`
    std::vector<AlarmPtr> created;
    uint64_t nextOrder = 0;

    std::atomic<bool> virtualTime{false};
    std::mutex timeLock;  // orders the changes of virtualNowMs
    // Read without the lock: the monotonic clock reads it on every stream
    // clock reading.
    std::atomic<uint64_t> virtualNowMs{0};

    std::mutex controlLock;  // one Advance/FireAlarms at a time
};

Alarms& A()
{
    static auto* const alarms = new Alarms;
    return *alarms;
}

AlarmPtr& StateOf(void* holder)
{
    return *static_cast<AlarmPtr*>(holder);
}

// Sets the timing of an alarm; the caller holds its lock.
void Arm(AlarmState& state, unsigned long period, unsigned long count)
{
    state.periodMs = period;
    state.endless = static_cast<uint32_t>(count) == 0xFFFFFFFFU || count == 0;
    state.remaining = state.endless ? 0 : static_cast<uint32_t>(count);
    state.armed = period > 0;
    state.dueReal = SteadyClock::now() + std::chrono::milliseconds(period);
    state.dueVirtualMs = dakhost::detail::VirtualNowMs() + period;
    state.changed.notify_all();
}

// One period has ended; the caller holds the alarm's lock.
void ConsumePeriod(AlarmState& state, bool virtualTime)
{
    if (virtualTime) {
        state.dueVirtualMs += state.periodMs;
    } else {
        state.dueReal += std::chrono::milliseconds(state.periodMs);
        const auto now = SteadyClock::now();
        if (state.dueReal < now) {
            // Far behind (a suspended machine): no burst of late events.
            state.dueReal = now + std::chrono::milliseconds(state.periodMs);
        }
    }
    if (!state.endless && --state.remaining == 0) {
        state.armed = false;
    }
}

void Post(const AlarmState& state)
{
    TSEvent event;
    event.eventId = state.eventId;
    // The receiver is filled in with the task's own handler once the task is
    // known to be alive.
    event.receiver = nullptr;
    dakhost::detail::PostEvent(state.target, event, false);
}

void RunAlarm(const AlarmPtr& state)
{
    std::unique_lock<std::mutex> lock(state->lock);
    while (!state->stop) {
        if (state->postsMade < state->postsAsked) {
            lock.unlock();
            Post(*state);
            lock.lock();
            ++state->postsMade;
            state->changed.notify_all();
            continue;
        }
        if (state->armed && !A().virtualTime.load()) {
            if (SteadyClock::now() >= state->dueReal) {
                ConsumePeriod(*state, false);
                lock.unlock();
                Post(*state);
                lock.lock();
                continue;
            }
            state->changed.wait_until(lock, state->dueReal);
            continue;
        }
        state->changed.wait(lock);
    }
    state->changed.notify_all();
}

// Makes the alarm's own thread post once, and waits until it has.
void AskPost(const AlarmPtr& state)
{
    std::unique_lock<std::mutex> lock(state->lock);
    if (state->stop) {
        return;
    }
    const uint64_t ticket = ++state->postsAsked;
    state->changed.notify_all();
    state->changed.wait(lock,
                        [&state, ticket] { return state->stop || state->postsMade >= ticket; });
}

std::vector<AlarmPtr> CreatedAlarms()
{
    Alarms& a = A();
    const std::lock_guard<std::mutex> lock(a.lock);
    return a.created;
}

void MoveTimeTo(uint64_t targetMs)
{
    Alarms& a = A();
    uint64_t delta = 0;
    {
        const std::lock_guard<std::mutex> lock(a.timeLock);
        const uint64_t now = a.virtualNowMs.load();
        if (targetMs <= now) {
            return;
        }
        delta = targetMs - now;
        a.virtualNowMs.store(targetMs);
    }
    dakhost::detail::MovePlatformClockMs(delta);
    dakhost::detail::MoveRtcMs(delta);
    dakhost::detail::MoveProcessClockMs(delta);
}

// The created alarm whose period ends first, not after `endMs`.
AlarmPtr NextDue(uint64_t endMs)
{
    AlarmPtr best;
    uint64_t bestDue = 0;
    for (const AlarmPtr& state : CreatedAlarms()) {
        const std::lock_guard<std::mutex> lock(state->lock);
        if (state->stop || !state->armed || state->dueVirtualMs > endMs) {
            continue;
        }
        if (!best || state->dueVirtualMs < bestDue ||
            (state->dueVirtualMs == bestDue && state->order < best->order)) {
            best = state;
            bestDue = state->dueVirtualMs;
        }
    }
    return best;
}

}  // namespace

namespace dakhost::detail {

bool VirtualTimeOn()
{
    return A().virtualTime.load();
}

uint64_t VirtualNowMs()
{
    return A().virtualNowMs.load();
}

void RestartAlarmPeriods()
{
    {
        Alarms& a = A();
        const std::lock_guard<std::mutex> lock(a.timeLock);
        a.virtualNowMs.store(0);
    }
    for (const AlarmPtr& state : CreatedAlarms()) {
        const std::lock_guard<std::mutex> lock(state->lock);
        state->dueReal = SteadyClock::now() + std::chrono::milliseconds(state->periodMs);
        state->dueVirtualMs = state->periodMs;
        state->changed.notify_all();
    }
}

}  // namespace dakhost::detail

namespace dakhost {

void UseVirtualTime(bool on)
{
    Alarms& a = A();
    const bool was = a.virtualTime.exchange(on);
    if (was == on) {
        return;
    }
    for (const AlarmPtr& state : CreatedAlarms()) {
        const std::lock_guard<std::mutex> lock(state->lock);
        if (!on) {
            // Back on the real clock, a period starts now.
            state->dueReal = SteadyClock::now() + std::chrono::milliseconds(state->periodMs);
        }
        state->changed.notify_all();
    }
}

void Advance(uint64_t ms)
{
    Alarms& a = A();
    const std::lock_guard<std::mutex> control(a.controlLock);
    const uint64_t endMs = detail::VirtualNowMs() + ms;
    while (a.virtualTime.load()) {
        const AlarmPtr due = NextDue(endMs);
        if (!due) {
            break;
        }
        uint64_t moment = 0;
        {
            const std::lock_guard<std::mutex> lock(due->lock);
            // Re-armed or destroyed since it was picked: look again.
            if (due->stop || !due->armed || due->dueVirtualMs > endMs) {
                continue;
            }
            moment = due->dueVirtualMs;
            ConsumePeriod(*due, true);
        }
        MoveTimeTo(moment);
        if (Observer* observer = detail::CurrentObserver()) {
            observer->AlarmDue(moment, due->eventId);
        }
        // Posted from here on the alarm's behalf: the task gets the same
        // event, and a virtual year of periods is not a million round trips
        // through the alarm's thread. The state is held, and a target task
        // already gone is refused by the queue.
        Post(*due);
        detail::WaitNoPending();
    }
    MoveTimeTo(endMs);
}

void FireAlarms()
{
    Alarms& a = A();
    const std::lock_guard<std::mutex> control(a.controlLock);
    const bool threadless = detail::Scheduling() != detail::SchedulingMode::Real;
    for (const AlarmPtr& state : CreatedAlarms()) {
        if (threadless) {
            Post(*state);
        } else {
            AskPost(state);
        }
    }
    detail::WaitNoPending();
}

uint64_t VirtualElapsedMs()
{
    return detail::VirtualNowMs();
}

int AlarmCount()
{
    Alarms& a = A();
    const std::lock_guard<std::mutex> lock(a.lock);
    return static_cast<int>(a.created.size());
}

}  // namespace dakhost

// ---- the alarm classes ----------------------------------------------------------

TCAlarm::TCAlarm() = default;

TCAlarm::~TCAlarm()
{
    if (FlagCreate()) {
        _TCAssert("FlagCreate() == false", kSource, __LINE__);
        TCAlarm::Destroy();
    }
}

void TCAlarm::t_Main()
{
    const AlarmPtr state = StateOf(m_state);
    RunAlarm(state);
}

bool TCAlarm::t_OnEvent(const TSEvent* /*event*/)
{
    return false;
}

bool TCAlarm::CreateAlarm(TCTask* task, unsigned short eventId, unsigned long period,
                          unsigned long count)
{
    if (FlagCreate()) {
        _TCAssert("FlagCreate() == false", kSource, __LINE__);
        return false;
    }
    if (task == nullptr) {
        _TCAssert("task != NULL", kSource, __LINE__);
        return false;
    }
    Alarms& a = A();
    auto state = std::make_shared<AlarmState>();
    state->target = task;
    state->eventId = eventId;
    {
        const std::lock_guard<std::mutex> lock(a.lock);
        state->order = a.nextOrder++;
    }
    {
        const std::lock_guard<std::mutex> lock(state->lock);
        Arm(*state, period, count);
    }
    // Everything that can fail to allocate comes before the alarm counts as
    // created, so that a failure leaves nothing behind.
    auto owned = std::make_unique<AlarmPtr>(state);
    {
        const std::lock_guard<std::mutex> lock(a.lock);
        a.created.push_back(state);
    }
    m_target = task;
    m_eventId = eventId;
    m_state = owned.release();
    SetOwnerTask(task);
    SetCreated(true);
    // Under deterministic scheduling an alarm has no thread: the controls
    // post its events when virtual time makes them due.
    if (dakhost::detail::Scheduling() == dakhost::detail::SchedulingMode::Real &&
        !StartThread("TCAlarm")) {
        {
            const std::lock_guard<std::mutex> lock(a.lock);
            a.created.erase(std::remove(a.created.begin(), a.created.end(), state),
                            a.created.end());
        }
        SetCreated(false);
        delete static_cast<AlarmPtr*>(m_state);
        m_state = nullptr;
        return false;
    }
    return true;
}

bool TCAlarm::Reset(unsigned long period, unsigned long count)
{
    if (!FlagCreate() || m_state == nullptr) {
        _TCAssert("FlagCreate() == true", kSource, __LINE__);
        return false;
    }
    AlarmState& state = *StateOf(m_state);
    const std::lock_guard<std::mutex> lock(state.lock);
    Arm(state, period, count);
    return true;
}

void TCAlarm::Destroy()
{
    if (!FlagCreate() || m_state == nullptr) {
        return;
    }
    const AlarmPtr state = StateOf(m_state);
    {
        const std::lock_guard<std::mutex> lock(state->lock);
        state->stop = true;
        state->changed.notify_all();
    }
    {
        Alarms& a = A();
        const std::lock_guard<std::mutex> lock(a.lock);
        a.created.erase(std::remove(a.created.begin(), a.created.end(), state), a.created.end());
    }
    // Once the thread has ended, nothing is posted any more.
    JoinThread();
    SetCreated(false);
    delete static_cast<AlarmPtr*>(m_state);
    m_state = nullptr;
}

TCStateAlarm::~TCStateAlarm() = default;

bool TCStateAlarm::Create(TCTask* task, unsigned short eventId, int period, int count)
{
    const unsigned long periodMs = period > 0 ? static_cast<unsigned long>(period) : 0UL;
    // -1 becomes 0xFFFFFFFF (without end) on every width of unsigned long.
    const auto times = static_cast<unsigned long>(static_cast<uint32_t>(count));
    return CreateAlarm(task, eventId, periodMs, times);
}
