// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "PageRequests.h"

#include "Completion.h"
#include "DeviceView.h"
#include "Scenario.h"
#include "ScenarioWriter.h"
#include "ZoneLinter.h"
#include "ZoneReader.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cmath>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray frameOf(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

/// A whole number of JSON; nothing if it is none.
std::optional<qint64> wholeNumber(const QJsonValue& value)
{
    const double number = value.toDouble(NAN);
    constexpr double kMost = 9e15; // all whole numbers up to there are exact
    return number == std::floor(number) && std::abs(number) <= kMost ? std::optional(static_cast<qint64>(number))
                                                                     : std::nullopt;
}

} // namespace

struct PageRequests::Kind
{
    const char* member;    ///< what makes a request one of that kind
    QJsonValue::Type type; ///< of the member's value
    void (PageRequests::*carryOut)(const QJsonObject& request);
    bool hasFile = false; ///< its frame may be as long as a zone file
};

PageRequests::PageRequests(const Common& common, QObject* parent)
    : QObject(parent),
      m_session(common.session),
      m_rows(common.rows),
      m_history(common.history),
      m_scenarios(common.scenarios),
      m_lines(common.session),
      m_controls(common.session),
      m_scenario(common.session)
{
    for (TabSource* source : {&m_lines, &m_controls, &m_scenario}) {
        connect(source, &TabSource::done, this, &PageRequests::answer);
        connect(source, &TabSource::changed, this, &PageRequests::sourceChanged);
    }
}

void PageRequests::take(const QByteArray& frame)
{
    static constexpr Kind kKinds[] = {
        {"run", QJsonValue::String, &PageRequests::run},
        {"play", QJsonValue::String, &PageRequests::play},
        {"stop", QJsonValue::Bool, &PageRequests::stop},
        {"complete", QJsonValue::String, &PageRequests::complete},
        {"event", QJsonValue::Double, &PageRequests::showEvent},
        {"check", QJsonValue::String, &PageRequests::check, true},
        {"installZones", QJsonValue::String, &PageRequests::installZones, true},
        {"saveScenario", QJsonValue::Object, &PageRequests::saveScenario},
        {"clear", QJsonValue::Bool, &PageRequests::clear},
        {"from", QJsonValue::Double, &PageRequests::position},
        {"farewell", QJsonValue::String, &PageRequests::setFarewell},
    };
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(frame, &error);
    const QJsonObject request = document.object();
    const QJsonValue id = request.value(u"id"_s);
    if (!document.isObject()) {
        answer(id, false,
               u"found no JSON object ("_s + (document.isNull() ? error.errorString() : u"another value"_s) +
                   u"), expected one"_s);
        return;
    }
    const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&request](const Kind& row) {
        return request.value(QLatin1StringView(row.member)).type() == row.type;
    });
    if (kind == std::end(kKinds)) {
        QStringList known;
        std::transform(std::begin(kKinds), std::end(kKinds), std::back_inserter(known),
                       [](const Kind& row) { return QString::fromLatin1(row.member); });
        answer(id, false,
               u"found a request with the members "_s + request.keys().join(u", "_s) + u", expected one of "_s +
                   known.join(u", "_s) + u" with a value of its type"_s);
    } else if (frame.size() > kMostBytes && !kind->hasFile) {
        answer(id, false,
               u"found "_s + QString::number(frame.size()) + u" bytes, expected at most "_s +
                   QString::number(kMostBytes));
    } else {
        (this->*kind->carryOut)(request);
    }
}

QJsonObject PageRequests::source() const
{
    const TabSource& shown = m_lines.isIdle() && !m_scenario.isIdle() ? m_scenario : m_lines;
    const auto orNull = [](const QString& text) { return text.isEmpty() ? QJsonValue() : QJsonValue(text); };
    return {{u"isIdle"_s, m_lines.isIdle() && m_scenario.isIdle() && m_controls.isIdle()},
            {u"line"_s, orNull(shown.line())},
            {u"scenario"_s, orNull(m_scenario.origin())}};
}

QString PageRequests::farewell() const
{
    return m_farewell;
}

void PageRequests::answer(const QJsonValue& id, bool isGood, const QString& text)
{
    Q_EMIT answered(
        frameOf({{u"answer"_s, id.isUndefined() ? QJsonValue() : id}, {u"ok"_s, isGood}, {u"text"_s, text}}));
}

void PageRequests::run(const QJsonObject& request)
{
    TabSource& source = request.value(u"now"_s).toBool() ? m_controls : m_lines;
    QString error;
    if (!source.load(request.value(u"id"_s), request.value(u"run"_s).toString(), u"page"_s, &error)) {
        answer(request.value(u"id"_s), false, error);
    }
}

void PageRequests::play(const QJsonObject& request)
{
    QString error;
    const QString name = request.value(u"play"_s).toString();
    const std::optional<QString> text = m_scenarios.read(name, &error);
    if (!text || !m_scenario.load(request.value(u"id"_s), *text, name, &error)) {
        answer(request.value(u"id"_s), false, error);
    }
}

