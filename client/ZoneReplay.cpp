// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZoneReplay.h"

#include "ChargeTrace.h"

#include <algorithm>

namespace {

/// The recorded value, if a ceiling lowers it.
std::optional<double> above(const std::optional<double>& value, int ceiling)
{
    return value && ceiling >= 0 && *value > ceiling ? value : std::nullopt;
}

} // namespace

ZoneReplay::ZoneReplay(const ZoneTable& table, const ChargeTrace& trace) : m_length(trace.length())
{
    int current = ZoneTable::kNoZone;
    double begin = 0;
    for (const ChargeSample& sample : trace.samples()) {
        const int next = table.zoneAt(sample.chargePercent);
        if (next == current || next < 0) {
            continue;
        }
        const PowerZone& zone = table.zones().at(next);
        const bool isFlap = !m_changes.isEmpty() && m_changes.constLast().from == next &&
                            sample.seconds - m_changes.constLast().seconds <= kFlapSeconds;
        m_changes.append({sample.seconds, sample.chargePercent, current, next, isFlap,
                          above(sample.volume, zone.volume), above(sample.light, zone.light)});
        m_secondsIn[current] += sample.seconds - begin;
        begin = sample.seconds;
        current = next;
    }
    m_secondsIn[current] += m_length - begin;
}

const QList<ZoneChange>& ZoneReplay::changes() const
{
    return m_changes;
}

qsizetype ZoneReplay::flaps() const
{
    return std::count_if(m_changes.begin(), m_changes.end(), [](const ZoneChange& change) { return change.isFlap; });
}

qsizetype ZoneReplay::count() const
{
    return std::max<qsizetype>(0, m_changes.size() - 1);
}

double ZoneReplay::countPerHour() const
{
    return m_length > 0 ? static_cast<double>(count()) * 3600 / m_length : 0;
}

double ZoneReplay::secondsIn(int zone) const
{
    return m_secondsIn.value(zone);
}

int ZoneReplay::zoneAt(double seconds) const
{
    const auto next = std::upper_bound(m_changes.begin(), m_changes.end(), seconds,
                                       [](double moment, const ZoneChange& change) { return moment < change.seconds; });
    return next == m_changes.begin() ? ZoneTable::kNoZone : std::prev(next)->to;
}
