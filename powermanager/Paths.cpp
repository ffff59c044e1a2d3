// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Paths.h"

namespace paths {

QString zoneFile()
{
    return QStringLiteral(ZELT_ROOT "/data/powerman/zones.ini");
}

} // namespace paths
