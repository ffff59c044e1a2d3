// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Subcommand.h"

/// Plays a recorded day of charges against a zone file.
class ZonesReplayCommand : public Subcommand
{
public:
    [[nodiscard]] CommandDescription describe() const override;
    [[nodiscard]] ExitStatus run(const CommandArguments& arguments, Terminal& terminal) override;
};
