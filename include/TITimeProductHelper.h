// Capabilities of the product the time service runs on.
#pragma once

#include "DakTimeExport.h"

class DAK_TIME_API TITimeProductHelper {
public:
    virtual ~TITimeProductHelper();
    virtual bool IsClockAvailable() = 0;    // may stream time become system time
    virtual bool ExistBackupBattery() = 0;  // does the hardware clock survive a power cut
};
