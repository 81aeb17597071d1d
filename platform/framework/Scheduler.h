// How the threads of the task framework take turns. The framework's
// primitives (threads, queues, semaphores, locks, tasks, alarms) are written
// once against this interface; a scheduler decides whether tasks and alarms
// get threads, where a thread may be made to give way, and how a thread
// waits for a change.
//
// The plain Scheduler is the real one: every task and alarm has a thread,
// waits are the condition variable's, and a point is nothing. A binding on
// real threads uses it as it is. A simulation derives from it to run the
// threads one at a time (see platform/host/kernel).
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <mutex>

namespace dakfw {

class Scheduler {
public:
    Scheduler() = default;
    virtual ~Scheduler() = default;
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    // Whether a task gets a thread of its own. Without one, its turns are
    // taken by the thread that waits for idle (WaitIdle in Framework.h).
    virtual bool TaskThreads() const { return true; }
    // Whether an alarm gets a thread of its own. Without one, its events are
    // posted by whoever moves the alarm clock (see AlarmClock.h).
    virtual bool AlarmThreads() const { return true; }

    // A point where the calling thread may be made to give way: after a
    // post, before a wait.
    virtual void Point() {}
    // Waits once for a change of the state behind `key`, guarded by `lock`
    // (held on entry and on return); the caller checks its condition again.
    // Whoever changes that state broadcasts `cond` and calls Wake(key).
    virtual void Wait(pthread_mutex_t& lock, pthread_cond_t& cond, const void* key)
    {
        (void)key;
        pthread_cond_wait(&cond, &lock);
    }
    // The same for a lock and condition of the C++ library.
    virtual void Wait(std::unique_lock<std::mutex>& lock, std::condition_variable& cond,
                      const void* key)
    {
        (void)key;
        cond.wait(lock);
    }
    virtual void Wake(const void* key) { (void)key; }

    // The life of a thread the framework makes for `owner`: adopted by its
    // maker before it starts (or forgotten when it could not start), begun
    // and ended on the new thread, joined by another thread and then
    // forgotten.
    virtual void Adopt(const void* owner) { (void)owner; }
    virtual void Begin(const void* owner) { (void)owner; }
    virtual void End() {}
    virtual void Join(const void* owner) { (void)owner; }
    virtual void Forget(const void* owner) { (void)owner; }
};

// The scheduler in use; a plain (real) Scheduler until another is put in.
Scheduler& Turns();
// Puts `scheduler` in (null: the real one again). Only while no task or
// alarm exists: threads made under one scheduler are not moved to another.
void UseScheduler(Scheduler* scheduler);

}  // namespace dakfw
