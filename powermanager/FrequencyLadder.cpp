// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "FrequencyLadder.h"

#include <algorithm>

int rungAbove(const QList<int>& ladder, int freqMHz)
{
    const auto above = std::upper_bound(ladder.begin(), ladder.end(), freqMHz);
    return above == ladder.end() ? ladder.constLast() : *above;
}

int rungBelow(const QList<int>& ladder, int freqMHz)
{
    const auto notBelow = std::lower_bound(ladder.begin(), ladder.end(), freqMHz);
    return notBelow == ladder.begin() ? ladder.constFirst() : *(notBelow - 1);
}
