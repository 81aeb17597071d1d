// What a hostile caller or a failing platform finds at the edges: hardware
// clock registers that are no time, values wider than the set's 32 bits, and
// the exact words of the assertion and the stop.

#include <climits>

#include "TIStreamClock.h"
#include "test_manager_support.h"

using namespace mgrtest;

namespace {

struct Registers {
    int year;  // from 1900
    int mon;   // from 0
    int mday;
    int hour;
    int min;
    int sec;
};

// Starts the manager under reason stream, so that every sync reads the
// hardware clock, and reports whether one sync took `registers` as a time.
bool SyncTakes(const Registers& r)
{
    dakhost::SetRtcRaw(rtc_time{r.sec, r.min, r.hour, r.mday, r.mon, r.year, 0, 0, 0});
    dakhost::ClearLogs();
    dakhost::FireAlarms();
    const bool refused =
        HasLog("t_GetRTCTime] read fail, invalid", 1, static_cast<int>(dakhost::Via::Print)) &&
        HasLog("t_GetRTCTime] read fail, invalid", 1, static_cast<int>(dakhost::Via::PrintF));
    EXPECT_NE(refused, HasLog("rtcTime="));
    return !refused;
}

}  // namespace

class HardwareClockReadings : public DakTest {};

TEST_F(HardwareClockReadings, OnlyCalendarTimesFrom1970To2105AreTaken)
{
    dakhost::SetSetting(Setting::Reason, Reason_stream);
    dakhost::SetMasterPower(false);
    ASSERT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();

    EXPECT_TRUE(SyncTakes({70, 0, 1, 0, 0, 0}));        // 1970-01-01 00:00:00
    EXPECT_FALSE(SyncTakes({69, 11, 31, 23, 59, 59}));  // 1969
    EXPECT_TRUE(SyncTakes({205, 11, 31, 23, 59, 59}));  // the last second of 2105
    EXPECT_FALSE(SyncTakes({206, 0, 1, 0, 0, 0}));      // 2106
    EXPECT_FALSE(SyncTakes({300, 0, 1, 0, 0, 0}));      // 2200 would wrap to 2063
    EXPECT_FALSE(SyncTakes({0, 0, 0, 0, 0, 0}));        // a dead battery
    EXPECT_FALSE(SyncTakes({-1, 0, 1, 0, 0, 0}));
    EXPECT_TRUE(SyncTakes({100, 1, 29, 0, 0, 0}));   // 2000-02-29
    EXPECT_TRUE(SyncTakes({124, 2, 5, 10, 0, 0}));   // 2024-03-05T10:00:00Z
    EXPECT_FALSE(SyncTakes({200, 1, 29, 0, 0, 0}));  // 2100 is no leap year
    EXPECT_FALSE(SyncTakes({124, 3, 31, 0, 0, 0}));  // 31 April
    EXPECT_FALSE(SyncTakes({124, -1, 1, 0, 0, 0}));
    EXPECT_FALSE(SyncTakes({124, 2, 5, -1, 0, 0}));
    EXPECT_FALSE(SyncTakes({124, 2, 5, 0, 0, 60}));  // the device never counts a 60th second
    EXPECT_FALSE(SyncTakes({INT_MAX, INT_MIN, INT_MAX, INT_MIN, INT_MAX, INT_MIN}));
    dakhost::WaitIdle();
    // Every refused reading left the clock where the last taken one put it.
    EXPECT_EQ(dakhost::PlatformClock(), kT);
}

class WideValues : public DakTest {};

