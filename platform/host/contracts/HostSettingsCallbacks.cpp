// The host platform's settings-change callbacks: subscriptions, and the
// calls back to subscribers when a control changes a setting.
#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "DakHostControl.h"
#include "HostProviderState.h"
#include "IVConfCallbackSubscriber.h"
#include "Scheduler.h"
#include "TCVConfCallbackManager.h"

using dakhost::detail::Providers;
using dakhost::detail::Subscription;
using dakhost::detail::SubscriptionPtr;
using dakhost::detail::TheProviders;

namespace {

// Callbacks running on this thread, innermost last.
thread_local std::vector<const Subscription*> tlsCallbacks;

}  // namespace

namespace dakhost::detail {

// Calls back every active subscriber of `param`, on this thread, holding no
// lock while a callback runs.
void CallBack(int param, int value)
{
    Providers& p = TheProviders();
    std::vector<SubscriptionPtr> targets;
    {
        const std::lock_guard<std::mutex> lock(p.lock);
        for (const SubscriptionPtr& entry : p.subscriptions) {
            if (entry->param == param) {
                targets.push_back(entry);
            }
        }
    }
    int data = value;
    for (const SubscriptionPtr& entry : targets) {
        tlsCallbacks.push_back(entry.get());  // before anything is counted
        {
            const std::lock_guard<std::mutex> lock(p.lock);
            if (!entry->active) {
                tlsCallbacks.pop_back();
                continue;
            }
            ++entry->inFlight;
        }
        // Counted out again however the callback ends (an allocation failure
        // goes on to the writer of the setting), so that no UnSubscribe waits
        // for a callback that is over.
        struct InFlight {
            Providers& p;
            Subscription& entry;
            ~InFlight()
            {
                tlsCallbacks.pop_back();
                {
                    const std::lock_guard<std::mutex> lock(p.lock);
                    --entry.inFlight;
                }
                p.callbackDone.notify_all();
                dakfw::Turns().Wake(&p.callbackDone);
            }
        };
        const InFlight counted{p, *entry};
        dakfw::Turns().Point();
        entry->subscriber->OnVConfCallback(
            static_cast<IVConfCallbackSubscriber::EVConfParam>(param), &data);
    }
}

}  // namespace dakhost::detail

IVConfCallbackSubscriber::~IVConfCallbackSubscriber() = default;

void TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::EVConfParam param,
                                       IVConfCallbackSubscriber* subscriber)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.subscriptionCalls.push_back({static_cast<int>(param), true, subscriber});
    if (subscriber == nullptr) {
        return;
    }
    const bool held =
        std::any_of(p.subscriptions.begin(), p.subscriptions.end(),
                    [param, subscriber](const SubscriptionPtr& entry) {
                        return entry->param == param && entry->subscriber == subscriber;
                    });
    if (!held) {
        auto entry = std::make_shared<Subscription>();
        entry->param = param;
        entry->subscriber = subscriber;
        p.subscriptions.push_back(std::move(entry));
    }
}

void TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::EVConfParam param,
                                         IVConfCallbackSubscriber* subscriber)
{
    Providers& p = TheProviders();
    std::unique_lock<std::mutex> lock(p.lock);
    p.subscriptionCalls.push_back({static_cast<int>(param), false, subscriber});
    const auto found =
        std::find_if(p.subscriptions.begin(), p.subscriptions.end(),
                     [param, subscriber](const SubscriptionPtr& entry) {
                         return entry->param == param && entry->subscriber == subscriber;
                     });
    if (found == p.subscriptions.end()) {
        return;
    }
    const SubscriptionPtr entry = *found;
    entry->active = false;
    p.subscriptions.erase(found);
    // Callbacks already running elsewhere finish first; those that this very
    // thread is inside cannot be waited for.
    const auto own =
        static_cast<int>(std::count(tlsCallbacks.begin(), tlsCallbacks.end(), entry.get()));
    dakfw::Scheduler& turns = dakfw::Turns();
    while (entry->inFlight > own) {
        turns.Wait(lock, p.callbackDone, &p.callbackDone);
    }
}

// ---- controls -------------------------------------------------------------------------------

namespace dakhost {

bool IsSubscribed(int param)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return std::any_of(p.subscriptions.begin(), p.subscriptions.end(),
                       [param](const SubscriptionPtr& entry) { return entry->param == param; });
}

std::vector<SubscriptionCall> SubscriptionCalls()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.subscriptionCalls;
}

}  // namespace dakhost