void PageRequests::stop(const QJsonObject& request)
{
    m_scenario.stop();
    m_lines.stop();
    m_controls.stop();
    answer(request.value(u"id"_s), true, {});
}

void PageRequests::complete(const QJsonObject& request)
{
    const Completion completion =
        completionOf(request.value(u"complete"_s).toString(), m_session.simulator().catalogue());
    Q_EMIT answered(frameOf({{u"completions"_s, request.value(u"id"_s)},
                             {u"words"_s, QJsonArray::fromStringList(completion.words)},
                             {u"from"_s, static_cast<qint64>(completion.from)}}));
}

void PageRequests::showEvent(const QJsonObject& request)
{
    m_rows.update();
    const std::optional<qint64> place = wholeNumber(request.value(u"event"_s));
    const QByteArray whole = place ? m_rows.whole(*place) : QByteArray();
    const QByteArray number = QByteArray::number(place.value_or(-1));
    Q_EMIT answered("{\"event\":" + number + ",\"whole\":" + (whole.isEmpty() ? "null" : whole) + '}');
}

void PageRequests::check(const QJsonObject& request)
{
    const QByteArray content = request.value(u"check"_s).toString().toUtf8();
    QJsonArray list;
    const QList<ZoneFinding> findings = findingsOf(content);
    for (const ZoneFinding& finding : findings) {
        list.append(QJsonObject{{u"line"_s, static_cast<qint64>(finding.line)},
                                {u"column"_s, static_cast<qint64>(finding.column)},
                                {u"severity"_s, severityName(finding.severity)},
                                {u"id"_s, finding.id},
                                {u"zone"_s, finding.zone},
                                {u"text"_s, QString(finding.found + u"; "_s + finding.meant)}});
    }
    Q_EMIT answered(frameOf({{u"findings"_s, request.value(u"id"_s)},
                             {u"list"_s, list},
                             {u"zones"_s, DeviceView::toJson(ZoneTable(parseZones(content)))}}));
}

void PageRequests::installZones(const QJsonObject& request)
{
    const QByteArray content = request.value(u"installZones"_s).toString().toUtf8();
    Simulator& simulator = m_session.simulator();
    QString error;
    if (!simulator.files().writeZones(content, &error)) {
        answer(request.value(u"id"_s), false, error);
        return;
    }
    simulator.timeline().note(u"the page has installed a zone file of "_s + QString::number(content.size()) +
                              u" bytes"_s);
    (void)m_controls.load(request.value(u"id"_s), u"update 12"_s, u"page"_s, &error); // the line is right
}

void PageRequests::saveScenario(const QJsonObject& request)
{
    const QJsonObject wish = request.value(u"saveScenario"_s).toObject();
    const qint64 from = wholeNumber(wish.value(u"from"_s)).value_or(0);
    const qint64 to = wholeNumber(wish.value(u"to"_s)).value_or(0);
    const QString name = wish.value(u"name"_s).toString();
    QString error;
    if (!ScenarioFolder::isName(name, &error)) {
        answer(request.value(u"id"_s), false, error);
        return;
    }
    m_rows.update();
    const std::optional<DeviceHistory::Moment> begin = m_history.atOrAfter(static_cast<qsizetype>(from));
    ScenarioWriter writer(begin.value_or(DeviceHistory::Moment()), m_session.settings().daemon.has_value());
    // The command that it begins with may be forgotten, as a row or as a moment.
    qsizetype place = begin && begin->place >= m_rows.first() ? begin->place : m_rows.next();
    while (place <= to && place < m_rows.next()) {
        qsizetype at = place;
        const QList<QByteArray> lines = m_rows.wholeLines(&place).split('\n');
        for (const QByteArray& line : lines) {
            if (at++ <= to && !line.isEmpty()) {
                writer.take(QJsonDocument::fromJson(line).object());
            }
        }
    }
    if (!writer.hasCommands()) {
        error = u"found no command among the rows from "_s + QString::number(from) + u" to "_s + QString::number(to) +
                u", expected one"_s;
    }
    const bool isWritten = writer.hasCommands() && m_scenarios.write(name, writer.text(m_history.present()), &error);
    answer(request.value(u"id"_s), isWritten, isWritten ? name + u".scenario"_s : error);
}

void PageRequests::clear(const QJsonObject& request)
{
    Q_EMIT clearRequested();
    answer(request.value(u"id"_s), true, {});
}

void PageRequests::position(const QJsonObject& request)
{
    Q_EMIT positioned(wholeNumber(request.value(u"from"_s)).value_or(0));
}

void PageRequests::setFarewell(const QJsonObject& request)
{
    const QString lines = request.value(u"farewell"_s).toString();
    QString error;
    const bool isGood = parseScenario(lines, u"page"_s, 1, m_session.simulator().catalogue(), &error).has_value();
    if (isGood) {
        m_farewell = lines;
    }
    answer(request.value(u"id"_s), isGood, error);
}
