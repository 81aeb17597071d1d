// The update rules over the stored reason, and the hardware clock with the
// library's own calendar arithmetic.

#include <ctime>
#include <string>

#include "test_manager_support.h"

using namespace mgrtest;
using daktest::CountLogs;
using daktest::HasLog;

namespace {

// Every setting type of the rules tables, beside values outside 0-7.
constexpr int kTypes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, -1};

}  // namespace

// Permission: one row per setting type, one column per stored reason
// (init, micom, net, stream, then values outside the vocabulary: 9 and -1).
TEST(ManagerRules, PermissionTableEveryCell)
{
    const int reasons[] = {0, 1, 2, 3, 9, -1};
    const char* const table[] = {
        // i m n s 9 -1
        "YYNNYY",  // manual
        "YYYYYY",  // stream
        "YYYNYY",  // net
        "YYNNYY",  // 3
        "NYNNYY",  // netfail
        "NYYYYY",  // sync
        "NYNNYY",  // init
        "YYNNYY",  // factory reset
        "YYNNYY",  // 8
        "YYNNYY",  // -1
    };
    for (size_t row = 0; row < std::size(kTypes); ++row) {
        for (size_t col = 0; col < std::size(reasons); ++col) {
            const bool expected = table[row][col] == 'Y';
            EXPECT_EQ(dak::IsUpdatePermitted(static_cast<ESystemTimeReason>(reasons[col]),
                                             static_cast<ETimeSettingType>(kTypes[row])),
                      expected)
                << "type " << kTypes[row] << " reason " << reasons[col];
        }
    }
}

// The reason that each applied setting leaves in the store, end to end.
struct ReasonCase {
    int type;
    int stored;
    int left;
};

class ManagerReasonLeft : public DakTest, public ::testing::WithParamInterface<ReasonCase> {};

TEST_P(ManagerReasonLeft, ReachesTheStore)
{
    const ReasonCase& c = GetParam();
    dakhost::SetSetting(Setting::ClockMode, 1);  // manual settings are not asked about
    StartQuiet();
    dakhost::SetSetting(Setting::Reason, c.stored);
    ASSERT_TRUE(
        Mgr()->SetSystemTime(Utc(2024, 3, 5), static_cast<ETimeSettingType>(c.type), false));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), c.left);
}

INSTANTIATE_TEST_SUITE_P(Table, ManagerReasonLeft,
                         ::testing::Values(ReasonCase{0, Reason_stream, Reason_micom},
                                           ReasonCase{1, Reason_init, Reason_stream},
                                           ReasonCase{2, Reason_stream, Reason_net},
                                           ReasonCase{3, Reason_micom, Reason_init},
                                           ReasonCase{4, Reason_net, Reason_micom},
                                           ReasonCase{5, Reason_net, Reason_net},
                                           ReasonCase{5, 9, 9},
                                           ReasonCase{6, Reason_init, Reason_micom},
                                           ReasonCase{7, Reason_stream, Reason_micom},
                                           ReasonCase{8, Reason_micom, Reason_init},
                                           ReasonCase{-1, Reason_net, Reason_init}));

class ManagerRulesLog : public DakTest {};

TEST_F(ManagerRulesLog, ManualSettingInAutomaticModeAsksTheRules)
{
    StartQuiet();
    const struct {
        int reason;
        bool posted;
        const char* line;
    } cases[] = {
        {Reason_init, true, "t_IsPossibleUpdateTime]  Reason_init, result=1"},
        {Reason_micom, true, "t_IsPossibleUpdateTime]  Reason_micom, result=1"},
        {Reason_net, false, "t_IsPossibleUpdateTime]  Reason_net, result=0"},
        {Reason_stream, false, "t_IsPossibleUpdateTime]  Reason_stream, result=0"},
        {9, true, "t_IsPossibleUpdateTime]  Reason_unknown, result=1"},
    };
    for (const auto& c : cases) {
        dakhost::SetSetting(Setting::Reason, c.reason);
        dakhost::ClearLogs();
        EXPECT_EQ(Mgr()->SetSystemTime(Utc(2024, 3, 5), SetType_manual, false), c.posted);
        EXPECT_EQ(CountLogs(c.line, 4), 2) << c.line;
        EXPECT_EQ(CountLogs("not possible to set manual time on auto type", 4), c.posted ? 0 : 2);
        dakhost::WaitIdle();
    }
    // Manual clock: nobody asks.
    dakhost::SetSetting(Setting::ClockMode, 1);
    dakhost::SetSetting(Setting::Reason, Reason_stream);
    dakhost::ClearLogs();
    EXPECT_TRUE(Mgr()->SetSystemTime(Utc(2024, 3, 5), SetType_manual, false));
    EXPECT_FALSE(HasLog("t_IsPossibleUpdateTime"));
}

TEST_F(ManagerRulesLog, StartUpLogsTheReplayTypeOfAnUnknownReason)
{
    dakhost::SetMasterPower(false);
    dakhost::SetSetting(Setting::Reason, 9);
    ASSERT_TRUE(Mgr()->Init());
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::t_GetSettingTypeByReason]  Reason_unknown, "
                        "result=SetType_init",
                        4),
              2);
}

