// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "EventJson.h"

#include "DBusValues.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <iterator>
#include <variant>

using namespace Qt::Literals::StringLiterals;

namespace {

QJsonArray toJson(const events::Values& values)
{
    return dbusvalues::toJson(values.values, values.arguments);
}

void insertOutcome(QJsonObject& object, const events::Outcome& outcome)
{
    if (const auto* reply = std::get_if<events::Values>(&outcome)) {
        object.insert(u"reply"_s, toJson(*reply));
    } else if (const auto* error = std::get_if<events::Error>(&outcome)) {
        object.insert(u"error"_s, QJsonObject{{u"name"_s, error->name}, {u"message"_s, error->message}});
    }
}

void insertText(QJsonObject& object, const QString& member, const QString& text)
{
    if (!text.isEmpty()) {
        object.insert(member, text);
    }
}

/// The kinds, in the order of the variant.
constexpr QLatin1StringView kKinds[] = {
    QLatin1StringView("command"), QLatin1StringView("call"),    QLatin1StringView("signal"),
    QLatin1StringView("request"), QLatin1StringView("answer"),  QLatin1StringView("log"),
    QLatin1StringView("line"),    QLatin1StringView("pattern"), QLatin1StringView("pause"),
    QLatin1StringView("process"), QLatin1StringView("output"),  QLatin1StringView("note"),
};
static_assert(std::size(kKinds) == std::variant_size_v<events::Event>);

/// The members of an event beside its times and its kind.
struct ToJson
{
    QJsonObject operator()(const events::Command& command) const
    {
        return {{u"text"_s, command.text}};
    }
    QJsonObject operator()(const events::Call& call) const
    {
        QJsonObject object{
            {u"service"_s, call.service}, {u"member"_s, call.member}, {u"arguments"_s, toJson(call.arguments)}};
        insertOutcome(object, call.outcome);
        insertText(object, u"fault"_s, call.fault);
        insertText(object, u"id"_s, call.id);
        return object;
    }
    QJsonObject operator()(const events::Signal& signal) const
    {
        return {
            {u"service"_s, signal.service}, {u"member"_s, signal.member}, {u"arguments"_s, toJson(signal.arguments)}};
    }
    QJsonObject operator()(const events::Request& request) const
    {
        return {{u"member"_s, request.member}, {u"arguments"_s, toJson(request.arguments)}, {u"id"_s, request.id}};
    }
    QJsonObject operator()(const events::Answer& answer) const
    {
        QJsonObject object{{u"service"_s, answer.service},
                           {u"member"_s, answer.member},
                           {u"seconds"_s, answer.seconds},
                           {u"id"_s, answer.id}};
        insertOutcome(object, answer.outcome);
        return object;
    }
    QJsonObject operator()(const LogLine& log) const
    {
        return {{u"level"_s, log.level}, {u"object"_s, log.object},     {u"file"_s, log.file},
                {u"line"_s, log.line},   {u"function"_s, log.function}, {u"message"_s, log.message}};
    }
    QJsonObject operator()(const events::Line& line) const
    {
        QJsonObject object{{u"line"_s, line.number}};
        if (line.isOn) {
            object.insert(u"level"_s, *line.isOn ? 1 : 0);
        }
        return object;
    }
    QJsonObject operator()(const events::Pattern& pattern) const
    {
        return {{u"line"_s, pattern.line}, {u"text"_s, pattern.words().join(u' ')}};
    }
    QJsonObject operator()(const events::Pause& pause) const
    {
        return {{u"seconds"_s, std::chrono::duration<double>(pause.length).count()}};
    }
    QJsonObject operator()(const events::Process& process) const
    {
        return {{u"state"_s, events::toString(process.state)}, {u"text"_s, process.text}};
    }
    QJsonObject operator()(const events::Output& output) const
    {
        return {{u"text"_s, output.text}};
    }
    QJsonObject operator()(const events::Note& note) const
    {
        return {{u"text"_s, note.text}};
    }
};

} // namespace

QLatin1StringView eventjson::kindOf(const events::Event& event)
{
    return kKinds[event.index()];
}

QByteArray eventjson::toLine(const Timeline::Entry& entry)
{
    QJsonObject object = std::visit(ToJson(), entry.event);
    object.insert(u"kind"_s, QString(kindOf(entry.event)));
    object.insert(u"time"_s, static_cast<double>(entry.msec) / 1000);
    object.insert(u"clock"_s, entry.clock.toString(Qt::ISODateWithMs));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}
