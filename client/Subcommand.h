// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandArguments.h"
#include "CommandDescription.h"
#include "ExitStatus.h"

class Terminal;

/// One command of the program. Commands stand in createCommands().
class Subcommand
{
public:
    Subcommand() = default;
    virtual ~Subcommand() = default;
    Q_DISABLE_COPY_MOVE(Subcommand)

    [[nodiscard]] virtual CommandDescription describe() const = 0;

    /// Carries the command out, and blocks until it is done. Complaints go to the terminal, too.
    [[nodiscard]] virtual ExitStatus run(const CommandArguments& arguments, Terminal& terminal) = 0;
};
