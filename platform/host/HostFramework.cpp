// The task framework of the host platform: semaphores, threads, queues,
// tasks, the recursive mutex's out-of-line parts and the reader/writer lock.
//
// Every task with work (a queued event or a handler running) counts once in
// one process-wide counter; WaitIdle() waits for it to reach zero. A queue
// counts itself in when it leaves the idle state and out when it returns to
// it, so a post to a task that is busy anyway touches nothing shared. A
// handler that posts does so before its own handling is done, so the counter
// never passes through zero while work is still on its way.
//
// A post takes one lock, its queue's; the counter is atomic, and
// every wake-up is signalled after the lock that guards its condition is
// released, so that the woken thread never wakes only to wait for that lock.
#include <pthread.h>
#include <semaphore.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <mutex>
#include <vector>

#include "DakHostControl.h"
#include "HostInternal.h"
#include "TCDebugPrint.h"
#include "TCHandler.h"
#include "TCMutex.h"
#include "TCQueue.h"
#include "TCRWLock.h"
#include "TCSemaphore.h"
#include "TCTask.h"
#include "TCThread.h"

namespace {

constexpr const char* kSource = "platform/host/HostFramework.cpp";

struct Framework {
    // Guards `tasks`; held while an alarm posts to one of them, since an
    // alarm may outlive its task. TCTask::Send is called on a live task and
    // needs neither.
    std::mutex taskLock;
    std::vector<TCTask*> tasks;

    std::atomic<uint64_t> pending{0};
    std::atomic<int> pendingFaults{0};  // times the count would have gone below zero
    // Threads in WaitNoPending; the last PendingSub wakes them only then.
    std::atomic<int> idleWaiters{0};
    std::mutex pendingLock;  // orders a waiter's check against the wake-up
    std::condition_variable pendingZero;

    std::atomic<bool> failMutexCreate{false};
    std::atomic<bool> failTaskCreate{false};

    // Tasks without a thread (the fixed scheduling rule) that have had their
    // start (t_Create) on the thread that runs them; guarded by `taskLock`.
    std::vector<const TCTask*> inlineStarted;
};

// The send fault, read on every post: constant-initialised, so a post needs
// no guarded first-use check to read it.
std::atomic<bool> g_failSend{false};

// Never destroyed: tasks may outlive the static destructors of the process.
Framework& F()
{
    static auto* const framework = new Framework;
    return *framework;
}

thread_local const TCThread* tlsThread = nullptr;  // the TCThread running on this thread
thread_local bool tlsOnTaskThread = false;
// Set when a handler destroyed its own task: the loop must not touch it again.
thread_local bool tlsSelfDestroyed = false;
// Set while a task creates its own queue's mutex, which the mutex fault spares.
thread_local bool tlsCreatingQueueMutex = false;

void* ThreadEntry(void* arg)
{
    auto* thread = static_cast<TCThread*>(arg);
    dakhost::detail::ScheduleEnter(thread);
    tlsThread = thread;
    thread->t_Main();
    tlsThread = nullptr;
    dakhost::detail::ScheduleLeave();
    return nullptr;
}

void Report(const char* expression, unsigned long line)
{
    _TCAssert(expression, kSource, line);
}

// Logs an event whose handler threw; the logger may fail to allocate too, and
// then the line is lost rather than the task.
void ReportLostEvent(const char* task, unsigned long eventId, const char* what) noexcept
{
    try {
        TCDebugPrintDAK::GetInstance()->Print("ExecuteEvent", __LINE__, 0, 1,
                                              "[TCTask::ExecuteEvent] %s: event %lu lost, %s", task,
                                              eventId, what);
    } catch (...) {
    }
}

}  // namespace

// ---- the parts of the framework that the controls reach -------------------

