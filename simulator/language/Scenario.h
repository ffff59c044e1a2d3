// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Commands.h"

#include <QList>
#include <QString>

#include <optional>

class Catalogue;

/// A line of the command language that was checked and can be carried out.
struct ScenarioLine
{
    QString origin; ///< where it comes from, e.g. the file
    int number = 0;
    QString text;
    const Command* command = nullptr;
    CommandValues values;

    /// 'origin:number: "text"', for messages.
    [[nodiscard]] QString place() const;
};

/// Checks lines. Blank ones and remarks are left out.
/// @param origin      name for messages, e.g. the file
/// @param firstLine   number of the first line
/// @return the lines; nothing if one is wrong: *error says which, what was found and what was expected
[[nodiscard]] std::optional<QList<ScenarioLine>>
parseScenario(const QString& text, const QString& origin, int firstLine, const Catalogue& catalogue, QString* error);
