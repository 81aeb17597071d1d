// Costs of the system time manager's set-time path and of the library's log
// lines, each beside the baseline it is read against; the ratios are
// printed after the run, from the medians over repetitions (by default 5,
// randomly interleaved, so that the load of a shared machine falls on all
// measures alike).
//
// - BM_SetSystemTimePost is what a caller pays: the checks and one copy into
//   the task's queue, no allocation and no waiting, against BM_RingEnqueue.
//   The task drains the queue on the other core meanwhile; every 64 posts
//   the caller waits until it has caught up (not counted in ns_per_call), so
//   the queue never fills.
// - BM_SetSystemTimePostToApplied is one stream setting from the post until
//   the task has applied it (platform clock, hardware clock, settings,
//   signal 108), against BM_CondVarPingPong; p50 and p99 per repetition.
//   The argument is the host logger's level: 0 (off) or 5 (its default,
//   every line recorded).
// - BM_LogLine is one of the library's messages with a settings read among
//   its arguments, its level off (0) or on (5, to the recorder only).
//
// Standard error and the sink are off throughout.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <ctime>
#include <new>
#include <string>
#include <vector>

#include "BenchBaselines.h"
#include "Common/DakLog.h"
#include "DakHostControl.h"
#include "TCVConfProvider.h"
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
BENCHMARK(BM_CondVarPingPong)->UseRealTime();
BENCHMARK(BM_RingEnqueue);

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
    const int level = static_cast<int>(state.range(0));
    dakhost::SetLogLevel(level);
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    // The task stops each request at the platform clock: it drains quickly
    // and records nothing but the reason.
    dakhost::FailClockSet(-1);
    int inBatch = 0;
    int refused = 0;
    long allocations = 0;
    dakbench::BatchCosts costs;
    auto batchStart = dakbench::Clock::now();
    while (state.KeepRunning()) {
        const long before = t_allocations;
        if (!manager->SetSystemTime(kUtc, SetType_stream, false)) {
            ++refused;
        }
        allocations += t_allocations - before;
        if (++inBatch == kBatch) {
            costs.Add(dakbench::NsSince(batchStart), kBatch);
            dakhost::WaitIdle();
            inBatch = 0;
            batchStart = dakbench::Clock::now();
        }
    }
    dakhost::WaitIdle();
    dakhost::FailClockSet(0);
    dakhost::SetLogLevel(0);
    state.counters["allocs/post"] =
        benchmark::Counter(static_cast<double>(allocations), benchmark::Counter::kAvgIterations);
    costs.Report(state);
    if (refused != 0) {
        state.SkipWithError("the queue refused a request");
    }
}
BENCHMARK(BM_SetSystemTimePost)->Arg(0)->Arg(5);

void BM_SetSystemTimePostToApplied(benchmark::State& state)
{
    const int level = static_cast<int>(state.range(0));
    dakhost::SetLogLevel(level);
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    dakbench::Latencies latencies(state);
    while (state.KeepRunning()) {
        const auto start = dakbench::Clock::now();
        if (!manager->SetSystemTime(kUtc, SetType_stream, false)) {
            state.SkipWithError("the request was refused");
            break;
        }
        dakhost::WaitIdle();
        latencies.Add(dakbench::NsSince(start));
    }
    dakhost::SetLogLevel(0);
    dakhost::ClearLogs();
    latencies.Report(state);
    if (dakhost::PlatformClock() != kUtc) {
        state.SkipWithError("the clock was not set");
    }
}
BENCHMARK(BM_SetSystemTimePostToApplied)->Arg(0)->Arg(5)->UseRealTime();

// A message of the library's catalogue as it writes it (one output, level
// 4), with settings reads as arguments.
void LogOneLine()
{
    DAK_LOG(dak::msg::kBroadcastOffset, 1, TCVConfProvider::GetTvTimeOffset(),
            TCVConfProvider::GetFlagDST());
}

void BM_LogLine(benchmark::State& state)
{
    const int level = static_cast<int>(state.range(0));
    dakhost::SetLogLevel(level);
    dakbench::BatchCosts costs;
    constexpr int kLines = 256;
    int inBatch = 0;
    auto batchStart = dakbench::Clock::now();
    while (state.KeepRunning()) {
        LogOneLine();
        if (++inBatch == kLines) {
            costs.Add(dakbench::NsSince(batchStart), kLines);
            inBatch = 0;
            batchStart = dakbench::Clock::now();
        }
    }
    dakhost::SetLogLevel(0);
    dakhost::ClearLogs();
    costs.Report(state);
}
BENCHMARK(BM_LogLine)->Arg(0)->Arg(5);

void PrintRatios(dakbench::RatioReporter& report)
{
    const std::string applied = "BM_SetSystemTimePostToApplied/";
    const std::string pingPong = "BM_CondVarPingPong/real_time ";
    std::printf("\nRatios of medians over repetitions:\n");
    report.PrintRatio("post to applied p50, level 0 / ping-pong", applied + "0/real_time p50_ns",
                      pingPong + "p50_ns", 1.5);
    report.PrintRatio("post to applied p50, level 5 / ping-pong", applied + "5/real_time p50_ns",
                      pingPong + "p50_ns", 2.0);
    report.PrintValue("post to applied p99, level 0 (ns)", applied + "0/real_time p99_ns");
    report.PrintValue("post to applied p99, level 5 (ns)", applied + "5/real_time p99_ns");
    report.PrintValue("ping-pong p99 (ns)", pingPong + "p99_ns");
    report.PrintRatio("caller's post, level 0 / ring enqueue", "BM_SetSystemTimePost/0 ns_per_call",
                      "BM_RingEnqueue ns_per_call", 1.5);
    report.PrintRatio("caller's post, level 5 / ring enqueue", "BM_SetSystemTimePost/5 ns_per_call",
                      "BM_RingEnqueue ns_per_call", 1.5);
    report.PrintRatio("log line off / log line on", "BM_LogLine/0 ns_per_call",
                      "BM_LogLine/5 ns_per_call", 0.05);
}

}  // namespace

int main(int argc, char** argv)
{
    // Repetitions interleaved by default; flags given later override these.
    char repetitions[] = "--benchmark_repetitions=5";
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    char aggregates[] = "--benchmark_report_aggregates_only=true";
    char minTime[] = "--benchmark_min_time=0.2";
    std::vector<char*> args{argv[0], repetitions, interleave, aggregates, minTime};
    for (int i = 1; i < argc; ++i) {
        args.push_back(argv[i]);
    }
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) {
        return 1;
    }
    dakhost::Reset();
    dakhost::UseVirtualTime(true);  // no sync alarm fires during the run
    dakhost::SetLogToStderr(false);
    dakhost::SetLogLevel(0);
    TISystemTimeManager::Instance()->Init();
    dakhost::WaitIdle();
    dakbench::RatioReporter report;
    benchmark::RunSpecifiedBenchmarks(&report);
    TISystemTimeManager::Exit();
    benchmark::Shutdown();
    PrintRatios(report);
    return 0;
}
