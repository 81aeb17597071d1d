// Setting the system time: what each failure leaves, what each applied type
// leaves behind, and client threads racing the task.

#include <atomic>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "test_manager_support.h"

using namespace mgrtest;

// Each failure: what the caller gets, what is logged, what survives.
struct FailureCase {
    const char* name;
    std::function<void()> arrange;  // after a quiet start
    ETimeSettingType type;
    uint32_t utc;
    bool posted;
    const char* line;  // null: nothing from SetSystemTime
    uint32_t clockAfter;
    int rtcWrites;
    size_t signals;
    int reasonAfter;
    ETypeOfAutoClock autoAfter;
};

// Printed as its name, so that the test's name is the same on every build.
void PrintTo(const FailureCase& c, std::ostream* out)
{
    *out << c.name;
}

class ManagerSetTimeFailure : public DakTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(ManagerSetTimeFailure, IsReportedAndLeavesTheRestAsItWas)
{
    const FailureCase& c = GetParam();
    StartQuiet();
    c.arrange();
    EXPECT_EQ(Mgr()->SetSystemTime(c.utc, c.type, false), c.posted);
    dakhost::WaitIdle();
    if (c.line != nullptr) {
        EXPECT_TRUE(HasLog(c.line)) << c.line;
    } else {
        EXPECT_FALSE(HasLog("SetSystemTime]"));
    }
    EXPECT_EQ(dakhost::PlatformClock(), c.clockAfter);
    EXPECT_EQ(dakhost::RtcWrites(), c.rtcWrites);
    EXPECT_EQ(dakhost::Signals().size(), c.signals);
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), c.reasonAfter);
    EXPECT_EQ(AutoClock(), c.autoAfter);
}

const auto kNothing = [] {};

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerSetTimeFailure,
    ::testing::Values(FailureCase{"TaskNotCreated", [] { TISystemTimeManager::Exit(); },
                                  SetType_stream, kT, false, "TCSystemTimeManager isn't Created",
                                  kStart, 0, 0, Reason_init, AutoType_max},
                      FailureCase{"At2100", kNothing, SetType_stream, 4102444800U, false,
                                  "is over the range", kStart, 0, 0, Reason_init, AutoType_max},
                      FailureCase{"Before2001", kNothing, SetType_stream, 978307199U, false,
                                  "is less than range", kStart, 0, 0, Reason_init, AutoType_max},
                      FailureCase{"ManualOnAutoUnderNet",
                                  [] { dakhost::SetSetting(Setting::Reason, Reason_net); },
                                  SetType_manual, kT, false,
                                  "not possible to set manual time on auto type", kStart, 0, 0,
                                  Reason_net, AutoType_max},
                      FailureCase{"SendRefused", [] { dakhost::FailSend(true); }, SetType_stream,
                                  kT, false, nullptr, kStart, 0, 0, Reason_init, AutoType_max},
                      FailureCase{"PlatformClockRefuses", [] { dakhost::FailClockSet(-5); },
                                  SetType_net, kT, true, "SetSystemClock UTC!failed, ret=-5",
                                  kStart, 0, 0, Reason_net, AutoType_max},
                      FailureCase{"RtcWriteFails", [] { dakhost::FailRtcWrite(true); }, SetType_net,
                                  kT, true, "[TCSystemTimeManager::t_SetRTCTime] set fail", kT, 0,
                                  1, Reason_net, AutoType_net},
                      FailureCase{"NoEventManager", [] { dakhost::SetEventManagerPresent(false); },
                                  SetType_stream, kT, true,
                                  "SIGNAL_BP_TIME_UPDATED, pEventMgr is NULL!!!", kT, 1, 0,
                                  Reason_stream, AutoType_stream}),
    [](const auto& param) { return std::string(param.param.name); });

// What an applied setting of each type leaves behind, in manual clock mode
// after a net setting, with the network time state watched and the clock mode
// watched or not.
struct FollowCase {
    const char* name;
    int type;
    bool modeWatchedBefore;
    bool rtcWritten;
    ETypeOfAutoClock autoAfter;
    bool networkWatched;
    bool modeWatched;
};

// Printed as its name, so that the test's name is the same on every build.
void PrintTo(const FollowCase& c, std::ostream* out)
{
    *out << c.name;
}

class ManagerFollowSource : public DakTest, public ::testing::WithParamInterface<FollowCase> {};

