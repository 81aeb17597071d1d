// The host platform's task framework on real threads: the recursive mutex,
// and a task's queue order, wake-ups, full queue, stop and queue clearing.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "DakHostControl.h"
#include "TCMutex.h"
#include "TCTask.h"

namespace {

// A one-shot signal between threads.
class Gate {
public:
    void Open()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_open = true;
        m_changed.notify_all();
    }
    void Wait()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_open = false;
};

constexpr uint32_t kHold = 1;  // its handler waits for `release`

// Records every event it handles, the stop event included (as 0).
class RecordingTask : public TCTask {
public:
    ~RecordingTask() override { Destroy(); }

    bool t_OnEvent(const TSEvent* event) override
    {
        const bool framework = TCTask::t_OnEvent(event);
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_events.push_back(event->eventId);
        }
        if (event->eventId == kHold) {
            entered.Open();
            release.Wait();
        } else if (!framework && onEvent) {
            onEvent(*event);
        }
        return true;
    }

    bool WaitQueueIdle() { return WaitIdle(); }

    std::vector<uint32_t> Events()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_events;
    }

    std::function<void(const TSEvent&)> onEvent;
    Gate entered;
    Gate release;

private:
    std::mutex m_lock;
    std::vector<uint32_t> m_events;
};

// A second handler owned by a task, to address events past the task's own.
class SideHandler : public TCHandler {
public:
    explicit SideHandler(TCTask* owner) { SetOwnerTask(owner); }
    bool t_OnEvent(const TSEvent* event) override
    {
        events.push_back(event->eventId);  // read after WaitIdle only
        return true;
    }
    std::vector<uint32_t> events;
};

bool Post(TCTask& task, TCHandler* receiver, uint32_t eventId)
{
    TSEvent event;
    event.receiver = receiver;
    event.eventId = eventId;
    return task.Send(&event, false, false);
}

bool Post(TCTask& task, uint32_t eventId)
{
    return Post(task, &task, eventId);
}

class HostFramework : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::UseVirtualTime(true);
        dakhost::SetLogToStderr(false);
        faultsBefore = dakhost::PendingFaults();
        ASSERT_TRUE(task.Create("RecordingTask", 60, 8192, 0));
    }
    // Every post, handling and wait of a test keeps the pending-work count
    // whole: WaitIdle() can trust it.
    void TearDown() override { EXPECT_EQ(dakhost::PendingFaults(), faultsBefore); }
    int faultsBefore = 0;

    // Keeps the task inside a handler until task.release.Open().
    void Hold()
    {
        ASSERT_TRUE(Post(task, kHold));
        task.entered.Wait();
    }

    RecordingTask task;
};

TEST_F(HostFramework, MutexIsRecursivePerThreadAndRefusesAForeignUnlock)
{
    TCMutex mutex;
    ASSERT_TRUE(mutex.Create());
    mutex.Lock();
    mutex.Lock();
    bool foreignUnlock = true;
    std::thread([&] { foreignUnlock = mutex.Unlock(); }).join();
    EXPECT_FALSE(foreignUnlock);

    std::atomic<bool> acquired{false};
    std::thread other([&] {
        mutex.Lock();
        acquired = true;
        EXPECT_TRUE(mutex.Unlock());
    });
    // Two unlocks are still ours: the foreign one changed no count.
    EXPECT_TRUE(mutex.Unlock());
    EXPECT_FALSE(acquired.load());
    EXPECT_TRUE(mutex.Unlock());
    other.join();
    EXPECT_TRUE(acquired.load());
    EXPECT_FALSE(mutex.Unlock());
}

TEST_F(HostFramework, QueueKeepsOrderTakesOwnSendsAndRefusesWhenFull)
{
    // Events from 200 on are sent by the task's own handler, one by one;
    // WaitIdle must cover the whole chain.
    task.onEvent = [this](const TSEvent& event) {
        const uint32_t id = event.eventId;
        if (id == TCQueue::kCapacity + 1 || (id >= 200 && id < 205)) {
            EXPECT_TRUE(Post(task, id < 200 ? 200 : id + 1));
        }
    };
    Hold();
    std::vector<uint32_t> expected{kHold};
    for (uint32_t id = 2; id <= TCQueue::kCapacity + 1; ++id) {
        ASSERT_TRUE(Post(task, id));
        expected.push_back(id);
    }
    EXPECT_FALSE(Post(task, 999));
    task.release.Open();
    dakhost::WaitIdle();
    for (uint32_t id = 200; id <= 205; ++id) {
        expected.push_back(id);
    }
    EXPECT_EQ(task.Events(), expected);
}

TEST_F(HostFramework, RacingPostsWakeTheSleepingTaskBesideAQueueWaiter)
{
    // Each round starts on an idle, sleeping task: two posters race to wake
    // it (one naming no receiver, so the task's own handler takes it) while
    // a third thread waits on the same queue for it to drain.
    constexpr uint32_t kRounds = 200;
    constexpr uint32_t kPerPoster = 20;
    for (uint32_t round = 0; round < kRounds; ++round) {
        std::vector<std::thread> threads;
        for (uint32_t poster = 0; poster < 2; ++poster) {
            threads.emplace_back([this, poster, round] {
                const uint32_t first = (poster + 1) * 100000 + round * kPerPoster;
                for (uint32_t id = first; id < first + kPerPoster; ++id) {
                    EXPECT_TRUE(Post(task, poster == 0 ? nullptr : &task, id));
                }
            });
        }
        threads.emplace_back([this] { EXPECT_TRUE(task.WaitQueueIdle()); });
        for (std::thread& thread : threads) {
            thread.join();
        }
        dakhost::WaitIdle();
        ASSERT_EQ(task.Events().size(), (round + 1) * 2 * kPerPoster) << "round " << round;
    }
    // Each poster's events in the order it sent them.
    for (uint32_t poster = 0; poster < 2; ++poster) {
        std::vector<uint32_t> seen;
        for (const uint32_t id : task.Events()) {
            if (id / 100000 == poster + 1) {
                seen.push_back(id - (poster + 1) * 100000);
            }
        }
        ASSERT_EQ(seen.size(), kRounds * kPerPoster);
        for (uint32_t i = 0; i < seen.size(); ++i) {
            ASSERT_EQ(seen[i], i) << "poster " << poster;
        }
    }
}

TEST_F(HostFramework, NoHandlerRunsAfterTheStopEventAndDestroy)
{
    Hold();
    ASSERT_TRUE(Post(task, 2));
    ASSERT_TRUE(Post(task, 0));  // the framework's stop event
    ASSERT_TRUE(Post(task, 3));
    task.release.Open();
    task.Destroy();
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_FALSE(Post(task, 4));
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events(), (std::vector<uint32_t>{kHold, 2, 0}));
}

TEST_F(HostFramework, ClearQueueDropsOnlyTheTaskOwnHandlersEvents)
{
    SideHandler side(&task);
    Hold();
    ASSERT_TRUE(Post(task, 10));
    ASSERT_TRUE(Post(task, &side, 20));
    ASSERT_TRUE(Post(task, 11));
    ASSERT_TRUE(Post(task, &side, 21));
    TSEvent clear;
    EXPECT_TRUE(task.t_OnClearQueue(&clear));
    task.release.Open();
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events(), std::vector<uint32_t>{kHold});
    EXPECT_EQ(side.events, (std::vector<uint32_t>{20, 21}));
}

}  // namespace
