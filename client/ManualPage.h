// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandDescription.h"

/// The manual page in scdoc's language, made from the commands' descriptions.
[[nodiscard]] QString manualPage(const QList<CommandDescription>& commands);
