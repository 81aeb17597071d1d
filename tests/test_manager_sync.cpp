// The periodic comparison of the system clock with the hardware clock, and
// the release-time report.

#include <optional>
#include <string>

#include "test_manager_support.h"

using namespace mgrtest;
using daktest::CountLogs;
using daktest::HasLog;

namespace {
constexpr uint32_t kRtc = 1709632800U;  // 2024-03-05T10:00:00Z
}  // namespace

struct SyncCase {
    const char* name;
    int reason;
    int64_t rtc;
    int64_t systemMinusRtc;
    std::optional<int> option24;
    bool compared;                       // the "rtcTime" line is logged
    std::optional<uint32_t> clockAfter;  // set through a sync request
    bool rtcWritten;                     // the hardware clock follows instead
};

class ManagerSync : public DakTest, public ::testing::WithParamInterface<SyncCase> {};

TEST_P(ManagerSync, CorrectsTheClocksWhenTheyDifferByTwoSecondsOrMore)
{
    const SyncCase& c = GetParam();
    dakhost::SetRtc(c.rtc);
    StartQuiet();  // Reason_init: nothing replayed
    dakhost::SetSetting(Setting::Reason, c.reason);
    dakhost::SetFactoryOption(24, c.option24);
    const auto system = static_cast<uint32_t>(c.rtc + c.systemMinusRtc);
    dakhost::SetPlatformClock(system);

    dakhost::FireAlarms();
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::t_OnEvent] try to sync system time with micom time\n", 5));
    EXPECT_EQ(CountLogs("SyncSystemTime UTC=" + std::to_string(system)), 2);
    EXPECT_EQ(HasLog("rtcTime="), c.compared);
    EXPECT_EQ(dakhost::PlatformClock(), c.clockAfter.value_or(system));
    EXPECT_EQ(dakhost::Signals().size(), c.clockAfter ? 1U : 0U);
    if (c.clockAfter) {
        EXPECT_EQ(SignalType(0), SetType_sync);
    }
    EXPECT_EQ(dakhost::Rtc(), c.rtcWritten ? system : c.rtc);
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), c.reason);  // a sync keeps the reason
}

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerSync,
    ::testing::Values(
        SyncCase{"OneSecondAhead", Reason_micom, kRtc, 1, std::nullopt, true, std::nullopt, false},
        SyncCase{"OneSecondBehind", Reason_micom, kRtc, -1, std::nullopt, true, std::nullopt,
                 false},
        SyncCase{"TwoSecondsAhead", Reason_micom, kRtc, 2, std::nullopt, true, kRtc, false},
        SyncCase{"TwoSecondsBehind", Reason_micom, kRtc, -2, std::nullopt, true, kRtc, false},
        SyncCase{"ReasonInitReadsNothing", Reason_init, kRtc, 100, std::nullopt, false,
                 std::nullopt, false},
        SyncCase{"ReasonNet", Reason_net, kRtc, 100, std::nullopt, true, kRtc, false},
        SyncCase{"ReasonStream", Reason_stream, kRtc, -100, 3, true, kRtc, false},
        SyncCase{"Option24Is4", Reason_micom, kRtc, 10, 4, true, std::nullopt, true},
        SyncCase{"RtcAt2100", Reason_micom, Utc(2100, 1, 1), -100, std::nullopt, true, 978307200U,
                 false},
        // Refused by the range check at every run; neither clock moves.
        SyncCase{"RtcBefore2001", Reason_micom, 978307100, 100, std::nullopt, true, std::nullopt,
                 false}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(ManagerSync, LogsTheComparisonAndStopsWhenAClockCannotBeRead)
{
    dakhost::SetRtc(kRtc);
    StartQuiet();
    dakhost::SetSetting(Setting::Reason, Reason_micom);
    dakhost::SetSetting(Setting::TimeOffset, 540);
    dakhost::SetSetting(Setting::FlagDst, 1);
    dakhost::SetPlatformClock(kRtc + 5);
    dakhost::FireAlarms();
    EXPECT_EQ(CountLogs("SyncSystemTime UTC=1709632805, \033[1;36m Reason_micom\033[0m, ret=1, "
                        "\033[1;36m AutoType_max, offset=540, dst=1\033[0m",
                        4),
              2);
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::t_SyncSystemTime] UTC=1709632805, "
                        "rtcTime=1709632800, sub=5",
                        4),
              2);

    dakhost::FailClockGet(3);
    dakhost::ClearLogs();
    dakhost::FireAlarms();
    EXPECT_EQ(CountLogs("ret=0,"), 2);
    EXPECT_FALSE(HasLog("t_GetRTCTime"));

    dakhost::FailClockGet(0);
    dakhost::FailRtcRead(true);
    dakhost::SetPlatformClock(kRtc + 5);
    dakhost::ClearLogs();
    dakhost::FireAlarms();
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::t_GetRTCTime] read fail"));
    EXPECT_FALSE(HasLog("rtcTime="));
    EXPECT_EQ(dakhost::PlatformClock(), kRtc + 5);
}

TEST_F(ManagerSync, RunsEveryThirtySecondsOfVirtualTimeAndAlsoInManualMode)
{
    StartQuiet();
    dakhost::SetSetting(Setting::ClockMode, 1);
    dakhost::SetSetting(Setting::Reason, Reason_micom);
    dakhost::Advance(29999);
    EXPECT_EQ(CountLogs("try to sync system time"), 0);
    dakhost::Advance(1);
    EXPECT_EQ(CountLogs("try to sync system time"), 1);
    dakhost::Advance(60000);
    EXPECT_EQ(CountLogs("try to sync system time"), 3);

    dakhost::SetPlatformClock(dakhost::PlatformClock() + 50);
    dakhost::Advance(30000);
    EXPECT_EQ(dakhost::PlatformClock(), static_cast<uint32_t>(dakhost::Rtc()));
    EXPECT_EQ(SignalType(0), SetType_sync);
}

TEST_F(ManagerSync, ReleaseTimeOnlyReportsTheStoredOffset)
{
    dakhost::SetSetting(Setting::TimeOffset, 540);
    TISystemTimeManager* manager = Mgr();
    const auto writes = dakhost::SettingWrites().size();
    manager->SetSystemTimeByReleaseTime();  // before start-up too
    EXPECT_TRUE(HasLog("SetSystemTimeByReleaseTime, after factory reset, offsetValue:540", 1,
                       static_cast<int>(dakhost::Via::PrintF)));
    EXPECT_TRUE(HasLog("SetSystemTimeByReleaseTime after factory reset, offsetValue:540", 1,
                       static_cast<int>(dakhost::Via::Print)));
    EXPECT_EQ(dakhost::SettingWrites().size(), writes);
    EXPECT_EQ(dakhost::PlatformClock(), Utc(2024, 1, 1));
    EXPECT_EQ(dakhost::RtcWrites(), 0);
}
