// The counting semaphore, and the recursive mutex's out-of-line parts (the
// rest is inline in TCMutex.h).
#include <cstdint>

#include "Framework.h"
#include "FrameworkInternal.h"
#include "Scheduler.h"
#include "TCMutex.h"
#include "TCSemaphore.h"

using dakfw::detail::Report;

TCSemaphore::TCSemaphore() = default;

TCSemaphore::~TCSemaphore()
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __FILE__, __LINE__);
        Destroy();
    }
}

bool TCSemaphore::Create(int count)
{
    if (FlagCreate()) {
        Report("FlagCreate() == false", __FILE__, __LINE__);
        return false;
    }
    if (count < 0 ||
        (dakfw::InjectedFaults().mutexCreate.load() && !dakfw::detail::tlsCreatingQueueMutex)) {
        return false;
    }
    if (pthread_mutex_init(&m_lock, nullptr) != 0) {
        return false;
    }
    if (pthread_cond_init(&m_cond, nullptr) != 0) {
        pthread_mutex_destroy(&m_lock);
        return false;
    }
    m_value = static_cast<unsigned int>(count);
    m_waiters = 0;
    m_handle = static_cast<unsigned long>(reinterpret_cast<uintptr_t>(this));
    return true;
}

// Take and Give on a semaphore that is not created return at once; the mutex
// built on it has reported the misuse already.
void TCSemaphore::Take()
{
    if (!FlagCreate()) {
        return;
    }
    dakfw::Scheduler& turns = dakfw::Turns();
    turns.Point();
    pthread_mutex_lock(&m_lock);
    while (m_value == 0) {
        ++m_waiters;
        turns.Wait(m_lock, m_cond, this);
        --m_waiters;
    }
    --m_value;
    pthread_mutex_unlock(&m_lock);
}

void TCSemaphore::Give()
{
    if (!FlagCreate()) {
        return;
    }
    pthread_mutex_lock(&m_lock);
    ++m_value;
    const bool waited = m_waiters > 0;
    pthread_mutex_unlock(&m_lock);
    if (waited) {
        pthread_cond_signal(&m_cond);
    }
    dakfw::Turns().Wake(this);
}

void TCSemaphore::Destroy()
{
    if (FlagCreate()) {
        pthread_cond_destroy(&m_cond);
        pthread_mutex_destroy(&m_lock);
        m_handle = 0;
    }
}

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
