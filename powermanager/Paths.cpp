// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Paths.h"

namespace paths {

QString zoneFile()
{
    return QStringLiteral(ZELT_ROOT "/data/powerman/zones.ini");
}

QString lastActionFile()
{
    return QStringLiteral(ZELT_ROOT "/data/log/last_powerman.txt");
}

} // namespace paths
