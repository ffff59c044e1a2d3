// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

/// The blocking pauses of power actions and resets. A signal does not shorten them; it is handled afterwards.
namespace pauses {

void seconds(unsigned int count);
void microseconds(useconds_t count);

} // namespace pauses
