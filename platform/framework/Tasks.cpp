// The list of live tasks: what alarms post to, what waiting for idle runs
// the turns of when tasks have no thread, what the counts read.
#include <algorithm>
#include <mutex>
#include <vector>

#include "Framework.h"
#include "FrameworkInternal.h"
#include "Scheduler.h"
#include "TCTask.h"
#include "TSEvent.h"

namespace {

struct LiveTask {
    TCTask* task = nullptr;
    const dakfw::detail::TaskOps* ops = nullptr;
    bool started = false;  // without a thread: its start has run
};

struct LiveTasks {
    // Held while an alarm posts to a task, since an alarm may outlive its
    // task; TCTask::Send is called on a live task and needs none.
    std::mutex lock;
    std::vector<LiveTask> tasks;  // in creation order
};

// Never destroyed: tasks may outlive the static destructors of the process.
LiveTasks& Live()
{
    static auto* const live = new LiveTasks;
    return *live;
}

std::vector<LiveTask>::iterator Find(LiveTasks& live, const TCTask* task)
{
    return std::find_if(live.tasks.begin(), live.tasks.end(),
                        [task](const LiveTask& entry) { return entry.task == task; });
}

// The first task with work for a turn, marked started when this turn is its
// start; null when none has work.
TCTask* NextWithWork(const dakfw::detail::TaskOps** ops, bool* first)
{
    LiveTasks& live = Live();
    const std::lock_guard<std::mutex> lock(live.lock);
    for (LiveTask& entry : live.tasks) {
        if (!entry.started || entry.ops->hasEvents(*entry.task)) {
            *first = !entry.started;
            entry.started = true;
            *ops = entry.ops;
            return entry.task;
        }
    }
    return nullptr;
}

}  // namespace

namespace dakfw::detail {

bool AddTask(TCTask* task, const TaskOps& ops, bool (*start)(TCTask*))
{
    LiveTasks& live = Live();
    const std::lock_guard<std::mutex> lock(live.lock);
    // The one step that can fail to allocate comes first.
    live.tasks.reserve(live.tasks.size() + 1);
    if (!start(task)) {
        return false;
    }
    live.tasks.push_back(LiveTask{task, &ops, false});
    return true;
}

void RemoveTask(const TCTask* task)
{
    LiveTasks& live = Live();
    const std::lock_guard<std::mutex> lock(live.lock);
    const auto entry = Find(live, task);
    if (entry != live.tasks.end()) {
        live.tasks.erase(entry);
    }
}

bool DeliverToLiveTask(TCTask* target, const TSEvent& event)
{
    LiveTasks& live = Live();
    const std::lock_guard<std::mutex> lock(live.lock);
    const auto entry = Find(live, target);
    return entry != live.tasks.end() && entry->ops->deliver(*target, event);
}

bool RunNextTurn()
{
    const TaskOps* ops = nullptr;
    bool first = false;
    TCTask* const task = NextWithWork(&ops, &first);
    if (task == nullptr) {
        return false;
    }
    ops->takeTurn(*task, first);
    return true;
}

void RunTurnsOf(TCTask& task)
{
    const TaskOps* ops = nullptr;
    for (;;) {
        bool first = false;
        {
            LiveTasks& live = Live();
            const std::lock_guard<std::mutex> lock(live.lock);
            const auto entry = Find(live, &task);
            if (entry == live.tasks.end()) {
                return;
            }
            ops = entry->ops;
            first = !entry->started;
            entry->started = true;
        }
        if (!ops->takeTurn(task, first) || !ops->hasEvents(task)) {
            return;
        }
    }
}

}  // namespace dakfw::detail

namespace dakfw {

int TaskCount()
{
    LiveTasks& live = Live();
    const std::lock_guard<std::mutex> lock(live.lock);
    return static_cast<int>(live.tasks.size());
}

}  // namespace dakfw
