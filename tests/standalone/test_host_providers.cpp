// The host platform's providers: settings store and change callbacks,
// factory options, object factory, agents, event manager, date conversion,
// platform clock, and what Reset() restores.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <mutex>
#include <thread>
#include <vector>

#include "BPTime.h"
#include "DakHostControl.h"
#include "IVConfCallbackSubscriber.h"
#include "TCAgentMgr.h"
#include "TCFactoryProvider.h"
#include "TCObjectFactory.h"
#include "TCPowerTvProvider.h"
#include "TCTimeUtility.h"
#include "TCVConfCallbackManager.h"
#include "TCVConfProvider.h"
#include "TIEventManager.h"

namespace {

using Param = IVConfCallbackSubscriber::EVConfParam;

class HostProviders : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::SetLogToStderr(false);
    }
};

class Gate {
public:
    void Open()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_open = true;
        m_changed.notify_all();
    }
    void Wait()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_open = false;
};

class Subscriber : public IVConfCallbackSubscriber {
public:
    void OnVConfCallback(EVConfParam param, void* /*data*/) override
    {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_calls.push_back({param, std::this_thread::get_id()});
        }
        if (onCall) {
            onCall(param);
        }
    }
    struct Call {
        int param;
        std::thread::id thread;
    };
    std::vector<Call> Calls()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_calls;
    }
    std::vector<int> Params()
    {
        std::vector<int> params;
        for (const Call& call : Calls()) {
            params.push_back(call.param);
        }
        return params;
    }
    std::function<void(EVConfParam)> onCall;

private:
    std::mutex m_lock;
    std::vector<Call> m_calls;
};

// ---- settings store ------------------------------------------------------------------

TEST_F(HostProviders, SettingsStartAtZeroAndLibraryWritesAreRecorded)
{
    EXPECT_EQ(TCVConfProvider::GetTimeSettingReason(), Reason_init);
    EXPECT_EQ(TCVConfProvider::GetFlagDST(), 0);
    EXPECT_EQ(TCVConfProvider::GetTvTimeOffset(), 0);
    EXPECT_EQ(TCVConfProvider::GetTvClockMode(), 0);
    EXPECT_EQ(TCVConfProvider::GetTvTimeZone(), 0);
    EXPECT_FALSE(TCVConfProvider::IsNetworkSet());
    EXPECT_EQ(TCVConfProvider::GetFirstSTTTime(), 0);

    TCVConfProvider::SetTimeSettingReason(Reason_stream);
    TCVConfProvider::SetTvTimeOffset(-300);
    TCVConfProvider::SetAutoClockType(AutoType_max);
    TCVConfProvider::SetFlagDST(1);
    TCVConfProvider::SetFirstSTTTime(1709633045);
    EXPECT_EQ(TCVConfProvider::GetTimeSettingReason(), Reason_stream);
    EXPECT_EQ(TCVConfProvider::GetTvTimeOffset(), -300);
    EXPECT_EQ(dakhost::GetSetting(dakhost::Setting::AutoClockType), 2);
    EXPECT_EQ(TCVConfProvider::GetFirstSTTTime(), 1709633045);

    const auto writes = dakhost::SettingWrites();
    ASSERT_EQ(writes.size(), 5U);
    EXPECT_EQ(writes[0].setting, dakhost::Setting::Reason);
    EXPECT_EQ(writes[0].value, 3);
    EXPECT_EQ(writes[2].setting, dakhost::Setting::AutoClockType);
    EXPECT_EQ(writes[4].setting, dakhost::Setting::FirstStt);

    // The platform's own writes are values, not library writes.
    dakhost::SetSetting(dakhost::Setting::TimeZone, 7);
    dakhost::SetSetting(dakhost::Setting::NetworkSet, 1);
    EXPECT_EQ(TCVConfProvider::GetTvTimeZone(), 7);
    EXPECT_TRUE(TCVConfProvider::IsNetworkSet());
    EXPECT_EQ(dakhost::SettingWrites().size(), 5U);
}

