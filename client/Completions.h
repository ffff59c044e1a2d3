// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandDescription.h"

/// The completions of the three shells, made from the commands' descriptions.
namespace completions {

[[nodiscard]] QString bash(const QList<CommandDescription>& commands);
[[nodiscard]] QString zsh(const QList<CommandDescription>& commands);
[[nodiscard]] QString fish(const QList<CommandDescription>& commands);

} // namespace completions
