// The system time manager: the process-wide owner of the UTC system clock.
#pragma once

#include "DakTimeExport.h"
#include "TimeSettingTypes.h"

class DAK_TIME_API TISystemTimeManager {
public:
    virtual ~TISystemTimeManager();

    // Starts the manager's task; true when it ran to the end.
    virtual bool Init() = 0;
    // Checks a request on the caller's thread and posts it to the manager's
    // task; true when posted. The clock is set later, on the task.
    virtual bool SetSystemTime(unsigned long utc, ETimeSettingType type, bool dst) = 0;
    // Reads the platform clock; `utc` is untouched on failure.
    virtual bool GetSystemTime(unsigned long& utc) = 0;
    // Adopts the network time when the clock mode and the rules allow it.
    virtual bool SetSystemTimeByNetworkTime() = 0;
    // The automatic source the clock follows; always true.
    virtual bool GetAutoClockType(ETypeOfAutoClock& type) = 0;
    // Reports the stored time offset after a factory reset; sets nothing.
    virtual void SetSystemTimeByReleaseTime() = 0;

    // The singleton, created on first use (not started: call Init()).
    static TISystemTimeManager* Instance();
    // Destroys the singleton; a later Instance() builds a fresh one.
    static void Exit();

    static TISystemTimeManager* t_systemTimeManager;
};
