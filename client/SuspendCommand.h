// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "OperationCommand.h"

/// Puts the device to standby until a time.
class SuspendCommand : public OperationCommand
{
protected:
    [[nodiscard]] CommandDescription describeOperation() const override;
    [[nodiscard]] Operation prepare(const CommandArguments& arguments) const override;
};
