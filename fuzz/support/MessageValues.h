// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "InterfaceDescription.h"

#include <QStringList>
#include <QVariantList>

/// The values of a message: those that the description asks for, all zero, as the words change them one after the
/// other.
///
///     TEXT        the next value
///     NAME=TEXT   the value of that name
///     -           the last value is left out
///
/// A value is of its described type, zero where the text does not fit it, unless the text is "TYPE:TEXT": then it is of
/// that D-Bus type, with a text for its content. "v" before the type packs it into a variant, as often as it stands
/// there. A value beyond those described is a text.
[[nodiscard]] QVariantList messageValues(const QList<ArgumentDescription>& described, const QStringList& words);
