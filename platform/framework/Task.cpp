// A task: a thread that takes events from its queue and hands each to its
// receiver, one at a time. When the scheduler gives tasks no thread, the
// thread that waits for idle takes the task's turns (TakeTurn).
#include <cstdio>
#include <exception>
#include <new>

#include "Framework.h"
#include "FrameworkInternal.h"
#include "Scheduler.h"
#include "TCDebugPrint.h"
#include "TCTask.h"

using dakfw::detail::Report;

namespace {

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

TCTask::TCTask()
{
    SetOwnerTask(this);
}

TCTask::~TCTask()
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __FILE__, __LINE__);
        // The handlers are gone with the derived object: nothing more is
        // handled, as after the stop event.
        m_exitRequested = true;
        TCTask::Destroy();
    }
}

bool TCTask::Create(const char* name, unsigned int /*priority*/, unsigned long /*stackSize*/,
                    unsigned long /*options*/)
{
    // What the list of live tasks may do to a task; defined here, where the
    // task's queue can be reached.
    static const dakfw::detail::TaskOps kOps{
        [](TCTask& task, const TSEvent& event) { return task.Deliver(event, false); },
        [](TCTask& task, bool first) { return task.TakeTurn(first); },
        [](TCTask& task) { return task.HasEvents(); },
    };
    if (FlagCreate()) {
        Report("FlagCreate() == false", __FILE__, __LINE__);
        return false;
    }
    if (dakfw::InjectedFaults().taskCreate.load()) {
        return false;
    }
    std::snprintf(m_name, sizeof m_name, "%s", name != nullptr ? name : "");
    if (!TCMutex::FlagCreate()) {
        dakfw::detail::tlsCreatingQueueMutex = true;
        const bool created = TCMutex::Create();
        dakfw::detail::tlsCreatingQueueMutex = false;
        if (!created) {
            return false;
        }
    }
    m_exitRequested = false;
    Open();
    // Published only when complete: a slot in the list of live tasks is made
    // first (the one step that can fail to allocate), then the thread, and
    // only then does the task count as created and accept events.
    bool added = false;
    try {
        // Under the list's lock: the thread, when the scheduler gives tasks
        // one, then the created state.
        added = dakfw::detail::AddTask(this, kOps, [](TCTask* task) {
            if (dakfw::Turns().TaskThreads() && !task->StartThread(task->m_name)) {
                return false;
            }
            task->SetCreated(true);
            return true;
        });
    } catch (...) {
        TCQueue::Destroy();
        throw;
    }
    if (!added) {
        TCQueue::Destroy();
        return false;
    }
    return true;
}

void TCTask::t_Main()
{
    dakfw::detail::tlsOnTaskThread = true;
    if (t_Create()) {
        while (ExecuteEvent()) {
        }
    }
    dakfw::detail::tlsOnTaskThread = false;
    if (dakfw::detail::tlsSelfDestroyed) {
        // Destroyed from its own handler: the object may be gone already.
        dakfw::detail::tlsSelfDestroyed = false;
        return;
    }
    // Whatever follows the stop event is lost, and later sends fail.
    CloseAndDrop(true);
}

bool TCTask::TakeTurn(bool first)
{
    using dakfw::detail::tlsOnTaskThread;
    using dakfw::detail::tlsThread;
    const TCThread* const savedThread = tlsThread;
    const bool savedOnTask = tlsOnTaskThread;
    tlsThread = this;
    tlsOnTaskThread = true;
    // Never reached from ~TCTask: it marks the task as exiting first, and a
    // task that exits takes no turn.
    bool goesOn = true;
    if (first) {
        goesOn = t_Create();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    }
    if (goesOn && HasEvents()) {
        goesOn = ExecuteEvent();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    }
    const bool gone = dakfw::detail::tlsSelfDestroyed;
    dakfw::detail::tlsSelfDestroyed = false;
    if (!gone && !goesOn) {
        // The loop has ended: the queue is closed, as the thread would leave it.
        CloseAndDrop(true);
    }
    tlsThread = savedThread;
    tlsOnTaskThread = savedOnTask;
    return goesOn && !gone;
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
    if (dakfw::detail::tlsSelfDestroyed) {
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
        CloseAndDrop(false);
        dakfw::detail::tlsSelfDestroyed = true;
        JoinThread();
    } else {
        Close();
        if (!IsThreadRunning() && !m_exitRequested) {
            // Without a thread: what was queued before the stop is handled
            // here, as the thread would have handled it before ending.
            dakfw::detail::RunTurnsOf(*this);
            if (!FlagCreate()) {
                return;  // a handler destroyed its task meanwhile
            }
        }
        JoinThread();
        CloseAndDrop(true);
    }
    dakfw::detail::RemoveTask(this);
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
        Report("event != NULL", __FILE__, __LINE__);
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
        Report("FlagCreate() == true", __FILE__, __LINE__);
    }
    if (event == nullptr) {
        Report("event != NULL", __FILE__, __LINE__);
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

bool TCTask::Deliver(const TSEvent& event, bool urgent)
{
    TCHandler* receiver = event.receiver != nullptr ? event.receiver : this;
    return PushAt(event, receiver, urgent);
}

bool TCTask::Send(TSEvent* event, bool urgent, bool /*wait*/)
{
    if (event == nullptr) {
        Report("event != NULL", __FILE__, __LINE__);
        return false;
    }
    if (dakfw::InjectedFaults().send.load(std::memory_order_relaxed)) {
        return false;
    }
    TCTask* target = this;
    if (event->receiver != nullptr && event->receiver->OwnerTask() != nullptr) {
        target = event->receiver->OwnerTask();
    }
    if (!target->FlagCreate()) {
        Report("FlagCreate() == true", __FILE__, __LINE__);
        return false;
    }
    const bool posted = target->Deliver(*event, urgent);
    dakfw::Turns().Point();
    return posted;
}
