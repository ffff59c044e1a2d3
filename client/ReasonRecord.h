// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "CommandDescription.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

/// The record of the last reboot or shutdown, as the power daemon writes it.
struct ReasonRecord
{
    QDateTime time; ///< local time, when the action was asked for; to the second
    QString action; ///< "reboot" or "shutdown"
    QString reason; ///< as it came: may be empty, and may have several lines

    /// @param content the file's; *fault says what was found and what was expected if it is no record
    [[nodiscard]] static std::optional<ReasonRecord> parse(const QByteArray& content, QString* fault);

    /// Reads the device's record. *fault also says if there is no file, or none that can be read.
    [[nodiscard]] static std::optional<ReasonRecord> read(QString* fault);

    /// What the reason means where this device uses it; for any other, that it is a free text.
    [[nodiscard]] QString meaning() const;

    /// "time" (local), "clock" (UTC), "action", "reason", "meaning".
    [[nodiscard]] QJsonObject toJson() const;
};

/// The length of time in words, to two units: "3 min 20 s", "2 d 4 h".
[[nodiscard]] QString durationText(qint64 seconds);

/// The argument of the commands that have a reason.
[[nodiscard]] PositionalDescription reasonPositional();
/// The reason that is sent for an argument: that, or "user_cli" if it was left out.
[[nodiscard]] QString reasonOf(const QString& argument);
/// What may surprise about a reason: it is nearly one that others listen for, or would not fit into the record's line.
[[nodiscard]] QStringList reasonDoubts(const QString& reason);
