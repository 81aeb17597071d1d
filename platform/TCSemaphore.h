// Counting semaphore of the task framework.
#pragma once

#include <pthread.h>

#include "PlatformExport.h"

class DAK_PLATFORM_API TCSemaphore {
public:
    TCSemaphore();
    virtual ~TCSemaphore();  // expects a semaphore that is not created
    TCSemaphore(const TCSemaphore&) = delete;
    TCSemaphore& operator=(const TCSemaphore&) = delete;

    bool Create(int count);  // false on failure; the object stays not created
    void Take();             // waits until the value is positive, decrements it
    void Give();             // increments the value and wakes a waiter
    void Destroy();
    bool FlagCreate() const { return m_handle != 0; }

private:
    unsigned long m_handle = 0;  // non-zero while created
    pthread_mutex_t m_lock{};
    pthread_cond_t m_cond{};
    unsigned int m_value = 0;
    unsigned int m_waiters = 0;  // threads in Take waiting for a positive value
};
