// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "OperationCommand.h"

/// Sets or clears the sleep window.
class SleepCommand : public OperationCommand
{
protected:
    [[nodiscard]] CommandDescription describeOperation() const override;
    [[nodiscard]] Operation prepare(const CommandArguments& arguments) const override;
    /// Reads the window back: the daemon answers 0 to times that it refuses, too.
    [[nodiscard]] ExitStatus conclude(const Operation& operation, SessionBus& bus, Terminal& terminal) const override;
};