TEST_F(WideValues, TimesOf2To32AndMoreAreOverTheRangeNotTheirLowBits)
{
    if (sizeof(unsigned long) < 8) {
        GTEST_SKIP() << "a 32-bit unsigned long cannot hold them";
    }
    StartQuiet();
    const auto wide = static_cast<unsigned long>(0x100000000ULL + kT);  // low 32 bits: a valid time
    EXPECT_FALSE(Mgr()->SetSystemTime(wide, SetType_manual, false));
    EXPECT_TRUE(HasLog("SetSystemTime UTC " + std::to_string(wide) + " is over the range", 4,
                       static_cast<int>(dakhost::Via::PrintF)));
    TIStreamClock::Init();
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    EXPECT_FALSE(clock->SetStreamClock(wide, false, 0));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::PlatformClock(), kStart);
    EXPECT_TRUE(dakhost::Signals().empty());
}

TEST_F(WideValues, AnOffsetRecordIsStoredAsGivenAndOnly0xFFFFFFFFMeansNone)
{
    TIStreamClock::Init();
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    const unsigned long wide = static_cast<unsigned long>(0x1FFFFFFFFULL);  // the set: 0xFFFFFFFF
    unsigned long timeOfchange = 1;
    int next = 0;
    int local = 0;
    EXPECT_TRUE(clock->SetDVBTimeOffset(wide, 5, 6));
    EXPECT_EQ(clock->GetDVBTimeOffset(timeOfchange, next, local), wide != 0xFFFFFFFFUL);
    if (wide != 0xFFFFFFFFUL) {
        EXPECT_EQ(timeOfchange, wide);
        EXPECT_EQ(next, 5);
        EXPECT_EQ(local, 6);
    }
    EXPECT_TRUE(clock->SetDVBTimeOffset(0xFFFFFFFFUL, 7, 8));
    EXPECT_FALSE(clock->GetDVBTimeOffset(timeOfchange, next, local));
}

TEST_F(WideValues, TheTimeBeforeAStreamSettingIsLoggedAsTheSetsLong)
{
    StartQuiet();
    TIStreamClock::Init();
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    const uint32_t late = Utc(2038, 1, 19, 3, 14, 8);  // 2^31
    dakhost::SetPlatformClock(late);
    EXPECT_TRUE(clock->SetStreamClock(late, false, 0));
    EXPECT_TRUE(HasLog("oldTime [-2147483648], diff [0] autoClockType [2]", 5));
    // The task applies the first setting in its own time; it must be done
    // before the clock is moved back, or it would move it forward again.
    dakhost::WaitIdle();
    dakhost::SetPlatformClock(late - 1);
    EXPECT_TRUE(clock->SetStreamClock(late, false, 0));
    EXPECT_TRUE(HasLog("oldTime [2147483647], diff [-1]", 5));
}

class ExactWords : public DakTest {};

TEST_F(ExactWords, MissingObjectFactoryIsReportedAtTheSetsLine)
{
    dakhost::SelectObjectFactory(dakhost::Region::None);
    dakhost::CaptureStdout(true);
    Mgr();
    dakhost::CollectStdout();
    const auto reports =
        daktest::FindLogs("pObjectFactory", -1, static_cast<int>(dakhost::Via::Assert));
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].function, "src/SystemTimeManager");
    EXPECT_EQ(reports[0].line, 85);
    EXPECT_TRUE(
        HasLog("ASSERT!, Func:TCSystemTimeManager", -1, static_cast<int>(dakhost::Via::Stdout)));
}

TEST_F(ExactWords, ATaskWhoseMutexFailedIsStoppedSilently)
{
    dakhost::FailMutexCreate(true);
    EXPECT_FALSE(Mgr()->Init());
    ASSERT_EQ(dakhost::TaskCount(), 1);
    TISystemTimeManager::Exit();
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_FALSE(HasLog("thread destroy"));
    EXPECT_FALSE(HasLog("FlagCreate()"));

    dakhost::FailMutexCreate(false);
    ASSERT_TRUE(Mgr()->Init());
    dakhost::ClearLogs();
    TISystemTimeManager::Exit();
    const auto lines =
        daktest::FindLogs("[TCSystemTimeManager::~TCSystemTimeManager] thread destroy\n", 4,
                          static_cast<int>(dakhost::Via::Print));
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].function, "~TCSystemTimeManager");
}
