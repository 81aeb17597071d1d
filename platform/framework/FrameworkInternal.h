// Shared among the framework's own files: the calling thread's place in the
// framework, the count of pending work, the list of live tasks.
#pragma once

#include <cstdint>

class TCQueue;
class TCTask;
class TCThread;
struct TSEvent;

namespace dakfw::detail {

// ---- the calling thread --------------------------------------------------------

// The TCThread whose body runs on this thread (or whose turn it takes).
extern thread_local const TCThread* tlsThread;
// Set while this thread takes a task's turn.
extern thread_local bool tlsOnTaskThread;
// Set when a handler destroyed its own task: the loop must not touch it again.
extern thread_local bool tlsSelfDestroyed;
// Set while a task creates its own queue's mutex, which the mutex fault spares.
extern thread_local bool tlsCreatingQueueMutex;

// ---- pending work: the tasks with a queued event or a handler running ----------

void PendingAdd(unsigned int n);
void PendingSub(unsigned int n);

// ---- live tasks ---------------------------------------------------------------------

// What the list of live tasks does to a task; defined by TCTask, which alone
// reaches its queue.
struct TaskOps {
    bool (*deliver)(TCTask& task, const TSEvent& event);  // queues, addressed to the task
    bool (*takeTurn)(TCTask& task, bool first);           // TCTask::TakeTurn
    bool (*hasEvents)(TCTask& task);
};
// Publishes a task whose creation is complete but for `start` (its
// thread), which runs under the list's lock: false, and the task is not
// added, when `start` fails. Throws std::bad_alloc when the list cannot grow.
bool AddTask(TCTask* task, const TaskOps& ops, bool (*start)(TCTask*));
void RemoveTask(const TCTask* task);
// Queues a copy of `event` for `target` when it is a live task; false when it
// is not, or refuses. The pointer is checked against the live tasks before
// it is used, so a task already gone is safe to name.
bool DeliverToLiveTask(TCTask* target, const TSEvent& event);
// One turn of the task made first that has work (its start not yet run, or
// an event queued), taken on the calling thread; false when none has.
bool RunNextTurn();
// Takes turns of `task` on the calling thread until its queue is empty, its
// loop has ended or it is no longer live.
void RunTurnsOf(TCTask& task);

// Logs a broken expectation of the framework's contract.
void Report(const char* expression, const char* file, unsigned long line);

}  // namespace dakfw::detail
