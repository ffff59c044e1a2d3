// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Subcommand.h"

/// Shows the state of the device's power.
class StatusCommand : public Subcommand
{
public:
    [[nodiscard]] CommandDescription describe() const override;
    [[nodiscard]] ExitStatus run(const CommandArguments& arguments, Terminal& terminal) override;
};