struct TCQueueAccess {
    // Queues a copy of `event` addressed to `receiver`: one lock, the
    // queue's. Defined here so that a task's post runs it in line.
    static bool Store(TCQueue& queue, const TSEvent& event, TCHandler* receiver, bool front)
    {
        pthread_mutex_lock(&queue.m_qlock);
        if (!queue.m_open || queue.m_count == TCQueue::kCapacity) {
            pthread_mutex_unlock(&queue.m_qlock);
            return false;
        }
        unsigned int at = queue.m_head + queue.m_count;
        if (front) {
            at = queue.m_head + TCQueue::kCapacity - 1;
            queue.m_head = at % TCQueue::kCapacity;
        }
        TSEvent& slot = queue.m_store[at % TCQueue::kCapacity];
        slot = event;
        slot.receiver = receiver;
        // The task sleeps only on an idle queue (empty, no handler running):
        // a running handler finds the event when it returns, and a queue
        // that already held events has had its wake-up. WaitIdle() waits for
        // the queue to empty, which no push brings about.
        const bool wasIdle = ++queue.m_count == 1 && !queue.m_busy;
        if (wasIdle) {
            dakhost::detail::PendingAdd(1);
        }
        pthread_mutex_unlock(&queue.m_qlock);
        // Woken after the unlock, the task takes the lock at once instead of
        // waking only to wait for it: one switch per event, not two.
        // Broadcast, since WaitIdle() callers sleep on the same condition.
        if (wasIdle) {
            pthread_cond_broadcast(&queue.m_qcond);
            dakhost::detail::ScheduleWake(&queue);
        }
        return true;
    }
    // Queues a copy of `event`, addressed to `task`'s own handler when it
    // names none.
    static bool Post(TCTask& task, const TSEvent& event, bool front)
    {
        TCHandler* receiver = event.receiver;
        if (receiver == nullptr) {
            receiver = &task;
        }
        return Store(task, event, receiver, front);
    }
    static void CloseAndDrop(TCQueue& queue, bool releaseBusy) { queue.CloseAndDrop(releaseBusy); }
    static bool HasEvents(TCQueue& queue)
    {
        pthread_mutex_lock(&queue.m_qlock);
        const bool any = queue.m_count > 0;
        pthread_mutex_unlock(&queue.m_qlock);
        return any;
    }
};

namespace {

bool InlineStarted(const Framework& f, const TCTask* task)
{
    return std::find(f.inlineStarted.begin(), f.inlineStarted.end(), task) != f.inlineStarted.end();
}

// The task made first that has work for the fixed rule: its start not yet
// run, or an event queued.
TCTask* NextInlineTask()
{
    Framework& f = F();
    const std::lock_guard<std::mutex> lock(f.taskLock);
    for (TCTask* task : f.tasks) {
        if (!InlineStarted(f, task) || TCQueueAccess::HasEvents(*task)) {
            return task;
        }
    }
    return nullptr;
}

// One turn of a task without a thread, on the calling thread as if on the
// task's own: its start the first time, then one event. False once the
// task's loop has ended (its queue is then closed, as its thread would
// leave it) or the task destroyed itself.
bool RunInline(TCTask& task)
{
    const TCThread* const savedThread = tlsThread;
    const bool savedOnTask = tlsOnTaskThread;
    tlsThread = &task;
    tlsOnTaskThread = true;
    bool first = false;
    {
        Framework& f = F();
        const std::lock_guard<std::mutex> lock(f.taskLock);
        first = !InlineStarted(f, &task);
        if (first) {
            f.inlineStarted.push_back(&task);
        }
    }
    // Never reached from ~TCTask: it marks the task as exiting first, and a
    // task that exits is not run here.
    bool goesOn = true;
    if (first) {
        goesOn = task.t_Create();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    }
    if (goesOn && TCQueueAccess::HasEvents(task)) {
        goesOn = task.ExecuteEvent();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    }
    const bool gone = tlsSelfDestroyed;
    tlsSelfDestroyed = false;
    if (!gone && !goesOn) {
        TCQueueAccess::CloseAndDrop(task, true);
    }
    tlsThread = savedThread;
    tlsOnTaskThread = savedOnTask;
    return goesOn && !gone;
}

}  // namespace

