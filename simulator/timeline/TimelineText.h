// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Timeline.h"

#include <QHash>

/// How the timeline is shown to a person: shortened. Long signals are shown by what changed since the last one.
class TimelineText
{
public:
    int maxLogLevel = 9;        ///< log lines of a higher level are not shown
    bool showFullPlace = false; ///< log lines with object path, file, line and the function's whole signature

    /// The entry as a line without its end: seconds, kind and content in columns; empty if it is not to be shown.
    [[nodiscard]] QString format(const Timeline::Entry& entry);

    /// Kind and content.
    struct Columns
    {
        QString label;
        QString text;
    };
    [[nodiscard]] Columns columns(const events::Event& event);

private:
    [[nodiscard]] QString shortened(const events::Signal& signal);

    QHash<QString, QVariantList> m_lastValues; ///< of each long signal
};
