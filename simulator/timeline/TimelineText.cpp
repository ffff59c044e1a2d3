// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "TimelineText.h"

#include "DBusValues.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

/// More values than this are not shown.
constexpr qsizetype kMostValues = 8;

/// A sign of a pattern's drawing stands for that time.
constexpr double kMsecPerSign = 100;

/// "int PowerManager::init()" becomes "PowerManager::init".
QString functionName(const QString& signature)
{
    static const QRegularExpression kName(u"([\\w:~]+)\\("_s);
    return kName.match(signature).captured(1);
}

/// Values as a person reads them: an empty text is seen.
QString list(QStringList texts)
{
    std::replace(texts.begin(), texts.end(), QString(), u"\"\""_s);
    return texts.join(u", "_s);
}

QString firstOf(const events::Values& values)
{
    const qsizetype count = values.values.size();
    return list(dbusvalues::toTexts(values.values.mid(0, kMostValues))) +
           (count > kMostValues ? u" ... ("_s + QString::number(count) + u" values)"_s : QString());
}

QString outcome(const events::Outcome& outcome, const QString& fault)
{
    if (const auto* values = std::get_if<events::Values>(&outcome)) {
        return firstOf(*values);
    }
    if (const auto* error = std::get_if<events::Error>(&outcome)) {
        return u"error "_s + error->message;
    }
    return fault == u"mute" || fault == u"dies" ? u"no answer"_s : u"..."_s;
}

QString drawing(const events::Pattern& pattern)
{
    QString drawing;
    bool isOn = false;
    for (const std::chrono::milliseconds length : pattern.lengths) {
        isOn = !isOn;
        drawing += QString(qRound(static_cast<double>(length.count()) / kMsecPerSign), isOn ? u'▮' : u'▯');
    }
    return pattern.staysOn ? drawing + u"▮▮▮… stays on"_s : drawing;
}

} // namespace

QString TimelineText::shortened(const events::Signal& signal)
{
    const QVariantList& values = signal.arguments.values;
    if (values.size() <= kMostValues) {
        return list(dbusvalues::toTexts(values));
    }
    const QVariantList last = std::exchange(m_lastValues[events::memberName(signal)], values);
    QStringList shown;
    for (qsizetype i = 0; i < values.size() && i < signal.arguments.arguments.size() && !last.isEmpty(); ++i) {
        if (values.at(i) != last.value(i)) {
            shown.append(signal.arguments.arguments.at(i).name + u'=' + dbusvalues::toText(values.at(i)));
        }
    }
    shown.append(QString::number(values.size()) + u" values"_s);
    return shown.join(u", "_s);
}

TimelineText::Columns TimelineText::columns(const events::Event& event)
{
    if (const auto* command = std::get_if<events::Command>(&event)) {
        return {u">"_s, command->text};
    }
    if (const auto* call = std::get_if<events::Call>(&event)) {
        return {u"call"_s, events::memberName(event) + u'(' + list(dbusvalues::toTexts(call->arguments.values)) +
                               u") -> "_s + outcome(call->outcome, call->fault)};
    }
    if (const auto* signal = std::get_if<events::Signal>(&event)) {
        return {u"signal"_s, events::memberName(event) + u'(' + shortened(*signal) + u')'};
    }
    if (const auto* request = std::get_if<events::Request>(&event)) {
        return {u"request"_s,
                events::memberName(event) + u'(' + list(dbusvalues::toTexts(request->arguments.values)) + u')'};
    }
    if (const auto* answer = std::get_if<events::Answer>(&event)) {
        return {u"answer"_s, events::memberName(event) + u" -> "_s + list(events::toTexts(answer->outcome))};
    }
    if (const auto* log = std::get_if<LogLine>(&event)) {
        const QString place = showFullPlace ? log->object + u' ' + log->place() : functionName(log->function);
        return {u"log "_s + QString::number(log->level), place + u": "_s + log->message};
    }
    if (const auto* pattern = std::get_if<events::Pattern>(&event)) {
        return {u"line"_s, events::toString(event).section(u' ', 1) + u"   "_s + drawing(*pattern)};
    }
    const QString text = events::toString(event);
    return {std::holds_alternative<events::Process>(event) ? u"daemon"_s : text.section(u' ', 0, 0),
            text.section(u' ', 1)};
}

QString TimelineText::format(const Timeline::Entry& entry)
{
    const auto* log = entry.as<LogLine>();
    if (log != nullptr && log->level > maxLogLevel) {
        return {};
    }
    const auto [label, text] = columns(entry.event);
    return u"%1  %2  %3"_s.arg(static_cast<double>(entry.msec) / 1000, 8, 'f', 3).arg(label, -7).arg(text);
}
