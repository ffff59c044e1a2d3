// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ZoneFinding.h"

QString severityName(ZoneFinding::Severity severity)
{
    switch (severity) {
    case ZoneFinding::Severity::Error:
        return QStringLiteral("error");
    case ZoneFinding::Severity::Warning:
        return QStringLiteral("warning");
    case ZoneFinding::Severity::Note:
        break;
    }
    return QStringLiteral("note");
}