struct TCRWLockAccess {
    static int ReadHolds(const TCRWLock& lock)
    {
        return lock.m_readHolds.load(std::memory_order_acquire);
    }
};

namespace dakhost::detail {

void PendingAdd(unsigned int n)
{
    F().pending.fetch_add(n);
}

void PendingSub(unsigned int n)
{
    if (n == 0) {
        return;
    }
    Framework& f = F();
    uint64_t now = f.pending.load();
    uint64_t after = 0;
    do {
        if (now < n) {
            // More work done than was ever queued: the bookkeeping is wrong,
            // and a WaitIdle() may have returned before the work was done.
            // Counted and told, never hidden; the count stays at zero so that
            // waiters are not stuck forever.
            f.pendingFaults.fetch_add(1);
            std::fprintf(stderr,
                         "host platform: pending work count would go below zero (%llu - %u)\n",
                         static_cast<unsigned long long>(now), n);
        }
        after = now >= n ? now - n : 0;
    } while (!f.pending.compare_exchange_weak(now, after));
    // Both atomics are sequentially consistent: either this sees the waiter
    // counted, or the waiter, counted later, sees the counter at zero.
    if (after == 0) {
        dakhost::detail::ScheduleWake(&f.pending);
    }
    if (after == 0 && f.idleWaiters.load() > 0) {
        {
            // A waiter between its check and its sleep holds the lock: taking
            // it here means the wake-up below cannot fall between the two.
            const std::lock_guard<std::mutex> lock(f.pendingLock);
        }
        f.pendingZero.notify_all();
    }
}

int PendingFaults()
{
    return F().pendingFaults.load();
}

void WaitNoPending()
{
    if (tlsOnTaskThread) {
        return;
    }
    Framework& f = F();
    if (Scheduling() == SchedulingMode::Fixed) {
        while (TCTask* task = NextInlineTask()) {
            RunInline(*task);
        }
        return;
    }
    if (CooperativeThread()) {
        while (f.pending.load() != 0) {
            ScheduleBlock(&f.pending);
        }
        return;
    }
    if (f.pending.load() == 0) {
        return;
    }
    std::unique_lock<std::mutex> lock(f.pendingLock);
    f.idleWaiters.fetch_add(1);
    f.pendingZero.wait(lock, [&f] { return f.pending.load() == 0; });
    f.idleWaiters.fetch_sub(1);
}

PostResult PostEvent(TCTask* target, const TSEvent& event, bool urgent)
{
    if (g_failSend.load()) {
        return PostResult::Refused;
    }
    Framework& f = F();
    PostResult result = PostResult::NotCreated;
    {
        const std::lock_guard<std::mutex> lock(f.taskLock);
        if (std::find(f.tasks.begin(), f.tasks.end(), target) != f.tasks.end()) {
            result = TCQueueAccess::Post(*target, event, urgent) ? PostResult::Posted
                                                                 : PostResult::Refused;
        }
    }
    SchedulePoint();
    return result;
}

void ResetFrameworkFaults()
{
    g_failSend = false;
    F().failMutexCreate = false;
    F().failTaskCreate = false;
}

int ReadHolds(const TCRWLock& lock)
{
    return TCRWLockAccess::ReadHolds(lock);
}

}  // namespace dakhost::detail

namespace dakhost {

void FailSend(bool fail)
{
    g_failSend = fail;
}

void FailMutexCreate(bool fail)
{
    F().failMutexCreate = fail;
}

void FailTaskCreate(bool fail)
{
    F().failTaskCreate = fail;
}

void WaitIdle()
{
    detail::WaitNoPending();
}

bool InTaskTurn()
{
    return tlsOnTaskThread;
}

int PendingFaults()
{
    return detail::PendingFaults();
}

int TaskCount()
{
    Framework& f = F();
    const std::lock_guard<std::mutex> lock(f.taskLock);
    return static_cast<int>(f.tasks.size());
}

}  // namespace dakhost

