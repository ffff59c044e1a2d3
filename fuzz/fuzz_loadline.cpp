// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Fuzzing.h"
#include "LoadMonitor.h"

#include <algorithm>

/// The input is two lines: the first line of the kernel's counters, and the same line a second later.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QList<QByteArray> lines = fuzzing::bytes(data, size).split('\n');
    LoadMonitor::Sample previous;
    for (const QByteArray& line : lines.first(std::min<qsizetype>(2, lines.size()))) {
        int fields = -1;
        const auto sample = LoadMonitor::sampleOf(QLatin1StringView(line), &fields);
        fuzzing::require(fields >= 0 && sample.has_value() == (fields == 11), "eleven fields are a sample");
        if (!sample) {
            continue;
        }
        (void)LoadMonitor::loadBetween(previous, *sample);
        (void)LoadMonitor::loadBetween(*sample, previous);
        fuzzing::require(LoadMonitor::loadBetween(*sample, *sample) == 0, "no time, no load");
        previous = *sample;
    }
    return 0;
}