// The calendar arithmetic for every day from 1970-01-01 to 2100-01-01, at a
// time of day that moves each day, against timegm (where time_t reaches past
// 2038) and an independent civil-date algorithm.
TEST(ManagerCalendar, EveryDayFrom1970To2100MatchesTimegm)
{
    const int daysIn[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int dayCount = 0;
    for (int year = 1970; year <= 2100; ++year) {
        for (int month = 0; month < 12 && (year < 2100 || month == 0); ++month) {
            const int last = daysIn[month] + (month == 1 && year % 4 == 0 ? 1 : 0);
            for (int day = 1; day <= last && (year < 2100 || day == 1); ++day, ++dayCount) {
                const int secondOfDay = (dayCount * 3671) % 86400;
                rtc_time rtc{secondOfDay % 60,
                             secondOfDay / 60 % 60,
                             secondOfDay / 3600,
                             day,
                             month,
                             year - 1900,
                             0,
                             0,
                             0};
                const unsigned long utc = TCSystemTimeManager::t_ConvertRTCToUTC(rtc);
                ASSERT_EQ(utc, Utc(year, month + 1, day, rtc.tm_hour, rtc.tm_min, rtc.tm_sec))
                    << year << "-" << month + 1 << "-" << day;
                if constexpr (sizeof(time_t) >= 8) {
                    tm cal{};
                    cal.tm_sec = rtc.tm_sec;
                    cal.tm_min = rtc.tm_min;
                    cal.tm_hour = rtc.tm_hour;
                    cal.tm_mday = day;
                    cal.tm_mon = month;
                    cal.tm_year = year - 1900;
                    ASSERT_EQ(utc, static_cast<unsigned long>(timegm(&cal)));
                }
            }
        }
    }
    EXPECT_EQ(dayCount, 47483);  // 130 years of days and 2100-01-01
}

TEST(ManagerCalendar, LeapDayCountsFromMarchAndBoundsAreExact)
{
    rtc_time leap{};
    leap.tm_year = 100;
    leap.tm_mon = 1;
    leap.tm_mday = 29;
    EXPECT_EQ(TCSystemTimeManager::t_ConvertRTCToUTC(leap), 951782400UL);
    leap.tm_mon = 2;
    leap.tm_mday = 1;
    EXPECT_EQ(TCSystemTimeManager::t_ConvertRTCToUTC(leap), 951868800UL);
    rtc_time last{59, 59, 23, 31, 11, 199, 0, 0, 0};
    EXPECT_EQ(TCSystemTimeManager::t_ConvertRTCToUTC(last), 4102444799UL);
    EXPECT_EQ(TCSystemTimeManager::t_ConvertYearToUTC(1970), 0UL);
    EXPECT_EQ(TCSystemTimeManager::t_ConvertYearToUTC(2001), 978307200UL);
    EXPECT_EQ(TCSystemTimeManager::t_ConvertYearToUTC(2100), 4102444800UL);
    // Results are 32-bit on every build: 2110 wraps as it does on the set.
    EXPECT_EQ(TCSystemTimeManager::t_ConvertYearToUTC(2110), 4418064000UL - 4294967296UL);
    // A month outside 0-11 is clamped instead of reading outside the table.
    rtc_time month{};
    month.tm_year = 124;
    month.tm_mday = 1;
    month.tm_mon = 12;
    rtc_time december = month;
    december.tm_mon = 11;
    EXPECT_EQ(TCSystemTimeManager::t_ConvertRTCToUTC(month),
              TCSystemTimeManager::t_ConvertRTCToUTC(december));
    month.tm_mon = -5;
    EXPECT_EQ(TCSystemTimeManager::t_ConvertRTCToUTC(month), Utc(2024, 1, 1));
}

class ManagerHardwareClock : public DakTest {};

TEST_F(ManagerHardwareClock, ReadLogsTheRawDeviceFieldsAndWriteTheCalendarTime)
{
    dakhost::SetRtc(Utc(2024, 3, 5, 10, 0, 0));
    StartQuiet();
    dakhost::FireAlarms();  // Reason_init: the sync does not read the clock
    EXPECT_FALSE(HasLog("t_GetRTCTime]"));
    dakhost::SetSetting(Setting::Reason, Reason_micom);
    dakhost::FireAlarms();
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::t_GetRTCTime] _time=1709632800 rtc_tm.tm_year=124, "
               "rtc_tm.tm_mon=2, rtc_tm.tm_mday=5",
               4));

    dakhost::SetRtcPresent(false);
    dakhost::ClearLogs();
    EXPECT_TRUE(Mgr()->SetSystemTime(Utc(2024, 7, 9), SetType_manual, false));
    dakhost::WaitIdle();
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::t_SetRTCTime] _time=1720483200 rtc_tm.tm_year=124, "
                        "rtc_tm.tm_mon=6, rtc_tm.tm_mday=9",
                        4),
              2);
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::t_SetRTCTime] open fail", 1), 2);
    EXPECT_EQ(dakhost::PlatformClock(), Utc(2024, 7, 9));  // the setting stands

    dakhost::SetRtcPresent(true);
    dakhost::FailRtcRead(true);
    dakhost::ClearLogs();
    dakhost::FireAlarms();
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::t_GetRTCTime] read fail", 1), 2);
    EXPECT_FALSE(HasLog("rtcTime="));
}
