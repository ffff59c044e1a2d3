// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Commands.h"

/// Whether a command does something to the device or only looks at it.
constexpr bool kActs = true;
constexpr bool kLooks = false;

/// The groups of commands, a source file each: what is done to the device and its parts; to its services, their members
/// and the power daemon's process; and what only looks.
[[nodiscard]] QList<Command> deviceCommands();
[[nodiscard]] QList<Command> serviceCommands();
[[nodiscard]] QList<Command> expectCommands();
