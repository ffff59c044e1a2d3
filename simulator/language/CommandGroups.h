// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Commands.h"

/// What is done to the device and its parts.
[[nodiscard]] QList<Command> deviceCommands();
/// What is done to its services, their members and the power daemon's process.
[[nodiscard]] QList<Command> serviceCommands();
/// What waits for something, or only looks.
[[nodiscard]] QList<Command> expectCommands();

/// Puts commands under a heading of the help.
[[nodiscard]] QList<Command> group(const char* subject, QList<Command> commands);
