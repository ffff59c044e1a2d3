// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandPattern.h"

#include <QList>

class ScenarioRunner;

/// A command of the language.
struct Command
{
    CommandPattern pattern;
    const char* help;                    ///< one line
    bool isAction;                       ///< does something: it is shown, and expectations begin anew with it
    void (*run)(ScenarioRunner& runner); ///< carries out a line that matched the pattern
};

/// All commands, in the order in which help lists them.
[[nodiscard]] const QList<Command>& commands();
