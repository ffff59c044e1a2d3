// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandDescription.h"

#include <QStringList>

/// The help, made from the commands' descriptions.
namespace helptext {

/// All commands, a line each.
[[nodiscard]] QStringList overview(const QList<CommandDescription>& commands);

/// Everything about one command.
/// @param width columns into which the sentences have to fit
[[nodiscard]] QStringList command(const CommandDescription& description, int width);

/// An option as the help shows it: "-y, --yes", "--since FILE".
[[nodiscard]] QString optionSyntax(const OptionDescription& option);

} // namespace helptext
