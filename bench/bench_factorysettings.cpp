// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
// The benchmark library registers by global objects.
// clazy:excludeall=non-pod-global-static
#include "Configuration.h"
#include "FactoryRestoreManager.h"
#include "FactorySettings.h"

#include <benchmark/benchmark.h>

namespace {

/// A soft reset without its pattern, on a store that answers from memory: the daemon's own share of writing the factory
/// table and logging each of its rows.
void writeFactoryTable(benchmark::State& state)
{
    FactoryRestoreManager manager(nullptr);
    for (auto _ : state) {
        if (!manager.FactorySoftReset(false, false)) {
            state.SkipWithError("the reset failed");
            return;
        }
    }
}
BENCHMARK(writeFactoryTable)->Unit(benchmark::kMicrosecond);

/// The same texts written to the same store, and nothing else.
void writeFactoryTableByFloor(benchmark::State& state)
{
    for (auto _ : state) {
        const Configuration store{QString()};
        for (const factory::Setting& setting : factory::kSettings) {
            benchmark::DoNotOptimize(store.WriteConfigValue(QString::fromLatin1(setting.group),
                                                            QString::fromLatin1(setting.key),
                                                            QString::fromLatin1(setting.value), false));
        }
    }
}
BENCHMARK(writeFactoryTableByFloor)->Unit(benchmark::kMicrosecond);

} // namespace
