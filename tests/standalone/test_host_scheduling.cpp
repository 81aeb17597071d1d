// The host platform's deterministic scheduling. Under the fixed rule a task
// has no thread: its events wait until the controlling thread waits for
// idle, and are then handled on that thread, task by task in creation
// order. Under a seed the threads pass one baton, so that the same seed
// gives the same interleaving, and blocking on a mutex, a queue or a thread
// hands the baton on instead of hanging.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "DakHostControl.h"
#include "TCAlarm.h"
#include "TCMutex.h"
#include "TCTask.h"

namespace {

// What the tasks did, in the order they did it.
class Story {
public:
    void Add(const std::string& line)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_lines.push_back(line);
    }
    std::vector<std::string> Lines()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_lines;
    }

private:
    std::mutex m_lock;
    std::vector<std::string> m_lines;
};

bool Post(TCTask& task, uint32_t eventId)
{
    TSEvent event;
    event.receiver = &task;
    event.eventId = eventId;
    return task.Send(&event, false, false);
}

// Tells its story; an event may lock a shared mutex around it and post on.
class StoryTask : public TCTask {
public:
    StoryTask(std::string name, Story& story) : m_name(std::move(name)), m_story(story) {}
    ~StoryTask() override { Destroy(); }

    bool t_OnEvent(const TSEvent* event) override
    {
        if (TCTask::t_OnEvent(event)) {
            return true;
        }
        const std::string id = m_name + std::to_string(event->eventId);
        handlerThreads.insert(std::this_thread::get_id());
        inTurn = inTurn && dakhost::InTaskTurn();
        if (shared != nullptr) {
            shared->Lock();
        }
        m_story.Add(id + " in");
        if (next != nullptr && event->eventId < 100) {
            Post(*next, event->eventId + 100);
        }
        m_story.Add(id + " out");
        if (shared != nullptr) {
            shared->Unlock();
        }
        return true;
    }

    TCMutex* shared = nullptr;  // locked around each event
    StoryTask* next = nullptr;  // posted to (eventId + 100) from each event below 100
    std::set<std::thread::id> handlerThreads;
    bool inTurn = true;

private:
    std::string m_name;
    Story& m_story;
};

class HostScheduling : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::UseVirtualTime(true);
        dakhost::SetLogToStderr(false);
    }
    void TearDown() override { EXPECT_TRUE(dakhost::UseRealScheduling()); }
};

TEST_F(HostScheduling, FixedRuleHandlesEventsOnTheWaitingThreadInCreationOrder)
{
    ASSERT_TRUE(dakhost::UseDeterministicScheduling(std::nullopt));
    Story story;
    {
        StoryTask first("A", story);
        StoryTask second("B", story);
        ASSERT_TRUE(first.Create("A", 60, 8192, 0));
        ASSERT_TRUE(second.Create("B", 60, 8192, 0));
        first.next = &second;
        ASSERT_TRUE(Post(second, 20));
        ASSERT_TRUE(Post(first, 1));
        ASSERT_TRUE(Post(first, 2));
        // Nothing runs behind the caller's back.
        EXPECT_TRUE(story.Lines().empty());

        dakhost::WaitIdle();
        // A first while it has events, then B in queue order.
        const std::vector<std::string> expected = {"A1 in",   "A1 out",  "A2 in",   "A2 out",
                                                   "B20 in",  "B20 out", "B101 in", "B101 out",
                                                   "B102 in", "B102 out"};
        EXPECT_EQ(story.Lines(), expected);
        const std::set<std::thread::id> caller = {std::this_thread::get_id()};
        EXPECT_EQ(first.handlerThreads, caller);
        EXPECT_TRUE(first.inTurn);
        EXPECT_FALSE(dakhost::InTaskTurn());

        // What is queued when a task is destroyed is handled first.
        ASSERT_TRUE(Post(second, 30));
        second.Destroy();
        EXPECT_EQ(story.Lines().back(), "B30 out");
        first.Destroy();
    }
}

TEST_F(HostScheduling, FixedRuleAlarmsPostFromTheControls)
{
    ASSERT_TRUE(dakhost::UseDeterministicScheduling(std::nullopt));
    Story story;
    StoryTask task("T", story);
    ASSERT_TRUE(task.Create("T", 60, 8192, 0));
    TCStateAlarm alarm;
    ASSERT_TRUE(alarm.Create(&task, 7, 30000, -1));
    dakhost::Advance(90000);
    dakhost::FireAlarms();
    EXPECT_EQ(story.Lines().size(), 8U);  // three periods and one forced firing
    alarm.Destroy();
    task.Destroy();
}

