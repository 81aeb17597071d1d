// Registry of settings-change subscriptions.
#pragma once

#include "IVConfCallbackSubscriber.h"
#include "PlatformExport.h"

class DAK_PLATFORM_API TCVConfCallbackManager {
public:
    static void Subscribe(IVConfCallbackSubscriber::EVConfParam param,
                          IVConfCallbackSubscriber* subscriber);
    // Once this returns, no callback for `param` reaches `subscriber`.
    static void UnSubscribe(IVConfCallbackSubscriber::EVConfParam param,
                            IVConfCallbackSubscriber* subscriber);
};
