// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Record.h"

#include "DBusValues.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPair>

#include <algorithm>
#include <cmath>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Any longer time in a record is a mistake.
constexpr double kLongestSeconds = 366.0 * 24 * 3600;

QString shown(const QJsonValue& value)
{
    if (value.isUndefined()) {
        return u"nothing"_s;
    }
    const QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(text.mid(1, text.size() - 2));
}

/// Reads the lines of a record, one after the other.
class Reader
{
public:
    explicit Reader(const Catalogue& catalogue) : m_catalogue(catalogue) {}

    /// @return whether the line is right; else error() says what is wrong
    [[nodiscard]] bool readLine(const QByteArray& line)
    {
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(line, &parseError);
        if (!document.isObject()) {
            const bool isJson = parseError.error == QJsonParseError::NoError;
            return fail(isJson ? u"another JSON value"_s
                               : parseError.errorString() + u" at column "_s + QString::number(parseError.offset + 1),
                        u"a JSON object"_s);
        }
        m_object = document.object();
        const QJsonValue kind = m_object.value(u"kind"_s);
        const QJsonValue time = m_object.value(u"time"_s);
        if (!kind.isString()) {
            return fail(u"kind "_s + shown(kind), u"a text"_s);
        }
        if (!isDuration(time)) {
            return fail(u"time "_s + shown(time), u"a number of seconds from 0"_s);
        }
        m_time = toMilliseconds(time);
        m_record.length = std::max(m_record.length, m_time);
        if (kind == u"signal"_s) {
            return readSignal();
        }
        if (kind == u"call"_s) {
            return readCall();
        }
        return kind != u"answer"_s || readAnswer();
    }

    [[nodiscard]] QString error() const
    {
        return m_error;
    }

    [[nodiscard]] Record record() const
    {
        Record record = m_record;
        std::stable_sort(record.emissions.begin(), record.emissions.end(),
                         [](const auto& a, const auto& b) { return a.time < b.time; });
        return record;
    }

private:
    bool fail(const QString& found, const QString& expected)
    {
        m_error = u"found "_s + found + u", expected "_s + expected;
        return false;
    }

    static bool isDuration(const QJsonValue& value)
    {
        return value.isDouble() && value.toDouble() >= 0 && value.toDouble() <= kLongestSeconds;
    }

    static std::chrono::milliseconds toMilliseconds(const QJsonValue& seconds)
    {
        return std::chrono::milliseconds(std::llround(seconds.toDouble() * 1000));
    }

    /// The service of the line; null if the line is wrong.
    const InterfaceDescription* findService()
    {
        const QJsonValue service = m_object.value(u"service"_s);
        const InterfaceDescription* found = m_catalogue.findService(service.toString());
        if (found == nullptr) {
            (void)fail(u"service "_s + shown(service), u"one of "_s + m_catalogue.serviceNames().join(u", "_s));
        }
        return found;
    }

    bool readValues(const QString& name, const QList<ArgumentDescription>& described, events::Values* values)
    {
        const QJsonValue array = m_object.value(name);
        if (!array.isArray()) {
            return fail(name + u' ' + shown(array), u"an array"_s);
        }
        values->arguments = described;
        const QJsonArray elements = array.toArray();
        for (const auto& element : elements) {
            const QString type = element[u"type"].toString();
            const bool isBasic = type.size() == 1 && u"bynqiuxtds"_s.contains(type);
            if (!isBasic) {
                return fail(u"type "_s + shown(element[u"type"]) + u" in "_s + name, u"one of b y n q i u x t d s"_s);
            }
            const QVariant value = dbusvalues::fromJson(element[u"value"], type);
            if (!value.isValid()) {
                return fail(u"value "_s + shown(element[u"value"]) + u" in "_s + name, dbusvalues::typeName(type));
            }
            values->values.append(value);
        }
        return true;
    }

    /// The reply or error of a call; neither is right, too.
    bool readOutcome(const MemberDescription& method, events::Outcome* outcome)
    {
        if (m_object.contains(u"reply"_s)) {
            events::Values values;
            if (!readValues(u"reply"_s, method.out, &values)) {
                return false;
            }
            *outcome = values;
        } else if (m_object.contains(u"error"_s)) {
            const QJsonValue error = m_object.value(u"error"_s);
            if (!error[u"name"].isString()) {
                return fail(u"error "_s + shown(error), u"an object with a name"_s);
            }
            *outcome = events::Error{error[u"name"].toString(), error[u"message"].toString()};
        }
        return true;
    }

    bool readSignal()
    {
        if (m_object.value(u"service"_s) == events::kPowerDaemon) {
            return true; // the power daemon under test sends its own
        }
        const InterfaceDescription* service = findService();
        if (service == nullptr) {
            return false;
        }
        const QJsonValue member = m_object.value(u"member"_s);
        const MemberDescription* signal = service->findSignal(member.toString());
        if (signal == nullptr) {
            return fail(u"member "_s + shown(member), u"a signal of "_s + service->service);
        }
        events::Values values;
        if (!readValues(u"arguments"_s, signal->out, &values)) {
            return false;
        }
        m_record.emissions.append({m_time, service->service + u'.' + signal->name, values.values});
        return true;
    }

    bool readCall()
    {
        const InterfaceDescription* service = findService();
        if (service == nullptr) {
            return false;
        }
        const QJsonValue member = m_object.value(u"member"_s);
        const MemberDescription* method = service->findMethod(member.toString());
        if (method == nullptr) {
            return fail(u"member "_s + shown(member), u"a method of "_s + service->service);
        }
        Record::Reply reply;
        if (!readOutcome(*method, &reply.outcome)) {
            return false;
        }
        const QString name = service->service + u'.' + method->name;
        QList<Record::Reply>& replies = m_record.replies[name];
        replies.append(reply);
        const QString id = m_object.value(u"id"_s).toString();
        if (!id.isEmpty()) {
            m_pending.insert(id, {name, replies.size() - 1});
        }
        return true;
    }

    /// The answer to a call that is in the record; to any other, it says nothing about a service.
    bool readAnswer()
    {
        const auto pending = m_pending.constFind(m_object.value(u"id"_s).toString());
        if (pending == m_pending.constEnd()) {
            return true;
        }
        const auto& [name, index] = *pending;
        const InterfaceDescription* service = m_catalogue.findService(name.section(u'.', 0, 0));
        Record::Reply& reply = m_record.replies[name][index];
        const QJsonValue seconds = m_object.value(u"seconds"_s);
        if (!isDuration(seconds)) {
            return fail(u"seconds "_s + shown(seconds), u"a number of seconds from 0"_s);
        }
        reply.delay = toMilliseconds(seconds);
        return readOutcome(*service->findMethod(name.section(u'.', 1)), &reply.outcome);
    }

    const Catalogue& m_catalogue;
    QJsonObject m_object; ///< of the line
    std::chrono::milliseconds m_time{0};
    Record m_record;
    QHash<QString, QPair<QString, qsizetype>> m_pending; ///< id of a call to its place in the replies
    QString m_error;
};

} // namespace

std::optional<Record> Record::read(const QString& path, const Catalogue& catalogue, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = path + u": "_s + file.errorString();
        return std::nullopt;
    }
    Reader reader(catalogue);
    for (int number = 1; !file.atEnd(); ++number) {
        const QByteArray line = file.readLine().trimmed();
        if (!line.isEmpty() && !reader.readLine(line)) {
            *error = path + u':' + QString::number(number) + u": "_s + reader.error();
            return std::nullopt;
        }
    }
    return reader.record();
}
