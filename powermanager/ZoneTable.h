// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "PowerZone.h"

#include <QList>

/// The loaded zones, narrowest first, and for each whole percent of charge the one that owns it. Where zones overlap,
/// the narrower one owns the percent; among equally wide ones, the one that was listed first.
class ZoneTable
{
public:
    static constexpr int kMaxCharge = 100;
    static constexpr int kNoZone = -1;

    /// No zones.
    ZoneTable() = default;

    /// The zones of the list that are bands, without the others.
    explicit ZoneTable(QList<PowerZone> zones);

    [[nodiscard]] const QList<PowerZone>& zones() const;

    /// Index of the zone that owns a charge; kNoZone for none. No zone owns a charge of 0: lower bounds are exclusive.
    /// @param chargePercent 0 to 100
    [[nodiscard]] int zoneAt(int chargePercent) const;

private:
    QList<PowerZone> m_zones;
    QList<int> m_owners; ///< zone index for each percent from 0 to 100
};
