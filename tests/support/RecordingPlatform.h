// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Timeline.h"

/// The record of the test program: the recording platform writes the power daemon's log lines to it, the simulated
/// device its calls and signals.
[[nodiscard]] Timeline& timeline();
