// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ChargeBands.h"

#include "ZoneTable.h"

QList<ChargeBand> chargeBands(const ZoneTable& table)
{
    QList<ChargeBand> bands;
    for (int charge = 0; charge <= ZoneTable::kMaxCharge; ++charge) {
        const int zone = table.zoneAt(charge);
        if (bands.isEmpty() || bands.constLast().zone != zone) {
            bands.append({charge, charge, zone});
        }
        bands.last().to = charge;
    }
    return bands;
}
