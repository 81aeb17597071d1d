// Reader/writer lock of the task framework.
#pragma once

#include <pthread.h>

#include "PlatformExport.h"

class DAK_PLATFORM_API TCRWLock {
public:
    TCRWLock();
    virtual ~TCRWLock();
    TCRWLock(const TCRWLock&) = delete;
    TCRWLock& operator=(const TCRWLock&) = delete;

    void RLock();
    void RUnlock();
    void WLock();
    void WUnlock();

private:
    pthread_mutex_t m_lock;
    pthread_cond_t m_cond;
    int m_readers = 0;      // read holds taken and not yet released
    bool m_writer = false;  // the write hold is taken
    int m_waiting = 0;      // threads waiting for a hold
};

// Scoped read hold; released on every way out of the scope.
class TCReadGuard {
public:
    explicit TCReadGuard(TCRWLock& lock) : m_lock(lock) { m_lock.RLock(); }
    ~TCReadGuard() { m_lock.RUnlock(); }
    TCReadGuard(const TCReadGuard&) = delete;
    TCReadGuard& operator=(const TCReadGuard&) = delete;

private:
    TCRWLock& m_lock;
};
