// The middleware's event manager, which broadcasts signals.
#pragma once

#include "PlatformExport.h"

enum : int {
    SIGNAL_SYSTEM_TIME_UPDATED = 108,
};

class DAK_PLATFORM_API TIEventManager {
public:
    virtual ~TIEventManager();
    static TIEventManager* Instance();  // null when there is none
    // Broadcasts a signal; the parameter record is copied before returning.
    virtual bool SendSignal(int signalId, void* param, int flags) = 0;
};
