// The host platform's library registration, and the controls that tell
// what was registered.
#include <algorithm>
#include <mutex>

#include "DakHostControl.h"
#include "HostProviderState.h"
#include "PlatformExport.h"

using dakhost::detail::Providers;
using dakhost::detail::TheProviders;

// ---- library registration --------------------------------------------------------------
// (HtLibHelper.h is not included: it would register this library itself.)

extern "C" {
DAK_PLATFORM_API void ht_register_library(int* enabled);
DAK_PLATFORM_API void ht_deregister_library(int* enabled);
}

extern "C" void ht_register_library(int* enabled)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    ++p.registerCalls;
    p.lastRegistered = enabled;
    p.lastRegisteredValue = enabled != nullptr ? *enabled : 0;
    p.registered.push_back(enabled);
}

extern "C" void ht_deregister_library(int* enabled)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    ++p.deregisterCalls;
    const auto found = std::find(p.registered.begin(), p.registered.end(), enabled);
    if (found != p.registered.end()) {
        p.registered.erase(found);
    }
}

// ---- controls -------------------------------------------------------------------------------

namespace dakhost {

int RegisterCalls()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.registerCalls;
}

int DeregisterCalls()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.deregisterCalls;
}

int* LastRegisteredPointer()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.lastRegistered;
}

int LastRegisteredValue()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.lastRegisteredValue;
}

}  // namespace dakhost
