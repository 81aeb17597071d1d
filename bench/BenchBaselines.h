// The building blocks that a benchmark's figures are read beside: a bare
// clock_gettime on the clock that the measured path reads, and an
// uncontended framework mutex pair. Each executable registers the two first,
// so that they head its report:
//
//   BENCHMARK_CAPTURE(BM_ClockRead, Monotonic, CLOCK_MONOTONIC)
//       ->Name("BM_MonotonicClockRead");
//   BENCHMARK(BM_MutexLockUnlock);
#pragma once

#include <benchmark/benchmark.h>

#include <ctime>

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
