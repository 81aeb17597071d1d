// Shared state of the host platform's parts: the framework's bookkeeping that
// the controls drive (pending work, virtual time, clocks, faults).
#pragma once

#include <atomic>
#include <cstdint>

#include "DakHostControl.h"

class TCRWLock;
class TCTask;
struct TSEvent;

namespace dakhost::detail {

// ---- pending work: the tasks with a queued event or a handler running ----
void PendingAdd(unsigned int n);
void PendingSub(unsigned int n);
// How often PendingSub found less work pending than it was told was done.
int PendingFaults();
// Blocks until no work is pending (returns at once on a task's own thread,
// which cannot wait for itself).
void WaitNoPending();

// Queues a copy of `event` for `target` when it is a live task (a null
// receiver becomes the task's own handler). The pointer is checked against
// the live tasks before it is used, so a task already gone is safe to name.
enum class PostResult { Posted, Refused, NotCreated };
PostResult PostEvent(TCTask* target, const TSEvent& event, bool urgent);

// ---- scheduling (HostScheduler.cpp) ----
enum class SchedulingMode { Real, Fixed, Seeded };
SchedulingMode Scheduling();
// This thread passes the baton (seeded scheduling, a simulated thread).
bool CooperativeThread();
// A point where the generator may hand the baton to another thread.
void SchedulePoint();
// The caller cannot go on until ScheduleWake(key): the baton goes to a
// runnable thread and comes back once the caller is woken and chosen. The
// caller checks its condition again, holding no lock across the call.
void ScheduleBlock(const void* key);
void ScheduleWake(const void* key);
// A thread made by a simulated thread joins the simulation: the creator
// adopts it before starting it, the new thread enters (waits for its first
// turn) and leaves when it ends; a joiner waits for its end cooperatively
// and then forgets it. Each is a no-op outside seeded scheduling.
void ScheduleAdopt(const void* owner);
void ScheduleEnter(const void* owner);
void ScheduleLeave();
void ScheduleJoin(const void* owner);
void ScheduleForget(const void* owner);

// ---- faults of the framework ----
void ResetFrameworkFaults();

int ReadHolds(const TCRWLock& lock);

// ---- virtual time ----
bool VirtualTimeOn();
uint64_t VirtualNowMs();
uint64_t MonotonicNowMs();
// Every created alarm starts its period again from now.
void RestartAlarmPeriods();

// ---- clocks (milliseconds since 1970) ----
void MovePlatformClockMs(uint64_t ms);
void MoveRtcMs(uint64_t ms);
void ResetClocks();
void ResetRtc();
// The process clock, when it is virtual; nothing otherwise.
void MoveProcessClockMs(uint64_t ms);
void ResetOsClocks();

// ---- observer (null: none) ----
dakhost::Observer* CurrentObserver();

// ---- logs ----
void ResetLogs();
void ResetProviders();

}  // namespace dakhost::detail
