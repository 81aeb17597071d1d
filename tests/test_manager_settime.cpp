// Setting and reading the system time: the checks on the caller's thread, the
// application on the task, and the broadcast offset of a stream setting.

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "test_manager_support.h"

using namespace mgrtest;
using dakhost::Via;
using daktest::CountLogs;
using daktest::HasLog;

namespace {
constexpr int kPrint = static_cast<int>(Via::Print);
constexpr int kPrintF = static_cast<int>(Via::PrintF);
constexpr uint32_t kStart = 1704067200U;  // 2024-01-01: both clocks after a reset
constexpr uint32_t kT = 1709632800U;      // 2024-03-05T10:00:00Z
}  // namespace

class ManagerSetTime : public DakTest {};

TEST_F(ManagerSetTime, RangeIsFrom2001UpTo2100)
{
    StartQuiet();
    EXPECT_TRUE(Mgr()->SetSystemTime(978307200UL, SetType_stream, false));
    EXPECT_TRUE(Mgr()->SetSystemTime(4102444799UL, SetType_stream, false));
    EXPECT_FALSE(Mgr()->SetSystemTime(978307199UL, SetType_stream, false));
    EXPECT_TRUE(HasLog("SetSystemTime UTC 978307199 is less than range", 4, kPrintF));
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::SetSystemTime] UTC 978307199 is less than range 978307200", 4,
               kPrint));
    EXPECT_FALSE(Mgr()->SetSystemTime(4102444800UL, SetType_stream, false));
    EXPECT_TRUE(HasLog("SetSystemTime UTC 4102444800 is over the range", 4, kPrintF));
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::SetSystemTime] UTC 4102444800 is over the range 4102444800",
               4, kPrint));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::PlatformClock(), 4102444799U);
    EXPECT_EQ(dakhost::Signals().size(), 2U);
}

// Each failure: what the caller gets, what is logged, what survives.
struct FailureCase {
    const char* name;
    std::function<void()> arrange;
    bool init;
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

class ManagerSetTimeFailure : public DakTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(ManagerSetTimeFailure, IsReportedAndLeavesTheRestAsItWas)
{
    const FailureCase& c = GetParam();
    if (c.init) {
        StartQuiet();
    }
    c.arrange();
    const int writesBefore = dakhost::RtcWrites();
    EXPECT_EQ(Mgr()->SetSystemTime(c.utc, c.type, false), c.posted);
    dakhost::WaitIdle();
    if (c.line != nullptr) {
        EXPECT_TRUE(HasLog(c.line)) << c.line;
    } else {
        EXPECT_FALSE(HasLog("SetSystemTime]"));
    }
    EXPECT_EQ(dakhost::PlatformClock(), c.clockAfter);
    EXPECT_EQ(dakhost::RtcWrites() - writesBefore, c.rtcWrites);
    EXPECT_EQ(dakhost::Signals().size(), c.signals);
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), c.reasonAfter);
    ETypeOfAutoClock autoType = AutoType_stream;
    EXPECT_TRUE(Mgr()->GetAutoClockType(autoType));
    EXPECT_EQ(autoType, c.autoAfter);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerSetTimeFailure,
    ::testing::Values(
        FailureCase{"TaskNotCreated", [] {}, false, SetType_stream, kT, false,
                    "TCSystemTimeManager isn't Created", kStart, 0, 0, Reason_init, AutoType_max},
        FailureCase{"At2100", [] {}, true, SetType_stream, 4102444800U, false, "is over the range",
                    kStart, 0, 0, Reason_init, AutoType_max},
        FailureCase{"Before2001", [] {}, true, SetType_stream, 978307199U, false,
                    "is less than range", kStart, 0, 0, Reason_init, AutoType_max},
        FailureCase{"ManualOnAutoUnderNet",
                    [] { dakhost::SetSetting(Setting::Reason, Reason_net); }, true, SetType_manual,
                    kT, false,
                    "[TCSystemTimeManager::SetSystemTime]  not possible to set manual time on "
                    "auto type",
                    kStart, 0, 0, Reason_net, AutoType_max},
        FailureCase{"SendRefused", [] { dakhost::FailSend(true); }, true, SetType_stream, kT, false,
                    nullptr, kStart, 0, 0, Reason_init, AutoType_max},
        FailureCase{"PlatformClockRefuses", [] { dakhost::FailClockSet(-5); }, true, SetType_net,
                    kT, true,
                    "[[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock UTC!failed, ret=-5",
                    kStart, 0, 0, Reason_net, AutoType_max},
        FailureCase{"RtcWriteFails", [] { dakhost::FailRtcWrite(true); }, true, SetType_net, kT,
                    true, "[TCSystemTimeManager::t_SetRTCTime] set fail", kT, 0, 1, Reason_net,
                    AutoType_net},
        FailureCase{"NoEventManager", [] { dakhost::SetEventManagerPresent(false); }, true,
                    SetType_stream, kT, true,
                    "TCSystemTimeManager::t_SetSystemTime send SIGNAL_BP_TIME_UPDATED, pEventMgr "
                    "is NULL!!!",
                    kT, 1, 0, Reason_stream, AutoType_stream}),
    [](const auto& param) { return std::string(param.param.name); });

