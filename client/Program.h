// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandTable.h"

#include <QStringList>

class Terminal;

/// The program: finds the command that the arguments name, checks the rest of them against its description, and runs
/// it.
class Program
{
public:
    explicit Program(Terminal& terminal);

    /// @param words the arguments, without the program's own name
    [[nodiscard]] ExitStatus run(const QStringList& words);

private:
    /// Finds the command and takes its name off the words; complains, and returns null, if there is none.
    [[nodiscard]] Subcommand* takeCommand(QStringList& words);
    [[nodiscard]] ExitStatus runCommand(Subcommand& command, const QStringList& words);

    Terminal& m_terminal;
    CommandTable m_table;
};
