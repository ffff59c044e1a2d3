// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "WhyCommand.h"

#include "Paths.h"
#include "ReasonRecord.h"
#include "Terminal.h"

using namespace Qt::Literals::StringLiterals;

CommandDescription WhyCommand::describe() const
{
    return {u"why"_s,
            u"explain the last reboot or shutdown"_s,
            u"Reads the record of the last reboot or shutdown and says what it was, when, and what its reason means. "
            "The record holds what was asked for, not who asked."_s,
            {},
            {},
            {{u"why"_s, u"what the record says"_s}},
            {{ExitStatus::Done, u"explained"_s}, {ExitStatus::Refused, u"there is no record, or it can't be read"_s}}};
}

ExitStatus WhyCommand::run(const CommandArguments&, Terminal& terminal)
{
    QString fault;
    const std::optional<ReasonRecord> record = ReasonRecord::read(&fault);
    if (!record) {
        terminal.complain(u"%1: %2"_s.arg(paths::lastActionFile(), fault));
        return ExitStatus::Refused;
    }
    terminal.print(u"%1 (%2), asked for %3 ago, at %4"_s.arg(
        terminal.styled(record->action, Terminal::Style::Strong), printable(record->reason),
        durationText(record->time.secsTo(QDateTime::currentDateTime())),
        record->time.toString(u"yyyy-MM-dd HH:mm:ss"_s)));
    terminal.print(u"reason: "_s + record->meaning());
    return ExitStatus::Done;
}
