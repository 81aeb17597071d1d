// The task framework of the Linux platform on real threads and real
// monotonic alarms: order and thread of delivery, stop and self-destruction,
// alarms that post on their period and never after Destroy, the recursive
// mutex, the semaphore and the reader/writer lock.
#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "TCAlarm.h"
#include "TCMutex.h"
#include "TCRWLock.h"
#include "TCSemaphore.h"
#include "TCTask.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kLimit = std::chrono::seconds(20);  // a hang, not a timing

// A task that records what it is handed, and on which thread.
class RecordingTask : public TCTask {
public:
    bool t_OnEvent(const TSEvent* event) override
    {
        if (TCTask::t_OnEvent(event)) {
            return true;
        }
        const std::lock_guard<std::mutex> lock(m_lock);
        m_ids.push_back(event->eventId);
        m_times.push_back(Clock::now());
        m_threads.push_back(pthread_self());
        if (event->eventId == kSelfDestroy) {
            Destroy();
        }
        m_changed.notify_all();
        return true;
    }

    // Waits until `count` events were handled; false on a hang.
    bool WaitFor(size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, kLimit, [&] { return m_ids.size() >= count; });
    }

    bool Post(uint32_t id)
    {
        TSEvent event;
        event.receiver = this;
        event.eventId = id;
        return Send(&event, false, false);
    }

    std::vector<uint32_t> Ids()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_ids;
    }
    std::vector<Clock::time_point> Times()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_times;
    }
    std::vector<pthread_t> Threads()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_threads;
    }

    static constexpr uint32_t kSelfDestroy = 999;

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<uint32_t> m_ids;
    std::vector<Clock::time_point> m_times;
    std::vector<pthread_t> m_threads;
};

TEST(LinuxTask, HandsEventsOneAtATimeInQueueOrderOnItsOwnThread)
{
    RecordingTask task;
    ASSERT_TRUE(task.Create("order", 60, 8192, 0));
    ASSERT_TRUE(task.FlagCreate());
    for (uint32_t id = 1; id <= 100; ++id) {
        ASSERT_TRUE(task.Post(id));
    }
    ASSERT_TRUE(task.WaitFor(100));
    const auto ids = task.Ids();
    for (uint32_t i = 0; i < 100; ++i) {
        EXPECT_EQ(ids[i], i + 1);
    }
    for (const pthread_t thread : task.Threads()) {
        EXPECT_TRUE(pthread_equal(thread, task.Threads().front()));
        EXPECT_FALSE(pthread_equal(thread, pthread_self()));
    }
    task.Destroy();
    EXPECT_FALSE(task.FlagCreate());
    EXPECT_FALSE(task.Post(101));  // a destroyed task takes nothing
}

