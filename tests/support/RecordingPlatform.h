// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Timeline.h"

#include <functional>

/// The record of the test program: the recording platform writes the power daemon's log lines, GPIO lines and pauses to
/// it (a line of another source than the power daemon's object ends in "@" and its path), the simulated device its
/// calls and signals. The platform's pauses do not wait; one that a signal could cut short says so. Its configuration
/// store is the host's, that is, the simulated configuration service.
[[nodiscard]] Timeline& timeline();

/// What happens during each pause of the power daemon; nothing, unless set. Reset it when the test is done.
void setDuringPause(const std::function<void()>& action);

/// What the mode-select input reads: a level, or the negative errno of a failure.
void setModeSelect(int value);
