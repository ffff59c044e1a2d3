// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "CompletionsCommand.h"

#include "CommandTable.h"
#include "Completions.h"
#include "Terminal.h"

using namespace Qt::Literals::StringLiterals;

CommandDescription CompletionsCommand::describe() const
{
    return {u"completions"_s,
            u"write the completions for a shell"_s,
            u"Writes the completions of all commands for a shell, made from the same table as the help."_s,
            {{u"SHELL"_s, u"bash, zsh or fish"_s, false, false, false, {u"bash"_s, u"zsh"_s, u"fish"_s}, {}}},
            {},
            {{u"completions bash > packaging/completions/zelt-power"_s, u"renews the file for bash"_s}},
            {{ExitStatus::Done, u"written"_s}, {ExitStatus::WrongUse, u"no such shell"_s}},
            true};
}

ExitStatus CompletionsCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    const QList<CommandDescription> commands = CommandTable().descriptions();
    const QString shell = arguments.positional(0);
    const QString script = shell == u"bash"  ? completions::bash(commands)
                           : shell == u"zsh" ? completions::zsh(commands)
                                             : completions::fish(commands);
    terminal.write(script.toUtf8());
    return ExitStatus::Done;
}
