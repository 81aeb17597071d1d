// Alarms of the host platform in virtual time: Advance() firing at the exact
// moments, re-arming, FireAlarms() and destruction.
#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "DakHostControl.h"
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

private:
    std::mutex m_lock;
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

}  // namespace
