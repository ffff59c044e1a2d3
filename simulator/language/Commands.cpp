// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Commands.h"

#include "CommandForm.h"
#include "CommandGroups.h"
#include "ScenarioRunner.h"

using namespace Qt::Literals::StringLiterals;

namespace {

void help(ScenarioRunner& runner, const QStringList& words)
{
    QString text;
    const char* subject = "";
    for (const Command& command : commands()) {
        if (!command.pattern.startsWith(words)) {
            continue;
        }
        if (qstrcmp(subject, command.subject) != 0) {
            subject = command.subject;
            text += QString::fromUtf8(subject) + u'\n';
        }
        text += u"  "_s + command.pattern.synopsis() + u"\n      "_s + QString::fromUtf8(command.help) + u'\n';
        if (!words.isEmpty()) {
            text += u"      for example: "_s + QString::fromUtf8(command.example) + u'\n';
        }
    }
    if (text.isEmpty()) {
        text = u"no command begins with \""_s + words.join(u' ') + u"\"; \"help\" lists them all\n"_s;
    } else if (words.isEmpty()) {
        text += u"\"help\" with the first words of a command shows examples. A text with blanks stands in \"quotation "
                "marks\"; # begins a remark.\n"_s;
    }
    runner.print(text);
}

} // namespace

const QList<Command>& commands()
{
    static const QList<Command> kList =
        deviceCommands() + serviceCommands() + expectCommands() +
        group("Help", {form("help", parameters::Words{"COMMAND"})
                           .looks("lists the commands, or those that begin with the words given, with examples",
                                  "help expect", &help)});
    return kList;
}

QList<Command> group(const char* subject, QList<Command> commands)
{
    for (Command& command : commands) {
        command.subject = subject;
    }
    return commands;
}
