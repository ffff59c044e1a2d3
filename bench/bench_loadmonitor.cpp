// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
// The benchmark library registers by global objects.
// clazy:excludeall=non-pod-global-static
#include "FloorLoad.h"
#include "LoadMonitor.h"
#include "Log.h"

#include <benchmark/benchmark.h>

#include <cstddef>

// The C library's own names for what is replaced below.
extern "C" {
void* libraryMalloc(std::size_t size) asm("__libc_malloc");
void* libraryCalloc(std::size_t count, std::size_t size) asm("__libc_calloc");
void* libraryRealloc(void* memory, std::size_t size) asm("__libc_realloc");
}

namespace {

std::size_t allocations = 0;

template <typename Read>
void measureReading(benchmark::State& state, Read read)
{
    const std::size_t before = allocations;
    for (auto _ : state) {
        benchmark::DoNotOptimize(read());
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocations - before), benchmark::Counter::kAvgIterations);
}

/// What the daemon does every second.
void readByLoadMonitor(benchmark::State& state)
{
    LogInterface log{QString()};
    _logInterface = &log;
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

// Qt's containers allocate by these, operator new does as well: every allocation of the program is counted.
extern "C" {

void* malloc(std::size_t size)
{
    ++allocations;
    return libraryMalloc(size);
}

void* calloc(std::size_t count, std::size_t size)
{
    ++allocations;
    return libraryCalloc(count, size);
}

void* realloc(void* memory, std::size_t size)
{
    ++allocations;
    return libraryRealloc(memory, size);
}
}
