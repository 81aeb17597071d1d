// The reader/writer lock: readers share it, a writer holds it alone; a
// reader is let in whenever no writer holds it (readers first, as the C
// library's default lock does), so that a reader may take it again.
#include <atomic>

#include "Framework.h"
#include "FrameworkInternal.h"
#include "Scheduler.h"
#include "TCRWLock.h"

using dakfw::detail::Report;

namespace {

std::atomic<int> g_readHolds{0};  // over every lock, for the controls

}  // namespace

namespace dakfw {

int ReadHolds()
{
    return g_readHolds.load(std::memory_order_acquire);
}

}  // namespace dakfw

TCRWLock::TCRWLock() : m_lock{}, m_cond{}
{
    pthread_mutex_init(&m_lock, nullptr);
    pthread_cond_init(&m_cond, nullptr);
}

TCRWLock::~TCRWLock()
{
    pthread_cond_destroy(&m_cond);
    pthread_mutex_destroy(&m_lock);
}

void TCRWLock::RLock()
{
    dakfw::Scheduler& turns = dakfw::Turns();
    turns.Point();
    pthread_mutex_lock(&m_lock);
    while (m_writer) {
        ++m_waiting;
        turns.Wait(m_lock, m_cond, this);
        --m_waiting;
    }
    ++m_readers;
    pthread_mutex_unlock(&m_lock);
    g_readHolds.fetch_add(1, std::memory_order_acq_rel);
}

void TCRWLock::RUnlock()
{
    pthread_mutex_lock(&m_lock);
    if (m_readers <= 0) {
        pthread_mutex_unlock(&m_lock);
        Report("m_readHolds > 0", __FILE__, __LINE__);
        return;
    }
    const bool wake = --m_readers == 0 && m_waiting > 0;
    pthread_mutex_unlock(&m_lock);
    g_readHolds.fetch_sub(1, std::memory_order_acq_rel);
    if (wake) {
        pthread_cond_broadcast(&m_cond);
    }
    dakfw::Turns().Wake(this);
}

void TCRWLock::WLock()
{
    dakfw::Scheduler& turns = dakfw::Turns();
    turns.Point();
    pthread_mutex_lock(&m_lock);
    while (m_writer || m_readers > 0) {
        ++m_waiting;
        turns.Wait(m_lock, m_cond, this);
        --m_waiting;
    }
    m_writer = true;
    pthread_mutex_unlock(&m_lock);
}

void TCRWLock::WUnlock()
{
    pthread_mutex_lock(&m_lock);
    m_writer = false;
    const bool wake = m_waiting > 0;
    pthread_mutex_unlock(&m_lock);
    if (wake) {
        pthread_cond_broadcast(&m_cond);
    }
    dakfw::Turns().Wake(this);
}
