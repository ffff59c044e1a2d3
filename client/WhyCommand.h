// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Subcommand.h"

/// Explains the recorded reboot or shutdown.
class WhyCommand : public Subcommand
{
public:
    [[nodiscard]] CommandDescription describe() const override;
    [[nodiscard]] ExitStatus run(const CommandArguments& arguments, Terminal& terminal) override;
};
