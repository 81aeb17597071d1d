// The host platform's settings-change callbacks: who is called back, and
// UnSubscribe() guaranteeing that no callback runs after it returns.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "DakHostControl.h"
#include "IVConfCallbackSubscriber.h"
#include "TCVConfCallbackManager.h"

namespace {

class Subscriber : public IVConfCallbackSubscriber {
public:
    void OnVConfCallback(EVConfParam param, void* /*data*/) override
    {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_params.push_back(param);
        }
        if (onCall) {
            onCall();
        }
    }
    std::vector<int> Params()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_params;
    }
    std::function<void()> onCall;

private:
    std::mutex m_lock;
    std::vector<int> m_params;
};

class HostProviders : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::SetLogToStderr(false);
    }
};

TEST_F(HostProviders, WatchedSettingsCallTheirSubscribersOnEveryWrite)
{
    Subscriber subscriber;
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_PRESENTATION_TIME,
                                      &subscriber);
    dakhost::SetSetting(dakhost::Setting::ClockMode, 1);
    dakhost::SetSetting(dakhost::Setting::ClockMode, 1);   // unchanged, called again
    dakhost::SetSetting(dakhost::Setting::NetworkSet, 1);  // nobody watches it
    dakhost::SetSetting(dakhost::Setting::Presentation, 5);
    dakhost::SetSetting(dakhost::Setting::TimeZone, 5);  // never watched
    EXPECT_EQ(subscriber.Params(), (std::vector<int>{2, 2, 3}));

    TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    dakhost::SetSetting(dakhost::Setting::ClockMode, 0);
    dakhost::SetSetting(dakhost::Setting::Presentation, 6);
    EXPECT_EQ(subscriber.Params(), (std::vector<int>{2, 2, 3, 3}));
}

TEST_F(HostProviders, UnsubscribeWaitsForACallbackInFlight)
{
    Subscriber subscriber;
    std::promise<void> entered;
    std::promise<void> release;
    std::future<void> released = release.get_future();
    std::atomic<bool> callbackDone{false};
    subscriber.onCall = [&] {
        entered.set_value();
        released.wait();
        callbackDone = true;
    };
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_NETWORK_TIME, &subscriber);
    std::thread writer([] { dakhost::SetSetting(dakhost::Setting::NetworkSet, 1); });
    entered.get_future().wait();

    bool doneWhenUnsubscribed = false;
    std::thread unsubscriber([&] {
        TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::E_VCONF_NETWORK_TIME,
                                            &subscriber);
        doneWhenUnsubscribed = callbackDone.load();
    });
    release.set_value();
    unsubscriber.join();
    writer.join();
    EXPECT_TRUE(doneWhenUnsubscribed);
    dakhost::SetSetting(dakhost::Setting::NetworkSet, 0);
    EXPECT_EQ(subscriber.Params().size(), 1U);
}

}  // namespace
