// Allocation failure at every allocation point of a day in the library's
// life: start-up, a setting, a sync, network time, stream operations and
// shutdown. Each run throws std::bad_alloc at the N-th allocation of the
// process (any thread), for N = 0, 1, 2... until a run gets through without
// one. After each: the process is alive, no read lock is held, no task,
// alarm or subscription is left after shutdown, and the library starts and
// sets the time again. LeakSanitizer checks at exit that nothing leaked.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>

#include "DakTestFixture.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

// Allocations left before the failing one; negative: none fails.
std::atomic<long> g_allocationsLeft{-1};
std::atomic<bool> g_failed{false};

void* Allocate(std::size_t size)
{
    if (g_allocationsLeft.load(std::memory_order_relaxed) >= 0 &&
        g_allocationsLeft.fetch_sub(1) == 0) {
        g_failed = true;
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

// NOLINTBEGIN(misc-new-delete-overloads, cert-dcl54-cpp, hicpp-new-delete-operators)
void* operator new(std::size_t size)
{
    return Allocate(size);
}
void* operator new[](std::size_t size)
{
    return Allocate(size);
}
void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
// NOLINTEND(misc-new-delete-overloads, cert-dcl54-cpp, hicpp-new-delete-operators)

namespace {

using dakhost::Setting;

constexpr unsigned long kStreamTime = 1709632800UL;  // 2024-03-05T10:00:00Z
constexpr unsigned long kManualTime = 1709640000UL;  // 2024-03-05T12:00:00Z

bool g_initFailed = false;  // the day's Init passed an allocation failure on

// The day: every step that allocates, in the library or in the platform
// below it. An allocation failure on a client's thread ends it here.
void Day()
{
    dakhost::SetMasterPower(false);
    dakhost::SetSetting(Setting::Reason, Reason_micom);
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    g_initFailed = true;
    manager->Init();
    g_initFailed = false;
    dakhost::WaitIdle();
    manager->SetSystemTime(kStreamTime - 100, SetType_manual, false);
    dakhost::WaitIdle();
    dakhost::SetRtc(static_cast<int64_t>(kStreamTime - 50));
    dakhost::FireAlarms();  // the sync
    dakhost::SetSetting(Setting::NetworkSet, 1);
    manager->SetSystemTimeByNetworkTime();
    dakhost::WaitIdle();
    dakhost::SetSetting(Setting::ClockMode, 1);
    dakhost::SetSetting(Setting::ClockMode, 0);  // the callback runs network time
    dakhost::WaitIdle();

    TIStreamClock::Init();
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{1, 0});
    TIStreamClock::Instance(DAKHandle{2, 1});
    clock->SetStreamDST(true, 0);
    clock->SetStreamClock(kStreamTime, false, 0);
    clock->SetDVBTimeOffset(kStreamTime, 60, 0);
    unsigned long timeOfchange = 0;
    int next = 0;
    int local = 0;
    clock->GetDVBTimeOffset(timeOfchange, next, local);
    bool isSet = false;
    clock->StreamClockOfSystem(&isSet);
    clock->Reset();
    dakhost::WaitIdle();
    manager->SetSystemTimeByReleaseTime();

    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
}

// Whatever the failure left, the library must shut down to nothing and then
// serve again, from a thread other than the one that ran the day (a lock the
// day kept would hang it).
void CheckAfterwards(long point)
{
    EXPECT_EQ(dakhost::AgentReadHolds(), 0) << point;
    if (g_initFailed && TISystemTimeManager::t_systemTimeManager != nullptr) {
        // A start-up that failed half-way left nothing: a second one starts
        // cleanly and completes.
        EXPECT_EQ(dakhost::AlarmCount(), 0) << point;
        EXPECT_EQ(dakhost::TaskCount(), 0) << point;
        EXPECT_TRUE(TISystemTimeManager::Instance()->Init()) << point;
        dakhost::WaitIdle();
        EXPECT_EQ(dakhost::AlarmCount(), 1) << point;
        EXPECT_TRUE(dakhost::IsSubscribed(3)) << point;
        EXPECT_EQ(dakhost::PlatformClock(), static_cast<uint32_t>(dakhost::Rtc())) << point;
    }
    std::thread other([point] {
        TIStreamClock::Exit();
        TISystemTimeManager::Exit();
        EXPECT_EQ(dakhost::TaskCount(), 0) << point;
        EXPECT_EQ(dakhost::AlarmCount(), 0) << point;
        for (const int param : {1, 2, 3}) {
            EXPECT_FALSE(dakhost::IsSubscribed(param)) << point << " param " << param;
        }

        dakhost::SetSetting(Setting::ClockMode, 0);
        dakhost::SetSetting(Setting::Reason, Reason_micom);
        TISystemTimeManager* manager = TISystemTimeManager::Instance();
        EXPECT_TRUE(manager->Init()) << point;
        EXPECT_TRUE(manager->SetSystemTime(kManualTime, SetType_manual, false)) << point;
        dakhost::WaitIdle();
        EXPECT_EQ(dakhost::PlatformClock(), kManualTime) << point;
        TIStreamClock::Init();
        TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{1, 0});
        ASSERT_NE(clock, nullptr) << point;
        EXPECT_TRUE(clock->SetStreamClock(kStreamTime, false, 0)) << point;
        dakhost::WaitIdle();
        EXPECT_EQ(dakhost::PlatformClock(), kStreamTime) << point;
        TIStreamClock::Exit();
        TISystemTimeManager::Exit();
        EXPECT_EQ(dakhost::TaskCount(), 0) << point;
    });
    other.join();
}

class AllocationFailure : public DakTest {};

TEST_F(AllocationFailure, AtEveryPointOfADayNothingIsLostButTheStep)
{
    long point = 0;
    for (;; ++point) {
        TIStreamClock::Exit();
        TISystemTimeManager::Exit();
        dakhost::Reset();
        dakhost::UseVirtualTime(true);
        dakhost::SetLogToStderr(false);

        g_failed = false;
        g_initFailed = false;
        g_allocationsLeft = point;
        try {
            Day();
        } catch (const std::bad_alloc&) {
            // Passed on to the client, as every allocation failure is.
        }
        dakhost::WaitIdle();
        g_allocationsLeft = -1;
        if (!g_failed) {
            break;  // the whole day ran: every point has been tried
        }
        CheckAfterwards(point);
        if (HasFailure()) {
            break;
        }
    }
    // The day allocates (the host's logger does not: its lines go to a fixed
    // ring); a sweep that tried nothing proves nothing.
    EXPECT_GT(point, 10);
    std::printf("%ld allocation points tried\n", point);
}

}  // namespace
