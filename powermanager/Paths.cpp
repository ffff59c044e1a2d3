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

QString clearDataScript()
{
    return QStringLiteral(ZELT_ROOT "/bin/clear_data.sh");
}

QString postFactoryRestoreScript()
{
    return QStringLiteral(ZELT_ROOT "/bin/post_factory_restore.sh");
}

const char* cpuCounters()
{
    return PROC_ROOT "/stat";
}

} // namespace paths
