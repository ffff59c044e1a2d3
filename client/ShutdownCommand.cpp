// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ShutdownCommand.h"

#include "ReasonRecord.h"

using namespace Qt::Literals::StringLiterals;

CommandDescription ShutdownCommand::describeOperation() const
{
    return {
        u"shutdown"_s,
        u"power the device off"_s,
        u"Asks the power daemon to power the device off. It records and announces the reason, waits 5 s, switches "
        "the indicator on, and asks the frequency service for the power-off. The peripherals are left as they are."_s,
        {reasonPositional()},
        {},
        {{u"shutdown"_s, u"with the reason \"user_cli\""_s},
         {u"shutdown user_gui"_s, u"with a reason that others listen for"_s}},
        {}};
}

Operation ShutdownCommand::prepare(const CommandArguments& arguments) const
{
    const QString reason = reasonOf(arguments.positional(0));
    Operation operation;
    operation.member = u"Shutdown"_s;
    operation.arguments = {reason};
    operation.steps = sequence::shutdown();
    operation.intent = u"power the device off, reason \"%1\""_s.arg(reason);
    operation.done = u"accepted: the device goes off now"_s;
    operation.doubts = reasonDoubts(reason);
    operation.endsDevice = true;
    return operation;
}
