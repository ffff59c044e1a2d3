// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandPattern.h"

#include <QList>

#include <functional>
#include <optional>

class ScenarioRunner;

/// A command of the language.
struct Command
{
    const char* subject = ""; ///< what it is about, a heading of the help
    CommandPattern pattern;
    const char* help = "";    ///< one line
    const char* example = ""; ///< a line that matches the pattern
    bool isAction = false;    ///< does something: it is shown, and expectations begin anew with it

    /// Carries out a line that matched the pattern.
    std::function<void(ScenarioRunner& runner, const CommandValues& values)> run;
    /// Checks of a line's values what the pattern can't; empty: there is nothing more.
    std::function<std::optional<LineError>(const CommandValues& values)> check;
};

/// All commands, in the order in which help lists them.
[[nodiscard]] const QList<Command>& commands();