TEST_F(HostProviders, WatchedSettingsCallTheirSubscribersOnEveryWrite)
{
    Subscriber subscriber;
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_PRESENTATION_TIME,
                                      &subscriber);
    EXPECT_TRUE(dakhost::IsSubscribed(2));
    EXPECT_TRUE(dakhost::IsSubscribed(3));
    EXPECT_FALSE(dakhost::IsSubscribed(1));

    dakhost::SetSetting(dakhost::Setting::ClockMode, 1);
    dakhost::SetSetting(dakhost::Setting::ClockMode, 1);   // unchanged, called again
    dakhost::SetSetting(dakhost::Setting::NetworkSet, 1);  // nobody watches it
    dakhost::SetSetting(dakhost::Setting::Presentation, 5);
    dakhost::SetSetting(dakhost::Setting::TimeZone, 5);  // not a watched setting
    EXPECT_EQ(subscriber.Params(), (std::vector<int>{2, 2, 3}));
    for (const auto& call : subscriber.Calls()) {
        EXPECT_EQ(call.thread, std::this_thread::get_id());
    }

    TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    EXPECT_FALSE(dakhost::IsSubscribed(2));
    dakhost::SetSetting(dakhost::Setting::ClockMode, 0);
    EXPECT_EQ(subscriber.Params().size(), 3U);

    const auto calls = dakhost::SubscriptionCalls();
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_EQ(calls[0].param, 2);
    EXPECT_TRUE(calls[0].subscribe);
    EXPECT_EQ(calls[1].param, 3);
    EXPECT_EQ(calls[2].param, 2);
    EXPECT_FALSE(calls[2].subscribe);
    EXPECT_EQ(calls[2].subscriber, &subscriber);
}

TEST_F(HostProviders, UnsubscribeWaitsForACallbackInFlight)
{
    Subscriber subscriber;
    Gate entered;
    Gate release;
    std::atomic<bool> callbackDone{false};
    subscriber.onCall = [&](Param) {
        entered.Open();
        release.Wait();
        callbackDone = true;
    };
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_NETWORK_TIME, &subscriber);
    std::thread writer([] { dakhost::SetSetting(dakhost::Setting::NetworkSet, 1); });
    entered.Wait();

    bool doneWhenUnsubscribed = false;
    std::thread unsubscriber([&] {
        TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::E_VCONF_NETWORK_TIME,
                                            &subscriber);
        doneWhenUnsubscribed = callbackDone.load();
    });
    release.Open();
    unsubscriber.join();
    writer.join();
    EXPECT_TRUE(doneWhenUnsubscribed);
    dakhost::SetSetting(dakhost::Setting::NetworkSet, 0);
    EXPECT_EQ(subscriber.Params().size(), 1U);
}

TEST_F(HostProviders, CallbackMaySubscribeAndUnsubscribeItself)
{
    Subscriber subscriber;
    subscriber.onCall = [&](Param param) {
        TCVConfCallbackManager::UnSubscribe(param, &subscriber);
        TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_PRESENTATION_TIME,
                                          &subscriber);
        EXPECT_TRUE(dakhost::IsSubscribed(3));
    };
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    dakhost::SetSetting(dakhost::Setting::ClockMode, 1);
    dakhost::SetSetting(dakhost::Setting::ClockMode, 1);
    EXPECT_EQ(subscriber.Params(), std::vector<int>{2});
    EXPECT_FALSE(dakhost::IsSubscribed(2));
    EXPECT_TRUE(dakhost::IsSubscribed(3));
}

TEST_F(HostProviders, ConcurrentWritesAndSubscriptionChangesStaySafe)
{
    Subscriber subscriber;
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop.load()) {
            dakhost::SetSetting(dakhost::Setting::ClockMode, 1);
        }
    });
    for (int round = 0; round < 500; ++round) {
        TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
        TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE,
                                            &subscriber);
        const size_t seen = subscriber.Calls().size();
        // Unsubscribed: no callback may start any more.
        EXPECT_EQ(subscriber.Calls().size(), seen);
    }
    stop = true;
    writer.join();
}

// ---- options, power, factory ------------------------------------------------------------------

TEST_F(HostProviders, FactoryOptionIsUnreadableUntilSet)
{
    TCFactoryProvider provider;
    int value = -1;
    EXPECT_FALSE(provider.GetOption(TCFactoryProvider::E_OPTION_RTC_DIRECTION, &value));
    dakhost::SetFactoryOption(24, 4);
    EXPECT_TRUE(provider.GetOption(TCFactoryProvider::E_OPTION_RTC_DIRECTION, &value));
    EXPECT_EQ(value, 4);
    dakhost::SetFactoryOption(24, std::nullopt);
    EXPECT_FALSE(provider.GetOption(TCFactoryProvider::E_OPTION_RTC_DIRECTION, &value));
}

