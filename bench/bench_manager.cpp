// Costs of the system time manager's set-time path beside its building
// blocks: a bare CLOCK_REALTIME read and an uncontended framework mutex pair.
//
// BM_SetSystemTimePost is what a caller pays: the checks and one copy into
// the task's queue, no allocation and no waiting. The task drains the queue
// on the other core meanwhile; every 64 posts the timer stops while it
// catches up, so the queue never fills. BM_SetSystemTimePostToApplied is one
// request from post until the task has applied it (platform clock, hardware
// clock, settings, signal 108), measured in real time.
//
// The host logger is switched off (level 0) so that the figures are the
// library's own and memory does not grow with recorded lines.
#include <benchmark/benchmark.h>

#include <ctime>

#include "DakHostControl.h"
#include "TCMutex.h"
#include "TISystemTimeManager.h"

namespace {

constexpr unsigned long kUtc = 1709632800UL;  // 2024-03-05T10:00:00Z
constexpr int kBatch = 64;

void BM_RealtimeClockRead(benchmark::State& state)
{
    timespec now{};
    while (state.KeepRunning()) {
        clock_gettime(CLOCK_REALTIME, &now);
        benchmark::DoNotOptimize(now);
    }
}
BENCHMARK(BM_RealtimeClockRead);

void BM_MutexLockUnlock(benchmark::State& state)
{
    TCMutex mutex;
    mutex.Create();
    while (state.KeepRunning()) {
        mutex.Lock();
        benchmark::ClobberMemory();
        mutex.Unlock();
    }
    mutex.Destroy();
}
BENCHMARK(BM_MutexLockUnlock);

void BM_GetAutoClockType(benchmark::State& state)
{
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    ETypeOfAutoClock type = AutoType_max;
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(manager->GetAutoClockType(type));
    }
}
BENCHMARK(BM_GetAutoClockType);

void BM_SetSystemTimePost(benchmark::State& state)
{
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    // The task stops each request at the platform clock: it drains quickly
    // and records nothing but the reason.
    dakhost::FailClockSet(-1);
    int posted = 0;
    int refused = 0;
    while (state.KeepRunning()) {
        if (manager->SetSystemTime(kUtc, SetType_stream, false)) {
            ++posted;
        } else {
            ++refused;
        }
        if (posted % kBatch == 0) {
            state.PauseTiming();
            dakhost::WaitIdle();
            state.ResumeTiming();
        }
    }
    dakhost::WaitIdle();
    dakhost::FailClockSet(0);
    if (refused != 0) {
        state.SkipWithError("the queue refused a request");
    }
}
BENCHMARK(BM_SetSystemTimePost);

void BM_SetSystemTimePostToApplied(benchmark::State& state)
{
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    while (state.KeepRunning()) {
        if (!manager->SetSystemTime(kUtc, SetType_stream, false)) {
            state.SkipWithError("the request was refused");
            break;
        }
        dakhost::WaitIdle();
    }
    if (dakhost::PlatformClock() != kUtc) {
        state.SkipWithError("the clock was not set");
    }
}
BENCHMARK(BM_SetSystemTimePostToApplied)->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    dakhost::Reset();
    dakhost::UseVirtualTime(true);  // no sync alarm fires during the run
    dakhost::SetLogToStderr(false);
    dakhost::SetLogLevel(0);
    TISystemTimeManager::Instance()->Init();
    dakhost::WaitIdle();
    benchmark::RunSpecifiedBenchmarks();
    TISystemTimeManager::Exit();
    benchmark::Shutdown();
    return 0;
}
