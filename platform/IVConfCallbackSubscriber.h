// Subscriber interface of the settings store's change callbacks.
#pragma once

#include "PlatformExport.h"

class DAK_PLATFORM_API IVConfCallbackSubscriber {
public:
    enum EVConfParam : int {
        E_VCONF_NETWORK_TIME = 1,       // the network time state
        E_VCONF_TIME_MODE = 2,          // the clock mode
        E_VCONF_PRESENTATION_TIME = 3,  // the presentation time setting
    };

    virtual ~IVConfCallbackSubscriber();
    virtual void OnVConfCallback(EVConfParam param, void* data) = 0;
};
