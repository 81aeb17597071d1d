// Network time: the clock mode and the rules decide, the process's time zone
// gives the offset and the daylight-saving flag, and settings changes retry.

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "test_manager_support.h"

using namespace mgrtest;
using daktest::CountLogs;
using daktest::HasLog;

namespace {

uint32_t Now()
{
    return static_cast<uint32_t>(time(nullptr));
}

}  // namespace

class ManagerNetwork : public DakTest {};

TEST_F(ManagerNetwork, RefusedBeforeStartUp)
{
    EXPECT_FALSE(Mgr()->SetSystemTimeByNetworkTime());
    EXPECT_TRUE(HasLog(
        "[TCSystemTimeManager::SetSystemTimeByNetworkTime] TCSystemTimeManager isn't Created", 4));
}

TEST_F(ManagerNetwork, ManualModeWaitsForTheSwitchToAutomatic)
{
    dakhost::SetSetting(Setting::NetworkSet, 1);
    StartQuiet();
    dakhost::SetSetting(Setting::ClockMode, 1);
    EXPECT_FALSE(Mgr()->SetSystemTimeByNetworkTime());
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::SetSystemTimeByNetworkTime] manualClock = 1"));
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::SetSystemTimeByNetworkTime] current clock mode is "
                        "Manual",
                        4),
              2);
    EXPECT_TRUE(dakhost::IsSubscribed(2));
    EXPECT_FALSE(HasLog("GetSystemTime"));

    dakhost::SetSetting(Setting::ClockMode, 0);  // calls back with parameter 2
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog("vconf callback becase of [CLOCK_SET]"));
    EXPECT_NEAR(dakhost::PlatformClock(), Now(), 5);
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), Reason_net);
    EXPECT_EQ(dakhost::GetSetting(Setting::AutoClockType), AutoType_net);
    EXPECT_FALSE(dakhost::IsSubscribed(2));  // dropped once network time is set
    EXPECT_TRUE(dakhost::IsSubscribed(1));
}

TEST_F(ManagerNetwork, StreamTimeOrTheRulesKeepNetworkTimeOut)
{
    dakhost::SetSetting(Setting::NetworkSet, 1);
    StartQuiet();
    ASSERT_TRUE(Mgr()->SetSystemTime(Utc(2024, 3, 5), SetType_stream, false));
    dakhost::WaitIdle();
    const auto writes = dakhost::SettingWrites().size();
    dakhost::ClearLogs();
    EXPECT_FALSE(Mgr()->SetSystemTimeByNetworkTime());
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::SetSystemTimeByNetworkTime] StreamTime is already "
                        "set",
                        4),
              2);
    EXPECT_EQ(dakhost::SettingWrites().size(), writes);

    // Stream time stored but another source in charge: the rules refuse.
    ASSERT_TRUE(Mgr()->SetSystemTime(Utc(2024, 3, 5), SetType_init, false));
    dakhost::WaitIdle();
    dakhost::SetSetting(Setting::Reason, Reason_stream);
    dakhost::ClearLogs();
    const auto writesBefore = dakhost::SettingWrites().size();
    EXPECT_FALSE(Mgr()->SetSystemTimeByNetworkTime());
    EXPECT_TRUE(HasLog("t_IsPossibleUpdateTime]  Reason_stream, result=0"));
    EXPECT_FALSE(dakhost::IsSubscribed(1));
    EXPECT_EQ(dakhost::SettingWrites().size(), writesBefore);
}

