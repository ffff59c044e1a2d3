// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

class Catalogue;

/// What a line of the command language can go on with.
struct Completion
{
    QStringList words;  ///< each begins with what there is of the last word
    qsizetype from = 0; ///< where in the line the last word begins
};

/// Words are taken from the table of commands and from the interface descriptions. Of members, the services come first,
/// with a "." behind, until one of them is there.
[[nodiscard]] Completion completionOf(const QString& line, const Catalogue& catalogue);
