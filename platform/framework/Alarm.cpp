// Alarms: each created alarm posts its event to its task at the end of every
// period. On a clock that runs by itself an alarm has a thread that sleeps
// until then; on one that does not, its thread (if the scheduler gives it
// one) sleeps without a deadline, and the controls step the alarms
// (NextDueAlarm, PostDueAlarm). Every alarm's timing state is shared by the
// alarm object, its thread and the list of created alarms.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "AlarmClock.h"
#include "Framework.h"
#include "FrameworkInternal.h"
#include "Scheduler.h"
#include "TCAlarm.h"
#include "TCTask.h"
#include "TSEvent.h"

using dakfw::detail::Report;

namespace dakfw {

struct AlarmState {
    // Fixed at creation.
    TCTask* target = nullptr;
    unsigned short eventId = 0;
    uint64_t order = 0;  // creation order, for alarms due at the same moment
    bool hasThread = false;

    std::mutex lock;
    std::condition_variable changed;  // both the thread and the controls wait on it
    bool stop = false;
    uint64_t postsAsked = 0;  // posts asked for by the controls
    uint64_t postsMade = 0;   // ... and made by the thread
    bool armed = false;
    uint64_t periodNs = 0;
    bool endless = true;
    uint32_t remaining = 0;  // events left when not endless
    uint64_t dueNs = 0;      // on the alarm clock
};

}  // namespace dakfw

namespace {

using dakfw::AlarmState;
using AlarmPtr = std::shared_ptr<AlarmState>;

constexpr uint64_t kNsPerMs = 1000000;

struct Alarms {
    std::mutex lock;  // guards `created` and `nextOrder`
    std::vector<AlarmPtr> created;
    uint64_t nextOrder = 0;
};

// Never destroyed: alarm threads may outlive the static destructors.
Alarms& CreatedList()
{
    static auto* const alarms = new Alarms;
    return *alarms;
}

std::vector<AlarmPtr> CreatedAlarms()
{
    Alarms& a = CreatedList();
    const std::lock_guard<std::mutex> lock(a.lock);
    return a.created;
}

void Forget(const AlarmPtr& state)
{
    Alarms& a = CreatedList();
    const std::lock_guard<std::mutex> lock(a.lock);
    a.created.erase(std::remove(a.created.begin(), a.created.end(), state), a.created.end());
}

AlarmPtr& StateOf(void* holder)
{
    return *static_cast<AlarmPtr*>(holder);
}

// Sets the timing of an alarm; the caller holds its lock.
void Arm(AlarmState& state, unsigned long period, unsigned long count)
{
    state.periodNs = uint64_t{period} * kNsPerMs;
    state.endless = static_cast<uint32_t>(count) == 0xFFFFFFFFU || count == 0;
    state.remaining = state.endless ? 0 : static_cast<uint32_t>(count);
    state.armed = period > 0;
    state.dueNs = dakfw::AlarmTime().NowNs() + state.periodNs;
    state.changed.notify_all();
}

// One period has ended; the caller holds the alarm's lock.
void ConsumePeriod(AlarmState& state)
{
    state.dueNs += state.periodNs;
    const dakfw::AlarmClock& clock = dakfw::AlarmTime();
    if (clock.RunsByItself()) {
        const uint64_t now = clock.NowNs();
        if (state.dueNs < now) {
            // Far behind (a suspended machine): no burst of late events.
            state.dueNs = now + state.periodNs;
        }
    }
    if (!state.endless && --state.remaining == 0) {
        state.armed = false;
    }
}

void Post(const AlarmState& state)
{
    if (dakfw::InjectedFaults().send.load()) {
        return;
    }
    TSEvent event;
    event.eventId = state.eventId;
    // The receiver is filled in with the task's own handler once the task is
    // known to be alive.
    event.receiver = nullptr;
    dakfw::detail::DeliverToLiveTask(state.target, event);
    dakfw::Turns().Point();
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
        const dakfw::AlarmClock& clock = dakfw::AlarmTime();
        if (state->armed && clock.RunsByItself()) {
            const uint64_t now = clock.NowNs();
            if (now >= state->dueNs) {
                ConsumePeriod(*state);
                lock.unlock();
                Post(*state);
                lock.lock();
                continue;
            }
            state->changed.wait_for(lock, std::chrono::nanoseconds(state->dueNs - now));
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

}  // namespace

namespace dakfw {

bool NextDueAlarm(uint64_t endMs, DueAlarm* due)
{
    const uint64_t endNs = endMs * kNsPerMs;
    for (;;) {
        AlarmPtr best;
        uint64_t bestDue = 0;
        for (const AlarmPtr& state : CreatedAlarms()) {
            const std::lock_guard<std::mutex> lock(state->lock);
            if (state->stop || !state->armed || state->dueNs > endNs) {
                continue;
            }
            if (!best || state->dueNs < bestDue ||
                (state->dueNs == bestDue && state->order < best->order)) {
                best = state;
                bestDue = state->dueNs;
            }
        }
        if (!best) {
            return false;
        }
        const std::lock_guard<std::mutex> lock(best->lock);
        // Re-armed or destroyed since it was picked: look again.
        if (best->stop || !best->armed || best->dueNs > endNs) {
            continue;
        }
        due->dueMs = best->dueNs / kNsPerMs;
        due->eventId = best->eventId;
        ConsumePeriod(*best);
        due->alarm = best;
        return true;
    }
}

void PostDueAlarm(const DueAlarm& due)
{
    // The state is held, and a target task already gone is not posted to.
    if (due.alarm) {
        Post(*due.alarm);
    }
}

void PostEveryAlarm()
{
    for (const AlarmPtr& state : CreatedAlarms()) {
        if (state->hasThread) {
            AskPost(state);
        } else {
            Post(*state);
        }
    }
}

void RestartAlarmPeriods()
{
    const uint64_t now = AlarmTime().NowNs();
    for (const AlarmPtr& state : CreatedAlarms()) {
        const std::lock_guard<std::mutex> lock(state->lock);
        state->dueNs = now + state->periodNs;
        state->changed.notify_all();
    }
}

int AlarmCount()
{
    Alarms& a = CreatedList();
    const std::lock_guard<std::mutex> lock(a.lock);
    return static_cast<int>(a.created.size());
}

}  // namespace dakfw

// ---- the alarm classes ----------------------------------------------------------

TCAlarm::TCAlarm() = default;

TCAlarm::~TCAlarm()
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __FILE__, __LINE__);
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
        Report("FlagCreate() == false", __FILE__, __LINE__);
        return false;
    }
    if (task == nullptr) {
        Report("task != NULL", __FILE__, __LINE__);
        return false;
    }
    Alarms& a = CreatedList();
    auto state = std::make_shared<AlarmState>();
    state->target = task;
    state->eventId = eventId;
    state->hasThread = dakfw::Turns().AlarmThreads();
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
    if (state->hasThread && !StartThread("TCAlarm")) {
        Forget(state);
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
        Report("FlagCreate() == true", __FILE__, __LINE__);
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
    Forget(state);
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