TEST_F(ManagerNetwork, UnsetNetworkTimeIsRetriedWhenItsStateChanges)
{
    StartQuiet();
    EXPECT_TRUE(Mgr()->SetSystemTimeByNetworkTime());
    EXPECT_TRUE(
        HasLog("SetSystemTimeByNetworkTime] Failed to set network time!, retVconf:0, "
               "networkTimeStatus:0, getTimeOfDay:0",
               1, static_cast<int>(dakhost::Via::PrintF)));
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::t_SetSystemTimeByNetworkTime]Failed to set network "
               "time!, retVconf:0, networkTimeStatus:0, getTimeOfDay:0",
               4, static_cast<int>(dakhost::Via::Print)));
    EXPECT_FALSE(HasLog("networkTimeOffset"));
    EXPECT_TRUE(dakhost::IsSubscribed(1));

    dakhost::SetSetting(Setting::NetworkSet, 1);  // calls back with parameter 1
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog("vconf callback becase of [NETWORKTIME_SET]"));
    EXPECT_TRUE(HasLog("Sucessfully set  network time with time = "));
    EXPECT_NEAR(dakhost::PlatformClock(), Now(), 5);
    EXPECT_EQ(SubscriptionCallCount(1, true), 1);
}

TEST_F(ManagerNetwork, OffsetIsStoredEvenWhenThePostIsRefused)
{
    setenv("TZ", "KST-9", 1);
    dakhost::SetSetting(Setting::NetworkSet, 1);
    StartQuiet();
    dakhost::FailSend(true);
    EXPECT_TRUE(Mgr()->SetSystemTimeByNetworkTime());
    EXPECT_EQ(dakhost::GetSetting(Setting::TimeOffset), 540);
    EXPECT_FALSE(HasLog("Sucessfully"));
    EXPECT_EQ(dakhost::PlatformClock(), Utc(2024, 1, 1));
}

// The stored offset is the zone's standard offset; the flag is the
// daylight-saving shift now in force. Each zone gives the same answer all year.
struct ZoneCase {
    const char* name;
    const char* tz;
    int offset;
    int dst;
    bool zoneFile;  // a name under /usr/share/zoneinfo
};

class ManagerNetworkZone : public DakTest, public ::testing::WithParamInterface<ZoneCase> {};

TEST_P(ManagerNetworkZone, StoresOffsetAndDaylightSaving)
{
    const ZoneCase& c = GetParam();
    if (c.zoneFile) {
        struct stat info {};
        if (stat((std::string("/usr/share/zoneinfo/") + c.tz).c_str(), &info) != 0) {
            GTEST_SKIP() << c.tz << " is not installed";
        }
    }
    setenv("TZ", c.tz, 1);
    dakhost::SetSetting(Setting::NetworkSet, 1);
    StartQuiet();
    EXPECT_TRUE(Mgr()->SetSystemTimeByNetworkTime());
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::GetSetting(Setting::TimeOffset), c.offset);
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), c.dst);
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::t_SetNetworkTimeOffset] networkTimeOffset " +
                       std::to_string(c.offset) + ", dst:" + std::to_string(c.dst)));
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::GetNetworkDst] result:" + std::to_string(c.dst)));
    EXPECT_EQ(dakhost::GetSetting(Setting::AutoClockType), AutoType_net);
}

INSTANTIATE_TEST_SUITE_P(Table, ManagerNetworkZone,
                         ::testing::Values(ZoneCase{"Utc", "UTC0", 0, 0, false},
                                           ZoneCase{"Korea", "KST-9", 540, 0, false},
                                           ZoneCase{"Newfoundland", "NST3:30", -210, 0, false},
                                           ZoneCase{"DaylightAllYear", "XXX-1YYY-2,J1/0,J365/25",
                                                    60, 1, false},
                                           ZoneCase{"Seoul", "Asia/Seoul", 540, 0, true},
                                           ZoneCase{"Kolkata", "Asia/Kolkata", 330, 0, true}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST_F(ManagerNetwork, CentralEuropeStoresItsStandardOffsetAndTheFlagInForce)
{
    if (access("/usr/share/zoneinfo/Europe/Berlin", R_OK) != 0) {
        GTEST_SKIP() << "Europe/Berlin is not installed";
    }
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    dakhost::SetSetting(Setting::NetworkSet, 1);
    StartQuiet();
    EXPECT_TRUE(Mgr()->SetSystemTimeByNetworkTime());
    EXPECT_EQ(dakhost::GetSetting(Setting::TimeOffset), 60);
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), local.tm_isdst > 0 ? 1 : 0);
}
