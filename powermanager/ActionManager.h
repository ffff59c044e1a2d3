// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ZoneTable.h"

#include <QObject>
#include <QString>

#include <optional>

class LightManagerProxy;
class SoundManagerProxy;

/// The power zones: loads them from the zone file, finds the zone for a battery charge and caps the master volume and
/// the light's intensity at its ceilings.
///
/// 1. reload() turns the file into a list of zones and a table with the zone of each whole percent of charge. Where
///    zones overlap, the narrower one owns the percent.
/// 2. setBatteryCharge() looks the charge up. Only a change of zone touches the device, and it only ever lowers values.
///
/// A charge without a zone leaves the previous zone in force; a reload forgets it. Event-loop thread only.
class ActionManager : public QObject
{
    Q_OBJECT

public:
    explicit ActionManager(QObject* parent);

    /// Sets the zone file and the clients, forgets all zones and loads the file.
    /// @param sound client for the master volume, not owned; null: volume ceilings are not applied
    /// @param light client for the light, not owned; null: light ceilings are not applied
    /// @return the result of reload()
    [[nodiscard]] bool configure(const QString& filePath, SoundManagerProxy* sound, LightManagerProxy* light);

    /// Replaces the zones by those of the file; no zone is current afterwards. A file that can't be read has no zones.
    /// @return always true
    bool reload();

    /// Enters the zone of a charge if it is not the current one, and applies its ceilings. Blocks for up to two calls
    /// to other daemons, each with the bus's default time-out.
    /// @param charge percent; clamped to 0..100
    /// @return index of the zone current afterwards, negative for none
    int setBatteryCharge(int charge);

    /// Index of the zone last applied; negative for none.
    [[nodiscard]] int currentZone() const;

    /// Name of the zone with that index, or "None" if there is no such zone.
    [[nodiscard]] QString zoneName(int index) const;

private:
    Q_DISABLE_COPY_MOVE(ActionManager)

    /// The present master volume; nothing if the sound service does not report it.
    [[nodiscard]] std::optional<double> currentVolume() const;
    /// The present intensity of the light in percent; nothing if the light service does not report it.
    [[nodiscard]] std::optional<uint> currentIntensity() const;

    int m_currentZone = ZoneTable::kNoZone;
    QString m_filePath;
    SoundManagerProxy* m_sound = nullptr;
    LightManagerProxy* m_light = nullptr;
    ZoneTable m_table;
};