TEST_F(HostScheduling, ModeChangesOnlyWithoutTasks)
{
    Story story;
    StoryTask task("T", story);
    ASSERT_TRUE(task.Create("T", 60, 8192, 0));
    EXPECT_FALSE(dakhost::UseDeterministicScheduling(3U));
    task.Destroy();
    EXPECT_TRUE(dakhost::UseDeterministicScheduling(3U));
}

// Two tasks that post to each other under one mutex, fed by the caller.
std::vector<std::string> Interleaving(uint32_t seed)
{
    EXPECT_TRUE(dakhost::UseDeterministicScheduling(seed));
    Story story;
    TCMutex shared;
    EXPECT_TRUE(shared.Create());
    {
        StoryTask first("A", story);
        StoryTask second("B", story);
        first.shared = &shared;
        second.shared = &shared;
        first.next = &second;
        second.next = &first;
        EXPECT_TRUE(first.Create("A", 60, 8192, 0));
        EXPECT_TRUE(second.Create("B", 60, 8192, 0));
        for (uint32_t i = 1; i <= 4; ++i) {
            shared.Lock();
            story.Add("caller " + std::to_string(i));
            Post(first, i);
            Post(second, i);
            shared.Unlock();
            dakhost::LetTasksRun();
        }
        dakhost::WaitIdle();
        first.Destroy();
        second.Destroy();
    }
    shared.Destroy();
    EXPECT_TRUE(dakhost::UseRealScheduling());
    return story.Lines();
}

TEST_F(HostScheduling, SameSeedSameInterleavingOthersDiffer)
{
    std::set<std::vector<std::string>> seen;
    for (uint32_t seed = 1; seed <= 12; ++seed) {
        const std::vector<std::string> story = Interleaving(seed);
        EXPECT_EQ(story, Interleaving(seed)) << "seed " << seed;
        // Every event is handled, and the mutex keeps each handler whole.
        EXPECT_EQ(story.size(), 4U + 4U * 2U * 2U * 2U);
        for (size_t i = 0; i + 1 < story.size(); ++i) {
            if (story[i].find(" in") != std::string::npos) {
                EXPECT_EQ(story[i + 1].substr(0, story[i].size() - 3) + " in", story[i])
                    << "seed " << seed << " line " << i;
            }
        }
        seen.insert(story);
    }
    EXPECT_GT(seen.size(), 3U);
}

// An alarm's firings over a virtual day under a seed, each handled by the
// task while the caller posts between periods: thousands of hand-overs.
std::vector<std::string> SeededDay(uint32_t seed)
{
    EXPECT_TRUE(dakhost::UseDeterministicScheduling(seed));
    Story story;
    std::vector<std::string> lines;
    {
        StoryTask task("T", story);
        EXPECT_TRUE(task.Create("T", 60, 8192, 0));
        TCStateAlarm alarm;
        EXPECT_TRUE(alarm.Create(&task, 7, 30000, -1));
        for (uint32_t hour = 1; hour <= 24; ++hour) {
            Post(task, 1000 + hour);
            dakhost::Advance(3600000);
        }
        dakhost::WaitIdle();
        lines = story.Lines();
        alarm.Destroy();
        task.Destroy();
    }
    EXPECT_TRUE(dakhost::UseRealScheduling());
    return lines;
}

TEST_F(HostScheduling, SeededAlarmsAreEachHandledOnceInTheSameOrderEveryTime)
{
    for (const uint32_t seed : {1U, 4U}) {
        const std::vector<std::string> day = SeededDay(seed);
        // 2880 firings and 24 posts, each an in and an out.
        EXPECT_EQ(day.size(), 2U * (2880U + 24U)) << "seed " << seed;
        EXPECT_EQ(std::count(day.begin(), day.end(), "T7 in"), 2880) << "seed " << seed;
        EXPECT_EQ(day, SeededDay(seed)) << "seed " << seed;
    }
}

TEST_F(HostScheduling, SeededCallerWaitsForATaskBlockedOnItsMutex)
{
    for (uint32_t seed = 1; seed <= 8; ++seed) {
        ASSERT_TRUE(dakhost::UseDeterministicScheduling(seed));
        Story story;
        TCMutex shared;
        ASSERT_TRUE(shared.Create());
        StoryTask task("T", story);
        task.shared = &shared;
        ASSERT_TRUE(task.Create("T", 60, 8192, 0));
        shared.Lock();
        Post(task, 1);
        dakhost::LetTasksRun();  // the task may run now, and wait for the mutex
        dakhost::LetTasksRun();
        EXPECT_TRUE(story.Lines().empty());
        shared.Unlock();
        dakhost::WaitIdle();
        EXPECT_EQ(story.Lines().size(), 2U) << "seed " << seed;
        EXPECT_EQ(task.handlerThreads.count(std::this_thread::get_id()), 0U);
        task.Destroy();
        shared.Destroy();
        ASSERT_TRUE(dakhost::UseRealScheduling());
    }
}

}  // namespace
