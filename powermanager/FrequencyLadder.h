// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>

/// The CPU frequencies of the device in MHz, lowest first.
inline constexpr int kFrequenciesMHz[] = {96, 200, 300, 372, 408, 456};

/// The next rung of a ladder above a frequency, which need not be on it. Above the ladder: its top, which is a step
/// down.
/// @param ladder frequencies, ascending, not empty
[[nodiscard]] int rungAbove(const QList<int>& ladder, int freqMHz);

/// The next rung below. Below the ladder: its bottom, which is a step up.
[[nodiscard]] int rungBelow(const QList<int>& ladder, int freqMHz);
