// Time on the host platform: alarms in virtual time (Advance() firing at the
// exact moments, re-arming, FireAlarms() and destruction) and on the real
// clock, and the clocks the library reads through the operating-system seam.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <utility>
#include <vector>

#include "DakHostControl.h"
#include "DakOs.h"
#include "TCAlarm.h"
#include "TCTask.h"

namespace {

constexpr uint32_t kStart = 1704067200;  // 2024-01-01T00:00:00Z, the initial clocks

using Firing = std::pair<uint32_t, uint32_t>;  // event, seconds since kStart

// Records each event with the platform clock at the moment it is handled;
// event 1 sends event 2 to the task itself.
class ClockTask : public TCTask {
public:
    ~ClockTask() override { Destroy(); }

    bool t_OnEvent(const TSEvent* event) override
    {
        if (TCTask::t_OnEvent(event)) {
            return true;
        }
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_fired.emplace_back(event->eventId, dakhost::PlatformClock() - kStart);
        }
        m_changed.notify_all();
        if (event->eventId == 1) {
            TSEvent next;
            next.receiver = this;
            next.eventId = 2;
            EXPECT_TRUE(Send(&next, false, false));
        }
        return true;
    }

    std::vector<Firing> Fired()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_fired;
    }

    // Waits for `count` handled events, at most `limit`; false when they
    // did not come.
    bool WaitFired(size_t count, std::chrono::seconds limit)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, limit, [&] { return m_fired.size() >= count; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Firing> m_fired;
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
        ASSERT_TRUE(task.Create("ClockTask", 60, 8192, 0));
    }
    ClockTask task;
    Alarm alarm;
};

TEST_F(HostTime, AdvanceFiresAtEachPeriodsEndAndHandlesWhatTheFiringSends)
{
    ASSERT_TRUE(alarm.Create(&task, 1, 30000, -1));
    dakhost::Advance(29999);
    EXPECT_TRUE(task.Fired().empty());
    dakhost::Advance(1);
    EXPECT_EQ(task.Fired(), (std::vector<Firing>{{1, 30}, {2, 30}}));
    EXPECT_EQ(dakhost::Rtc(), kStart + 30);

    // The period ending exactly at the window's end fires too; the event a
    // firing sends is handled before the clocks move on.
    dakhost::Advance(60000);
    EXPECT_EQ(task.Fired(),
              (std::vector<Firing>{{1, 30}, {2, 30}, {1, 60}, {2, 60}, {1, 90}, {2, 90}}));
    EXPECT_EQ(dakhost::PlatformClock(), kStart + 90);
}

TEST_F(HostTime, ResetRestartsThePeriodFromNow)
{
    ASSERT_TRUE(alarm.Create(&task, 7, 30000, -1));
    dakhost::Advance(20000);
    ASSERT_TRUE(alarm.Reset(30000, 0xFFFFFFFF));
    dakhost::Advance(29999);
    EXPECT_TRUE(task.Fired().empty());
    dakhost::Advance(30001);
    EXPECT_EQ(task.Fired(), (std::vector<Firing>{{7, 50}, {7, 80}}));
}

TEST_F(HostTime, FireAlarmsKeepsThePeriodAndDestroyStopsTheAlarm)
{
    ASSERT_TRUE(alarm.Create(&task, 7, 30000, -1));
    dakhost::Advance(10000);
    dakhost::FireAlarms();
    dakhost::Advance(20000);
    EXPECT_EQ(task.Fired(), (std::vector<Firing>{{7, 10}, {7, 30}}));

    alarm.Destroy();
    EXPECT_EQ(dakhost::AlarmCount(), 0);
    dakhost::Advance(120000);
    dakhost::FireAlarms();
    EXPECT_EQ(task.Fired().size(), 2U);
}

TEST_F(HostTime, OnTheRealClockAnAlarmFiresByItselfAfterItsPeriod)
{
    dakhost::UseVirtualTime(false);
    const auto started = std::chrono::steady_clock::now();
    ASSERT_TRUE(alarm.Create(&task, 3, 50, -1));
    // Generous: the bound only stops a broken alarm from hanging the test.
    ASSERT_TRUE(task.WaitFired(2, std::chrono::seconds(60)));
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(100));
    EXPECT_EQ(task.Fired()[0].first, 3U);
    alarm.Destroy();
}

long long MonotonicSeconds()
{
    timespec now{};
    EXPECT_EQ(dakos::clock_gettime(CLOCK_MONOTONIC, &now), 0);
    return static_cast<long long>(now.tv_sec);
}

TEST_F(HostTime, TheMonotonicClockMovesWithAdvanceOnly)
{
    EXPECT_EQ(MonotonicSeconds(), 100);  // a fresh platform in virtual time
    dakhost::Advance(90500);
    EXPECT_EQ(dakhost::MonotonicMs(), 190500U);
    EXPECT_EQ(MonotonicSeconds(), 190);
    dakhost::SetPlatformClock(kStart - 86400);
    dakhost::SetRtc(kStart + 86400);
    EXPECT_EQ(MonotonicSeconds(), 190);

    dakhost::FailMonotonic(EINVAL);
    timespec now{};
    EXPECT_EQ(dakos::clock_gettime(CLOCK_MONOTONIC, &now), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(dakos::clock_gettime(CLOCK_REALTIME, &now), 0);  // other clocks are the kernel's
    dakhost::Reset();
    EXPECT_EQ(dakos::clock_gettime(CLOCK_MONOTONIC, &now), 0);
}

TEST_F(HostTime, TheProcessClockIsTheMachinesUntilSetThenMovesWithAdvance)
{
    timeval now{};
    ASSERT_EQ(dakos::gettimeofday(&now), 0);
    EXPECT_GT(now.tv_sec, static_cast<time_t>(1700000000));  // the machine's own time
    EXPECT_FALSE(dakhost::ProcessClock().has_value());

    dakhost::SetProcessClock(int64_t{kStart} * 1000 + 250);
    dakhost::Advance(1000);
    ASSERT_EQ(dakos::gettimeofday(&now), 0);
    EXPECT_EQ(now.tv_sec, static_cast<time_t>(kStart + 1));
    EXPECT_EQ(now.tv_usec, 250000);
    time_t seconds = 0;
    EXPECT_EQ(dakos::time(&seconds), static_cast<time_t>(kStart + 1));
    EXPECT_EQ(seconds, static_cast<time_t>(kStart + 1));

    dakhost::FailProcessClock(EFAULT);
    EXPECT_EQ(dakos::gettimeofday(&now), -1);
    EXPECT_EQ(dakos::time(nullptr), static_cast<time_t>(-1));
    dakhost::Reset();
    EXPECT_FALSE(dakhost::ProcessClock().has_value());
}

}  // namespace