// ---- handlers ----------------------------------------------------------------

TCHandler::~TCHandler()
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __LINE__);
    }
}

void TCHandler::Destroy()
{
    SetCreated(false);
}

// ---- semaphore -----------------------------------------------------------------

TCSemaphore::TCSemaphore() = default;

TCSemaphore::~TCSemaphore()
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __LINE__);
        sem_destroy(&m_sem);
        m_handle = 0;
    }
}

bool TCSemaphore::Create(int count)
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __LINE__);
        return false;
    }
    if (count < 0 || (F().failMutexCreate.load() && !tlsCreatingQueueMutex)) {
        return false;
    }
    if (sem_init(&m_sem, 0, static_cast<unsigned int>(count)) != 0) {
        return false;
    }
    m_handle = static_cast<unsigned long>(reinterpret_cast<uintptr_t>(&m_sem));
    return true;
}

// Take and Give on a semaphore that is not created return at once; the mutex
// built on it has reported the misuse already.
void TCSemaphore::Take()
{
    if (!FlagCreate()) {
        return;
    }
    if (dakhost::detail::CooperativeThread()) {
        dakhost::detail::SchedulePoint();
        while (sem_trywait(&m_sem) != 0) {
            dakhost::detail::ScheduleBlock(this);
        }
        return;
    }
    while (sem_wait(&m_sem) != 0 && errno == EINTR) {
    }
}

void TCSemaphore::Give()
{
    if (!FlagCreate()) {
        return;
    }
    sem_post(&m_sem);
    dakhost::detail::ScheduleWake(this);
}

void TCSemaphore::Destroy()
{
    if (FlagCreate()) {
        sem_destroy(&m_sem);
        m_handle = 0;
    }
}

// ---- recursive mutex (the rest is inline in its header) -----------------------

TCMutex::~TCMutex()
{
    if (m_sem.FlagCreate()) {
        m_sem.Destroy();
    }
}

void TCMutex::Destroy()
{
    m_owner.store(0, std::memory_order_relaxed);
    m_count = 0;
    m_sem.Destroy();
}

// ---- reader/writer lock ----------------------------------------------------------

TCRWLock::TCRWLock() : m_lock{}
{
    pthread_rwlock_init(&m_lock, nullptr);
}

TCRWLock::~TCRWLock()
{
    pthread_rwlock_destroy(&m_lock);
}

void TCRWLock::RLock()
{
    if (dakhost::detail::CooperativeThread()) {
        dakhost::detail::SchedulePoint();
        while (pthread_rwlock_tryrdlock(&m_lock) != 0) {
            dakhost::detail::ScheduleBlock(this);
        }
    } else {
        pthread_rwlock_rdlock(&m_lock);
    }
    m_readHolds.fetch_add(1, std::memory_order_acq_rel);
}

void TCRWLock::RUnlock()
{
    if (m_readHolds.load(std::memory_order_acquire) <= 0) {
        Report("m_readHolds > 0", __LINE__);
        return;
    }
    m_readHolds.fetch_sub(1, std::memory_order_acq_rel);
    pthread_rwlock_unlock(&m_lock);
    dakhost::detail::ScheduleWake(this);
}

void TCRWLock::WLock()
{
    if (dakhost::detail::CooperativeThread()) {
        dakhost::detail::SchedulePoint();
        while (pthread_rwlock_trywrlock(&m_lock) != 0) {
            dakhost::detail::ScheduleBlock(this);
        }
        return;
    }
    pthread_rwlock_wrlock(&m_lock);
}

void TCRWLock::WUnlock()
{
    pthread_rwlock_unlock(&m_lock);
    dakhost::detail::ScheduleWake(this);
}

// ---- thread ------------------------------------------------------------------------

