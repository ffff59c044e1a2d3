// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ActionManager.h"
#include "Fuzzing.h"

#include <QList>
#include <QTemporaryFile>

#include <limits>

namespace {

/// The zones of some charges, in this order, for a manager that has just loaded the file.
QList<int> zonesOf(ActionManager& manager)
{
    constexpr int kCharges[] = {
        0, 1, 15, 16, 40, 99, 100, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    QList<int> zones;
    for (const int charge : kCharges) {
        const int zone = manager.setBatteryCharge(charge);
        fuzzing::require(zone == manager.currentZone(), "the zone of the charge is in force");
        fuzzing::require(zone >= 0 || manager.zoneName(zone) == u"None", "no zone has no name");
        zones.append(zone);
    }
    return zones;
}

} // namespace

int LLVMFuzzerInitialize(int*, char***)
{
    fuzzing::silenceLog();
    return 0;
}

/// The input is a zone file.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QTemporaryFile file; // a new file each time: Qt caches the files it has read
    if (!file.open() || file.write(fuzzing::bytes(data, size)) < 0 || !file.flush()) {
        qFatal("%s", qPrintable(file.errorString()));
    }
    ActionManager manager(nullptr);

    fuzzing::require(manager.configure(file.fileName(), nullptr, nullptr), "loading always succeeds");

    const QList<int> zones = zonesOf(manager);
    fuzzing::require(zones.constFirst() < 0, "no zone owns a charge of 0");
    fuzzing::require(zones.at(6) == zones.constLast(), "charges are clamped");
    manager.reload();
    fuzzing::require(zones == zonesOf(manager), "the same file has the same zones");
    return 0;
}
