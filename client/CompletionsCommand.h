// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Subcommand.h"

/// Writes the completions for a shell, which packaging/completions/ keeps.
class CompletionsCommand : public Subcommand
{
public:
    [[nodiscard]] CommandDescription describe() const override;
    [[nodiscard]] ExitStatus run(const CommandArguments& arguments, Terminal& terminal) override;
};