// What an applied setting of each type leaves behind, in manual clock mode so
// that the clock-mode subscription shows.
struct FollowCase {
    const char* name;
    int type;
    bool rtcWritten;
    ETypeOfAutoClock autoAfter;
    bool timeModeSubscribed;
};

class ManagerFollowSource : public DakTest, public ::testing::WithParamInterface<FollowCase> {};

TEST_P(ManagerFollowSource, AutoClockSubscriptionsHardwareClockAndSignal)
{
    const FollowCase& c = GetParam();
    StartQuiet();
    dakhost::SetSetting(Setting::ClockMode, 1);
    const int autoWrites = WriteCount(Setting::AutoClockType);

    ASSERT_TRUE(Mgr()->SetSystemTime(kT, static_cast<ETimeSettingType>(c.type), false));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::PlatformClock(), kT);
    EXPECT_EQ(dakhost::Rtc(), c.rtcWritten ? kT : kStart);
    ETypeOfAutoClock autoType = AutoType_stream;
    Mgr()->GetAutoClockType(autoType);
    EXPECT_EQ(autoType, c.autoAfter);
    EXPECT_EQ(WriteCount(Setting::AutoClockType), autoWrites + 1);  // stored even if unchanged
    EXPECT_EQ(dakhost::GetSetting(Setting::AutoClockType), c.autoAfter);
    EXPECT_EQ(dakhost::IsSubscribed(2), c.timeModeSubscribed);
    ASSERT_EQ(dakhost::Signals().size(), 1U);
    EXPECT_EQ(SignalType(0), c.type & 0xFFFF);
    const auto signals = dakhost::Signals();
    const auto& record = signals[0];
    for (int i = 2; i < 8; ++i) {
        EXPECT_EQ(record.param[i], 0) << i;
    }
    for (int i = 8; i < 16; ++i) {
        EXPECT_EQ(record.param[i], 0xFF) << i;
    }
    EXPECT_EQ(record.flags, 0);
    EXPECT_TRUE(HasLog("SetSystemClock \033[1;36m UTC = 1709632800, ", 1, kPrint));
}

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerFollowSource,
    ::testing::Values(FollowCase{"Stream", SetType_stream, true, AutoType_stream, false},
                      FollowCase{"Net", SetType_net, true, AutoType_net, true},
                      FollowCase{"Sync", SetType_sync, false, AutoType_max, false},
                      FollowCase{"Init", SetType_init, false, AutoType_max, true},
                      FollowCase{"Manual", SetType_manual, true, AutoType_max, true},
                      FollowCase{"Netfail", SetType_netfail, true, AutoType_max, true},
                      FollowCase{"FactoryReset", SetType_facotryreset, true, AutoType_max, true},
                      FollowCase{"Unassigned", 3, true, AutoType_max, true},
                      FollowCase{"Negative", -1, true, AutoType_max, true}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(ManagerSetTime, StreamDropsNetworkAndClockModeSubscriptions)
{
    StartQuiet();
    dakhost::SetSetting(Setting::NetworkSet, 1);
    ASSERT_TRUE(Mgr()->SetSystemTimeByNetworkTime());  // subscribes the network time state
    dakhost::WaitIdle();
    dakhost::SetSetting(Setting::ClockMode, 1);
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_manual, false));  // subscribes the clock mode
    dakhost::WaitIdle();
    ASSERT_TRUE(dakhost::IsSubscribed(1));
    ASSERT_TRUE(dakhost::IsSubscribed(2));

    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_stream, false));
    dakhost::WaitIdle();
    EXPECT_FALSE(dakhost::IsSubscribed(1));
    EXPECT_FALSE(dakhost::IsSubscribed(2));
    EXPECT_TRUE(dakhost::IsSubscribed(3));
    EXPECT_EQ(SubscriptionCallCount(1, true), 1);
    EXPECT_EQ(SubscriptionCallCount(2, true), 1);
}

