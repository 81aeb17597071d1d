// The receiving end of events; it knows the task that owns it.
#pragma once

#include <atomic>

#include "PlatformExport.h"
#include "TSEvent.h"

class TCTask;

class DAK_PLATFORM_API TCHandler {
public:
    static constexpr unsigned long kCreatedWord = 0x012C272BUL;

    TCHandler() = default;
    virtual ~TCHandler();
    virtual bool t_OnEvent(const TSEvent* event) = 0;
    virtual void Destroy();
    TCHandler(const TCHandler&) = delete;
    TCHandler& operator=(const TCHandler&) = delete;

    // A task or alarm counts as created while its handler's word holds kCreatedWord.
    bool FlagCreate() const
    {
        return m_createdWord.load(std::memory_order_acquire) == kCreatedWord;
    }
    TCTask* OwnerTask() const { return m_pTask; }

protected:
    void SetCreated(bool created)
    {
        m_createdWord.store(created ? kCreatedWord : 0UL, std::memory_order_release);
    }
    void SetOwnerTask(TCTask* task) { m_pTask = task; }

private:
    std::atomic<unsigned long> m_createdWord{0};
    TCTask* m_pTask = nullptr;
};
