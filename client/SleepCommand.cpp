// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SleepCommand.h"

#include "Moment.h"
#include "ReasonRecord.h"
#include "SessionBus.h"
#include "Terminal.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

CommandDescription SleepCommand::describeOperation() const
{
    return {
        u"sleep"_s,
        u"set or clear the sleep window"_s,
        u"Sets the window in which the device sleeps: at the next START it is suspended until END, and then rebooted. "
        "Once only: after that, and after any start of the daemon, there is no window. A window may cross midnight."_s,
        {{u"START"_s,
          u"when to sleep, local time of day, such as 23:00; or \"off\" for no window"_s,
          false,
          false,
          false,
          {},
          {u"off"_s, u"23:00"_s}},
         {u"END"_s, u"when to wake up, such as 06:30"_s, true, false, false, {}, {u"06:30"_s}}},
        {},
        {{u"sleep 23:00 06:30"_s, u"tonight"_s}, {u"sleep off"_s, u"no window"_s}},
        {}};
}

Operation SleepCommand::prepare(const CommandArguments& arguments) const
{
    const QString start = arguments.positional(0);
    const QString end = arguments.positional(1);
    Operation operation;
    operation.member = u"SetSleepEnabled"_s;
    if (start == u"off") {
        if (!end.isEmpty()) {
            operation.fault = u"found \"%1\" behind \"off\"; expected nothing more"_s.arg(printable(end));
        }
        operation.arguments = {false, QString(), QString()};
        operation.steps = sequence::setting(u"no window, announce SleepEnabled"_s);
        operation.intent = u"clear the sleep window"_s;
        operation.done = u"no sleep window"_s;
        return operation;
    }
    const QTime from = parseTimeOfDay(start);
    const QTime to = parseTimeOfDay(end);
    if (!from.isValid()) {
        operation.fault =
            u"START: found \"%1\"; expected a time of day such as 23:00, or \"off\""_s.arg(printable(start));
    } else if (end.isEmpty()) {
        operation.fault = u"found no END; expected a time of day such as 06:30"_s;
    } else if (!to.isValid()) {
        operation.fault = u"END: found \"%1\"; expected a time of day such as 06:30"_s.arg(printable(end));
    }
    const QString format = u"HH:mm:ss"_s;
    operation.arguments = {true, from.toString(format), to.toString(format)};
    operation.steps = sequence::setting(u"arm the next %1, announce SleepEnabled"_s.arg(from.toString(format)));
    operation.intent = u"set the sleep window from %1 to %2"_s.arg(from.toString(format), to.toString(format));
    if (from == to) {
        operation.doubts.append(u"START and END are equal: the device would not sleep at all."_s);
    }
    const qint64 wait = (from.msecsSinceStartOfDay() - QTime::currentTime().msecsSinceStartOfDay()) / 1000;
    operation.done = u"the device sleeps at %1, in %2, until %3; once"_s.arg(
        from.toString(format), durationText(wait < 0 ? wait + 86400 : wait), to.toString(format));
    return operation;
}

ExitStatus SleepCommand::conclude(const Operation& operation, SessionBus& bus, Terminal& terminal) const
{
    const Answer window = bus.call(bus.catalogue().powerDaemon().service, u"IsSleepEnabled"_s, {}, 1s).wait();
    const bool isWanted = operation.arguments.at(0).toBool() && operation.arguments.at(1) != operation.arguments.at(2);
    if (!window.isDone()) {
        terminal.complain(u"sent and answered, but the window can't be read back: "_s + window.problem());
        return window.outcome == Answer::Outcome::Absent ? ExitStatus::NoDaemon : ExitStatus::NoAnswer;
    }
    const bool isArmed = window.values.at(1).toBool();
    const bool isSame = !isArmed || window.values.mid(2) == operation.arguments.mid(1);
    if (isArmed != isWanted || !isSame) {
        terminal.complain(u"the power daemon did not take the window; see its log"_s);
        return ExitStatus::Refused;
    }
    return OperationCommand::conclude(operation, bus, terminal);
}
