// The two sources of the stored time offset: network time takes the process's
// time zone, a later stream setting asks the time-zone offset agent.

#include <unistd.h>

#include <cstdlib>
#include <ostream>
#include <string>

#include "test_manager_support.h"

using namespace mgrtest;

// The stored offset is the zone's standard offset; the flag is the
// daylight-saving shift in force. Each zone gives the same answer all year.
struct ZoneCase {
    const char* name;
    const char* tz;
    int offset;
    int dst;
};

// Printed as its name, so that the test's name is the same on every build.
void PrintTo(const ZoneCase& c, std::ostream* out)
{
    *out << c.name;
}

class ManagerNetworkZone : public DakTest, public ::testing::WithParamInterface<ZoneCase> {};

TEST_P(ManagerNetworkZone, StoresOffsetAndDaylightSaving)
{
    const ZoneCase& c = GetParam();
    if (c.tz[0] == ':' &&
        access((std::string("/usr/share/zoneinfo/") + (c.tz + 1)).c_str(), R_OK)) {
        GTEST_SKIP() << c.tz << " is not installed";
    }
    dakhost::SetTimeZone(c.tz);
    dakhost::SetSetting(Setting::NetworkSet, 1);
    StartQuiet();
    EXPECT_TRUE(Mgr()->SetSystemTimeByNetworkTime());
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::GetSetting(Setting::TimeOffset), c.offset);
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), c.dst);
    EXPECT_EQ(AutoClock(), AutoType_net);
}

INSTANTIATE_TEST_SUITE_P(Table, ManagerNetworkZone,
                         ::testing::Values(ZoneCase{"Korea", "KST-9", 540, 0},
                                           ZoneCase{"Newfoundland", "NST3:30", -210, 0},
                                           ZoneCase{"DaylightAllYear", "XXX-1YYY-2,J1/0,J365/25",
                                                    60, 1},
                                           ZoneCase{"Seoul", ":Asia/Seoul", 540, 0}),
                         [](const auto& param) { return std::string(param.param.name); });

// After network time, a stream setting replaces the offset with the agent's
// answer for the region; until one is given, each stream setting asks again.
struct OffsetCase {
    const char* name;
    dakhost::AgentMode mode;
    int offsetAfter;
    const char* line;
    bool askedAgainNextTime;
};

// Printed as its name, so that the test's name is the same on every build.
void PrintTo(const OffsetCase& c, std::ostream* out)
{
    *out << c.name;
}

class ManagerBroadcastOffset : public DakTest, public ::testing::WithParamInterface<OffsetCase> {};

TEST_P(ManagerBroadcastOffset, FollowsTheAgentsAnswerAndReleasesTheRegistry)
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
    EXPECT_TRUE(HasLog(c.line)) << c.line;
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);

    dakhost::ClearLogs();
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_stream, false));
    dakhost::WaitIdle();
    EXPECT_EQ(HasLog("t_SetBroadcastTimeOffset"), c.askedAgainNextTime);
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), c.askedAgainNextTime ? 0 : 1);
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerBroadcastOffset,
    ::testing::Values(OffsetCase{"Answers", dakhost::AgentMode::Answer, 540,
                                 "ret:1,  curRegionId=5, curTimeZoneOffset =540", false},
                      OffsetCase{"Refuses", dakhost::AgentMode::Refuse, -300,
                                 "ret:0,  curRegionId=5, curTimeZoneOffset =0", true},
                      OffsetCase{"None", dakhost::AgentMode::None, -300,
                                 "no time zone offset agent", true},
                      OffsetCase{"OtherType", dakhost::AgentMode::Other, -300,
                                 "no time zone offset agent", true}),
    [](const auto& param) { return std::string(param.param.name); });
