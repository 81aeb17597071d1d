// Many threads on the registry and the clocks while the manager's task
// applies the settings they cause. Meant for the ThreadSanitizer build too.
#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "DakTestFixture.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

using daktest::Utc;

constexpr int kThreads = 4;
constexpr int kRounds = 300;
constexpr uint16_t kSharedHandles = 3;

DAKHandle Handle(int32_t profileId, uint16_t subId)
{
    DAKHandle handle;
    handle.profileId = profileId;
    handle.subId = subId;
    return handle;
}

class StreamConcurrency : public DakTest {};

TEST_F(StreamConcurrency, ThreadsShareOneClockPerHandleAndSeeConsistentState)
{
    dakhost::SetLogLevel(1);
    dakhost::SetTimeUpdateAgent(dakhost::AgentMode::Answer);
    TIStreamClock::Init();
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    ASSERT_TRUE(manager->Init());
    dakhost::WaitIdle();

    // seen[t][r]: the clock thread t got for the handle that every thread
    // asks for first in round r (all race to create it).
    std::vector<std::array<TIStreamClock*, kRounds>> seen(kThreads);
    std::atomic<int> tornRecords{0};
    std::atomic<int> unsetReadings{0};
    std::atomic<bool> stop{false};

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int r = 0; r < kRounds; ++r) {
                seen[static_cast<size_t>(t)][static_cast<size_t>(r)] =
                    TIStreamClock::Instance(Handle(-50, static_cast<uint16_t>(r)));

                TIStreamClock* clock = TIStreamClock::Instance(
                    Handle(7, static_cast<uint16_t>((t + r) % kSharedHandles)));
                // Tables far apart, so most of them ask for the system time.
                clock->SetStreamClock(Utc(2024, 1, 1) + static_cast<unsigned long>(r) * 3600UL,
                                      false, 0);
                bool isSet = false;
                clock->StreamClock(&isSet);
                clock->StreamClockOfSystem(nullptr);
                unsetReadings += isSet ? 0 : 1;

                clock->SetStreamDST((r & 1) != 0, 0);
                clock->StreamDST();

                const auto mark = static_cast<int>(t * kRounds + r);
                clock->SetDVBTimeOffset(static_cast<unsigned long>(mark), mark, mark);
                unsigned long timeOfchange = 0;
                int next = 0;
                int local = 0;
                if (clock->GetDVBTimeOffset(timeOfchange, next, local) &&
                    (static_cast<int>(timeOfchange) != next || next != local)) {
                    ++tornRecords;
                }
            }
        });
    }
    // Meanwhile the automatic source keeps moving away from the stream.
    std::thread other([&] {
        for (int i = 0; i < 100 && !stop.load(); ++i) {
            manager->SetSystemTime(Utc(2025, 1, 1), SetType_net, false);
            ETypeOfAutoClock source = AutoType_max;
            manager->GetAutoClockType(source);
            std::this_thread::yield();
        }
    });
    for (auto& thread : threads) {
        thread.join();
    }
    stop = true;
    other.join();
    dakhost::WaitIdle();

    EXPECT_EQ(tornRecords.load(), 0);
    EXPECT_EQ(unsetReadings.load(), 0);
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
    for (size_t r = 0; r < kRounds; ++r) {
        TIStreamClock* clock = TIStreamClock::Instance(Handle(-50, static_cast<uint16_t>(r)));
        ASSERT_NE(clock, nullptr);
        for (size_t t = 0; t < kThreads; ++t) {
            ASSERT_EQ(seen[t][r], clock) << "thread " << t << " round " << r;
        }
    }
    // Every thread's tables reached the system time through the manager.
    EXPECT_GT(dakhost::Signals().size(), 1U);
}

}  // namespace
