// A thread of its own; base of TCTask and TCAlarm.
#pragma once

#include <pthread.h>

#include "PlatformExport.h"

class DAK_PLATFORM_API TCThread {
public:
    TCThread() = default;
    virtual void t_Main() = 0;  // the thread's body
    virtual ~TCThread();
    virtual void Destroy();
    TCThread(const TCThread&) = delete;
    TCThread& operator=(const TCThread&) = delete;

protected:
    bool StartThread(const char* name);  // runs t_Main on a new thread
    void JoinThread();                   // waits for t_Main to return
    bool IsThreadRunning() const { return m_running; }
    bool IsOwnThread() const;

private:
    pthread_t m_thread{};
    bool m_running = false;
};
