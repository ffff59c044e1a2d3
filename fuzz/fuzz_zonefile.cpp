// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ActionManager.h"
#include "BinaryValues.h"
#include "Fuzzing.h"
#include "ZoneReader.h"

#include <QList>
#include <QSettings>
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

QStringList namesOf(const QList<PowerZone>& zones)
{
    QStringList names;
    for (const PowerZone& zone : zones) {
        names.append(zone.name);
    }
    return names;
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
    const QByteArray content = fuzzing::bytes(data, size);
    const QByteArray harmless = withoutBinaryValues(content);
    fuzzing::require(withoutBinaryValues(harmless) == harmless, "what is left out is left out at once");

    QTemporaryFile file; // a new file each time: Qt caches the files it has read
    if (!file.open() || file.write(harmless) < 0 || !file.flush()) {
        qFatal("%s", qPrintable(file.errorString()));
    }
    const QSettings settings(file.fileName(), QSettings::IniFormat);
    fuzzing::require(settings.childGroups() == namesOf(parseZones(content)), "each group of the file is a zone");

    if (!file.resize(0) || !file.seek(0) || file.write(content) < 0 || !file.flush()) {
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