TCThread::~TCThread()
{
    // A thread still running here would run on a destroyed object; it is let
    // go rather than waited for, since it may never end.
    if (m_running) {
        pthread_detach(m_thread);
        m_running = false;
    }
}

void TCThread::Destroy()
{
    JoinThread();
}

bool TCThread::StartThread(const char* name)
{
    if (m_running) {
        return false;
    }
    m_running = true;
    dakhost::detail::ScheduleAdopt(this);
    if (pthread_create(&m_thread, nullptr, ThreadEntry, this) != 0) {
        dakhost::detail::ScheduleForget(this);
        m_running = false;
        return false;
    }
    if (name != nullptr) {
        char shortName[16] = {};
        std::snprintf(shortName, sizeof shortName, "%s", name);
        pthread_setname_np(m_thread, shortName);
    }
    return true;
}

void TCThread::JoinThread()
{
    if (!m_running) {
        return;
    }
    if (IsOwnThread()) {
        pthread_detach(m_thread);
    } else {
        dakhost::detail::ScheduleJoin(this);
        pthread_join(m_thread, nullptr);
        dakhost::detail::ScheduleForget(this);
    }
    m_running = false;
}

bool TCThread::IsOwnThread() const
{
    return tlsThread == this;
}

// ---- queue ---------------------------------------------------------------------------

TCQueue::TCQueue() : m_qlock{}, m_qcond{}
{
    pthread_mutex_init(&m_qlock, nullptr);
    pthread_cond_init(&m_qcond, nullptr);
}

TCQueue::~TCQueue()
{
    CloseAndDrop(true);
    pthread_cond_destroy(&m_qcond);
    pthread_mutex_destroy(&m_qlock);
}

void TCQueue::Destroy()
{
    CloseAndDrop(false);
    TCMutex::Destroy();
}

bool TCQueue::Delete(const TCHandler* handler, unsigned int* count)
{
    pthread_mutex_lock(&m_qlock);
    unsigned int kept = 0;
    for (unsigned int i = 0; i < m_count; ++i) {
        const TSEvent& event = m_store[(m_head + i) % kCapacity];
        if (event.receiver != handler) {
            m_store[(m_head + kept) % kCapacity] = event;
            ++kept;
        }
    }
    const unsigned int removed = m_count - kept;
    m_count = kept;
    const bool nowIdle = removed > 0 && m_count == 0 && !m_busy;
    pthread_mutex_unlock(&m_qlock);
    pthread_cond_broadcast(&m_qcond);
    dakhost::detail::ScheduleWake(this);
    dakhost::detail::PendingSub(nowIdle ? 1U : 0U);
    if (count != nullptr) {
        *count = removed;
    }
    return true;
}

bool TCQueue::Push(const TSEvent& event)
{
    return PushAt(event, false);
}

bool TCQueue::PushAt(const TSEvent& event, bool front)
{
    return TCQueueAccess::Store(*this, event, event.receiver, front);
}

bool TCQueue::PopWait(TSEvent* event)
{
    const bool cooperative = dakhost::detail::CooperativeThread();
    if (cooperative) {
        dakhost::detail::SchedulePoint();
    }
    pthread_mutex_lock(&m_qlock);
    // A closed queue still hands out what it holds, so that the events queued
    // before a stop are handled in order.
    while (m_count == 0 && m_open) {
        if (cooperative) {
            pthread_mutex_unlock(&m_qlock);
            dakhost::detail::ScheduleBlock(this);
            pthread_mutex_lock(&m_qlock);
            continue;
        }
        pthread_cond_wait(&m_qcond, &m_qlock);
    }
    if (m_count == 0) {
        pthread_mutex_unlock(&m_qlock);
        return false;
    }
    *event = m_store[m_head];
    m_head = (m_head + 1) % kCapacity;
    --m_count;
    m_busy = true;
    pthread_mutex_unlock(&m_qlock);
    return true;
}

