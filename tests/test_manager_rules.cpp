// The update rules over the stored reason, the calendar arithmetic of the
// hardware clock, and the periodic comparison of the two clocks.

#include <optional>
#include <ostream>
#include <string>

#include "test_manager_support.h"

using namespace mgrtest;

namespace {
// Setting types 0-7 and values outside them; stored reasons 0-3 and outside.
constexpr int kTypes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, -1};
constexpr int kReasons[] = {0, 1, 2, 3, 9, -1};
}  // namespace

TEST(ManagerRules, PermissionTableEveryCell)
{
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
        for (size_t col = 0; col < std::size(kReasons); ++col) {
            EXPECT_EQ(dak::IsUpdatePermitted(static_cast<ESystemTimeReason>(kReasons[col]),
                                             static_cast<ETimeSettingType>(kTypes[row])),
                      table[row][col] == 'Y')
                << "type " << kTypes[row] << " reason " << kReasons[col];
        }
    }
}

// The reason that each applied setting leaves in the store, end to end.
class ManagerReasonLeft : public DakTest {};

TEST_F(ManagerReasonLeft, EveryTypeUnderEveryStoredReason)
{
    constexpr int kKept = -100;  // sync writes the stored reason back
    const int left[] = {Reason_micom, Reason_stream, Reason_net,   Reason_init, Reason_micom,
                        kKept,        Reason_micom,  Reason_micom, Reason_init, Reason_init};
    dakhost::SetSetting(Setting::ClockMode, 1);  // manual settings are not asked about
    StartQuiet();
    for (size_t row = 0; row < std::size(kTypes); ++row) {
        for (const int stored : kReasons) {
            dakhost::SetSetting(Setting::Reason, stored);
            ASSERT_TRUE(
                Mgr()->SetSystemTime(kT, static_cast<ETimeSettingType>(kTypes[row]), false));
            dakhost::WaitIdle();
            EXPECT_EQ(dakhost::GetSetting(Setting::Reason), left[row] == kKept ? stored : left[row])
                << "type " << kTypes[row] << " stored " << stored;
        }
    }
}

// What the task does to the auto clock type and the clock-mode
// subscription for each setting type is what SettingAccepted says (explain
// rebuilds a set's state from the same function).
TEST_F(ManagerReasonLeft, TheTaskDoesWhatSettingAcceptedSays)
{
    dakhost::SetSetting(Setting::ClockMode, 1);  // the clock-mode subscription can be taken
    StartQuiet();
    for (const int type : kTypes) {
        // A manual setting first: the auto clock type max, the subscription held.
        dakhost::SetSetting(Setting::Reason, Reason_micom);
        ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_manual, false));
        dakhost::WaitIdle();
        ASSERT_TRUE(dakhost::IsSubscribed(IVConfCallbackSubscriber::E_VCONF_TIME_MODE));
        ASSERT_TRUE(Mgr()->SetSystemTime(kT, static_cast<ETimeSettingType>(type), false));
        dakhost::WaitIdle();
        const dak::AcceptedSetting accepted = dak::SettingAccepted(
            dak::AppliedSettingType(static_cast<ETimeSettingType>(type)), Reason_micom);
        EXPECT_EQ(dakhost::GetSetting(Setting::AutoClockType),
                  accepted.setsAutoClock ? accepted.autoClock : AutoType_max)
            << "type " << type;
        EXPECT_EQ(dakhost::IsSubscribed(IVConfCallbackSubscriber::E_VCONF_TIME_MODE),
                  !accepted.dropsTimeMode)
            << "type " << type;
        EXPECT_EQ(dakhost::GetSetting(Setting::Reason), accepted.reason) << "type " << type;
    }
}

