// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>

#include <unistd.h>

/// The device's indicator light, a GPIO line. A failure is not reported: the light only informs the user.
namespace indicator {

/// Turns it on, to stay on.
void turnOn();

/// Plays a pattern, after which it is off. Blocks for the pattern's length.
/// @param microseconds how long it is on, then off, then on, and so on
void play(std::initializer_list<useconds_t> microseconds);

} // namespace indicator
