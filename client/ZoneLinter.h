// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "ZoneFinding.h"

#include <QByteArray>
#include <QList>

/// By how many percent a charge fluctuates without any real change, unless the caller says otherwise.
constexpr int kChargeNoisePercent = 2;

/// What is wrong with a zone file, in the order of the file. The daemon's own reader says which zones it has and which
/// charges they own; the text itself is only searched for the places. No input makes it fail. Of a kind of finding, at
/// most 1,000 are reported.
/// @param noisePercent a zone that owns no more percents than that flaps
[[nodiscard]] QList<ZoneFinding> findingsOf(const QByteArray& content, int noisePercent = kChargeNoisePercent);
