// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
// The benchmark library registers by global objects.
// clazy:excludeall=non-pod-global-static
#include "Log.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>

#include <unistd.h>

namespace {

/// The line of every status broadcast.
void logLine(benchmark::State& state)
{
    int zone = 0;
    for (auto _ : state) {
        POWER_LOG(LogLevel::Detail, "CurrZone: %d, NewZone: %d", zone, zone);
        benchmark::DoNotOptimize(++zone);
    }
}
BENCHMARK(logLine);

/// A line of the same length, formatted in one call and written.
void logLineByFloor(benchmark::State& state)
{
    std::array<char, kLogLineSize> line = {};
    int zone = 0;
    for (auto _ : state) {
        const int length = std::snprintf(line.data(), line.size(), "9 %s [%s:%d] %s: CurrZone: %d, NewZone: %d\n",
                                         kObjectPath, __FILE_NAME__, __LINE__, __PRETTY_FUNCTION__, zone, zone);
        benchmark::DoNotOptimize(write(STDERR_FILENO, line.data(), static_cast<std::size_t>(length)));
        benchmark::DoNotOptimize(++zone);
    }
}
BENCHMARK(logLineByFloor);

} // namespace
