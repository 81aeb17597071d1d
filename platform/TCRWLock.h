// Reader/writer lock of the task framework.
#pragma once

#include <pthread.h>

#include <atomic>

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
    friend struct TCRWLockAccess;  // the host platform's controls
    pthread_rwlock_t m_lock;
    std::atomic<int> m_readHolds{0};  // read holds taken and not yet released
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
