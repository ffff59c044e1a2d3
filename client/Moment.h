// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

/// A point in time as a person gives it, and what may surprise about it.
struct Moment
{
    QDateTime time; ///< local; invalid: `fault` says what was found and what was expected
    QString fault;
    QStringList doubts; ///< whole sentences; each asks for a yes

    /// Reads "+8h", "+1h30m", "07:30" (the next one), "2026-03-08 07:30", each also with seconds.
    /// @param now what "+8h" and "07:30" count from
    [[nodiscard]] static Moment parse(const QString& text, const QDateTime& now);
};

/// A time of day as a person gives it, "23:00" or "23:00:30"; invalid if it is none.
[[nodiscard]] QTime parseTimeOfDay(const QString& text);

/// A local time as the program shows it and as Moment reads it, "2026-03-08 07:30:00".
[[nodiscard]] QString momentText(const QDateTime& time);
