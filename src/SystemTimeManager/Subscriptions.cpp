// Settings-change subscriptions. A subscription is held only while a change
// of its value matters; a reported change only posts an event to the task.

#include "Common/DakLog.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "TCVConfCallbackManager.h"
#include "TCVConfProvider.h"

namespace {

using EVConfParam = IVConfCallbackSubscriber::EVConfParam;

// Subscribes `param` unless `subscribed` says so already; the flag follows
// the platform call.
void SubscribeOnce(bool& subscribed, EVConfParam param, IVConfCallbackSubscriber* subscriber)
{
    if (subscribed) {
        return;
    }
    TCVConfCallbackManager::Subscribe(param, subscriber);
    subscribed = true;
}

void UnsubscribeIfHeld(bool& subscribed, EVConfParam param, IVConfCallbackSubscriber* subscriber)
{
    if (!subscribed) {
        return;
    }
    TCVConfCallbackManager::UnSubscribe(param, subscriber);
    subscribed = false;
}

}  // namespace

void TCSystemTimeManager::t_SubscribeNetworkTimeCallback()
{
    const std::lock_guard<std::mutex> hold(m_subscriptionLock);
    if (!m_subscriptionsClosed) {
        SubscribeOnce(m_networkTimeSubscribed, E_VCONF_NETWORK_TIME, this);
    }
}

void TCSystemTimeManager::t_UnsubscribeNetworkTimeCallback()
{
    const std::lock_guard<std::mutex> hold(m_subscriptionLock);
    UnsubscribeIfHeld(m_networkTimeSubscribed, E_VCONF_NETWORK_TIME, this);
}

void TCSystemTimeManager::t_SubscribeTimeModeCallback()
{
    // Only a manual clock can be switched to automatic, which is what this
    // subscription waits for.
    if (TCVConfProvider::GetTvClockMode() == 0) {
        return;
    }
    const std::lock_guard<std::mutex> hold(m_subscriptionLock);
    if (m_subscriptionsClosed || m_timeModeSubscribed) {
        return;
    }
    SubscribeOnce(m_timeModeSubscribed, E_VCONF_TIME_MODE, this);
    DAK_LOG(dak::msg::kTimeModeSubscribed);
}

void TCSystemTimeManager::t_UnsubscribeTimeModeCallback()
{
    const std::lock_guard<std::mutex> hold(m_subscriptionLock);
    UnsubscribeIfHeld(m_timeModeSubscribed, E_VCONF_TIME_MODE, this);
}

void TCSystemTimeManager::t_SubscribePresentationTimeCallback()
{
    const std::lock_guard<std::mutex> hold(m_subscriptionLock);
    if (m_subscriptionsClosed || m_presentationTimeSubscribed) {
        return;
    }
    SubscribeOnce(m_presentationTimeSubscribed, E_VCONF_PRESENTATION_TIME, this);
    DAK_LOG(dak::msg::kPresentationSubscribed);
}

void TCSystemTimeManager::t_UnsubscribePresentationTimeCallback()
{
    const std::lock_guard<std::mutex> hold(m_subscriptionLock);
    UnsubscribeIfHeld(m_presentationTimeSubscribed, E_VCONF_PRESENTATION_TIME, this);
}

void TCSystemTimeManager::t_WithdrawSubscriptions(bool forGood) noexcept
{
    {
        const std::lock_guard<std::mutex> hold(m_subscriptionLock);
        m_subscriptionsClosed = true;  // nothing subscribes while they go
    }
    // A withdrawal that failed to allocate left its subscription (and its
    // flag) in place: it is tried once more, since a callback must never
    // reach a manager that is gone.
    for (int attempt = 0; attempt < 2; ++attempt) {
        t_Guarded([this] { t_UnsubscribeNetworkTimeCallback(); });
        t_Guarded([this] { t_UnsubscribeTimeModeCallback(); });
        t_Guarded([this] { t_UnsubscribePresentationTimeCallback(); });
    }
    if (!forGood) {
        const std::lock_guard<std::mutex> hold(m_subscriptionLock);
        m_subscriptionsClosed = false;
    }
}

void TCSystemTimeManager::OnVConfCallback(EVConfParam param, void* /*data*/)
{
    uint8_t payload[8] = {};
    switch (param) {
        case E_VCONF_NETWORK_TIME:
        case E_VCONF_TIME_MODE: {
            payload[0] = static_cast<uint8_t>(param);
            const bool sent = PostToSelf(EVENT_VCONF_CHANGED, payload);
            DAK_LOG(dak::msg::kSettingChanged, static_cast<int>(param), sent ? 1 : 0);
            break;
        }
        case E_VCONF_PRESENTATION_TIME: {
            payload[0] = static_cast<uint8_t>(param);
            const bool sent = PostToSelf(EVENT_PRESENTATION_TIME_CHANGED, payload);
            DAK_LOG(dak::msg::kPresentationChanged, static_cast<int>(param), sent ? 1 : 0);
            break;
        }
        default:
            break;
    }
}
