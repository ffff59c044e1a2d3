// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Caller.h"
#include "ReasonRecord.h"

#include <QDateTime>
#include <QStringList>

#include <optional>

class QIODevice;

/// What a monitor's record or the journal tells about a recorded action.
struct ActionEvidence
{
    std::optional<Caller> caller; ///< who asked
    QString request;              ///< what was asked, "Reboot(\"upgrade\")"
    QDateTime askedAt;            ///< local time
    QString answer;               ///< in words; empty: none was seen
    QStringList journal;          ///< the daemon's own lines about it, from the request on
    int wrongLines = 0;           ///< lines of the record that are no events
    int firstWrongLine = 0;

    /// Looks for the request in a record of "zelt-power monitor --json".
    [[nodiscard]] static ActionEvidence fromRecord(QIODevice& file, const ReasonRecord& record);

    /// Looks for the daemon's lines in the journal, from a time on that journalctl understands. Blocks for ten seconds
    /// at most. *fault says what went wrong; empty: nothing.
    [[nodiscard]] static ActionEvidence fromJournal(const QString& since, const ReasonRecord& record, QString* fault);
};