TEST_F(ManagerSetTime, GetSystemTimeReadsThePlatformClockOrLeavesTheValue)
{
    unsigned long utc = 7;
    EXPECT_TRUE(Mgr()->GetSystemTime(utc));  // works before start-up
    EXPECT_EQ(utc, kStart);
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::GetSystemTime]  UTC = 1704067200", 4), 2);

    dakhost::FailClockGet(7);
    utc = 42;
    EXPECT_FALSE(Mgr()->GetSystemTime(utc));
    EXPECT_EQ(utc, 42UL);
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::GetSystemTime]  UTC! failed, ret=7", 1), 2);

    ETypeOfAutoClock autoType = AutoType_stream;
    EXPECT_TRUE(Mgr()->GetAutoClockType(autoType));
    EXPECT_EQ(autoType, AutoType_max);
}

TEST_F(ManagerSetTime, AUnsignedLongBeyond32BitsIsTakenModulo2To32)
{
    if (sizeof(unsigned long) < 8) {
        GTEST_SKIP() << "only a 64-bit build can pass such a value";
    }
    StartQuiet();
    const unsigned long wide = (1UL << 16U << 16U) + kT;  // 2^32 + kT
    EXPECT_TRUE(Mgr()->SetSystemTime(wide, SetType_stream, false));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::PlatformClock(), kT);
}

// Client threads read the auto clock type and ask for network time (which
// subscribes) while the task applies stream settings (which unsubscribe):
// the platform sees the network-time subscription strictly alternate.
TEST_F(ManagerSetTime, ConcurrentClientsSeeWholeValuesAndSubscriptionsAlternate)
{
    StartQuiet();
    dakhost::SetLogLevel(0);  // thousands of calls: keep neither time nor memory for lines
    dakhost::SetSetting(Setting::NetworkSet, 1);
    std::atomic<bool> bad{false};
    std::atomic<int> rounds{0};
    std::vector<std::thread> clients;
    clients.reserve(2);
    for (int i = 0; i < 2; ++i) {
        clients.emplace_back([&bad, &rounds] {
            for (int n = 0; n < 3000 && rounds < 100; ++n) {
                ETypeOfAutoClock type = AutoType_stream;
                Mgr()->GetAutoClockType(type);
                if (type < AutoType_stream || type > AutoType_max) {
                    bad = true;
                }
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
    dakhost::WaitIdle();
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

// The broadcast offset replaces a network-derived offset when stream time
// takes over.
struct OffsetCase {
    const char* name;
    dakhost::AgentMode mode;
    int offsetAfter;
    const char* line;
    bool askedAgainNextTime;
};

class ManagerBroadcastOffset : public DakTest, public ::testing::WithParamInterface<OffsetCase> {};

TEST_P(ManagerBroadcastOffset, FollowsTheAgentsAnswer)
{
    const OffsetCase& c = GetParam();
    dakhost::SetTimeZoneAgent(c.mode, {{5, 540}});
    dakhost::SetSetting(Setting::TimeZone, 5);
    StartQuiet();
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_net, false));
    dakhost::SetSetting(Setting::TimeOffset, -300);  // as the network path leaves it
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_stream, true));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::GetSetting(Setting::TimeOffset), c.offsetAfter);
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), 1);  // written whatever the answer
    EXPECT_EQ(CountLogs(c.line), 2);                      // through both outputs
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);

    // The next stream setting asks again only while the network offset stands.
    dakhost::SetSetting(Setting::FlagDst, 1);
    dakhost::ClearLogs();
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_stream, false));
    dakhost::WaitIdle();
    EXPECT_EQ(HasLog("t_SetBroadcastTimeOffset"), c.askedAgainNextTime);
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), c.askedAgainNextTime ? 0 : 1);
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerBroadcastOffset,
    ::testing::Values(
        OffsetCase{"Answers", dakhost::AgentMode::Answer, 540,
                   "ret:1,  curRegionId=5, curTimeZoneOffset =540", false},
        OffsetCase{"Refuses", dakhost::AgentMode::Refuse, -300,
                   "ret:0,  curRegionId=5, curTimeZoneOffset =0", true},
        OffsetCase{"None", dakhost::AgentMode::None, -300,
                   "t_SetBroadcastTimeOffset] no time zone offset agent, curRegionId=5", true},
        OffsetCase{"OtherType", dakhost::AgentMode::Other, -300,
                   "t_SetBroadcastTimeOffset] no time zone offset agent, curRegionId=5", true}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(ManagerSetTime, StreamWithoutNetworkOffsetLeavesOffsetAndFlagAlone)
{
    dakhost::SetTimeZoneAgent(dakhost::AgentMode::Answer, {{0, 540}});
    dakhost::SetSetting(Setting::TimeOffset, 60);
    StartQuiet();
    const int flagWrites = WriteCount(Setting::FlagDst);
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_stream, true));
    dakhost::WaitIdle();
    EXPECT_FALSE(HasLog("t_SetBroadcastTimeOffset"));
    EXPECT_EQ(dakhost::GetSetting(Setting::TimeOffset), 60);
    EXPECT_EQ(WriteCount(Setting::FlagDst), flagWrites);
}
