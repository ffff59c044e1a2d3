// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// One band of battery charge with its ceilings.
struct PowerZone
{
    QString name;      ///< the zone file's group name
    int lowThreshold;  ///< lower bound in percent, exclusive; at least 0
    int highThreshold; ///< upper bound in percent, inclusive; at most 100
    int volume;        ///< ceiling of the master volume; negative: the volume is left alone
    int light;         ///< ceiling of the light's intensity; negative: the light is left alone

    /// Whether any charge lies between the bounds.
    [[nodiscard]] bool isBand() const
    {
        return lowThreshold < highThreshold;
    }
};
