// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ManualCommand.h"

#include "CommandTable.h"
#include "ManualPage.h"
#include "Terminal.h"

using namespace Qt::Literals::StringLiterals;

CommandDescription ManualCommand::describe() const
{
    return {u"manual"_s,
            u"write the manual page"_s,
            u"Writes the manual page in scdoc's language, made from the same table as the help."_s,
            {},
            {},
            {{u"manual > packaging/man/zelt-power.1.scd"_s, u"renews the page"_s}},
            {{ExitStatus::Done, u"written"_s}},
            true};
}

ExitStatus ManualCommand::run(const CommandArguments&, Terminal& terminal)
{
    terminal.write(manualPage(CommandTable().descriptions()).toUtf8());
    return ExitStatus::Done;
}
