// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Timeline.h"

#include <QHash>
#include <QString>

#include <optional>

/// Which command of the timeline an event came of, as far as that can be told: the last one before it, if since then
/// something has happened all the time. A late answer belongs to the command of its call, whatever came in between.
///
/// A pause that is longer than any of the power daemon's own ends what a command has caused. What the CPU frequency
/// does is no sign that something still happens, since the load alone calls for it.
class CauseFinder
{
public:
    /// To be told each entry, in order.
    /// @return the place of the command
    [[nodiscard]] std::optional<qsizetype> causeOf(qsizetype place, const Timeline::Entry& entry);

private:
    [[nodiscard]] std::optional<qsizetype> causeOfAnswer(const events::Answer& answer, qint64 msec);

    std::optional<qsizetype> m_command; ///< nothing: none, or its effects are over
    qint64 m_lastMs = 0;                ///< when they last went on
    QHash<QString, qsizetype> m_calls;  ///< commands of the calls that are not answered, by id
};
