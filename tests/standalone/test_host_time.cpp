// Alarms of the host platform and the time controls: periods in virtual time,
// Advance() firing at the exact moments, FireAlarms(), re-arming, destruction,
// and alarms on the real monotonic clock.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "DakHostControl.h"
#include "TCAlarm.h"
#include "TCTask.h"

namespace {

constexpr uint32_t kStart = 1704067200;  // 2024-01-01T00:00:00Z, the initial clocks

struct Fired {
    uint32_t eventId;
    uint32_t platformClock;  // seconds, as the handler saw them
    int64_t rtc;
};

// Records each event with the clocks at the moment it is handled.
class ClockTask : public TCTask {
public:
    ClockTask() { Create("ClockTask", 60, 8192, 0); }
    ~ClockTask() override { Destroy(); }
    ClockTask(const ClockTask&) = delete;
    ClockTask& operator=(const ClockTask&) = delete;

    bool t_OnEvent(const TSEvent* event) override
    {
        if (TCTask::t_OnEvent(event)) {
            return true;
        }
        const std::lock_guard<std::mutex> lock(m_lock);
        m_fired.push_back({event->eventId, dakhost::PlatformClock(), dakhost::Rtc()});
        if (onEvent) {
            onEvent(*event);
        }
        m_changed.notify_all();
        return true;
    }

    std::vector<Fired> FiredEvents()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_fired;
    }

    std::vector<uint32_t> Moments()
    {
        std::vector<uint32_t> moments;
        for (const Fired& fired : FiredEvents()) {
            moments.push_back(fired.platformClock - kStart);
        }
        return moments;
    }

    // Real-time tests only: until `count` events arrived (false after a
    // generous limit, so that a broken alarm fails instead of hanging).
    bool WaitForEvents(size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::seconds(20),
                                  [&] { return m_fired.size() >= count; });
    }

    std::function<void(const TSEvent&)> onEvent;

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Fired> m_fired;
};

class Alarm : public TCStateAlarm {
public:
    ~Alarm() override { Destroy(); }
};

class HostTime : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::UseVirtualTime(true);
        dakhost::SetLogToStderr(false);
    }
    void TearDown() override { dakhost::UseVirtualTime(true); }
};

// ---- virtual time -------------------------------------------------------------------

TEST_F(HostTime, AlarmFiresAtTheEndOfEachPeriodWithTheClocksStandingThere)
{
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 11500, 30000, -1));
    EXPECT_EQ(dakhost::AlarmCount(), 1);

    dakhost::Advance(29999);
    EXPECT_TRUE(task.FiredEvents().empty());
    dakhost::Advance(1);
    ASSERT_EQ(task.FiredEvents().size(), 1U);
    EXPECT_EQ(task.FiredEvents()[0].eventId, 11500U);
    EXPECT_EQ(task.FiredEvents()[0].platformClock, kStart + 30);
    EXPECT_EQ(task.FiredEvents()[0].rtc, kStart + 30);

    // A long window fires every period inside it, the one ending exactly at
    // its end included, and leaves the clocks at the end.
    dakhost::Advance(90000);
    EXPECT_EQ(task.Moments(), (std::vector<uint32_t>{30, 60, 90, 120}));
    EXPECT_EQ(task.FiredEvents()[3].rtc, kStart + 120);
    EXPECT_EQ(dakhost::PlatformClock(), kStart + 120);
    EXPECT_EQ(dakhost::Rtc(), kStart + 120);
}

TEST_F(HostTime, SubSecondAdvancesAccumulate)
{
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 1, 30000, -1));
    for (int step = 0; step < 59; ++step) {
        dakhost::Advance(500);
    }
    EXPECT_EQ(dakhost::PlatformClock(), kStart + 29);
    EXPECT_TRUE(task.FiredEvents().empty());
    dakhost::Advance(500);
    EXPECT_EQ(task.Moments(), std::vector<uint32_t>{30});

    // Setting a clock drops its sub-second part; the other keeps its own.
    dakhost::Advance(700);
    dakhost::SetPlatformClock(kStart + 100);
    dakhost::Advance(300);
    EXPECT_EQ(dakhost::PlatformClock(), kStart + 100);
    EXPECT_EQ(dakhost::Rtc(), kStart + 31);
}

TEST_F(HostTime, AlarmsDueTogetherFireInCreationOrderAndInTimeOrder)
{
    ClockTask task;
    Alarm every10;
    Alarm every15;
    ASSERT_TRUE(every10.Create(&task, 10, 10000, -1));
    ASSERT_TRUE(every15.Create(&task, 15, 15000, -1));
    dakhost::Advance(30000);

    std::vector<std::pair<uint32_t, uint32_t>> seen;
    for (const Fired& fired : task.FiredEvents()) {
        seen.emplace_back(fired.platformClock - kStart, fired.eventId);
    }
    const std::vector<std::pair<uint32_t, uint32_t>> expected{
        {10, 10}, {15, 15}, {20, 10}, {30, 10}, {30, 15}};
    EXPECT_EQ(seen, expected);
}

