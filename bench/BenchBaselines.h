// The building blocks that a benchmark's figures are read beside, and the
// record of figures from which a program prints its ratios.
//
// - BM_ClockRead: a bare clock_gettime on the clock that the measured path
//   reads; BM_MutexLockUnlock: an uncontended framework mutex pair. Each
//   executable registers the two first, so that they head its report:
//
//     BENCHMARK_CAPTURE(BM_ClockRead, Monotonic, CLOCK_MONOTONIC)
//         ->Name("BM_MonotonicClockRead");
//     BENCHMARK(BM_MutexLockUnlock);
//
// - BM_CondVarPingPong: a round trip between two threads over one mutex and
//   condition variable, each side waking the other after its unlock: the
//   least that handing work to a task and waiting for it can cost.
// - BM_RingEnqueue: a mutex + condition variable enqueue of a 48-byte record
//   into a fixed ring that a second thread drains between batches: the
//   least a post to a task's queue can cost.
//
// The figures are counters (p50_ns, p99_ns, ns_per_call); RatioReporter
// prints their ratios after the run.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "TCMutex.h"

inline void BM_ClockRead(benchmark::State& state, clockid_t clock)
{
    timespec now{};
    while (state.KeepRunning()) {
        clock_gettime(clock, &now);
        benchmark::DoNotOptimize(now);
    }
}

inline void BM_MutexLockUnlock(benchmark::State& state)
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

namespace dakbench {

using Clock = std::chrono::steady_clock;

inline double NsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

// The value at `fraction` (0.5 the median) of `values`, which it sorts.
inline double Quantile(std::vector<double>& values, double fraction)
{
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    const auto at = static_cast<size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
    return values[at];
}

// A console report that also keeps each benchmark's counters, the median
// over repetitions where there are several, and prints ratios of them after
// the run. Names are the run's name and the counter's, as
// "BM_CondVarPingPong/real_time p50_ns".
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (!median && run.run_type == Run::RT_Aggregate) {
                continue;
            }
            for (const auto& [counter, value] : run.counters) {
                const std::string name = run.run_name.str() + " " + counter;
                // A median replaces single runs' values; a single run does
                // not replace a median.
                if (median || m_medians.count(name) == 0) {
                    m_values[name] = value.value;
                }
                if (median) {
                    m_medians[name] = true;
                }
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintRatio(const char* what, const std::string& measure, const std::string& baseline,
                    double goal)
    {
        const double m = Value(measure);
        const double b = Value(baseline);
        const double ratio = b > 0.0 ? m / b : 0.0;
        std::printf("%-46s %9.1f / %9.1f ns = %6.3f  (goal <= %.3f)%s\n", what, m, b, ratio, goal,
                    ratio <= goal ? "" : "  MISSED");
    }

    void PrintValue(const char* what, const std::string& measure)
    {
        std::printf("%-46s %9.1f\n", what, Value(measure));
    }

private:
    double Value(const std::string& name) const
    {
        const auto found = m_values.find(name);
        return found == m_values.end() ? 0.0 : found->second;
    }

    std::map<std::string, double> m_values;
    std::map<std::string, bool> m_medians;
};

// Per-iteration latencies of one repetition, stored without allocating
// while it runs; reported as the p50_ns and p99_ns counters.
class Latencies {
public:
    explicit Latencies(const benchmark::State& state)
    {
        m_ns.reserve(static_cast<size_t>(state.max_iterations));
    }
    void Add(double ns)
    {
        if (m_ns.size() < m_ns.capacity()) {
            m_ns.push_back(ns);
        }
    }
    void Report(benchmark::State& state)
    {
        state.counters["p50_ns"] = Quantile(m_ns, 0.5);
        state.counters["p99_ns"] = Quantile(m_ns, 0.99);
    }

private:
    std::vector<double> m_ns;
};

// Mean cost per call over batches of calls, the batches' median kept:
// the waits between batches are not counted (Google Benchmark's own time
// per iteration includes them).
class BatchCosts {
public:
    void Add(double ns, int calls) { m_perCall.push_back(ns / calls); }
    void Report(benchmark::State& state)
    {
        state.counters["ns_per_call"] = Quantile(m_perCall, 0.5);
    }

private:
    std::vector<double> m_perCall;
};

}  // namespace dakbench

inline void BM_CondVarPingPong(benchmark::State& state)
{
    std::mutex lock;
    std::condition_variable changed;
    bool partnersTurn = false;
    bool stop = false;
    std::thread partner([&] {
        std::unique_lock<std::mutex> held(lock);
        for (;;) {
            changed.wait(held, [&] { return partnersTurn || stop; });
            if (stop) {
                return;
            }
            partnersTurn = false;
            held.unlock();
            changed.notify_one();
            held.lock();
        }
    });
    dakbench::Latencies latencies(state);
    while (state.KeepRunning()) {
        const auto start = dakbench::Clock::now();
        {
            const std::lock_guard<std::mutex> held(lock);
            partnersTurn = true;
        }
        changed.notify_one();
        {
            std::unique_lock<std::mutex> held(lock);
            changed.wait(held, [&] { return !partnersTurn; });
        }
        latencies.Add(dakbench::NsSince(start));
    }
    {
        const std::lock_guard<std::mutex> held(lock);
        stop = true;
    }
    changed.notify_one();
    partner.join();
    latencies.Report(state);
}

// A 48-byte record, as a task's event.
struct BenchRecord {
    uint8_t bytes[48];
};

inline void BM_RingEnqueue(benchmark::State& state)
{
    constexpr unsigned kCapacity = 128;
    constexpr int kBatch = 64;
    std::mutex lock;
    std::condition_variable changed;     // what an enqueue signals
    std::condition_variable drainAsked;  // the consumer waits here between batches
    std::condition_variable drained;
    BenchRecord ring[kCapacity] = {};
    unsigned head = 0;
    unsigned count = 0;
    bool drain = false;
    bool stop = false;
    // Between batches the consumer takes every record, as a busy task takes
    // its queue: an enqueue meets no waiter.
    std::thread consumer([&] {
        std::unique_lock<std::mutex> held(lock);
        for (;;) {
            drainAsked.wait(held, [&] { return drain || stop; });
            if (stop) {
                return;
            }
            for (; count > 0; --count) {
                BenchRecord taken = ring[head];
                benchmark::DoNotOptimize(taken);
                head = (head + 1) % kCapacity;
            }
            drain = false;
            held.unlock();
            drained.notify_one();
            held.lock();
        }
    });
    BenchRecord record{};
    dakbench::BatchCosts costs;
    int inBatch = 0;
    auto batchStart = dakbench::Clock::now();
    while (state.KeepRunning()) {
        record.bytes[0] = static_cast<uint8_t>(inBatch);
        {
            const std::lock_guard<std::mutex> held(lock);
            ring[(head + count) % kCapacity] = record;
            ++count;
        }
        changed.notify_all();
        if (++inBatch == kBatch) {
            costs.Add(dakbench::NsSince(batchStart), kBatch);
            {
                std::unique_lock<std::mutex> held(lock);
                drain = true;
                drainAsked.notify_one();
                drained.wait(held, [&] { return !drain; });
            }
            inBatch = 0;
            batchStart = dakbench::Clock::now();
        }
    }
    {
        const std::lock_guard<std::mutex> held(lock);
        stop = true;
    }
    drainAsked.notify_one();
    consumer.join();
    costs.Report(state);
}
