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

#include <cstdlib>
#include <ctime>
#include <new>

#include "BenchBaselines.h"
#include "DakHostControl.h"
#include "TISystemTimeManager.h"

// Allocations made by the calling thread, to show that a post allocates
// nothing (the task's own thread is not counted).
thread_local long t_allocations = 0;

void* operator new(std::size_t size)
{
    ++t_allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

// The replacement pair above is matched; GCC cannot tell it from a stray free.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
#pragma GCC diagnostic pop

namespace {

constexpr unsigned long kUtc = 1709632800UL;  // 2024-03-05T10:00:00Z
constexpr int kBatch = 64;

BENCHMARK_CAPTURE(BM_ClockRead, Realtime, CLOCK_REALTIME)->Name("BM_RealtimeClockRead");
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
    long allocations = 0;
    while (state.KeepRunning()) {
        const long before = t_allocations;
        if (manager->SetSystemTime(kUtc, SetType_stream, false)) {
            ++posted;
        } else {
            ++refused;
        }
        allocations += t_allocations - before;
        if (posted % kBatch == 0) {
            state.PauseTiming();
            dakhost::WaitIdle();
            state.ResumeTiming();
        }
    }
    dakhost::WaitIdle();
    dakhost::FailClockSet(0);
    state.counters["allocs/post"] =
        benchmark::Counter(static_cast<double>(allocations), benchmark::Counter::kAvgIterations);
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
