// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdio>

/// Prints one line on standard error: why a measurement can't be made.
inline void printError(const QString& text)
{
    std::fprintf(stderr, "measure: %s\n", qPrintable(text));
}
