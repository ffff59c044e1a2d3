// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CommandTable.h"

#include "CompletionsCommand.h"
#include "FreqCommand.h"
#include "ManualCommand.h"
#include "MonitorCommand.h"
#include "RebootCommand.h"
#include "ShutdownCommand.h"
#include "SleepCommand.h"
#include "StatusCommand.h"
#include "SuspendCommand.h"
#include "SwitchCommand.h"
#include "WhyCommand.h"
#include "ZonesCheckCommand.h"
#include "ZonesExplainCommand.h"
#include "ZonesReplayCommand.h"
#include "ZonesShowCommand.h"

CommandTable::CommandTable()
{
    m_commands.push_back(std::make_unique<StatusCommand>());
    m_commands.push_back(std::make_unique<MonitorCommand>());
    m_commands.push_back(std::make_unique<WhyCommand>());
    m_commands.push_back(std::make_unique<RebootCommand>());
    m_commands.push_back(std::make_unique<ShutdownCommand>());
    m_commands.push_back(std::make_unique<SuspendCommand>());
    m_commands.push_back(std::make_unique<FreqCommand>());
    m_commands.push_back(std::make_unique<SwitchCommand>(SwitchCommand::Setting::Autoscaling));
    m_commands.push_back(std::make_unique<SwitchCommand>(SwitchCommand::Setting::Actions));
    m_commands.push_back(std::make_unique<SleepCommand>());
    m_commands.push_back(std::make_unique<ZonesCheckCommand>());
    m_commands.push_back(std::make_unique<ZonesShowCommand>());
    m_commands.push_back(std::make_unique<ZonesExplainCommand>());
    m_commands.push_back(std::make_unique<ZonesReplayCommand>());
    m_commands.push_back(std::make_unique<CompletionsCommand>());
    m_commands.push_back(std::make_unique<ManualCommand>());
}

const std::vector<std::unique_ptr<Subcommand>>& CommandTable::commands() const
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
