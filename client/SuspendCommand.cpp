// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SuspendCommand.h"

#include "Moment.h"

using namespace Qt::Literals::StringLiterals;

CommandDescription SuspendCommand::describeOperation() const
{
    return {
        u"suspend"_s,
        u"put the device to standby until a time"_s,
        u"Asks the power daemon to set the alarm, switch the peripherals off and put the device to standby. When the "
        "device wakes up, the daemon restores the peripherals and reboots the device, always; the answer comes "
        "after that, or not at all."_s,
        {{u"TIME"_s,
          u"when to wake up, local time: +8h, +1h30m, 07:30 (the next one), \"2026-03-08 07:30\""_s,
          false,
          false,
          false,
          {},
          {u"+30m"_s, u"+1h"_s, u"+8h"_s}}},
        {},
        {{u"suspend +8h"_s, u"for eight hours"_s},
         {u"suspend 07:30"_s, u"until the next half past seven"_s},
         {u"suspend --dry-run \"2026-03-08 07:30\""_s, u"what would happen, and how long it may take"_s}},
        {}};
}

Operation SuspendCommand::prepare(const CommandArguments& arguments) const
{
    const Moment moment = Moment::parse(arguments.positional(0), QDateTime::currentDateTime());
    const QString shown = moment.time.toString(u"yyyy-MM-dd HH:mm:ss"_s);
    Operation operation;
    operation.fault = moment.fault;
    operation.member = u"Suspend"_s;
    operation.arguments = {shown};
    operation.steps = sequence::suspend();
    operation.intent = u"put the device to standby until %1"_s.arg(shown);
    operation.done = u"the device slept, woke up, and restarts now"_s;
    operation.doubts = moment.doubts;
    operation.wakeUp = moment.time;
    operation.endsDevice = true;
    return operation;
}
