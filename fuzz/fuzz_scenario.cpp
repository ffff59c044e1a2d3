// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Catalogue.h"
#include "Fuzzing.h"
#include "Scenario.h"

namespace {

const Catalogue* catalogue = nullptr;

} // namespace

int LLVMFuzzerInitialize(int*, char***)
{
    catalogue = new Catalogue;
    return 0;
}

/// The input is a scenario, which is checked but never run.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = QString::fromUtf8(fuzzing::bytes(data, size));
    QString error;

    const auto lines = parseScenario(text, QStringLiteral("input"), 1, *catalogue, &error);

    fuzzing::require(lines.has_value() == error.isEmpty(), "a scenario that is refused has an error");
    fuzzing::require(lines || error.startsWith(u"input:"), "an error says where it is");
    return 0;
}
