// What the task framework offers the code that runs it (a platform's
// controls, a simulation kernel, tests): waiting for idle, stepping alarms
// whose clock does not run by itself, counts, and faults to inject.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace dakfw {

// ---- work ----------------------------------------------------------------------

// Until every task has handled every queued event, including events that
// handling posted. Tasks without a thread (Scheduler::TaskThreads) take
// their turns here, on the calling thread: one event at a time, of the task
// made first that has one. On a task's own thread it returns at once.
void WaitIdle();
// Whether the calling thread is taking a task's turn.
bool InTaskTurn();
// How often the count of pending work was told of more work done than was
// queued (a fault of the bookkeeping, also printed to standard error).
int PendingFaults();
int TaskCount();
int AlarmCount();
// Read holds taken on the framework's reader/writer locks and not yet
// released, over all of them.
int ReadHolds();

// ---- alarms on a clock that does not run by itself --------------------------

struct AlarmState;
struct DueAlarm {
    std::shared_ptr<AlarmState> alarm;
    uint64_t dueMs = 0;  // the period's end, on the alarm clock
    unsigned short eventId = 0;
};
// The created alarm whose period ends first, not after `endMs` (alarms due
// together: the one created first); its period is taken, so that the next
// call finds its next one. False when none is due by then.
bool NextDueAlarm(uint64_t endMs, DueAlarm* due);
// Posts the alarm's event to its task, on the alarm's behalf, from the
// calling thread. A task already gone is not posted to.
void PostDueAlarm(const DueAlarm& due);
// Every created alarm posts once now (its period is not moved): from its
// own thread when it has one, else from the calling thread.
void PostEveryAlarm();
// Every created alarm starts its period again from the clock's now.
void RestartAlarmPeriods();

// ---- faults, for tests --------------------------------------------------------

struct Faults {
    std::atomic<bool> send{false};         // TCTask::Send refuses
    std::atomic<bool> mutexCreate{false};  // TCSemaphore::Create (and TCMutex) fail
    std::atomic<bool> taskCreate{false};   // TCTask::Create fails
};
Faults& InjectedFaults();

}  // namespace dakfw
