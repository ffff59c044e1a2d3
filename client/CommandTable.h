// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Subcommand.h"

#include <memory>
#include <vector>

/// All commands, in the order of the overview.
class CommandTable
{
public:
    CommandTable();

    [[nodiscard]] const std::vector<std::unique_ptr<Subcommand>>& commands() const;

    /// Describes all commands but the hidden ones.
    [[nodiscard]] QList<CommandDescription> descriptions() const;

private:
    std::vector<std::unique_ptr<Subcommand>> m_commands;
};
