// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"

#include <QStringList>
#include <QVariantList>

/// The values of a message: those of the description, all zero, then changed by one word after the other.
///
///     TEXT        the next value
///     NAME=TEXT   the value of that name
///     -           the last value is left out
///
/// A value has its described type, and is zero if the text does not fit that, unless the text is "TYPE:TEXT": then it
/// has that D-Bus type. Each "v" before the type packs the value into a variant. A value beyond those described is a
/// text.
///
/// @param described outlives the process: what follows from it is computed once
[[nodiscard]] QVariantList messageValues(const QList<ArgumentDescription>& described, const QStringList& words);
