// Threads of the framework, and the handler base that tasks and alarms share.
#include <pthread.h>

#include <cstdio>

#include "FrameworkInternal.h"
#include "Scheduler.h"
#include "TCHandler.h"
#include "TCThread.h"

using dakfw::detail::Report;

namespace {

void* ThreadEntry(void* arg)
{
    auto* thread = static_cast<TCThread*>(arg);
    dakfw::Turns().Begin(thread);
    dakfw::detail::tlsThread = thread;
    thread->t_Main();
    dakfw::detail::tlsThread = nullptr;
    dakfw::Turns().End();
    return nullptr;
}

}  // namespace

TCHandler::~TCHandler()
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __FILE__, __LINE__);
    }
}

void TCHandler::Destroy()
{
    SetCreated(false);
}

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
    dakfw::Turns().Adopt(this);
    if (pthread_create(&m_thread, nullptr, ThreadEntry, this) != 0) {
        dakfw::Turns().Forget(this);
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
        dakfw::Turns().Join(this);
        pthread_join(m_thread, nullptr);
        dakfw::Turns().Forget(this);
    }
    m_running = false;
}

bool TCThread::IsOwnThread() const
{
    return dakfw::detail::tlsThread == this;
}
