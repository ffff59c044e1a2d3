// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "TimelineText.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// "[PowerManager.cpp:80] int PowerManager::init()" becomes "PowerManager::init".
QString functionName(const QString& place)
{
    static const QRegularExpression kName(u"([\\w:~]+)\\("_s);
    return kName.match(place, place.indexOf(u']')).captured(1);
}

/// Arguments as a person reads them: an empty text is seen.
QString argumentList(QStringList arguments)
{
    std::replace(arguments.begin(), arguments.end(), QString(), u"\"\""_s);
    return u'(' + arguments.join(u", "_s) + u')';
}

} // namespace

QString TimelineText::format(const Timeline::Entry& entry) const
{
    QString label;
    const bool isMember = entry.kind == Timeline::Kind::Call || entry.kind == Timeline::Kind::Signal ||
                          entry.kind == Timeline::Kind::Request;
    QString text = isMember ? entry.name + argumentList(entry.arguments) : entry.toString().section(u' ', 1);
    switch (entry.kind) {
    case Timeline::Kind::Command:
        label = u">"_s;
        break;
    case Timeline::Kind::Call:
        label = u"call"_s;
        text += entry.result.isEmpty() ? QString() : u" -> "_s + entry.result;
        break;
    case Timeline::Kind::Answer:
        label = u"answer"_s;
        text = entry.name + u" -> "_s + entry.arguments.join(u", "_s);
        break;
    case Timeline::Kind::Log:
        if (entry.level > maxLogLevel) {
            return {};
        }
        label = u"log "_s + QString::number(entry.level);
        text = (showFullPlace ? entry.place : functionName(entry.place)) + u": "_s + entry.name;
        break;
    case Timeline::Kind::Line:
        label = u"line"_s;
        text += entry.result.isEmpty() ? QString() : u"   "_s + entry.result;
        break;
    case Timeline::Kind::Process:
        label = u"daemon"_s;
        break;
    default:
        label = entry.toString().section(u' ', 0, 0);
    }
    return u"%1  %2  %3"_s.arg(static_cast<double>(entry.msec) / 1000, 8, 'f', 3).arg(label, -7).arg(text);
}
