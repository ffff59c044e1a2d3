// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "OperationCommand.h"

/// Restarts the device.
class RebootCommand : public OperationCommand
{
protected:
    [[nodiscard]] CommandDescription describeOperation() const override;
    [[nodiscard]] Operation prepare(const CommandArguments& arguments) const override;
};
