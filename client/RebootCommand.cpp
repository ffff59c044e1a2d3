// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "RebootCommand.h"

#include "ReasonRecord.h"

using namespace Qt::Literals::StringLiterals;

CommandDescription RebootCommand::describeOperation() const
{
    return {
        u"reboot"_s,
        u"restart the device"_s,
        u"Asks the power daemon to restart the device. It records and announces the reason, waits 5 s, switches the "
        "peripherals off, lets the indicator blink, and asks the frequency service for the restart."_s,
        {reasonPositional()},
        {},
        {{u"reboot"_s, u"with the reason \"user_cli\""_s},
         {u"reboot upgrade"_s, u"with a reason that others listen for"_s},
         {u"reboot --dry-run"_s, u"every step with its time, the services it needs, and what is missing"_s}},
        {}};
}

Operation RebootCommand::prepare(const CommandArguments& arguments) const
{
    const QString reason = reasonOf(arguments.positional(0));
    Operation operation;
    operation.member = u"Reboot"_s;
    operation.arguments = {reason};
    operation.steps = sequence::reboot();
    operation.intent = u"restart the device, reason \"%1\""_s.arg(reason);
    operation.done = u"accepted: the device restarts now"_s;
    operation.doubts = reasonDoubts(reason);
    operation.endsDevice = true;
    return operation;
}
