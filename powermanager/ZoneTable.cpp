// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZoneTable.h"

#include <algorithm>
#include <utility>

namespace {

int width(const PowerZone& zone)
{
    return zone.highThreshold - zone.lowThreshold;
}

} // namespace

ZoneTable::ZoneTable(QList<PowerZone> zones) : m_zones(std::move(zones)), m_owners(kMaxCharge + 1, kNoZone)
{
    m_zones.removeIf([](const PowerZone& zone) { return !zone.isBand(); });
    // Stable, so that among overlapping zones of equal width the one listed first wins.
    std::stable_sort(m_zones.begin(), m_zones.end(),
                     [](const PowerZone& a, const PowerZone& b) { return width(a) < width(b); });
    // Narrow zones are written over wide ones. The lower bound is exclusive: no zone owns a charge of 0.
    for (int index = static_cast<int>(m_zones.size()) - 1; index >= 0; --index) {
        const PowerZone& zone = m_zones.at(index);
        std::fill(m_owners.begin() + zone.lowThreshold + 1, m_owners.begin() + zone.highThreshold + 1, index);
    }
}

const QList<PowerZone>& ZoneTable::zones() const
{
    return m_zones;
}

int ZoneTable::zoneAt(int chargePercent) const
{
    return m_owners.value(chargePercent, kNoZone);
}
