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

constexpr int kThreads = 4;
constexpr int kRounds = 300;

class StreamConcurrency : public DakTest {};

TEST_F(StreamConcurrency, OneClockPerHandleNoTornRecordsNoReadHoldsLeft)
{
    dakhost::SetLogLevel(1);
    dakhost::SetTimeUpdateAgent(dakhost::AgentMode::Answer);
    TIStreamClock::Init();
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    ASSERT_TRUE(manager->Init());
    dakhost::WaitIdle();

    // seen[t][r]: the clock thread t got for handle -50/r, which all threads
    // race to create in round r.
    std::vector<std::array<TIStreamClock*, kRounds>> seen(kThreads);
    std::atomic<int> faults{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int r = 0; r < kRounds; ++r) {
                seen[static_cast<size_t>(t)][static_cast<size_t>(r)] =
                    TIStreamClock::Instance(DAKHandle{-50, static_cast<uint16_t>(r)});
                TIStreamClock* clock =
                    TIStreamClock::Instance(DAKHandle{7, static_cast<uint16_t>((t + r) % 3)});
                // Tables an hour apart, so most of them set the system time.
                clock->SetStreamClock(1700000000UL + static_cast<unsigned long>(r) * 3600UL, false,
                                      0);
                bool isSet = false;
                clock->StreamClock(&isSet);
                clock->StreamClockOfSystem(nullptr);
                clock->SetStreamDST((r & 1) != 0, 0);
                clock->StreamDST();
                const int mark = t * kRounds + r;
                clock->SetDVBTimeOffset(static_cast<unsigned long>(mark), mark, mark);
                unsigned long timeOfchange = 0;
                int next = 0;
                int local = 0;
                const bool torn = clock->GetDVBTimeOffset(timeOfchange, next, local) &&
                                  (static_cast<int>(timeOfchange) != next || next != local);
                faults += (!isSet || torn) ? 1 : 0;
            }
        });
    }
    // Meanwhile the network keeps taking the automatic source away.
    std::thread other([&] {
        for (int i = 0; i < 100; ++i) {
            manager->SetSystemTime(1735689600UL, SetType_net, false);
            ETypeOfAutoClock source = AutoType_max;
            manager->GetAutoClockType(source);
        }
    });
    for (auto& thread : threads) {
        thread.join();
    }
    other.join();
    dakhost::WaitIdle();

    EXPECT_EQ(faults.load(), 0);
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
    for (int r = 0; r < kRounds; ++r) {
        TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{-50, static_cast<uint16_t>(r)});
        for (const auto& perThread : seen) {
            ASSERT_EQ(perThread[static_cast<size_t>(r)], clock) << "round " << r;
        }
    }
    EXPECT_GT(dakhost::Signals().size(), 1U);  // the tables reached the manager
}

}  // namespace
