// The count of pending work and waiting for idle.
//
// Every task with work (a queued event or a handler running) counts once in
// one process-wide counter; WaitIdle() waits for it to reach zero. A queue
// counts itself in when it leaves the idle state and out when it returns to
// it, so a post to a task that is busy anyway touches nothing shared. A
// handler that posts does so before its own handling is done, so the counter
// never passes through zero while work is still on its way.
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstdio>

#include "Framework.h"
#include "FrameworkInternal.h"
#include "Scheduler.h"

namespace {

struct Work {
    std::atomic<uint64_t> pending{0};
    std::atomic<int> faults{0};  // times the count would have gone below zero
    // Threads in WaitIdle; the last PendingSub wakes them only then.
    std::atomic<int> idleWaiters{0};
    pthread_mutex_t lock =
        PTHREAD_MUTEX_INITIALIZER;  // orders a waiter's check against the wake-up
    pthread_cond_t zero = PTHREAD_COND_INITIALIZER;
};

Work g_work;

}  // namespace

namespace dakfw::detail {

void PendingAdd(unsigned int n)
{
    g_work.pending.fetch_add(n);
}

void PendingSub(unsigned int n)
{
    if (n == 0) {
        return;
    }
    Work& w = g_work;
    uint64_t now = w.pending.load();
    uint64_t after = 0;
    do {
        if (now < n) {
            // More work done than was ever queued: the bookkeeping is wrong,
            // and a WaitIdle() may have returned before the work was done.
            // Counted and told, never hidden; the count stays at zero so that
            // waiters are not stuck forever.
            w.faults.fetch_add(1);
            std::fprintf(stderr,
                         "task framework: pending work count would go below zero (%llu - %u)\n",
                         static_cast<unsigned long long>(now), n);
        }
        after = now >= n ? now - n : 0;
    } while (!w.pending.compare_exchange_weak(now, after));
    if (after != 0) {
        return;
    }
    Turns().Wake(&w.pending);
    // Both atomics are sequentially consistent: either this sees the waiter
    // counted, or the waiter, counted later, sees the counter at zero.
    if (w.idleWaiters.load() > 0) {
        // A waiter between its check and its sleep holds the lock: taking it
        // here means the wake-up below cannot fall between the two.
        pthread_mutex_lock(&w.lock);
        pthread_mutex_unlock(&w.lock);
        pthread_cond_broadcast(&w.zero);
    }
}

}  // namespace dakfw::detail

namespace dakfw {

void WaitIdle()
{
    if (detail::tlsOnTaskThread) {
        return;
    }
    Scheduler& turns = Turns();
    if (!turns.TaskThreads()) {
        while (detail::RunNextTurn()) {
        }
        return;
    }
    Work& w = g_work;
    if (w.pending.load() == 0) {
        return;
    }
    pthread_mutex_lock(&w.lock);
    w.idleWaiters.fetch_add(1);
    while (w.pending.load() != 0) {
        turns.Wait(w.lock, w.zero, &w.pending);
    }
    w.idleWaiters.fetch_sub(1);
    pthread_mutex_unlock(&w.lock);
}

bool InTaskTurn()
{
    return detail::tlsOnTaskThread;
}

int PendingFaults()
{
    return g_work.faults.load();
}

}  // namespace dakfw
