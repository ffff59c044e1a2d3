// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ZoneTable.h"

#include <QHash>
#include <QList>

#include <optional>

class ChargeTrace;

/// A change of zone, as the daemon would have made it.
struct ZoneChange
{
    double seconds; ///< since the trace's begin
    int chargePercent;
    int from;                          ///< index in the table; negative: none yet
    int to;                            ///< index in the table
    bool isFlap;                       ///< back where it came from, shortly after
    std::optional<double> volumeAbove; ///< the volume that was recorded, if the ceiling lowers it
    std::optional<double> lightAbove;  ///< the same of the light
};

/// What the zones would have done over a trace: the charge selects a zone, a charge without one keeps the zone in
/// force, and ceilings apply only when the zone changes.
class ZoneReplay
{
public:
    /// Two changes within this time, there and back, are a flap.
    static constexpr double kFlapSeconds = 600;

    ZoneReplay(const ZoneTable& table, const ChargeTrace& trace);

    /// The entry into the first zone and all changes after it.
    [[nodiscard]] const QList<ZoneChange>& changes() const;
    /// How often the zone changed, the entry not counted.
    [[nodiscard]] qsizetype count() const;
    [[nodiscard]] qsizetype flaps() const;
    /// count() per hour; 0 for a trace without length.
    [[nodiscard]] double countPerHour() const;
    /// Seconds for which a zone was in force. @param zone negative: none yet
    [[nodiscard]] double secondsIn(int zone) const;
    /// The zone in force at a moment; negative: none yet.
    [[nodiscard]] int zoneAt(double seconds) const;

private:
    QList<ZoneChange> m_changes;
    QHash<int, double> m_secondsIn; ///< by zone
    double m_length;
};
