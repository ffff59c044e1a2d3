// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Names.h"
#include "common_log.h"

/// Logs a printf-style message under the daemon's object path; texts go in as local 8-bit.
#define POWER_LOG(level, ...) COMMON_LOG(level, kObjectPath, __VA_ARGS__)