TEST_F(HostProviders, PowerFollowsTheControl)
{
    EXPECT_TRUE(TCPowerTvProvider::IsMasterPowerOn());
    dakhost::SetMasterPower(false);
    EXPECT_FALSE(TCPowerTvProvider::IsMasterPowerOn());
}

class TestFactory : public TCObjectFactory {
public:
    TITimeProductHelper* GetTimeProductHelper() override { return nullptr; }
};

TEST_F(HostProviders, ObjectFactoryIsTheSelectedRegionsOne)
{
    TestFactory usa;
    TestFactory jpn;
    dakhost::InstallObjectFactory(dakhost::Region::USA, &usa);
    dakhost::InstallObjectFactory(dakhost::Region::JPN, &jpn);
    dakhost::SelectObjectFactory(dakhost::Region::USA);
    EXPECT_EQ(TCObjectFactory::GetInstance(), &usa);
    dakhost::SelectObjectFactory(dakhost::Region::JPN);
    EXPECT_EQ(TCObjectFactory::GetInstance(), &jpn);
    dakhost::SelectObjectFactory(dakhost::Region::None);
    EXPECT_EQ(TCObjectFactory::GetInstance(), nullptr);
    dakhost::InstallObjectFactory(dakhost::Region::USA, nullptr);
    dakhost::InstallObjectFactory(dakhost::Region::JPN, nullptr);
}

// ---- agents, event manager
// ------------------------------------------------------------------------

TIAgent* Agent(int32_t type)
{
    TSAgentInstanceKey key;
    key.agentType = type;
    return TCAgentMgr::Instance()->m_Instance(key);
}

TEST_F(HostProviders, TimeZoneAgentFollowsItsMode)
{
    EXPECT_EQ(Agent(AGENT_TYPE_TIME_ZONE_OFFSET), nullptr);

    dakhost::SetTimeZoneAgent(dakhost::AgentMode::Answer, {{5, 540}, {6, -180}});
    auto* agent = dynamic_cast<TITimeZoneOffsetAgent*>(Agent(AGENT_TYPE_TIME_ZONE_OFFSET));
    ASSERT_NE(agent, nullptr);
    int offset = 0;
    EXPECT_TRUE(agent->GetTimeZoneOffset(5, &offset));
    EXPECT_EQ(offset, 540);
    EXPECT_TRUE(agent->GetTimeZoneOffset(6, &offset));
    EXPECT_EQ(offset, -180);
    offset = 0;
    EXPECT_FALSE(agent->GetTimeZoneOffset(7, &offset));
    EXPECT_EQ(offset, 0);

    dakhost::SetTimeZoneAgent(dakhost::AgentMode::Refuse);
    agent = dynamic_cast<TITimeZoneOffsetAgent*>(Agent(AGENT_TYPE_TIME_ZONE_OFFSET));
    ASSERT_NE(agent, nullptr);
    EXPECT_FALSE(agent->GetTimeZoneOffset(5, &offset));

    dakhost::SetTimeZoneAgent(dakhost::AgentMode::Other);
    TIAgent* other = Agent(AGENT_TYPE_TIME_ZONE_OFFSET);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(dynamic_cast<TITimeZoneOffsetAgent*>(other), nullptr);
    EXPECT_EQ(dynamic_cast<TITimeUpdateAgent*>(other), nullptr);
}

TEST_F(HostProviders, TimeUpdateAgentAllowsOrDenies)
{
    EXPECT_EQ(Agent(AGENT_TYPE_TIME_UPDATE), nullptr);
    dakhost::SetTimeUpdateAgent(dakhost::AgentMode::Answer);
    auto* agent = dynamic_cast<TITimeUpdateAgent*>(Agent(AGENT_TYPE_TIME_UPDATE));
    ASSERT_NE(agent, nullptr);
    EXPECT_TRUE(agent->IsUpdateSystemTime(DAKHandle{}));
    dakhost::SetTimeUpdateAgent(dakhost::AgentMode::Refuse);
    EXPECT_FALSE(agent->IsUpdateSystemTime(DAKHandle{}));
    dakhost::SetTimeUpdateAgent(dakhost::AgentMode::Other);
    EXPECT_EQ(dynamic_cast<TITimeUpdateAgent*>(Agent(AGENT_TYPE_TIME_UPDATE)), nullptr);
    EXPECT_EQ(Agent(12), nullptr);
}

