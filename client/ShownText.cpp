// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ShownText.h"

using namespace Qt::Literals::StringLiterals;

QString shown(const QString& text)
{
    constexpr qsizetype kLongest = 40;
    QString safe;
    for (const QChar character : QStringView(text).left(kLongest)) {
        safe += character.isPrint() || character.isSurrogate()
                    ? QString(character)
                    : u"\\x%1"_s.arg(character.unicode(), 2, 16, QLatin1Char('0'));
    }
    return text.size() > kLongest ? safe + u"..."_s : safe;
}

QString shown(const QByteArray& text)
{
    return shown(QString::fromUtf8(text.left(1000))); // a value of megabytes is not decoded to show its beginning
}

QString rangeText(int fromPercent, int toPercent)
{
    return fromPercent == toPercent ? u"%1 %"_s.arg(fromPercent) : u"%1 % to %2 %"_s.arg(fromPercent).arg(toPercent);
}
