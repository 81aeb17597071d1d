// The task framework on its own, driven through the scheduler and alarm
// clock it is written against: a scheduler that counts what the framework
// asks of it (and otherwise schedules for real), one that gives tasks no
// thread, and an alarm clock that only the test moves.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "AlarmClock.h"
#include "Framework.h"
#include "Scheduler.h"
#include "TCAlarm.h"
#include "TCDebugPrint.h"
#include "TCRWLock.h"
#include "TCTask.h"

// ---- the logger the framework reports to: kept, for the tests to read -------------

namespace {

std::mutex g_reportLock;
std::vector<std::string> g_reports;

std::vector<std::string> Reports()
{
    const std::lock_guard<std::mutex> lock(g_reportLock);
    return g_reports;
}

}  // namespace

TCDebugPrint::~TCDebugPrint() = default;

void TCDebugPrint::Print(const char* /*function*/, int /*line*/, int /*module*/, int /*level*/,
                         const char* format, ...)
{
    char text[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    const std::lock_guard<std::mutex> lock(g_reportLock);
    g_reports.emplace_back(text);
}

TCDebugPrint* TCDebugPrintDAK::GetInstance()
{
    static TCDebugPrint printer;
    return &printer;
}

extern "C" void _TCAssert(const char* expression, const char* /*file*/, unsigned long /*line*/)
{
    const std::lock_guard<std::mutex> lock(g_reportLock);
    g_reports.emplace_back(std::string("assert ") + expression);
}

namespace {

// Schedules for real, counting what the framework asks.
class CountingScheduler : public dakfw::Scheduler {
public:
    using dakfw::Scheduler::Wait;
    void Point() override { ++points; }
    void Wait(pthread_mutex_t& lock, pthread_cond_t& cond, const void* key) override
    {
        const bool isWatched = key == watched.load();
        if (isWatched) {
            ++waitsOnWatched;
            ++asleepOnWatched;
        }
        lastKey = key;
        dakfw::Scheduler::Wait(lock, cond, key);
        if (isWatched) {
            --asleepOnWatched;
        }
    }
    void Wake(const void* key) override
    {
        if (key == watched.load()) {
            ++wakesOfWatched;
        }
    }
    void Begin(const void* /*owner*/) override { ++begun; }
    void End() override { ++ended; }

    std::atomic<int> points{0};
    std::atomic<int> waitsOnWatched{0};
    std::atomic<int> asleepOnWatched{0};
    std::atomic<const void*> lastKey{nullptr};
    std::atomic<const void*> watched{nullptr};
    std::atomic<int> wakesOfWatched{0};
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};
};

// Tasks get no thread: their turns are taken by whoever waits for idle.
class TurnTakingScheduler : public dakfw::Scheduler {
public:
    bool TaskThreads() const override { return false; }
    bool AlarmThreads() const override { return false; }
};

// Moves only when told.
class SteppedClock : public dakfw::AlarmClock {
public:
    uint64_t NowNs() const override { return now.load() * 1000000; }
    bool RunsByItself() const override { return false; }
    std::atomic<uint64_t> now{1000};
};

// Records "name:event" for each event, on whichever thread handles it.
class RecordingTask : public TCTask {
public:
    RecordingTask(std::string name, std::vector<std::string>& story)
        : m_name(std::move(name)), m_story(story)
    {
    }
    ~RecordingTask() override { Destroy(); }

    bool t_OnEvent(const TSEvent* event) override
    {
        if (TCTask::t_OnEvent(event)) {
            return true;
        }
        m_story.push_back(m_name + ":" + std::to_string(event->eventId));
        threads.push_back(std::this_thread::get_id());
        if (event->eventId == 13) {
            throw std::bad_alloc();
        }
        if (next != nullptr && event->eventId < 100) {
            Post(*next, event->eventId + 100);
        }
        return true;
    }

    static bool Post(TCTask& task, uint32_t eventId)
    {
        TSEvent event;
        event.receiver = &task;
        event.eventId = eventId;
        return task.Send(&event, false, false);
    }

    RecordingTask* next = nullptr;
    std::vector<std::thread::id> threads;

private:
    std::string m_name;
    std::vector<std::string>& m_story;
};

class Alarm : public TCStateAlarm {
public:
    ~Alarm() override { Destroy(); }
};

class FrameworkTurns : public ::testing::Test {
protected:
    void TearDown() override
    {
        dakfw::UseScheduler(nullptr);
        dakfw::UseAlarmClock(nullptr);
        dakfw::InjectedFaults().send = false;
    }
};

TEST_F(FrameworkTurns, AnIdleTaskSleepsInTheSchedulersWaitUntilAPostWakesIt)
{
    CountingScheduler turns;
    dakfw::UseScheduler(&turns);
    std::vector<std::string> story;
    RecordingTask task("a", story);
    turns.watched = static_cast<TCQueue*>(&task);
    ASSERT_TRUE(task.Create("a", 0, 0, 0));
    const auto untilAsleep = [&turns] {
        while (turns.asleepOnWatched.load() == 0) {
            std::this_thread::yield();
        }
    };
    for (uint32_t id = 1; id <= 5; ++id) {
        // Each post finds the task asleep on its empty queue: one wake, and
        // the task returns from one wait and sleeps in the next.
        untilAsleep();
        ASSERT_TRUE(RecordingTask::Post(task, id));
        dakfw::WaitIdle();
    }
    untilAsleep();
    EXPECT_EQ(story, (std::vector<std::string>{"a:1", "a:2", "a:3", "a:4", "a:5"}));
    EXPECT_EQ(turns.wakesOfWatched.load(), 5);
    EXPECT_GE(turns.points.load(), 5);  // each post is a point
    EXPECT_EQ(turns.begun.load(), 1);
    task.Destroy();
    EXPECT_EQ(turns.ended.load(), 1);
    // No timed wait in a loop: the task slept in the scheduler's wait once
    // per event it was woken for, and once more until stopped.
    EXPECT_EQ(turns.waitsOnWatched.load(), 6);
    EXPECT_EQ(dakfw::TaskCount(), 0);
}

TEST_F(FrameworkTurns, WithoutTaskThreadsTheWaiterTakesTurnsTaskByTaskInCreationOrder)
{
    TurnTakingScheduler turns;
    dakfw::UseScheduler(&turns);
    std::vector<std::string> story;
    RecordingTask first("first", story);
    RecordingTask second("second", story);
    ASSERT_TRUE(first.Create("first", 0, 0, 0));
    ASSERT_TRUE(second.Create("second", 0, 0, 0));
    second.next = &first;
    ASSERT_TRUE(RecordingTask::Post(second, 1));
    ASSERT_TRUE(RecordingTask::Post(second, 2));
    ASSERT_TRUE(RecordingTask::Post(first, 3));
    EXPECT_TRUE(story.empty());  // nothing runs until someone waits for idle
    dakfw::WaitIdle();
    // The task made first goes whenever it has an event, so the events that
    // `second` posts to it are handled between those of `second`.
    EXPECT_EQ(story, (std::vector<std::string>{"first:3", "second:1", "first:101", "second:2",
                                               "first:102"}));
    for (const auto& id : first.threads) {
        EXPECT_EQ(id, std::this_thread::get_id());
    }
    // A handler that fails to allocate loses its event, not the task.
    ASSERT_TRUE(RecordingTask::Post(first, 13));
    ASSERT_TRUE(RecordingTask::Post(first, 14));
    dakfw::WaitIdle();
    EXPECT_EQ(story.back(), "first:14");
    EXPECT_EQ(Reports().back(), "[TCTask::ExecuteEvent] first: event 13 lost, std::bad_alloc");
    // Destroying a task without a thread handles what was queued before.
    ASSERT_TRUE(RecordingTask::Post(second, 7));
    second.Destroy();
    EXPECT_EQ(story.back(), "second:7");
    dakfw::WaitIdle();
    EXPECT_EQ(story.back(), "first:107");
}

TEST_F(FrameworkTurns, AlarmsOnASteppedClockFireInTimeOrderThenCreationOrder)
{
    TurnTakingScheduler turns;
    dakfw::UseScheduler(&turns);
    SteppedClock clock;
    dakfw::UseAlarmClock(&clock);
    std::vector<std::string> story;
    RecordingTask task("t", story);
    ASSERT_TRUE(task.Create("t", 0, 0, 0));
    Alarm everyThird;
    Alarm twice;
    ASSERT_TRUE(everyThird.Create(&task, 3, 3000, -1));
    ASSERT_TRUE(twice.Create(&task, 2, 2000, 2));
    std::vector<uint64_t> moments;
    dakfw::DueAlarm due;
    const uint64_t end = clock.now + 10000;
    while (dakfw::NextDueAlarm(end, &due)) {
        clock.now = due.dueMs;
        moments.push_back(due.dueMs - 1000);
        dakfw::PostDueAlarm(due);
        dakfw::WaitIdle();
    }
    EXPECT_EQ(moments, (std::vector<uint64_t>{2000, 3000, 4000, 6000, 9000}));
    EXPECT_EQ(story, (std::vector<std::string>{"t:2", "t:3", "t:2", "t:3", "t:3"}));
    // Due together: the alarm made first goes first.
    Alarm late;
    ASSERT_TRUE(late.Create(&task, 9, 2000, 1));
    ASSERT_TRUE(everyThird.Reset(2000, 1));
    ASSERT_TRUE(dakfw::NextDueAlarm(clock.now + 2000, &due));
    EXPECT_EQ(due.eventId, 3);
    // An alarm whose task is gone posts nothing, and refused posts are no fault.
    task.Destroy();
    dakfw::PostEveryAlarm();
    dakfw::WaitIdle();
    EXPECT_EQ(story.size(), 5U);
}

TEST_F(FrameworkTurns, AWriterWaitsThroughTheSchedulerWhileAReaderHolds)
{
    CountingScheduler turns;
    dakfw::UseScheduler(&turns);
    TCRWLock lock;
    lock.RLock();
    lock.RLock();  // a reader may take it again
    EXPECT_EQ(dakfw::ReadHolds(), 2);
    std::atomic<bool> written{false};
    std::thread writer([&] {
        lock.WLock();
        written = true;
        lock.WUnlock();
    });
    // The writer is asleep in the scheduler's wait on the lock.
    while (turns.lastKey.load() != &lock) {
        std::this_thread::yield();
    }
    lock.RUnlock();
    EXPECT_FALSE(written.load());
    lock.RUnlock();
    writer.join();
    EXPECT_TRUE(written.load());
    EXPECT_EQ(dakfw::ReadHolds(), 0);
    // A release without a hold is reported, and counts nothing.
    lock.RUnlock();
    EXPECT_EQ(Reports().back(), "assert m_readHolds > 0");
    EXPECT_EQ(dakfw::ReadHolds(), 0);
}

TEST_F(FrameworkTurns, InjectedFaultsRefuseSendsAndCreation)
{
    std::vector<std::string> story;
    RecordingTask task("f", story);
    dakfw::InjectedFaults().taskCreate = true;
    EXPECT_FALSE(task.Create("f", 0, 0, 0));
    dakfw::InjectedFaults().taskCreate = false;
    ASSERT_TRUE(task.Create("f", 0, 0, 0));
    dakfw::InjectedFaults().send = true;
    EXPECT_FALSE(RecordingTask::Post(task, 1));
    dakfw::InjectedFaults().send = false;
    EXPECT_TRUE(RecordingTask::Post(task, 2));
    dakfw::WaitIdle();
    EXPECT_EQ(story, std::vector<std::string>{"f:2"});
    TCMutex mutex;
    dakfw::InjectedFaults().mutexCreate = true;
    EXPECT_FALSE(mutex.Create());
    dakfw::InjectedFaults().mutexCreate = false;
    EXPECT_TRUE(mutex.Create());
    mutex.Destroy();
}

}  // namespace
