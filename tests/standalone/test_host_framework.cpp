// The host platform's task framework on real threads: the recursive mutex,
// task queues and dispatch, destruction, queue clearing and the faults.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "DakHostControl.h"
#include "TCMutex.h"
#include "TCSemaphore.h"
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

// Records every event it handles, the stop event included (as 0).
class RecordingTask : public TCTask {
public:
    RecordingTask() = default;
    ~RecordingTask() override { Destroy(); }
    RecordingTask(const RecordingTask&) = delete;
    RecordingTask& operator=(const RecordingTask&) = delete;

    bool t_OnEvent(const TSEvent* event) override
    {
        const bool framework = TCTask::t_OnEvent(event);
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_events.push_back(event->eventId);
        }
        if (!framework && onEvent) {
            onEvent(*event);
        }
        return true;
    }

    std::vector<uint32_t> Events()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_events;
    }

    bool Start() { return Create("RecordingTask", 60, 8192, 0); }

    std::function<void(const TSEvent&)> onEvent;

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
        const std::lock_guard<std::mutex> lock(m_lock);
        m_events.push_back(event->eventId);
        return true;
    }
    std::vector<uint32_t> Events()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_events;
    }

private:
    std::mutex m_lock;
    std::vector<uint32_t> m_events;
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

int AssertCount(const std::string& expression)
{
    int count = 0;
    for (const auto& line : dakhost::Logs()) {
        if (line.via == dakhost::Via::Assert && line.text == expression) {
            ++count;
        }
    }
    return count;
}

class HostFramework : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::UseVirtualTime(true);
        dakhost::SetLogToStderr(false);
    }
};

// ---- recursive mutex --------------------------------------------------------------

TEST_F(HostFramework, MutexLockedTwiceNeedsTwoUnlocksBeforeAnotherThreadGetsIt)
{
    TCMutex mutex;
    ASSERT_TRUE(mutex.Create());
    mutex.Lock();
    mutex.Lock();

    std::atomic<bool> acquired{false};
    std::thread other([&] {
        mutex.Lock();
        acquired = true;
        EXPECT_TRUE(mutex.Unlock());
    });

    EXPECT_TRUE(mutex.Unlock());
    EXPECT_FALSE(acquired.load());
    // Still held by this thread: its second unlock is accepted.
    EXPECT_TRUE(mutex.Unlock());
    other.join();
    EXPECT_TRUE(acquired.load());
    // Free now: an unlock by a thread that does not hold it is refused.
    EXPECT_FALSE(mutex.Unlock());
    mutex.Destroy();
}

TEST_F(HostFramework, MutexUnlockByAnotherThreadIsRefusedAndChangesNothing)
{
    TCMutex mutex;
    ASSERT_TRUE(mutex.Create());
    mutex.Lock();
    mutex.Lock();

    bool foreignResult = true;
    std::thread([&] { foreignResult = mutex.Unlock(); }).join();
    EXPECT_FALSE(foreignResult);

    // The holder's count is intact: exactly two unlocks succeed.
    EXPECT_TRUE(mutex.Unlock());
    EXPECT_TRUE(mutex.Unlock());
    EXPECT_FALSE(mutex.Unlock());

    // And the mutex is free for others.
    bool otherLocked = false;
    std::thread([&] {
        mutex.Lock();
        otherLocked = mutex.Unlock();
    }).join();
    EXPECT_TRUE(otherLocked);
}

TEST_F(HostFramework, MutexFaultFailsPlainMutexesButNotTaskQueues)
{
    dakhost::FailMutexCreate(true);
    TCMutex mutex;
    EXPECT_FALSE(mutex.Create());
    EXPECT_FALSE(mutex.FlagCreate());

    RecordingTask task;
    ASSERT_TRUE(task.Start());
    EXPECT_TRUE(Post(task, 5));
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events(), std::vector<uint32_t>{5});

    dakhost::FailMutexCreate(false);
    EXPECT_TRUE(mutex.Create());
}

TEST_F(HostFramework, OperationsOnObjectsNotCreatedAreReportedAndGoOn)
{
    TCMutex mutex;
    mutex.Lock();
    EXPECT_TRUE(mutex.Unlock());
    EXPECT_EQ(AssertCount("FlagCreate() == true"), 2);

    {
        TCSemaphore semaphore;
        ASSERT_TRUE(semaphore.Create(0));
        semaphore.Give();
        semaphore.Take();
        // Left created: its destructor reports it.
    }
    EXPECT_EQ(AssertCount("FlagCreate() == false"), 1);

    RecordingTask task;
    EXPECT_FALSE(Post(task, 1));
    EXPECT_EQ(AssertCount("FlagCreate() == true"), 3);
}