TEST(LinuxTask, SendersOnManyThreadsLoseNothingAndKeepTheirOwnOrder)
{
    RecordingTask task;
    ASSERT_TRUE(task.Create("senders", 60, 8192, 0));
    constexpr uint32_t kThreads = 4;
    constexpr uint32_t kEach = 25;  // within the queue's store even if none is handled yet
    std::vector<std::thread> senders;
    for (uint32_t t = 0; t < kThreads; ++t) {
        senders.emplace_back([&task, t] {
            for (uint32_t i = 0; i < kEach; ++i) {
                EXPECT_TRUE(task.Post(1000 * (t + 1) + i));
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    ASSERT_TRUE(task.WaitFor(size_t{kThreads} * kEach));
    std::vector<uint32_t> next(kThreads, 0);
    for (const uint32_t id : task.Ids()) {
        const uint32_t sender = id / 1000 - 1;
        ASSERT_LT(sender, kThreads);
        EXPECT_EQ(id % 1000, next[sender]++);
    }
    task.Destroy();
}

TEST(LinuxTask, TheStopEventEndsHandlingAndADestroyFromItsOwnHandlerIsSafe)
{
    RecordingTask stopped;
    ASSERT_TRUE(stopped.Create("stop", 60, 8192, 0));
    ASSERT_TRUE(stopped.Post(1));
    ASSERT_TRUE(stopped.Post(0));  // the framework's stop event
    (void)stopped.Post(2);         // taken or refused, depending on how far the stop got
    stopped.Destroy();             // returns once the thread has ended
    EXPECT_EQ(stopped.Ids(), std::vector<uint32_t>{1});

    auto* self = new RecordingTask;
    ASSERT_TRUE(self->Create("self", 60, 8192, 0));
    ASSERT_TRUE(self->Post(RecordingTask::kSelfDestroy));
    ASSERT_TRUE(self->WaitFor(1));
    // Destroyed from its handler: created no more, and nothing more handled.
    EXPECT_FALSE(self->FlagCreate());
    EXPECT_FALSE(self->Post(5));
    delete self;
}

TEST(LinuxTask, ClearingTheQueueDropsOnlyTheTasksOwnEvents)
{
    RecordingTask task;
    ASSERT_TRUE(task.Create("clear", 60, 8192, 0));
    TCSemaphore gate;
    ASSERT_TRUE(gate.Create(0));
    // Queued while the handler is busy elsewhere: a blocked first event.
    class Blocker : public TCTask {
    public:
        explicit Blocker(TCSemaphore& gate) : m_gate(gate) {}
        bool t_OnEvent(const TSEvent* event) override
        {
            if (!TCTask::t_OnEvent(event)) {
                m_gate.Take();
            }
            return true;
        }
        TCSemaphore& m_gate;
    };
    Blocker blocker(gate);
    ASSERT_TRUE(blocker.Create("blocker", 60, 8192, 0));
    TSEvent first;
    first.receiver = &blocker;
    first.eventId = 1;
    ASSERT_TRUE(blocker.Send(&first, false, false));
    TSEvent foreign = first;
    foreign.receiver = &task;  // addressed to another task's handler: goes there
    ASSERT_TRUE(blocker.Send(&foreign, false, false));
    ASSERT_TRUE(blocker.Send(&first, false, false));
    ASSERT_TRUE(blocker.Send(&first, false, false));
    unsigned int removed = 0;
    ASSERT_TRUE(blocker.Delete(&blocker, &removed));
    // The first event may or may not have been taken already.
    EXPECT_GE(removed, 2U);
    gate.Give();
    ASSERT_TRUE(task.WaitFor(1));
    EXPECT_EQ(task.Ids(), std::vector<uint32_t>{1});
    gate.Give();
    blocker.Destroy();
    task.Destroy();
    gate.Destroy();
}

TEST(LinuxAlarm, PostsOnItsPeriodNeverEarlyAndNothingAfterDestroy)
{
    RecordingTask task;
    ASSERT_TRUE(task.Create("alarm", 60, 8192, 0));
    constexpr int kPeriodMs = 20;
    const auto armed = Clock::now();
    TCStateAlarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 11500, kPeriodMs, -1));
    ASSERT_TRUE(task.WaitFor(5));
    alarm.Destroy();
    EXPECT_FALSE(alarm.FlagCreate());
    const auto times = task.Times();
    // The k-th event is due k periods after arming, and never comes sooner
    // (periods are counted in whole milliseconds).
    for (size_t k = 0; k < times.size(); ++k) {
        EXPECT_GE(times[k] - armed,
                  std::chrono::milliseconds(kPeriodMs * static_cast<int>(k + 1) - 1))
            << "event " << k + 1;
    }
    // A marker sent after Destroy returned comes after every alarm event.
    const size_t before = task.Ids().size();
    ASSERT_TRUE(task.Post(7));
    ASSERT_TRUE(task.WaitFor(before + 1));
    EXPECT_EQ(task.Ids().back(), 7U);
    EXPECT_EQ(task.Ids().size(), before + 1);
    task.Destroy();
}

TEST(LinuxAlarm, ACountedAlarmStopsAfterItsCountAndResetArmsItAgain)
{
    RecordingTask task;
    ASSERT_TRUE(task.Create("counted", 60, 8192, 0));
    TCStateAlarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 42, 5, 2));
    ASSERT_TRUE(task.WaitFor(2));
    ASSERT_TRUE(alarm.Reset(5, 1));
    ASSERT_TRUE(task.WaitFor(3));
    alarm.Destroy();
    ASSERT_TRUE(task.Post(7));
    ASSERT_TRUE(task.WaitFor(4));
    EXPECT_EQ(task.Ids(), (std::vector<uint32_t>{42, 42, 42, 7}));
    task.Destroy();
}

TEST(LinuxMutex, IsRecursivePerThreadAndRefusesAnotherThreadsUnlock)
{
    TCMutex mutex;
    ASSERT_TRUE(mutex.Create());
    mutex.Lock();
    mutex.Lock();
    EXPECT_FALSE(std::async(std::launch::async, [&] { return mutex.Unlock(); }).get());
    EXPECT_TRUE(mutex.Unlock());
    // Still held once: another thread cannot take it yet.
    std::atomic<bool> taken{false};
    std::thread other([&] {
        mutex.Lock();
        taken = true;
        mutex.Unlock();
    });
    EXPECT_FALSE(taken.load());
    EXPECT_TRUE(mutex.Unlock());
    other.join();
    EXPECT_TRUE(taken.load());
    mutex.Destroy();
}

TEST(LinuxSemaphore, ATakeWaitsForAGiveFromAnotherThread)
{
    TCSemaphore semaphore;
    ASSERT_TRUE(semaphore.Create(1));
    semaphore.Take();
    auto waiter = std::async(std::launch::async, [&] { semaphore.Take(); });
    EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);
    semaphore.Give();
    EXPECT_EQ(waiter.wait_for(kLimit), std::future_status::ready);
    semaphore.Destroy();
    EXPECT_FALSE(semaphore.FlagCreate());
    TCSemaphore refused;
    EXPECT_FALSE(refused.Create(-1));
    EXPECT_FALSE(refused.FlagCreate());
}

TEST(LinuxRWLock, ReadersShareTheLockAndAWriterWaitsForThem)
{
    TCRWLock lock;
    lock.RLock();
    auto reader = std::async(std::launch::async, [&] {
        lock.RLock();
        lock.RUnlock();
    });
    EXPECT_EQ(reader.wait_for(kLimit), std::future_status::ready);
    std::atomic<bool> written{false};
    auto writer = std::async(std::launch::async, [&] {
        lock.WLock();
        written = true;
        lock.WUnlock();
    });
    EXPECT_FALSE(written.load());
    lock.RUnlock();
    EXPECT_EQ(writer.wait_for(kLimit), std::future_status::ready);
    EXPECT_TRUE(written.load());
}

}  // namespace
