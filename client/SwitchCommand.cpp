// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SwitchCommand.h"

using namespace Qt::Literals::StringLiterals;

SwitchCommand::SwitchCommand(Setting setting) : m_setting(setting) {}

CommandDescription SwitchCommand::describeOperation() const
{
    const bool isActions = m_setting == Setting::Actions;
    const QString name = isActions ? u"actions"_s : u"autoscaling"_s;
    return {name,
            isActions ? u"switch the power zones on or off"_s
                      : u"switch on or off that the CPU frequency follows the load"_s,
            isActions
                ? u"Switches on or off that power zones are applied. On applies the zone of the present charge at "
                  "once; off leaves volume and light as they are. On after every start of the daemon."_s
                : u"Switches on or off that the CPU frequency follows load and media events. The frequency itself "
                  "moves only with the next event. Off after every start of the daemon."_s,
            {{u"SETTING"_s, u"on or off"_s, false, false, false, {u"on"_s, u"off"_s}, {}}},
            {},
            {{name + u" on"_s, u"switches it on"_s}},
            {}};
}

Operation SwitchCommand::prepare(const CommandArguments& arguments) const
{
    const bool isActions = m_setting == Setting::Actions;
    const bool isOn = arguments.positional(0) == u"on";
    const QString what = isActions ? u"power actions"_s : u"autoscaling"_s;
    Operation operation;
    operation.member = isActions ? u"SetActionsEnabled"_s : u"SetAutoscalingEnabled"_s;
    operation.arguments = {isOn};
    operation.steps =
        isActions ? sequence::setActionsEnabled(isOn)
                  : sequence::setting(u"autoscaling %1, announce AutoscalingEnabled"_s.arg(arguments.positional(0)));
    operation.intent = u"switch %1 %2"_s.arg(what, arguments.positional(0));
    operation.done = u"%1 %2"_s.arg(what, arguments.positional(0));
    return operation;
}