TEST_P(ManagerFollowSource, HardwareClockAutoClockSubscriptionsAndSignal)
{
    const FollowCase& c = GetParam();
    StartQuiet();
    EXPECT_TRUE(Mgr()->SetSystemTimeByNetworkTime());  // no network time: watches its state
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_net, false));
    dakhost::WaitIdle();
    dakhost::SetSetting(Setting::ClockMode, 1);
    if (c.modeWatchedBefore) {
        EXPECT_FALSE(Mgr()->SetSystemTimeByNetworkTime());  // manual clock: watches the mode
    }
    dakhost::WaitIdle();
    ASSERT_EQ(dakhost::IsSubscribed(2), c.modeWatchedBefore);
    const int autoWrites = WriteCount(Setting::AutoClockType);

    ASSERT_TRUE(Mgr()->SetSystemTime(kT + 60, static_cast<ETimeSettingType>(c.type), false));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::PlatformClock(), kT + 60);
    EXPECT_EQ(dakhost::Rtc(), c.rtcWritten ? kT + 60 : kT);
    EXPECT_EQ(AutoClock(), c.autoAfter);
    EXPECT_EQ(WriteCount(Setting::AutoClockType), autoWrites + 1);  // stored even if unchanged
    EXPECT_EQ(dakhost::GetSetting(Setting::AutoClockType), c.autoAfter);
    EXPECT_EQ(dakhost::IsSubscribed(1), c.networkWatched);
    EXPECT_EQ(dakhost::IsSubscribed(2), c.modeWatched);
    ASSERT_EQ(dakhost::Signals().size(), 2U);
    EXPECT_EQ(SignalType(1), c.type & 0xFFFF);
    const auto record = dakhost::Signals()[1];
    EXPECT_EQ(std::vector<int>(record.param + 8, record.param + 16), std::vector<int>(8, 0xFF));
}

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerFollowSource,
    ::testing::Values(FollowCase{"Stream", 1, true, true, AutoType_stream, false, false},
                      FollowCase{"Net", 2, false, true, AutoType_net, true, true},
                      FollowCase{"SyncKeepsWatch", 5, true, false, AutoType_net, true, true},
                      FollowCase{"SyncAddsNoWatch", 5, false, false, AutoType_net, true, false},
                      FollowCase{"Init", 6, false, false, AutoType_max, true, true},
                      FollowCase{"Manual", 0, false, true, AutoType_max, true, true},
                      FollowCase{"Netfail", 4, false, true, AutoType_max, true, true},
                      FollowCase{"FactoryReset", 7, false, true, AutoType_max, true, true},
                      FollowCase{"Unassigned", 3, false, true, AutoType_max, true, true},
                      FollowCase{"Negative", -1, false, true, AutoType_max, true, true}),
    [](const auto& param) { return std::string(param.param.name); });

// Client threads read the auto clock type and ask for network time (which
// subscribes) while the task applies stream settings (which unsubscribe):
// the platform sees the network-time subscription strictly alternate.
class ManagerConcurrency : public DakTest {};

TEST_F(ManagerConcurrency, ClientsSeeWholeValuesAndSubscriptionsAlternate)
{
    StartQuiet();
    dakhost::SetLogLevel(0);  // thousands of calls: keep neither time nor memory for lines
    dakhost::SetSetting(Setting::NetworkSet, 1);
    std::atomic<bool> bad{false};
    std::atomic<int> rounds{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < 2; ++i) {
        clients.emplace_back([&bad, &rounds] {
            for (int n = 0; n < 3000 && rounds < 100; ++n) {
                const ETypeOfAutoClock type = AutoClock();
                bad = bad || type < AutoType_stream || type > AutoType_max;
                (void)Mgr()->SetSystemTimeByNetworkTime();
            }
        });
    }
    for (int n = 0; n < 100; ++n) {
        (void)Mgr()->SetSystemTime(kT, SetType_net, false);
        dakhost::WaitIdle();  // network time allowed again until the stream setting lands
        (void)Mgr()->SetSystemTime(kT, SetType_stream, false);
        ++rounds;
    }
    for (auto& client : clients) {
        client.join();
    }
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_stream, false));
    dakhost::WaitIdle();
    EXPECT_FALSE(bad);
    EXPECT_FALSE(dakhost::IsSubscribed(1));
    bool expectSubscribe = true;
    for (const auto& call : dakhost::SubscriptionCalls()) {
        if (call.param == 1) {
            ASSERT_EQ(call.subscribe, expectSubscribe);
            expectSubscribe = !expectSubscribe;
        }
    }
}
