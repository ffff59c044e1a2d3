// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandTable.h"

#include "CompletionsCommand.h"
#include "WhyCommand.h"

CommandTable::CommandTable()
{
    m_commands.push_back(std::make_unique<WhyCommand>());
    m_commands.push_back(std::make_unique<CompletionsCommand>());
}

const std::vector<std::unique_ptr<Command>>& CommandTable::commands() const
{
    return m_commands;
}

QList<CommandDescription> CommandTable::descriptions() const
{
    QList<CommandDescription> descriptions;
    for (const auto& command : m_commands) {
        const CommandDescription description = command->describe();
        if (!description.isHidden) {
            descriptions.append(description);
        }
    }
    return descriptions;
}
