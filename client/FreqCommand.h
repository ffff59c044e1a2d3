// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "OperationCommand.h"

/// Sets the CPU frequency.
class FreqCommand : public OperationCommand
{
protected:
    [[nodiscard]] CommandDescription describeOperation() const override;
    [[nodiscard]] Operation prepare(const CommandArguments& arguments) const override;
};
