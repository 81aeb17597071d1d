// A task: a thread that takes events from its queue and hands each to the
// t_OnEvent of its handler, one at a time, in queue order.
//
// A handler may throw std::bad_alloc (allocation failure is the one failure
// the library passes on as an exception). The framework's dispatch loop is
// the boundary: it catches, logs the lost event and goes on with the next,
// so that the process does not end in std::terminate. Create publishes a
// task (created state, events accepted) only once it is complete, so a
// failure inside Create leaves the task not created.
#pragma once

#include "PlatformExport.h"
#include "TCHandler.h"
#include "TCQueue.h"
#include "TCThread.h"
#include "TSEvent.h"

class DAK_PLATFORM_API TCTask : public TCThread, public TCQueue, public TCHandler {
public:
    TCTask();
    void t_Main() override;
    ~TCTask() override;  // expects a task that is not created
    void Destroy() override;
    virtual bool t_Create() { return true; }
    virtual void t_Idle() {}
    virtual void t_Destroy() {}
    // The framework's own events (the stop event, code 0) are handled here and
    // answered true; every other event is answered false.
    bool t_OnEvent(const TSEvent* event) override;
    virtual bool t_OnExit(const TSEvent* event);
    virtual bool t_OnUser(const TSEvent* event);
    virtual bool t_OnClearQueue(const TSEvent* event);
    virtual bool ExecuteEvent();
    TCTask(const TCTask&) = delete;
    TCTask& operator=(const TCTask&) = delete;

    // Creates the task's thread and starts it.
    bool Create(const char* name, unsigned int priority, unsigned long stackSize,
                unsigned long options);
    // Queues a copy of *event for the task owning event->receiver. Any thread.
    // Returns false when the event could not be queued (never blocks).
    bool Send(TSEvent* event, bool urgent, bool wait);

    using TCHandler::FlagCreate;

private:
    void CheckEventHandler(const TSEvent* event) const;
    // Queues a copy of `event` for this task, addressed to its own handler
    // when it names none.
    bool Deliver(const TSEvent& event, bool urgent);
    // One turn taken on the calling thread for a task without a thread: its
    // start the first time, then one event; false once its loop has ended.
    bool TakeTurn(bool first);

    bool m_exitRequested = false;
    char m_name[32] = {};
};
