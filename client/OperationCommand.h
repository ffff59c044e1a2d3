// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Operation.h"
#include "Subcommand.h"

class SessionBus;

/// Base of the commands that make the power daemon do something. Checks the arguments, asks about what may surprise,
/// sends the call, shows what goes on, and waits as long as the operation may take. With --dry-run, explains what would
/// happen and sends nothing.
class OperationCommand : public Subcommand
{
public:
    [[nodiscard]] CommandDescription describe() const final;
    [[nodiscard]] ExitStatus run(const CommandArguments& arguments, Terminal& terminal) final;

protected:
    /// The command's own part of the description; the common options and statuses are added.
    [[nodiscard]] virtual CommandDescription describeOperation() const = 0;

    /// Makes the call of the arguments. Sends nothing.
    [[nodiscard]] virtual Operation prepare(const CommandArguments& arguments) const = 0;

    /// What to say, and how to end, once the answer is 0; by default, that it is done.
    [[nodiscard]] virtual ExitStatus conclude(const Operation& operation, SessionBus& bus, Terminal& terminal) const;

private:
    [[nodiscard]] static ExitStatus explain(const Operation& operation, Terminal& terminal);
    [[nodiscard]] static bool isWanted(const Operation& operation, bool isConfirmed, Terminal& terminal);
    [[nodiscard]] ExitStatus send(const Operation& operation, Terminal& terminal) const;
};
