// Timers that post an event to a task from a thread of their own.
#pragma once

#include <pthread.h>

#include "PlatformExport.h"
#include "TCHandler.h"
#include "TCThread.h"

class TCTask;

class DAK_PLATFORM_API TCAlarm : public TCThread, public TCHandler {
public:
    TCAlarm();
    void t_Main() override;
    ~TCAlarm() override;      // expects an alarm that is not created
    void Destroy() override;  // stops the alarm; nothing is posted after it returns
    bool t_OnEvent(const TSEvent* event) override;
    TCAlarm(const TCAlarm&) = delete;
    TCAlarm& operator=(const TCAlarm&) = delete;

    // Re-arms a created alarm: first event after `period` ms, then every
    // `period` ms; `count` 0xFFFFFFFF (or -1) repeats without end.
    bool Reset(unsigned long period, unsigned long count);

    using TCHandler::FlagCreate;

protected:
    bool CreateAlarm(TCTask* task, unsigned short eventId, unsigned long period,
                     unsigned long count);

private:
    TCTask* m_target = nullptr;
    unsigned short m_eventId = 0;
    void* m_state = nullptr;  // timing state kept by the framework
};

class DAK_PLATFORM_API TCStateAlarm : public TCAlarm {
public:
    TCStateAlarm() = default;
    ~TCStateAlarm() override;
    // Creates the alarm and arms it to post `eventId` to `task` every
    // `period` ms, `count` times (-1: without end).
    bool Create(TCTask* task, unsigned short eventId, int period, int count);
};