TEST_F(HostProviders, RegistryReadHoldsAreCounted)
{
    TCRWLock& lock = TCAgentMgr::Instance()->m_agentLock;
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
    lock.RLock();
    std::thread([&lock] {
        const TCReadGuard guard(lock);  // readers share the lock
        EXPECT_EQ(dakhost::AgentReadHolds(), 2);
    }).join();
    EXPECT_EQ(dakhost::AgentReadHolds(), 1);
    lock.RUnlock();
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
}

TEST_F(HostProviders, EventManagerCopiesTheSignalRecord)
{
    TIEventManager* manager = TIEventManager::Instance();
    ASSERT_NE(manager, nullptr);
    uint8_t param[16] = {};
    param[0] = 2;
    const int64_t minusOne = -1;
    std::memcpy(param + 8, &minusOne, sizeof minusOne);
    EXPECT_TRUE(manager->SendSignal(SIGNAL_SYSTEM_TIME_UPDATED, param, 0));
    param[0] = 9;  // the caller's record is gone after the call

    const auto signals = dakhost::Signals();
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].signalId, 108);
    EXPECT_EQ(signals[0].param[0], 2);
    EXPECT_EQ(signals[0].param[15], 0xFF);
    EXPECT_EQ(signals[0].flags, 0);

    dakhost::SetEventManagerPresent(false);
    EXPECT_EQ(TIEventManager::Instance(), nullptr);
}

// ---- date conversion, platform clock
// ----------------------------------------------------------------

struct Civil {
    int year;
    int month;  // 0-11
    int day;
    int hour;
    int minute;
    int second;
    int weekday;
    int yearday;
};

Civil ToDate(unsigned long utc)
{
    tm date{};
    EXPECT_TRUE(TCTimeUtility().BinaryToDate(utc, &date));
    return {date.tm_year + 1900, date.tm_mon, date.tm_mday, date.tm_hour,
            date.tm_min,         date.tm_sec, date.tm_wday, date.tm_yday};
}

TEST_F(HostProviders, BinaryToDateCoversTheWholeUnsignedRange)
{
    const Civil epoch = ToDate(0);
    EXPECT_EQ(epoch.year, 1970);
    EXPECT_EQ(epoch.weekday, 4);

    const Civil leapDay = ToDate(951782400);
    EXPECT_EQ(leapDay.year, 2000);
    EXPECT_EQ(leapDay.month, 1);
    EXPECT_EQ(leapDay.day, 29);
    EXPECT_EQ(leapDay.yearday, 59);

    // Past 2038, where a 32-bit time_t has long overflowed.
    const Civil past2038 = ToDate(2147483648UL);
    EXPECT_EQ(past2038.year, 2038);
    EXPECT_EQ(past2038.month, 0);
    EXPECT_EQ(past2038.day, 19);
    EXPECT_EQ(past2038.hour, 3);
    EXPECT_EQ(past2038.minute, 14);
    EXPECT_EQ(past2038.second, 8);

    const Civil lastOf2099 = ToDate(4102444799UL);
    EXPECT_EQ(lastOf2099.year, 2099);
    EXPECT_EQ(lastOf2099.month, 11);
    EXPECT_EQ(lastOf2099.day, 31);
    EXPECT_EQ(lastOf2099.second, 59);
    const Civil first2100 = ToDate(4102444800UL);
    EXPECT_EQ(first2100.year, 2100);
    // 2100 is not a leap year: 1 March follows 28 February.
    const Civil march2100 = ToDate(4102444800UL + 59UL * 86400UL);
    EXPECT_EQ(march2100.month, 2);
    EXPECT_EQ(march2100.day, 1);

    const Civil last = ToDate(4294967295UL);
    EXPECT_EQ(last.year, 2106);
    EXPECT_EQ(last.month, 1);
    EXPECT_EQ(last.day, 7);
    EXPECT_EQ(last.hour, 6);
    EXPECT_EQ(last.minute, 28);
    EXPECT_EQ(last.second, 15);
    EXPECT_EQ(last.weekday, 0);

    if (sizeof(time_t) == 8) {
        // Where the C library can, it agrees over the whole range.
        for (uint64_t utc = 0; utc <= 0xFFFFFFFFULL; utc += 7654321ULL) {
            const auto seconds = static_cast<time_t>(utc);
            tm expected{};
            ASSERT_NE(gmtime_r(&seconds, &expected), nullptr);
            const Civil got = ToDate(static_cast<unsigned long>(utc));
            ASSERT_EQ(got.year, expected.tm_year + 1900) << utc;
            ASSERT_EQ(got.month, expected.tm_mon) << utc;
            ASSERT_EQ(got.day, expected.tm_mday) << utc;
            ASSERT_EQ(got.hour, expected.tm_hour) << utc;
            ASSERT_EQ(got.second, expected.tm_sec) << utc;
            ASSERT_EQ(got.weekday, expected.tm_wday) << utc;
            ASSERT_EQ(got.yearday, expected.tm_yday) << utc;
        }
    }
    EXPECT_FALSE(TCTimeUtility().BinaryToDate(0, nullptr));
}