TEST_F(HostFramework, TaskLeftCreatedIsReportedByItsDestructor)
{
    {
        TCTask task;
        ASSERT_TRUE(task.Create("PlainTask", 60, 8192, 0));
        EXPECT_EQ(dakhost::TaskCount(), 1);
        // Once an event went through, the thread is surely in its loop.
        ASSERT_TRUE(Post(task, 1));
        dakhost::WaitIdle();
    }
    EXPECT_EQ(AssertCount("FlagCreate() == false"), 1);
    EXPECT_EQ(dakhost::TaskCount(), 0);
}

// ---- tasks ------------------------------------------------------------------------------

TEST_F(HostFramework, TaskHandlesEventsOneAtATimeInQueueOrder)
{
    RecordingTask task;
    std::atomic<int> running{0};
    std::atomic<bool> overlapped{false};
    task.onEvent = [&](const TSEvent&) {
        if (++running > 1) {
            overlapped = true;
        }
        --running;
    };
    ASSERT_TRUE(task.Start());
    EXPECT_TRUE(task.FlagCreate());
    EXPECT_EQ(dakhost::TaskCount(), 1);

    std::vector<uint32_t> sent;
    for (uint32_t id = 1; id <= 100; ++id) {
        ASSERT_TRUE(Post(task, id));
        sent.push_back(id);
    }
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events(), sent);
    EXPECT_FALSE(overlapped.load());
}

TEST_F(HostFramework, UrgentEventGoesAheadOfQueuedOnes)
{
    RecordingTask task;
    Gate entered;
    Gate release;
    task.onEvent = [&](const TSEvent& event) {
        if (event.eventId == 1) {
            entered.Open();
            release.Wait();
        }
    };
    ASSERT_TRUE(task.Start());
    ASSERT_TRUE(Post(task, 1));
    entered.Wait();
    ASSERT_TRUE(Post(task, 2));
    TSEvent urgent;
    urgent.receiver = &task;
    urgent.eventId = 3;
    ASSERT_TRUE(task.Send(&urgent, true, false));
    release.Open();
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events(), (std::vector<uint32_t>{1, 3, 2}));
}

TEST_F(HostFramework, WaitIdleCoversEventsThatHandlingPosts)
{
    // Event n on one task posts n + 1 to the other, alternating, and each
    // task also posts to itself once: WaitIdle must see the whole chain.
    RecordingTask first;
    RecordingTask second;
    first.onEvent = [&](const TSEvent& event) {
        if (event.eventId < 40) {
            EXPECT_TRUE(Post(second, event.eventId + 1));
        }
    };
    second.onEvent = [&](const TSEvent& event) {
        if (event.eventId < 40) {
            EXPECT_TRUE(Post(first, event.eventId + 1));
        }
        if (event.eventId == 2) {
            EXPECT_TRUE(Post(second, 1000));
        }
    };
    ASSERT_TRUE(first.Start());
    ASSERT_TRUE(second.Start());
    ASSERT_TRUE(Post(first, 1));
    dakhost::WaitIdle();

    std::vector<uint32_t> odd;
    std::vector<uint32_t> even{2};
    for (uint32_t id = 1; id <= 40; id += 2) {
        odd.push_back(id);
    }
    for (uint32_t id = 4; id <= 40; id += 2) {
        even.push_back(id);
    }
    EXPECT_EQ(first.Events(), odd);
    const auto seen = second.Events();
    ASSERT_EQ(seen.size(), even.size() + 1);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1000U), 1);
}

TEST_F(HostFramework, SendRoutesToTheTaskOwningTheReceiver)
{
    RecordingTask first;
    RecordingTask second;
    ASSERT_TRUE(first.Start());
    ASSERT_TRUE(second.Start());
    // Sent through the first task, addressed to the second one's handler.
    ASSERT_TRUE(Post(first, &second, 9));
    dakhost::WaitIdle();
    EXPECT_TRUE(first.Events().empty());
    EXPECT_EQ(second.Events(), std::vector<uint32_t>{9});
}

TEST_F(HostFramework, FullQueueRefusesWithoutBlocking)
{
    RecordingTask task;
    Gate entered;
    Gate release;
    task.onEvent = [&](const TSEvent& event) {
        if (event.eventId == 1) {
            entered.Open();
            release.Wait();
        }
    };
    ASSERT_TRUE(task.Start());
    ASSERT_TRUE(Post(task, 1));
    entered.Wait();
    for (unsigned int i = 0; i < TCQueue::kCapacity; ++i) {
        ASSERT_TRUE(Post(task, 2));
    }
    EXPECT_FALSE(Post(task, 3));
    release.Open();
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events().size(), TCQueue::kCapacity + 1);
}

