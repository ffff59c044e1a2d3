// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "OperationCommand.h"

/// Switches one of the daemon's two settings on or off: autoscaling, or the power actions.
class SwitchCommand : public OperationCommand
{
public:
    enum class Setting
    {
        Autoscaling,
        Actions,
    };

    explicit SwitchCommand(Setting setting);

protected:
    [[nodiscard]] CommandDescription describeOperation() const override;
    [[nodiscard]] Operation prepare(const CommandArguments& arguments) const override;

private:
    Setting m_setting;
};