// The library's calendar arithmetic for every day from 1970-01-01 to
// 2100-01-01, at a time of day that moves each day, against the host
// platform's civil calendar (Utc), which shares no code with the library.
TEST(ManagerCalendar, EveryDayFrom1970To2100MatchesAnIndependentFormula)
{
    const int monthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int dayCount = 0;
    for (int year = 1970, month = 0, day = 1; year < 2100 || (month == 0 && day == 1); ++dayCount) {
        const int second = dayCount * 3671 % 86400;
        const rtc_time rtc{
            second % 60, second / 60 % 60, second / 3600, day, month, year - 1900, 0, 0, 0};
        ASSERT_EQ(TCSystemTimeManager::t_ConvertRTCToUTC(rtc),
                  Utc(year, month + 1, day, rtc.tm_hour, rtc.tm_min, rtc.tm_sec))
            << year << "-" << month + 1 << "-" << day;
        if (++day > monthDays[month] + (month == 1 && year % 4 == 0 ? 1 : 0)) {
            day = 1;
            month = (month + 1) % 12;
            year += month == 0 ? 1 : 0;
        }
    }
    EXPECT_EQ(dayCount, 47483);  // 130 years of days and 2100-01-01
}

// The periodic sync: the system clock follows the hardware clock when they
// differ by two seconds or more, unless factory option 24 says the opposite.
struct SyncCase {
    const char* name;
    int reason;
    int64_t rtc;
    int systemMinusRtc;
    std::optional<int> option24;
    bool compared;                       // the "rtcTime" line is logged
    std::optional<uint32_t> clockAfter;  // set through a sync request
    bool rtcWritten;                     // the hardware clock follows instead
};

// Printed as its name, so that the test's name is the same on every build.
void PrintTo(const SyncCase& c, std::ostream* out)
{
    *out << c.name;
}

class ManagerSync : public DakTest, public ::testing::WithParamInterface<SyncCase> {};

TEST_P(ManagerSync, CorrectsOneClockFromTheOther)
{
    const SyncCase& c = GetParam();
    dakhost::SetRtc(c.rtc);
    StartQuiet();  // Reason_init: nothing replayed
    dakhost::SetSetting(Setting::Reason, c.reason);
    dakhost::SetFactoryOption(24, c.option24);
    const auto system = static_cast<uint32_t>(c.rtc + c.systemMinusRtc);
    dakhost::SetPlatformClock(system);

    dakhost::FireAlarms();
    EXPECT_EQ(HasLog("rtcTime="), c.compared);
    EXPECT_EQ(dakhost::PlatformClock(), c.clockAfter.value_or(system));
    EXPECT_EQ(dakhost::Signals().size(), c.clockAfter ? 1U : 0U);
    EXPECT_EQ(SignalType(0), c.clockAfter ? SetType_sync : -1);
    EXPECT_EQ(dakhost::Rtc(), c.rtcWritten ? system : c.rtc);
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), c.reason);  // a sync keeps the reason
}

const auto kNone = std::nullopt;

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerSync,
    ::testing::Values(
        SyncCase{"OneAhead", Reason_micom, kT, 1, kNone, true, kNone, false},
        SyncCase{"OneBehind", Reason_micom, kT, -1, kNone, true, kNone, false},
        SyncCase{"TwoAhead", Reason_micom, kT, 2, kNone, true, kT, false},
        SyncCase{"TwoBehind", Reason_micom, kT, -2, kNone, true, kT, false},
        SyncCase{"InitReadsNothing", Reason_init, kT, 100, kNone, false, kNone, false},
        SyncCase{"Net", Reason_net, kT, 100, kNone, true, kT, false},
        SyncCase{"StreamOption3", Reason_stream, kT, -100, 3, true, kT, false},
        SyncCase{"Option4", Reason_micom, kT, 10, 4, true, kNone, true},
        SyncCase{"RtcAt2100", Reason_micom, Utc(2100, 1, 1), -100, kNone, true, 978307200U, false},
        // Refused by the range check; neither clock moves.
        SyncCase{"RtcBefore2001", Reason_micom, 978307100, 100, kNone, true, kNone, false}),
    [](const auto& param) { return std::string(param.param.name); });