TEST_F(HostTime, EachFiringIsHandledBeforeTheNextMoment)
{
    // The handler of each firing posts a follow-up; it must be handled while
    // the clocks still stand at that firing.
    ClockTask task;
    task.onEvent = [&task](const TSEvent& event) {
        if (event.eventId == 1) {
            TSEvent next;
            next.receiver = &task;
            next.eventId = 2;
            task.Send(&next, false, false);
        }
    };
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 1, 1000, -1));
    dakhost::Advance(3000);
    EXPECT_EQ(task.Moments(), (std::vector<uint32_t>{1, 1, 2, 2, 3, 3}));
}

TEST_F(HostTime, ResetRestartsThePeriodFromNow)
{
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 7, 30000, -1));
    dakhost::Advance(20000);
    ASSERT_TRUE(alarm.Reset(30000, 0xFFFFFFFF));
    dakhost::Advance(29999);
    EXPECT_TRUE(task.FiredEvents().empty());
    dakhost::Advance(1);
    EXPECT_EQ(task.Moments(), std::vector<uint32_t>{50});
    dakhost::Advance(30000);
    EXPECT_EQ(task.Moments(), (std::vector<uint32_t>{50, 80}));
}

TEST_F(HostTime, ResetFromTheHandlerCountsFromTheFiringMoment)
{
    ClockTask task;
    Alarm alarm;
    task.onEvent = [&alarm](const TSEvent&) { alarm.Reset(20000, 0xFFFFFFFF); };
    ASSERT_TRUE(alarm.Create(&task, 7, 10000, -1));
    dakhost::Advance(60000);
    EXPECT_EQ(task.Moments(), (std::vector<uint32_t>{10, 30, 50}));
}

TEST_F(HostTime, CountedAlarmStopsAfterItsEvents)
{
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 3, 1000, 2));
    dakhost::Advance(10000);
    EXPECT_EQ(task.Moments(), (std::vector<uint32_t>{1, 2}));
}

TEST_F(HostTime, DestroyedAlarmPostsNothingMore)
{
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 7, 30000, -1));
    dakhost::Advance(30000);
    alarm.Destroy();
    EXPECT_FALSE(alarm.FlagCreate());
    EXPECT_EQ(dakhost::AlarmCount(), 0);
    dakhost::Advance(120000);
    dakhost::FireAlarms();
    EXPECT_EQ(task.Moments(), std::vector<uint32_t>{30});
    EXPECT_FALSE(alarm.Reset(30000, 0xFFFFFFFF));
}

TEST_F(HostTime, FireAlarmsPostsOnceFromEveryAlarmWithoutMovingPeriods)
{
    ClockTask task;
    Alarm first;
    Alarm second;
    ASSERT_TRUE(first.Create(&task, 1, 30000, -1));
    ASSERT_TRUE(second.Create(&task, 2, 45000, -1));
    dakhost::Advance(10000);
    dakhost::FireAlarms();
    std::vector<uint32_t> ids;
    for (const Fired& fired : task.FiredEvents()) {
        ids.push_back(fired.eventId);
    }
    EXPECT_EQ(ids, (std::vector<uint32_t>{1, 2}));
    EXPECT_EQ(task.Moments(), (std::vector<uint32_t>{10, 10}));

    dakhost::Advance(20000);
    EXPECT_EQ(task.Moments(), (std::vector<uint32_t>{10, 10, 30}));
}

TEST_F(HostTime, PlatformResetRestartsVirtualTimeAndPeriods)
{
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 7, 30000, -1));
    dakhost::Advance(20000);
    dakhost::Reset();
    EXPECT_EQ(dakhost::PlatformClock(), kStart);
    dakhost::Advance(29999);
    EXPECT_TRUE(task.FiredEvents().empty());
    dakhost::Advance(1);
    EXPECT_EQ(task.Moments(), std::vector<uint32_t>{30});
}

TEST_F(HostTime, AlarmOnADestroyedTaskPostsNowhere)
{
    Alarm alarm;
    {
        ClockTask task;
        ASSERT_TRUE(alarm.Create(&task, 7, 1000, -1));
    }
    dakhost::Advance(5000);
    dakhost::FireAlarms();
    alarm.Destroy();
    EXPECT_EQ(dakhost::AlarmCount(), 0);
}

TEST_F(HostTime, SendFaultLosesAlarmEvents)
{
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 7, 1000, -1));
    dakhost::FailSend(true);
    dakhost::Advance(1000);
    dakhost::FailSend(false);
    dakhost::Advance(1000);
    EXPECT_EQ(task.Moments(), std::vector<uint32_t>{2});
}

// ---- real time ---------------------------------------------------------------------------

TEST_F(HostTime, OnTheRealClockAlarmsPostRepeatedlyWithoutAdvance)
{
    dakhost::UseVirtualTime(false);
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 5, 5, -1));
    EXPECT_TRUE(task.WaitForEvents(3));
    alarm.Destroy();
    // The clocks of the platform stand still on their own.
    EXPECT_EQ(dakhost::PlatformClock(), kStart);
}

TEST_F(HostTime, SwitchingToVirtualTimeHoldsRealTimeAlarms)
{
    dakhost::UseVirtualTime(false);
    ClockTask task;
    Alarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 5, 3600000, -1));  // an hour: never due here
    dakhost::UseVirtualTime(true);
    dakhost::Advance(3600000);
    EXPECT_EQ(task.Moments(), std::vector<uint32_t>{3600});
}

}  // namespace
