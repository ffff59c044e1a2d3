// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Fuzzing.h"
#include "ScenarioRunner.h"
#include "Simulator.h"

namespace {

Timeline* timeline = nullptr;
Simulator* simulator = nullptr;

} // namespace

int LLVMFuzzerInitialize(int*, char***)
{
    timeline = new Timeline;
    simulator = new Simulator(*timeline, QString(), QString());
    return 0;
}

/// The input is a scenario, which is checked but never run.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = QString::fromUtf8(fuzzing::bytes(data, size));
    ScenarioRunner runner(*simulator, nullptr);
    QString error;

    const bool isLoaded = runner.load(text, QStringLiteral("input"), 1, &error);

    fuzzing::require(isLoaded == error.isEmpty(), "a scenario that is refused has an error");
    fuzzing::require(isLoaded || error.startsWith(u"input:"), "an error says where it is");
    fuzzing::require(isLoaded || runner.isIdle(), "a scenario is loaded as a whole or not at all");
    return 0;
}
