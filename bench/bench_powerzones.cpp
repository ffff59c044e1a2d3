// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
// The benchmark library registers by global objects.
// clazy:excludeall=non-pod-global-static
#include "ActionManager.h"
#include "ZoneFile.h"

#include <QTemporaryFile>

#include <benchmark/benchmark.h>

namespace {

/// Loads a file of N zones; the time per 1,000 zones shows how loading grows.
void loadZones(benchmark::State& state)
{
    const auto count = static_cast<int>(state.range(0));
    const QByteArray content = makeZoneFile(count);
    QTemporaryFile file;
    if (!file.open() || file.write(content) < 0 || !file.flush()) {
        state.SkipWithError("no temporary file");
        return;
    }
    ActionManager manager(nullptr);
    for (auto _ : state) {
        benchmark::DoNotOptimize(manager.configure(file.fileName(), nullptr, nullptr));
    }
    state.counters["s_per_1000_zones"] =
        benchmark::Counter(count / 1000.0, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetComplexityN(count);
}
BENCHMARK(loadZones)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMillisecond)->Complexity();

} // namespace
