// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

/// A log line of the power daemon.
struct LogLine
{
    int level = 0;
    QString object;   ///< path of the object that logs
    QString file;     ///< source file; empty if the text does not begin with its place
    int line = 0;     ///< in that file
    QString function; ///< its whole signature
    QString message;

    /// "[file:line] function"; empty without a place.
    [[nodiscard]] QString place() const;

    /// A line as the host platform writes it: "LEVEL OBJECTPATH TEXT", preceded by "<PRIORITY>" if the journal reads
    /// it.
    /// @return nothing if it has another form
    [[nodiscard]] static std::optional<LogLine> parse(const QString& line);

    /// @param text "[FILE:LINE] FUNCTION: MESSAGE"; anything else is a message without a place
    [[nodiscard]] static LogLine fromParts(int level, const QString& object, const QString& text);
};
