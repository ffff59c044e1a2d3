// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "EventText.h"

#include "Caller.h"
#include "SessionBus.h"
#include "Terminal.h"

#include <QDateTime>
#include <QJsonArray>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Longer broadcasts are cut.
constexpr qsizetype kMostValues = 8;

QString valuesText(const QJsonArray& values)
{
    QStringList texts;
    for (const auto& entry : values) {
        const QJsonValue value = entry.toObject().value(u"value"_s);
        texts.append(value.isString() ? u'"' + printable(value.toString()) + u'"' : value.toVariant().toString());
    }
    const qsizetype size = texts.size();
    return texts.mid(0, kMostValues).join(u", "_s) + (size > kMostValues ? u", ... %1 values"_s.arg(size) : QString());
}

/// The answer in words: its status first, if the method has one.
QString answerText(const QJsonObject& event)
{
    const QJsonObject error = event.value(u"error"_s).toObject();
    if (!error.isEmpty()) {
        return printable(error.value(u"name"_s).toString() + u": "_s + error.value(u"message"_s).toString());
    }
    const QJsonArray reply = event.value(u"reply"_s).toArray();
    if (reply.isEmpty() || reply.first()[u"name"].toString() != u"Status") {
        return valuesText(reply);
    }
    QJsonArray rest = reply;
    rest.removeFirst();
    Answer answer;
    answer.outcome = Answer::Outcome::Answered;
    answer.values = {reply.first()[u"value"].toInt()};
    return (answer.isDone() ? u"done (0)"_s : answer.problem()) +
           (rest.isEmpty() ? QString() : u": "_s + valuesText(rest));
}

} // namespace

QString eventText(const QJsonObject& event, const Terminal& terminal)
{
    using Style = Terminal::Style;
    const QString kind = event.value(u"kind"_s).toString();
    const QString service = event.value(u"service"_s).toString();
    const QString member = (service.isEmpty() ? QString() : service + u'.') + event.value(u"member"_s).toString();
    const QDateTime clock = QDateTime::fromString(event.value(u"clock"_s).toString(), Qt::ISODateWithMs).toLocalTime();
    QString text;
    Style style = Style::Plain;
    if (kind == u"request" || kind == u"call") {
        const Caller caller = Caller::fromJson(event.value(u"sender"_s).toObject());
        const QString who = kind == u"request" ? caller.toText() : caller.executable.section(u'/', -1);
        text = u"%1(%2)"_s.arg(member, valuesText(event.value(u"arguments"_s).toArray()));
        text = (kind == u"request" ? terminal.styled(text, Style::Strong) : text) +
               terminal.styled(u"  from "_s + printable(who), Style::Dim);
    } else if (kind == u"answer") {
        const QString status = answerText(event);
        style = event.contains(u"error"_s) || status.startsWith(u"status ") ? Style::Bad : Style::Plain;
        text = member + u" -> "_s + status +
               terminal.styled(u"  after %1 s"_s.arg(event.value(u"seconds"_s).toDouble(), 0, 'f', 3), Style::Dim);
    } else if (kind == u"signal") {
        style = member.startsWith(u"powermanager.") ? Style::Notice : Style::Plain;
        text = u"%1(%2)"_s.arg(member, valuesText(event.value(u"arguments"_s).toArray()));
    } else if (kind == u"process") {
        style = Style::Notice;
        text = u"the power daemon is "_s + event.value(u"state"_s).toString();
    } else {
        text = printable(event.value(u"text"_s).toString());
    }
    return terminal.styled(clock.toString(u"HH:mm:ss.zzz"_s), Style::Dim) + u"  "_s + kind.leftJustified(8) + u' ' +
           terminal.styled(text, style);
}
