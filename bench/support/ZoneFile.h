// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// A zone file of count overlapping zones, all with ceilings.
[[nodiscard]] inline QByteArray makeZoneFile(int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i) {
        text += "[Zone" + QByteArray::number(i) + "]\nlow_treshold=" + QByteArray::number(i % 90) +
                "\nhigh_treshold=" + QByteArray::number(i % 90 + 1 + i % 10) + "\nvolume=80\nlight=60\n";
    }
    return text;
}