TEST_F(HostFramework, StopEventEndsTheTaskAndNothingIsHandledAfterDestroy)
{
    RecordingTask task;
    ASSERT_TRUE(task.Start());
    ASSERT_TRUE(Post(task, 1));
    ASSERT_TRUE(Post(task, 0));  // the framework's stop event
    Post(task, 2);               // may or may not be queued; never handled
    task.Destroy();
    EXPECT_FALSE(task.FlagCreate());
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_EQ(task.Events(), (std::vector<uint32_t>{1, 0}));
    EXPECT_FALSE(Post(task, 3));
    dakhost::WaitIdle();  // nothing is left pending
    EXPECT_EQ(task.Events(), (std::vector<uint32_t>{1, 0}));
}

TEST_F(HostFramework, DestroyWaitsForTheRunningHandler)
{
    RecordingTask task;
    Gate entered;
    Gate release;
    std::atomic<bool> handlerDone{false};
    task.onEvent = [&](const TSEvent&) {
        entered.Open();
        release.Wait();
        handlerDone = true;
    };
    ASSERT_TRUE(task.Start());
    ASSERT_TRUE(Post(task, 1));
    entered.Wait();

    bool doneWhenDestroyReturned = false;
    std::thread destroyer([&] {
        ASSERT_TRUE(Post(task, 0));
        task.Destroy();
        doneWhenDestroyReturned = handlerDone.load();
    });
    release.Open();
    destroyer.join();
    EXPECT_TRUE(doneWhenDestroyReturned);
}

TEST_F(HostFramework, DestroyWithoutStopEventStillEnds)
{
    RecordingTask task;
    ASSERT_TRUE(task.Start());
    ASSERT_TRUE(Post(task, 4));
    task.Destroy();
    EXPECT_FALSE(task.FlagCreate());
    dakhost::WaitIdle();
    // Created again, it runs as before.
    ASSERT_TRUE(task.Start());
    ASSERT_TRUE(Post(task, 5));
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events().back(), 5U);
}

TEST_F(HostFramework, HandlerMayDestroyItsOwnTask)
{
    RecordingTask task;
    task.onEvent = [&](const TSEvent& event) {
        if (event.eventId == 1) {
            EXPECT_TRUE(Post(task, 2));
            task.Destroy();
        }
    };
    ASSERT_TRUE(task.Start());
    ASSERT_TRUE(Post(task, 1));
    dakhost::WaitIdle();
    EXPECT_FALSE(task.FlagCreate());
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_EQ(task.Events(), std::vector<uint32_t>{1});
}

TEST_F(HostFramework, ClearQueueDropsOnlyTheTaskOwnHandlersEvents)
{
    RecordingTask task;
    SideHandler side(&task);
    Gate entered;
    Gate release;
    task.onEvent = [&](const TSEvent& event) {
        if (event.eventId == 1) {
            entered.Open();
            release.Wait();
        }
    };
    ASSERT_TRUE(task.Start());
    ASSERT_TRUE(Post(task, 1));
    entered.Wait();
    ASSERT_TRUE(Post(task, 10));
    ASSERT_TRUE(Post(task, &side, 20));
    ASSERT_TRUE(Post(task, 11));
    ASSERT_TRUE(Post(task, &side, 21));

    TSEvent clear;
    EXPECT_TRUE(task.t_OnClearQueue(&clear));
    release.Open();
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events(), std::vector<uint32_t>{1});
    EXPECT_EQ(side.Events(), (std::vector<uint32_t>{20, 21}));
}

TEST_F(HostFramework, FrameworkEventsAreTheStopEventOnly)
{
    RecordingTask task;
    TSEvent event;
    event.eventId = 0;
    EXPECT_TRUE(task.TCTask::t_OnEvent(&event));
    event.eventId = 11500;
    EXPECT_FALSE(task.TCTask::t_OnEvent(&event));
    EXPECT_FALSE(task.TCTask::t_OnEvent(nullptr));
    EXPECT_EQ(AssertCount("event != NULL"), 1);
}

// ---- faults --------------------------------------------------------------------------------

TEST_F(HostFramework, SendFaultRefusesEveryEvent)
{
    RecordingTask task;
    ASSERT_TRUE(task.Start());
    dakhost::FailSend(true);
    EXPECT_FALSE(Post(task, 1));
    dakhost::FailSend(false);
    EXPECT_TRUE(Post(task, 2));
    dakhost::WaitIdle();
    EXPECT_EQ(task.Events(), std::vector<uint32_t>{2});
}

TEST_F(HostFramework, TaskCreateFaultLeavesTheTaskNotCreated)
{
    RecordingTask task;
    dakhost::FailTaskCreate(true);
    EXPECT_FALSE(task.Start());
    EXPECT_FALSE(task.FlagCreate());
    EXPECT_EQ(dakhost::TaskCount(), 0);
    dakhost::Reset();  // clears the fault
    EXPECT_TRUE(task.Start());
}

}  // namespace
