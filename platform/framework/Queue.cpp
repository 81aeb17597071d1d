// The event queue of a task: a fixed ring inside the task object, one lock.
//
// A post takes one lock, its queue's; every wake-up is signalled after the
// lock that guards its condition is released, so that the woken thread
// never wakes only to wait for that lock.
#include "FrameworkInternal.h"
#include "Scheduler.h"
#include "TCQueue.h"

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
    dakfw::Turns().Wake(this);
    dakfw::detail::PendingSub(nowIdle ? 1U : 0U);
    if (count != nullptr) {
        *count = removed;
    }
    return true;
}

bool TCQueue::Push(const TSEvent& event)
{
    return PushAt(event, event.receiver, false);
}

bool TCQueue::PushAt(const TSEvent& event, TCHandler* receiver, bool front)
{
    pthread_mutex_lock(&m_qlock);
    if (!m_open || m_count == kCapacity) {
        pthread_mutex_unlock(&m_qlock);
        return false;
    }
    unsigned int at = m_head + m_count;
    if (front) {
        at = m_head + kCapacity - 1;
        m_head = at % kCapacity;
    }
    TSEvent& slot = m_store[at % kCapacity];
    slot = event;
    slot.receiver = receiver;
    // The task sleeps only on an idle queue (empty, no handler running): a
    // running handler finds the event when it returns, and a queue that
    // already held events has had its wake-up. WaitIdle() waits for the
    // queue to empty, which no push brings about.
    const bool wasIdle = ++m_count == 1 && !m_busy;
    if (wasIdle) {
        dakfw::detail::PendingAdd(1);
    }
    pthread_mutex_unlock(&m_qlock);
    // Woken after the unlock, the task takes the lock at once instead of
    // waking only to wait for it: one switch per event, not two. Broadcast,
    // since WaitIdle() callers sleep on the same condition.
    if (wasIdle) {
        pthread_cond_broadcast(&m_qcond);
        dakfw::Turns().Wake(this);
    }
    return true;
}

bool TCQueue::HasEvents()
{
    pthread_mutex_lock(&m_qlock);
    const bool any = m_count > 0;
    pthread_mutex_unlock(&m_qlock);
    return any;
}

bool TCQueue::PopWait(TSEvent* event)
{
    dakfw::Scheduler& turns = dakfw::Turns();
    turns.Point();
    pthread_mutex_lock(&m_qlock);
    // A closed queue still hands out what it holds, so that the events queued
    // before a stop are handled in order.
    while (m_count == 0 && m_open) {
        turns.Wait(m_qlock, m_qcond, this);
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
        dakfw::detail::PendingSub(1);
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
    dakfw::Turns().Wake(this);
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
    dakfw::Turns().Wake(this);
    dakfw::detail::PendingSub(nowIdle ? 1U : 0U);
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
