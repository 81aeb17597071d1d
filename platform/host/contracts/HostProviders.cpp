// The host platform's providers: their shared state and its reset.
#include <mutex>

#include "HostInternal.h"
#include "HostProviderState.h"

namespace dakhost::detail {

Providers& TheProviders()
{
    static auto* const providers = new Providers;
    return *providers;
}

void ResetProviders()
{
    Providers& p = TheProviders();
    {
        const std::lock_guard<std::mutex> lock(p.lock);
        p.settings.fill(0);
        p.settingWrites.clear();
        // A subscriber left behind by the last run must not be called again.
        for (const SubscriptionPtr& entry : p.subscriptions) {
            entry->active = false;
        }
        p.subscriptions.clear();
        p.subscriptionCalls.clear();
        p.options.clear();
        p.masterPower = true;
        p.region = Region::KR;
        p.eventManagerPresent = true;
        p.signals.clear();
        p.platformClock.Set(kInitialUtc * 1000);
        p.failClockGet = 0;
        p.failClockSet = 0;
        p.registerCalls = static_cast<int>(p.registered.size());
        p.deregisterCalls = 0;
    }
    SetTimeZoneAgent(AgentMode::None);
    SetTimeUpdateAgent(AgentMode::None);
}

}  // namespace dakhost::detail