void TCQueue::HandlerDone()
{
    pthread_mutex_lock(&m_qlock);
    const bool nowIdle = m_busy && m_count == 0;
    m_busy = false;
    pthread_mutex_unlock(&m_qlock);
    // Only WaitIdle() waits for the handler, and only an empty queue ends
    // its wait; the task itself is the one thread here.
    if (nowIdle) {
        pthread_cond_broadcast(&m_qcond);
        dakhost::detail::PendingSub(1);
    }
}

void TCQueue::Open()
{
    pthread_mutex_lock(&m_qlock);
    m_open = true;
    m_head = 0;
    m_count = 0;
    m_busy = false;
    pthread_mutex_unlock(&m_qlock);
}

void TCQueue::Close()
{
    pthread_mutex_lock(&m_qlock);
    m_open = false;
    pthread_mutex_unlock(&m_qlock);
    pthread_cond_broadcast(&m_qcond);
    dakhost::detail::ScheduleWake(this);
}

void TCQueue::CloseAndDrop(bool releaseBusy)
{
    pthread_mutex_lock(&m_qlock);
    m_open = false;
    const bool wasIdle = m_count == 0 && !m_busy;
    m_count = 0;
    m_head = 0;
    if (releaseBusy) {
        m_busy = false;
    }
    const bool nowIdle = !wasIdle && !m_busy;
    pthread_mutex_unlock(&m_qlock);
    pthread_cond_broadcast(&m_qcond);
    dakhost::detail::ScheduleWake(this);
    dakhost::detail::PendingSub(nowIdle ? 1U : 0U);
}

bool TCQueue::WaitIdle()
{
    pthread_mutex_lock(&m_qlock);
    while (m_open && (m_count > 0 || m_busy)) {
        pthread_cond_wait(&m_qcond, &m_qlock);
    }
    pthread_mutex_unlock(&m_qlock);
    return true;
}

// ---- task ------------------------------------------------------------------------------

TCTask::TCTask()
{
    SetOwnerTask(this);
}

TCTask::~TCTask()
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __LINE__);
        // The handlers are gone with the derived object: nothing more is
        // handled, as after the stop event.
        m_exitRequested = true;
        TCTask::Destroy();
    }
}

bool TCTask::Create(const char* name, unsigned int /*priority*/, unsigned long /*stackSize*/,
                    unsigned long /*options*/)
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __LINE__);
        return false;
    }
    if (F().failTaskCreate.load()) {
        return false;
    }
    std::snprintf(m_name, sizeof m_name, "%s", name != nullptr ? name : "");
    if (!TCMutex::FlagCreate()) {
        tlsCreatingQueueMutex = true;
        const bool created = TCMutex::Create();
        tlsCreatingQueueMutex = false;
        if (!created) {
            return false;
        }
    }
    m_exitRequested = false;
    Open();
    Framework& f = F();
    // Published only when complete: a slot in the list of live tasks is made
    // first (the one step that can fail to allocate), then the thread, and
    // only then does the task count as created and accept events.
    {
        std::unique_lock<std::mutex> lock(f.taskLock);
        try {
            f.tasks.reserve(f.tasks.size() + 1);
        } catch (...) {
            lock.unlock();
            TCQueue::Destroy();
            throw;
        }
        // Under the fixed scheduling rule a task has no thread: the thread
        // that waits for idle runs its turns.
        const bool threadless =
            dakhost::detail::Scheduling() == dakhost::detail::SchedulingMode::Fixed;
        if (!threadless && !StartThread(m_name)) {
            lock.unlock();
            TCQueue::Destroy();
            return false;
        }
        SetCreated(true);
        f.tasks.push_back(this);  // within the capacity just reserved
    }
    return true;
}

void TCTask::t_Main()
{
    tlsOnTaskThread = true;
    if (t_Create()) {
        while (ExecuteEvent()) {
        }
    }
    tlsOnTaskThread = false;
    if (tlsSelfDestroyed) {
        // Destroyed from its own handler: the object may be gone already.
        tlsSelfDestroyed = false;
        return;
    }
    // Whatever follows the stop event is lost, and later sends fail.
    TCQueueAccess::CloseAndDrop(*this, true);
}

