// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandPattern.h"

#include <QList>
#include <QVariantMap>

#include <optional>

class Catalogue;
class ScenarioRunner;

/// A command of the language.
struct Command
{
    CommandPattern pattern;
    const char* help;                    ///< one line
    bool isAction;                       ///< does something: it is shown, and expectations begin anew with it
    void (*run)(ScenarioRunner& runner); ///< carries out a line that matched the pattern

    /// Checks of a line's values what its pattern can't, and may turn texts into values; null: there is nothing more.
    std::optional<LineError> (*check)(QVariantMap& values, const Catalogue& catalogue) = nullptr;
};

/// All commands, in the order in which help lists them.
[[nodiscard]] const QList<Command>& commands();
