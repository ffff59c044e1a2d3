// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "ScenarioWriter.h"

#include "DBusValues.h"
#include "Parameters.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <cmath>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Shorter pauses between commands are not repeated.
constexpr double kShortestWait = 0.3;

/// How much later than in the record an event may come.
constexpr double kTolerance = 2;

/// Until the device and the power daemon have come to rest.
constexpr double kRest = 0.5;

/// A word as a line of the language has it.
QString quoted(const QString& text)
{
    static const QRegularExpression kPlain(u"^[A-Za-z0-9_.:/|+,-]+$"_s);
    // A quoted word is never one of the language's own.
    if (kPlain.match(text).hasMatch() && text != u"within" && text != u"for") {
        return text;
    }
    QString escaped = text;
    escaped.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s).replace(u'\n', u"\\n"_s).replace(u'\t', u"\\t"_s);
    return u'"' + escaped + u'"';
}

/// Whether a text has a time in it, which will be another one.
bool hasTime(const QString& text)
{
    static const QRegularExpression kTime(u"\\d{4}-\\d\\d-\\d\\d|\\d\\d:\\d\\d"_s);
    return kTime.match(text).hasMatch();
}

/// The values of arguments or of a reply, with a blank before each; empty if one of them will be another, or has no
/// place in a line.
QString valuesOf(const QJsonArray& values)
{
    QString words;
    for (const auto& element : values) {
        const QJsonObject value = element.toObject();
        const QString type = value.value(u"type"_s).toString();
        const QVariant converted = dbusvalues::fromJson(value.value(u"value"_s), type);
        const QString text = dbusvalues::toText(converted);
        if (!converted.isValid() || hasTime(text) || text.contains(u'=')) {
            return {};
        }
        words += u' ' + quoted(text);
    }
    return words;
}

/// Whether a call changes something; the others only ask.
bool isChange(const QString& service, const QString& member)
{
    const bool isQuestion = member.startsWith(u"Get") || member.startsWith(u"Is");
    const bool isOfLoad = service == u"freqmanager" && member == u"SetFreq";
    return !isQuestion && !isOfLoad;
}

QString onOff(bool isOn)
{
    return isOn ? u"on"_s : u"off"_s;
}

} // namespace

ScenarioWriter::ScenarioWriter(const DeviceHistory::Moment& begin, bool hasDaemon)
    : m_begin(begin), m_hasDaemon(hasDaemon)
{
}

bool ScenarioWriter::hasCommands() const
{
    return m_hasCommands;
}

void ScenarioWriter::take(const QJsonObject& event)
{
    const QString kind = event.value(u"kind"_s).toString();
    const QString service = event.value(u"service"_s).toString();
    const QString member = event.value(u"member"_s).toString();
    const double seconds = event.value(u"time"_s).toDouble();
    if (kind == u"command") {
        takeCommand(event, seconds);
    } else if (!m_hasCommands) {
        return;
    } else if (kind == u"signal" && service == events::kPowerDaemon) {
        expect(u"signal "_s + member + valuesOf(event.value(u"arguments"_s).toArray()), seconds);
    } else if (kind == u"call" && isChange(service, member)) {
        expect(u"call "_s + service + u'.' + member + valuesOf(event.value(u"arguments"_s).toArray()), seconds);
    } else if (kind == u"answer" && service == events::kPowerDaemon) {
        expect(u"answer "_s + member + valuesOf(event.value(u"reply"_s).toArray()), seconds);
    } else if (kind == u"pattern") {
        expect(u"pattern "_s + event.value(u"text"_s).toString(), seconds);
    } else if (kind == u"log" && event.value(u"level"_s).toInt() <= 2) {
        const QString message = event.value(u"message"_s).toString();
        if (!hasTime(message)) {
            expect(u"log "_s + quoted(message), seconds);
        }
    } else if (kind == u"process" && m_hasDaemon) {
        const QString state = event.value(u"state"_s).toString();
        if (state == u"ended") {
            expect(u"ended "_s + event.value(u"text"_s).toString(), seconds);
        } else if (state == u"up") {
            expect(u"daemon up"_s, seconds);
        }
    }
}

void ScenarioWriter::takeCommand(const QJsonObject& event, double seconds)
{
    const double pause = seconds - m_lastSeconds;
    if (m_hasCommands && pause > kShortestWait) {
        m_lines.append(u"wait "_s + QString::number(pause, 'f', 1));
    }
    m_hasCommands = true;
    m_lastSeconds = seconds;
    m_lines.append(QString());
    m_lines.append(event.value(u"text"_s).toString());
}

void ScenarioWriter::expect(const QString& what, double seconds)
{
    const double within = std::ceil(std::max(0.0, seconds - m_lastSeconds) + kTolerance);
    const bool isUsual = within <= parameters::kDefaultWithinSeconds + 1;
    m_lines.append(u"expect "_s + what + (isUsual ? QString() : u" within "_s + QString::number(within)));
    m_lastSeconds = seconds;
}

QString ScenarioWriter::text(const DeviceHistory::Moment& now) const
{
    QStringList lines{u"# The device as it was, and the power daemon as it starts."_s, u"repair all"_s};
    for (const QString& service : now.down) {
        lines.append(u"start "_s + service);
    }
    lines.append(u"charge "_s + QString::number(m_begin.chargePercent));
    if (m_hasDaemon) {
        // Its zone, its sleep window and its switches are in its memory alone; it takes the zone of the charge.
        lines += {u"daemon stop"_s, u"wait 0.5"_s, u"daemon start"_s, u"expect daemon up within 10"_s};
    }
    lines.append(u"wait "_s + QString::number(kRest));
    lines += {u"volume "_s + QString::number(m_begin.masterVolume),
              u"light "_s + QString::number(m_begin.lightIntensity),
              u"light "_s + onOff(m_begin.isLightOn),
              u"rgb "_s + onOff(!m_begin.isRgbDisabled),
              u"camera "_s + onOff(m_begin.isCameraEnabled),
              u"mode "_s + (m_begin.isAccessPoint ? u"access-point"_s : u"infrastructure"_s),
              u"schedule "_s + QString::number(m_begin.scheduleEntries),
              u"events "_s + QString::number(m_begin.eventEntries)};
    for (const QString& service : m_begin.down) {
        lines.append(u"stop "_s + service);
    }
    for (const QString& fault : m_begin.faults) {
        lines.append(u"fail "_s + fault);
    }
    return (lines + m_lines).join(u'\n') + u'\n';
}
