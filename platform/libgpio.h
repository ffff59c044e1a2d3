// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

extern "C" {

/// Drives an output line.
/// @param line GPIO number
/// @param on   0 low, anything else high
/// @return 0, or a negative errno
int LIBGPIO_set_enabled(int line, int on);

/// Reads an input line.
/// @param line  GPIO number
/// @param value receives the level, 0 or 1; untouched on failure
/// @return 0, or a negative errno
int LIBGPIO_get_enabled(int line, int* value);
}