TEST_F(HostProviders, PlatformClockFaultsReturnTheirCode)
{
    unsigned long utc = 0;
    EXPECT_EQ(BPTime_get_current_time(&utc), 0);
    EXPECT_EQ(utc, 1704067200UL);
    EXPECT_EQ(BPTime_set_current_time(1709633045UL), 0);
    EXPECT_EQ(dakhost::PlatformClock(), 1709633045U);

    dakhost::FailClockGet(-7);
    utc = 1;
    EXPECT_EQ(BPTime_get_current_time(&utc), -7);
    EXPECT_EQ(utc, 1UL);
    dakhost::FailClockSet(3);
    EXPECT_EQ(BPTime_set_current_time(1800000000UL), 3);
    EXPECT_EQ(dakhost::PlatformClock(), 1709633045U);
    dakhost::FailClockGet(0);
    dakhost::FailClockSet(0);
    EXPECT_EQ(BPTime_set_current_time(4294967295UL), 0);
    EXPECT_EQ(BPTime_get_current_time(&utc), 0);
    EXPECT_EQ(utc, 4294967295UL);
}

// ---- reset
// ------------------------------------------------------------------------------------------

TEST_F(HostProviders, ResetRestoresTheInitialState)
{
    Subscriber subscriber;
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    TCVConfProvider::SetFlagDST(1);
    dakhost::SetSetting(dakhost::Setting::ClockMode, 1);
    dakhost::SetFactoryOption(24, 4);
    dakhost::SetMasterPower(false);
    dakhost::SelectObjectFactory(dakhost::Region::None);
    dakhost::SetTimeZoneAgent(dakhost::AgentMode::Refuse);
    dakhost::SetEventManagerPresent(false);
    dakhost::SetPlatformClock(5);
    dakhost::FailClockSet(1);
    setenv("TZ", "KST-9", 1);
    const int registered = dakhost::RegisterCalls();

    dakhost::Reset();

    EXPECT_EQ(TCVConfProvider::GetFlagDST(), 0);
    EXPECT_EQ(TCVConfProvider::GetTvClockMode(), 0);
    EXPECT_TRUE(dakhost::SettingWrites().empty());
    EXPECT_TRUE(dakhost::SubscriptionCalls().empty());
    EXPECT_FALSE(dakhost::IsSubscribed(2));
    dakhost::SetSetting(dakhost::Setting::ClockMode, 0);
    EXPECT_EQ(subscriber.Params().size(), 1U);  // a leftover subscriber is dropped
    int value = 0;
    EXPECT_FALSE(TCFactoryProvider().GetOption(TCFactoryProvider::E_OPTION_RTC_DIRECTION, &value));
    EXPECT_TRUE(TCPowerTvProvider::IsMasterPowerOn());
    EXPECT_EQ(Agent(AGENT_TYPE_TIME_ZONE_OFFSET), nullptr);
    EXPECT_NE(TIEventManager::Instance(), nullptr);
    EXPECT_TRUE(dakhost::Signals().empty());
    EXPECT_EQ(dakhost::PlatformClock(), 1704067200U);
    EXPECT_EQ(dakhost::Rtc(), 1704067200);
    EXPECT_EQ(BPTime_set_current_time(1704067201UL), 0);
    EXPECT_STREQ(getenv("TZ"), "UTC0");
    EXPECT_EQ(timezone, 0);
    // No library of this process was loaded: nothing stays registered.
    EXPECT_EQ(dakhost::RegisterCalls(), 0);
    EXPECT_LE(dakhost::RegisterCalls(), registered);
    EXPECT_EQ(dakhost::DeregisterCalls(), 0);
}

}  // namespace