bool TCTask::ExecuteEvent()
{
    TSEvent event;
    if (!PopWait(&event)) {
        return false;
    }
    TCHandler* receiver = event.receiver != nullptr ? event.receiver : this;
    // The dispatch boundary: a handler that fails to allocate loses its event,
    // never the process nor the task.
    try {
        receiver->t_OnEvent(&event);
    } catch (const std::exception& failure) {
        ReportLostEvent(m_name, event.eventId, failure.what());
    } catch (...) {
        ReportLostEvent(m_name, event.eventId, "unknown exception");
    }
    if (tlsSelfDestroyed) {
        return false;
    }
    HandlerDone();
    return !m_exitRequested;
}

void TCTask::Destroy()
{
    if (!FlagCreate()) {
        return;
    }
    const bool ownThread = IsOwnThread();
    if (ownThread) {
        // Called from one of its own handlers: nothing more is handled once
        // that handler returns, and the thread ends without touching the
        // object again.
        TCQueueAccess::CloseAndDrop(*this, false);
        tlsSelfDestroyed = true;
        JoinThread();
    } else {
        Close();
        if (!IsThreadRunning() && !m_exitRequested) {
            // Without a thread: what was queued before the stop is handled
            // here, as the thread would have handled it before ending.
            while (RunInline(*this)) {
                if (!TCQueueAccess::HasEvents(*this)) {
                    break;
                }
            }
            if (!FlagCreate()) {
                return;  // a handler destroyed its task meanwhile
            }
        }
        JoinThread();
        TCQueueAccess::CloseAndDrop(*this, true);
    }
    Framework& f = F();
    {
        const std::lock_guard<std::mutex> lock(f.taskLock);
        f.tasks.erase(std::remove(f.tasks.begin(), f.tasks.end(), this), f.tasks.end());
        f.inlineStarted.erase(std::remove(f.inlineStarted.begin(), f.inlineStarted.end(), this),
                              f.inlineStarted.end());
    }
    SetCreated(false);
    TCQueue::Destroy();
    if (ownThread) {
        // The running handler counts as done from here: WaitIdle() sees the
        // task destroyed once it returns.
        HandlerDone();
    }
}

bool TCTask::t_OnEvent(const TSEvent* event)
{
    if (event == nullptr) {
        Report("event != NULL", __LINE__);
        return false;
    }
    if (event->eventId == 0) {
        m_exitRequested = true;
        return true;
    }
    return false;
}

// The checks every default event handler makes before its work.
void TCTask::CheckEventHandler(const TSEvent* event) const
{
    if (!FlagCreate()) {
        Report("FlagCreate() == true", __LINE__);
    }
    if (event == nullptr) {
        Report("event != NULL", __LINE__);
    }
}

bool TCTask::t_OnExit(const TSEvent* event)
{
    CheckEventHandler(event);
    return true;
}

bool TCTask::t_OnUser(const TSEvent* event)
{
    CheckEventHandler(event);
    return true;
}

bool TCTask::t_OnClearQueue(const TSEvent* event)
{
    CheckEventHandler(event);
    return Delete(this, nullptr);
}

bool TCTask::Send(TSEvent* event, bool urgent, bool /*wait*/)
{
    if (event == nullptr) {
        Report("event != NULL", __LINE__);
        return false;
    }
    if (g_failSend.load(std::memory_order_relaxed)) {
        return false;
    }
    TCTask* target = this;
    if (event->receiver != nullptr && event->receiver->OwnerTask() != nullptr) {
        target = event->receiver->OwnerTask();
    }
    if (!target->FlagCreate()) {
        Report("FlagCreate() == true", __LINE__);
        return false;
    }
    const bool posted = TCQueueAccess::Post(*target, *event, urgent);
    dakhost::detail::SchedulePoint();
    return posted;
}
