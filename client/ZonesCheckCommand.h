// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Subcommand.h"

/// Finds what is wrong with zone files.
class ZonesCheckCommand : public Subcommand
{
public:
    [[nodiscard]] CommandDescription describe() const override;
    [[nodiscard]] ExitStatus run(const CommandArguments& arguments, Terminal& terminal) override;
};
