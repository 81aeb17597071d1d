// The host platform's event manager: the signals the library sends are
// recorded and told to the observer.
#include <cstring>
#include <mutex>
#include <vector>

#include "DakHostControl.h"
#include "HostInternal.h"
#include "HostProviderState.h"
#include "TIEventManager.h"

using dakhost::detail::Providers;
using dakhost::detail::TheProviders;

namespace dakhost::detail {

bool HostEventManager::SendSignal(int signalId, void* param, int flags)
{
    dakhost::SignalRecord record{signalId, {}, flags};
    if (param != nullptr) {
        std::memcpy(record.param, param, sizeof record.param);
    }
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        p.signals.push_back(record);
    }
    if (dakhost::Observer* observer = dakhost::detail::CurrentObserver()) {
        observer->SignalSent(record);
    }
    return true;
}

}  // namespace dakhost::detail

TIEventManager::~TIEventManager() = default;

TIEventManager* TIEventManager::Instance()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.eventManagerPresent ? &p.eventManager : nullptr;
}

// ---- controls -------------------------------------------------------------------------------

namespace dakhost {

void SetEventManagerPresent(bool present)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.eventManagerPresent = present;
}

std::vector<SignalRecord> Signals()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.signals;
}

}  // namespace dakhost
