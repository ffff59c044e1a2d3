// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Log.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

/// Runs the benchmarks on the session bus, which should be a private one. Log lines are really written, but standard
/// error is discarded as a whole. A benchmark that fails says so in the report.
int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0 || dup2(nowhere, STDERR_FILENO) < 0) {
        return 1;
    }
    const QCoreApplication application(argc, argv);
    LogInterface log{QString()};
    _logInterface = &log;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
