// Recursive mutex of the task framework: a semaphore plus the owning thread
// and a recursion count. Lock and Unlock are inline so that their exact
// behaviour is part of every user.
#pragma once

#include <pthread.h>

#include <atomic>

#include "PlatformExport.h"
#include "TCDebugPrint.h"
#include "TCSemaphore.h"

class DAK_PLATFORM_API TCMutex {
public:
    TCMutex() = default;
    virtual ~TCMutex();  // destroys a still-created mutex without a report
    virtual void Destroy();
    TCMutex(const TCMutex&) = delete;
    TCMutex& operator=(const TCMutex&) = delete;

    bool Create()
    {
        if (!m_sem.Create(1)) {
            return false;
        }
        m_owner.store(0, std::memory_order_relaxed);
        m_count = 0;
        return true;
    }

    void Lock()
    {
        if (!FlagCreate()) {
            _TCAssert("FlagCreate() == true", __FILE__, __LINE__);
        }
        const pthread_t self = pthread_self();
        if (m_owner.load(std::memory_order_relaxed) == self) {
            ++m_count;
            return;
        }
        m_sem.Take();
        m_owner.store(self, std::memory_order_relaxed);
        m_count = 1;
    }

    bool Unlock()
    {
        if (!FlagCreate()) {
            _TCAssert("FlagCreate() == true", __FILE__, __LINE__);
        }
        if (m_owner.load(std::memory_order_relaxed) != pthread_self()) {
            return false;
        }
        if (--m_count > 0) {
            return true;
        }
        m_owner.store(0, std::memory_order_relaxed);
        m_sem.Give();
        return true;
    }

    bool FlagCreate() const { return m_sem.FlagCreate(); }

private:
    TCSemaphore m_sem;
    // The owning thread, 0 when free. Only the owner ever finds itself here,
    // so relaxed accesses suffice; the semaphore orders everything else.
    std::atomic<pthread_t> m_owner{0};
    int m_count = 0;
};

// Scoped lock for TCMutex; releases on every way out of the scope.
class TCMutexGuard {
public:
    explicit TCMutexGuard(TCMutex& mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~TCMutexGuard() { m_mutex.Unlock(); }
    TCMutexGuard(const TCMutexGuard&) = delete;
    TCMutexGuard& operator=(const TCMutexGuard&) = delete;

private:
    TCMutex& m_mutex;
};
