// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>

class ZoneTable;

/// Charges in a row that the same zone owns.
struct ChargeBand
{
    int from; ///< percent
    int to;   ///< percent, inclusive
    int zone; ///< index in the table; negative: no zone
};

/// All charges from 0 to 100, lowest first.
[[nodiscard]] QList<ChargeBand> chargeBands(const ZoneTable& table);
