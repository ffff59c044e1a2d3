// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// How often this program has allocated memory, on all threads, operator new and Qt's containers included.
[[nodiscard]] std::size_t allocationCount();
