// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What a zone file has that it probably should not have.
struct ZoneFinding
{
    enum class Severity
    {
        Error,   ///< the file does not do what it says
        Warning, ///< it probably does not do what was meant
        Note,    ///< worth knowing
    };

    QString id; ///< names the kind of finding, for good, e.g. "misspelt-key"
    Severity severity;
    qsizetype line;   ///< from 1
    qsizetype column; ///< from 1, in characters
    QString zone;     ///< the zone that it is about; empty: none
    QString found;    ///< what is there, and what the daemon makes of it
    QString meant;    ///< what was probably meant, or what to do
};

/// "error", "warning" or "note".
[[nodiscard]] QString severityName(ZoneFinding::Severity severity);
