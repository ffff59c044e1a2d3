// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
// The benchmark library registers by global objects.
// clazy:excludeall=non-pod-global-static
#include "Allocations.h"
#include "FloorLoad.h"
#include "LoadMonitor.h"

#include <benchmark/benchmark.h>

#include <cstddef>

namespace {

template <typename Read>
void measureReading(benchmark::State& state, Read read)
{
    const std::size_t before = allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(read());
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocationCount() - before), benchmark::Counter::kAvgIterations);
}

/// What the daemon does every second.
void readByLoadMonitor(benchmark::State& state)
{
    LoadMonitor monitor(nullptr);
    measureReading(state, [&monitor] { return monitor.getLoad(); });
}
BENCHMARK(readByLoadMonitor);

void readByFloor(benchmark::State& state)
{
    FloorLoad load;
    measureReading(state, [&load] { return load.sample(); });
}
BENCHMARK(readByFloor);

} // namespace
