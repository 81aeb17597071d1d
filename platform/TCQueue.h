// The event queue of a task. Its store of queued events is a fixed array
// inside the task object: queueing never allocates.
#pragma once

#include <pthread.h>

#include "PlatformExport.h"
#include "TCMutex.h"
#include "TSEvent.h"

class TCHandler;

class DAK_PLATFORM_API TCQueue : public TCMutex {
public:
    static constexpr unsigned int kCapacity = 128;

    TCQueue();
    ~TCQueue() override;
    void Destroy() override;
    TCQueue(const TCQueue&) = delete;
    TCQueue& operator=(const TCQueue&) = delete;

    // Removes the queued events addressed to `handler`; the number removed is
    // written to `count` when it is given.
    bool Delete(const TCHandler* handler, unsigned int* count);

protected:
    bool Push(const TSEvent& event);  // false when the store is full or closed
    bool PopWait(TSEvent* event);     // waits for an event; false once closed
    void HandlerDone();               // the popped event has been handled
    void Open();
    void Close();     // wakes the reader; later pushes fail
    bool WaitIdle();  // until empty and no handler running
    // Queues a copy of `event` addressed to `receiver`, at the front when
    // `front`; false when the store is full or closed.
    bool PushAt(const TSEvent& event, TCHandler* receiver, bool front);
    bool HasEvents();
    // Closes the queue and drops what it holds; with `releaseBusy` the
    // handler now running no longer counts as pending work.
    void CloseAndDrop(bool releaseBusy);

private:
    pthread_mutex_t m_qlock;
    pthread_cond_t m_qcond;
    TSEvent m_store[kCapacity];
    unsigned int m_head = 0;
    unsigned int m_count = 0;
    bool m_busy = false;
    bool m_open = false;
};
