// Costs of the stream clock's hot paths beside their building blocks: a bare
// CLOCK_MONOTONIC read and an uncontended framework mutex pair. A reading is
// one of each, so it should cost no more than about twice their sum.
//
// The host logger is switched off (level 0) so that the figures are the
// library's own and memory does not grow with recorded lines.
#include <benchmark/benchmark.h>

#include <ctime>
#include <vector>

#include "BenchBaselines.h"
#include "DakHostControl.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

constexpr unsigned long kTableUtc = 1700000000UL;

BENCHMARK_CAPTURE(BM_ClockRead, Monotonic, CLOCK_MONOTONIC)->Name("BM_MonotonicClockRead");
BENCHMARK(BM_MutexLockUnlock);

void BM_StreamClockReading(benchmark::State& state)
{
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    bool isSet = false;
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(clock->StreamClock(&isSet));
    }
}
BENCHMARK(BM_StreamClockReading);

void BM_SetStreamClockSystemTimeLeftAlone(benchmark::State& state)
{
    // The stream is the automatic source and the platform clock (standing
    // still in virtual time) matches the table: nothing is posted.
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    const auto signalsBefore = dakhost::Signals().size();
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(clock->SetStreamClock(kTableUtc, false, 0));
    }
    dakhost::WaitIdle();
    if (dakhost::Signals().size() != signalsBefore) {
        state.SkipWithError("the system time was set during the run");
    }
}
BENCHMARK(BM_SetStreamClockSystemTimeLeftAlone);

void BM_InstanceLookupAmong64(benchmark::State& state)
{
    std::vector<DAKHandle> handles(64);
    for (size_t i = 0; i < handles.size(); ++i) {
        handles[i].profileId = static_cast<int32_t>(i / 4) - 8;
        handles[i].subId = static_cast<uint16_t>(i % 4);
        TIStreamClock::Instance(handles[i]);
    }
    size_t next = 0;
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(TIStreamClock::Instance(handles[next]));
        next = (next + 1) & 63U;
    }
}
BENCHMARK(BM_InstanceLookupAmong64);

void SetUpPlatform()
{
    dakhost::Reset();
    dakhost::UseVirtualTime(true);
    dakhost::SetLogToStderr(false);
    dakhost::SetLogLevel(0);
    dakhost::SetSetting(dakhost::Setting::FirstStt, 1);
    TIStreamClock::Init();
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    manager->Init();
    // One table makes the stream the automatic source at kTableUtc.
    TIStreamClock::Instance(DAKHandle{})->SetStreamClock(kTableUtc, false, 0);
    dakhost::WaitIdle();
}

void TearDownPlatform()
{
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    SetUpPlatform();
    benchmark::RunSpecifiedBenchmarks();
    TearDownPlatform();
    benchmark::Shutdown();
    return 0;
}
