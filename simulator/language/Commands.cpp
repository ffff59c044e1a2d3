// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Commands.h"

#include "CommandGroups.h"
#include "ScenarioRunner.h"

using namespace Qt::Literals::StringLiterals;

namespace {

void help(ScenarioRunner& runner)
{
    const QStringList words = runner.value(u"command"_s).toStringList();
    QString text;
    for (const Command& command : commands()) {
        if (command.pattern.startsWith(words)) {
            text += u"  "_s + command.pattern.synopsis() + u"\n      "_s + QString::fromUtf8(command.help) + u'\n';
        }
    }
    runner.print(text.isEmpty() ? u"no command begins with \""_s + words.join(u' ') + u"\"; \"help\" lists them all\n"_s
                                : text);
}

} // namespace

const QList<Command>& commands()
{
    static const QList<Command> kList =
        deviceCommands() + serviceCommands() + expectCommands() +
        QList<Command>{
            {"help <command...>", "lists the commands, or those that begin with the words given", kLooks, &help},
        };
    return kList;
}
