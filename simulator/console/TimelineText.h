// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Timeline.h"

/// How the timeline is shown to a person.
struct TimelineText
{
    int maxLogLevel = 9;        ///< log lines of a higher level are not shown
    bool showFullPlace = false; ///< log lines with file, line and whole signature instead of the function's name

    /// The entry as a line without its end: seconds, kind and content in columns; empty where it is not to be shown.
    [[nodiscard]] QString format(const Timeline::Entry& entry) const;
};
