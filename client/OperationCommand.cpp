// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "OperationCommand.h"

#include "OperationRun.h"
#include "ReasonRecord.h"
#include "SessionBus.h"
#include "Terminal.h"

#include <QDBusConnection>

using namespace Qt::Literals::StringLiterals;

namespace {

QString secondsText(double seconds)
{
    return QString::number(seconds, 'f', seconds == static_cast<int>(seconds) ? 0 : 1) + u" s"_s;
}

/// A step as a line of the table, without the presence of its service.
QString stepText(const SequenceStep& step)
{
    const QString call = step.service.isEmpty() ? QString() : u": "_s + step.service + u'.' + step.member;
    const QString condition = step.condition.isEmpty() ? QString() : u" ("_s + step.condition + u')';
    return step.text + call + condition;
}

} // namespace

CommandDescription OperationCommand::describe() const
{
    CommandDescription description = describeOperation();
    description.options += {{{u"n"_s, u"dry-run"_s}, u"explain what would happen, step by step; send nothing"_s},
                            {{u"y"_s, u"yes"_s}, u"send it without a question, whatever is unusual about it"_s}};
    description.statuses = QList<StatusDescription>{
        {ExitStatus::Done, u"done, or explained by --dry-run"_s},
        {ExitStatus::Refused, u"refused: the answer's status is not 0"_s},
        {ExitStatus::WrongUse, u"a wrong argument, or a question was not answered with yes; nothing was sent"_s},
        {ExitStatus::NoDaemon, u"no power daemon, or no session bus"_s},
        {ExitStatus::NoAnswer, u"no answer in the time that it may take"_s}};
    return description;
}

ExitStatus OperationCommand::run(const CommandArguments& arguments, Terminal& terminal)
{
    const Operation operation = prepare(arguments);
    if (!operation.fault.isEmpty()) {
        terminal.complain(u"%1: %2\nTry: zelt-power %1 --help"_s.arg(describeOperation().name, operation.fault));
        return ExitStatus::WrongUse;
    }
    if (arguments.isSet(u"dry-run"_s)) {
        return explain(operation, terminal);
    }
    if (!isWanted(operation, arguments.isSet(u"yes"_s), terminal)) {
        return ExitStatus::WrongUse;
    }
    return send(operation, terminal);
}

ExitStatus OperationCommand::conclude(const Operation& operation, SessionBus&, Terminal& terminal) const
{
    terminal.print(operation.done);
    return ExitStatus::Done;
}

ExitStatus OperationCommand::explain(const Operation& operation, Terminal& terminal)
{
    SessionBus bus;
    QString fault;
    QHash<QString, QString> serviceByOwner;
    const bool isKnown = bus.open(&fault) && bus.findOwners(&serviceByOwner);
    const QStringList present = serviceByOwner.values();

    terminal.print(u"Would %1: powermanager.%2. Nothing is sent."_s.arg(operation.intent, operation.member));
    for (const QString& doubt : operation.doubts) {
        terminal.print(terminal.styled(u"Needs a yes: "_s + doubt, Terminal::Style::Notice));
    }
    terminal.print();
    const int column = operation.wakeUp.isValid() ? 18 : 10;
    terminal.print(terminal.styled(u"  "_s + u"after"_s.leftJustified(column) + u"step"_s, Terminal::Style::Dim));
    double after = 0;
    bool isAsleep = false;
    for (const SequenceStep& step : operation.steps) {
        const bool isMissing = isKnown && !step.service.isEmpty() && !present.contains(step.service);
        const QString moment = (isAsleep ? u"wake-up + "_s : QString()) + secondsText(after);
        terminal.print(u"  "_s + moment.leftJustified(column) + stepText(step) +
                       (isMissing ? u"  "_s + terminal.styled(u"missing"_s, Terminal::Style::Bad) : QString()));
        after += step.seconds;
        if (step.member == u"Suspend") {
            isAsleep = true;
            after = 0;
        }
    }
    terminal.print();
    const QStringList needed = sequence::services(operation.steps);
    QStringList missing;
    for (const QString& service : needed) {
        if (isKnown && !present.contains(service)) {
            missing.append(service);
        }
    }
    terminal.print(u"Services:    "_s + (needed.isEmpty() ? u"none"_s : needed.join(u", "_s)));
    terminal.print(u"Missing now: "_s + (!isKnown            ? u"not known: "_s + fault
                                         : missing.isEmpty() ? u"none"_s
                                                             : missing.join(u", "_s)));
    if (isKnown && !present.contains(u"powermanager"_s)) {
        terminal.print(terminal.styled(u"The power daemon is not on the bus."_s, Terminal::Style::Bad));
    }
    for (const SequenceStep& step : operation.steps) {
        if (step.isDecisive && missing.contains(step.service)) {
            terminal.print(
                terminal.styled(u"It would be refused: %1 is missing."_s.arg(step.service), Terminal::Style::Bad));
            break;
        }
    }
    terminal.print(u"Takes:       %1 if every service answers at once, at most %2 if they are mute%3"_s.arg(
        secondsText(sequence::usualSeconds(operation.steps)), secondsText(sequence::worstSeconds(operation.steps)),
        operation.wakeUp.isValid() ? u", besides the sleep"_s : QString()));
    return ExitStatus::Done;
}

bool OperationCommand::isWanted(const Operation& operation, bool isConfirmed, Terminal& terminal)
{
    if (operation.doubts.isEmpty() || isConfirmed) {
        return true;
    }
    const QString doubts = operation.doubts.join(u' ');
    const std::optional<bool> answer = terminal.ask(doubts + u" Go on?"_s);
    if (!answer) {
        terminal.complain(doubts + u" Nothing was sent; --yes sends it all the same."_s);
    } else if (!*answer) {
        terminal.complain(u"nothing was sent"_s);
    }
    return answer.value_or(false);
}

ExitStatus OperationCommand::send(const Operation& operation, Terminal& terminal) const
{
    SessionBus bus;
    QString fault;
    if (!bus.open(&fault)) {
        terminal.complain(fault);
        return ExitStatus::NoDaemon;
    }
    OperationRun run(bus, operation, terminal);
    const Answer answer = run.wait();
    terminal.clearProgress();
    switch (answer.outcome) {
    case Answer::Outcome::Answered:
        if (answer.status() == 0) {
            return conclude(operation, bus, terminal);
        }
        terminal.complain(u"refused: "_s + answer.problem());
        return ExitStatus::Refused;
    case Answer::Outcome::Absent:
        terminal.complain(u"the power daemon is not on the session bus; nothing was done"_s);
        return ExitStatus::NoDaemon;
    case Answer::Outcome::Failed:
        terminal.complain(u"refused: "_s + answer.error);
        return ExitStatus::Refused;
    case Answer::Outcome::NoAnswer:
    case Answer::Outcome::BusGone:
        break;
    }
    if (operation.endsDevice && run.wasAnnounced() && run.isDaemonGone()) {
        terminal.print(u"the device went down, as asked"_s);
        return ExitStatus::Done;
    }
    if (answer.outcome == Answer::Outcome::BusGone) {
        terminal.complain(u"the session bus went away before the answer came"_s);
        return ExitStatus::NoDaemon;
    }
    terminal.complain(
        run.isDaemonGone()
            ? u"no answer: the power daemon ended before it answered"_s
            : u"no answer in %1; the power daemon may be busy with a power action, and serves it later"_s.arg(
                  durationText(run.secondsWaited())));
    return ExitStatus::NoAnswer;
}
