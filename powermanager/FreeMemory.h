// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

/// Returns free memory to the system, which the C library would keep for good. Takes up to some milliseconds.
void returnFreeMemory();
