// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "LogLine.h"

#include <QRegularExpression>

using namespace Qt::Literals::StringLiterals;

QString LogLine::place() const
{
    return file.isEmpty() ? QString() : u'[' + file + u':' + QString::number(line) + u"] "_s + function;
}

std::optional<LogLine> LogLine::parse(const QString& line)
{
    static const QRegularExpression kForm(u"^(?:<\\d>)?(\\d+) (/\\S*) (.*)$"_s);
    const QRegularExpressionMatch match = kForm.match(line);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    return fromParts(match.captured(1).toInt(), match.captured(2), match.captured(3));
}

LogLine LogLine::fromParts(int level, const QString& object, const QString& text)
{
    // A function's signature has no ": ".
    static const QRegularExpression kPlace(u"^\\[([^]:]+):(\\d+)\\] (.*?): "_s,
                                           QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = kPlace.match(text);
    return {level,
            object,
            match.captured(1),
            match.captured(2).toInt(),
            match.captured(3),
            text.mid(match.capturedLength())};
}
