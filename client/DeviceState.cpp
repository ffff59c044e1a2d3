// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DeviceState.h"

#include "Moment.h"
#include "Paths.h"
#include "SessionBus.h"
#include "Terminal.h"
#include "ZoneReader.h"

#include <QFile>
#include <QJsonArray>

#include <algorithm>
#include <ctime>
#include <map>
#include <utility>

#include <unistd.h>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto kLimit = 1000ms;

/// Of the first column that a person sees.
constexpr int kHeadingColumns = 15;

/// The value of a member's argument by its name.
QVariant valueOf(const QVariantList& values, const MemberDescription& method, const QString& name)
{
    for (qsizetype place = 0; place < method.out.size(); ++place) {
        if (method.out.at(place).name == name) {
            return values.value(place);
        }
    }
    return {};
}

struct QuestionDescription
{
    const char* service;
    const char* member;
    void (*take)(DeviceState& state, const QVariantList& values, const MemberDescription& method);
};

/// Everything that is asked, at the same time.
const QuestionDescription kQuestions[] = {
    {"powermanager", "CurrentPowerZone",
     [](DeviceState& state, const QVariantList& values, const MemberDescription&) {
         state.zone = values.at(1).toString();
     }},
    {"powermanager", "IsAutoscalingEnabled",
     [](DeviceState& state, const QVariantList& values, const MemberDescription&) {
         state.isAutoscaling = values.at(1).toBool();
     }},
    {"powermanager", "IsActionsEnabled",
     [](DeviceState& state, const QVariantList& values, const MemberDescription&) {
         state.hasActions = values.at(1).toBool();
     }},
    {"powermanager", "IsSleepEnabled",
     [](DeviceState& state, const QVariantList& values, const MemberDescription&) {
         state.isSleepArmed = values.at(1).toBool();
         state.sleepStart = printable(values.at(2).toString());
         state.sleepEnd = printable(values.at(3).toString());
     }},
    {"freqmanager", "GetFreq",
     [](DeviceState& state, const QVariantList& values, const MemberDescription&) {
         state.frequencyMHz = values.at(1).toInt();
     }},
    {"statusmanager", "GetStatus",
     [](DeviceState& state, const QVariantList& values, const MemberDescription& method) {
         state.chargePercent = valueOf(values, method, u"CBATT"_s).toInt();
     }},
    {"soundmanager", "GetStatus",
     [](DeviceState& state, const QVariantList& values, const MemberDescription& method) {
         state.volume = valueOf(values, method, u"MasterVolume"_s).toDouble();
     }},
    {"lightmanager", "GetIntensity",
     [](DeviceState& state, const QVariantList& values, const MemberDescription&) {
         state.lightPercent = values.at(1).toInt();
     }},
    {"lightmanager", "GetSwitch",
     [](DeviceState& state, const QVariantList& values, const MemberDescription&) {
         state.isLightOn = values.at(1).toBool();
     }},
};

template <typename T>
QJsonValue orNull(const std::optional<T>& value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonValue orNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QJsonObject serviceToJson(const DeviceState::Service& service)
{
    return {{u"name"_s, service.name}, {u"present"_s, service.isPresent}, {u"problem"_s, orNull(service.problem)}};
}

} // namespace

DeviceState DeviceState::query(SessionBus& bus)
{
    DeviceState state;
    state.time = QDateTime::currentDateTime();
    const QString daemonName = bus.catalogue().powerDaemon().service;
    state.daemon.name = daemonName;

    // All are asked before any is waited for; the bus first, so that one who ends at a question was there.
    QDBusPendingCall names = bus.askBus(u"ListNames"_s, {});
    QDBusPendingCall process = bus.askBus(u"GetConnectionUnixProcessID"_s, {bus.catalogue().powerDaemon().busName});
    QList<std::pair<const QuestionDescription*, PendingAnswer>> questions;
    for (const QuestionDescription& question : kQuestions) {
        questions.append({&question, bus.call(QString::fromLatin1(question.service),
                                              QString::fromLatin1(question.member), {}, kLimit)});
    }
    names.waitForFinished();
    const QStringList present = bus.presentServices(names.reply());
    std::map<QString, QString> problems;
    for (auto& [question, pending] : questions) {
        const QString service = QString::fromLatin1(question->service);
        const Answer answer = pending.wait();
        if (answer.isDone()) {
            question->take(state, answer.values,
                           *bus.describe(service).findMethod(QString::fromLatin1(question->member)));
        } else if (answer.outcome != Answer::Outcome::Absent) {
            problems.emplace(service, answer.problem());
        }
    }
    const auto serviceState = [&](const QString& name) {
        const auto problem = problems.find(name);
        return Service{name, present.contains(name), problem == problems.end() ? QString() : problem->second};
    };
    state.daemon = serviceState(daemonName);
    if (names.isError()) {
        state.daemon.problem = u"the session bus does not answer"_s;
    }
    for (const QString& name : bus.catalogue().serviceNames()) {
        state.services.append(serviceState(name));
    }
    process.waitForFinished();
    if (!process.isError()) {
        state.daemonPid = process.reply().arguments().value(0).toLongLong();
        state.daemonSeconds = secondsSinceStart(state.daemonPid);
    }
    // The daemon tells the zone's name only.
    for (const PowerZone& zone : parseZones(readZoneFile(paths::zoneFile()))) {
        if (zone.isBand() && state.zone == zone.name) {
            state.volumeCeiling = zone.volume;
            state.lightCeiling = zone.light;
        }
    }
    state.lastAction = ReasonRecord::read(&state.recordFault);
    return state;
}

QDateTime DeviceState::sleepsAt() const
{
    const QTime start = QTime::fromString(sleepStart, u"HH:mm:ss"_s);
    if (!isSleepArmed.value_or(false) || !start.isValid()) {
        return {};
    }
    const bool isToday = start > time.time();
    return {isToday ? time.date() : time.date().addDays(1), start};
}

QJsonObject DeviceState::toJson() const
{
    QJsonArray serviceArray;
    for (const Service& service : services) {
        serviceArray.append(serviceToJson(service));
    }
    QJsonObject daemonObject = serviceToJson(daemon);
    daemonObject.insert(u"pid"_s, daemonPid > 0 ? QJsonValue(daemonPid) : QJsonValue(QJsonValue::Null));
    daemonObject.insert(u"uptime"_s, orNull(daemonSeconds));
    const QDateTime opens = sleepsAt();
    return {
        {u"clock"_s, time.toUTC().toString(Qt::ISODateWithMs)},
        {u"daemon"_s, daemonObject},
        {u"zone"_s, orNull(zone)},
        {u"volumeCeiling"_s, orNull(volumeCeiling)},
        {u"lightCeiling"_s, orNull(lightCeiling)},
        {u"charge"_s, orNull(chargePercent)},
        {u"volume"_s, orNull(volume)},
        {u"light"_s, orNull(lightPercent)},
        {u"lightOn"_s, orNull(isLightOn)},
        {u"frequency"_s, orNull(frequencyMHz)},
        {u"autoscaling"_s, orNull(isAutoscaling)},
        {u"actions"_s, orNull(hasActions)},
        {u"sleep"_s, QJsonObject{{u"armed"_s, orNull(isSleepArmed)},
                                 {u"start"_s, orNull(sleepStart)},
                                 {u"end"_s, orNull(sleepEnd)},
                                 {u"opens"_s, orNull(opens.isValid() ? opens.toString(Qt::ISODate) : QString())}}},
        {u"lastAction"_s, lastAction ? QJsonValue(lastAction->toJson()) : QJsonValue(QJsonValue::Null)},
        {u"services"_s, serviceArray},
    };
}

QStringList DeviceState::toLines(const Terminal& terminal) const
{
    using Style = Terminal::Style;
    const auto problemOf = [this](const QString& name) {
        const auto found = std::find_if(services.begin(), services.end(),
                                        [&name](const Service& service) { return service.name == name; });
        const Service& service = found == services.end() ? daemon : *found;
        return !service.isPresent ? u"missing"_s : service.problem;
    };
    // What is not known, and whose fault that is.
    const auto unknown = [&](const QString& service) {
        return terminal.styled(u"not known (%1: %2)"_s.arg(service, problemOf(service)), Style::Bad);
    };
    const QString daemonName = daemon.name;
    const auto onOff = [&](const std::optional<bool>& value) {
        return !value ? unknown(daemonName) : *value ? u"on"_s : u"off"_s;
    };
    const auto ceiling = [](const std::optional<int>& value) {
        return !value ? QString() : *value < 0 ? u", no ceiling"_s : u", ceiling %1"_s.arg(*value);
    };

    QStringList lines;
    const auto row = [&lines](const QString& name, const QString& text) {
        lines.append((name.isEmpty() ? name : QString(name + u':')).leftJustified(kHeadingColumns) + text);
    };
    if (!daemon.isPresent) {
        row(u"Power daemon"_s, terminal.styled(u"missing"_s, Style::Bad));
    } else {
        const QString uptime =
            daemonSeconds ? u"up for "_s + durationText(static_cast<qint64>(*daemonSeconds)) : u"running"_s;
        const QString process = daemonPid > 0 ? u", process %1"_s.arg(daemonPid) : QString();
        const QString problem =
            daemon.problem.isEmpty() ? QString() : terminal.styled(u"; "_s + daemon.problem, Style::Bad);
        row(u"Power daemon"_s, uptime + process + problem);
    }
    row(u"Charge"_s, chargePercent ? u"%1 %"_s.arg(*chargePercent) : unknown(u"statusmanager"_s));
    row(u"Zone"_s, !zone             ? unknown(daemonName)
                   : zone->isEmpty() ? u"none"_s
                                     : terminal.styled(printable(*zone), Style::Strong));
    row(u"Volume"_s, volume ? QString::number(*volume) + ceiling(volumeCeiling) : unknown(u"soundmanager"_s));
    row(u"Light"_s, lightPercent ? u"%1 %"_s.arg(*lightPercent) +
                                       (!isLightOn   ? QString()
                                        : *isLightOn ? u", on"_s
                                                     : u", off"_s) +
                                       ceiling(lightCeiling)
                                 : unknown(u"lightmanager"_s));
    row(u"Actions"_s, onOff(hasActions));
    row(u"Frequency"_s, frequencyMHz ? u"%1 MHz"_s.arg(*frequencyMHz) : unknown(u"freqmanager"_s));
    row(u"Autoscaling"_s, onOff(isAutoscaling));
    const QDateTime opens = sleepsAt();
    row(u"Sleep window"_s, !isSleepArmed      ? unknown(daemonName)
                           : !opens.isValid() ? u"none"_s
                                              : u"%1 to %2, opens in %3, once"_s.arg(sleepStart, sleepEnd,
                                                                                     durationText(time.secsTo(opens))));
    row(u"Last action"_s, lastAction ? u"%1 (%2), %3 ago, %4"_s.arg(lastAction->action, printable(lastAction->reason),
                                                                    durationText(lastAction->time.secsTo(time)),
                                                                    momentText(lastAction->time))
                                     : terminal.styled(recordFault, Style::Dim));
    // As many services a line as fit.
    const auto serviceRow = [&](const QString& name, bool isPresent) {
        QString line;
        qsizetype columns = 0;
        QString heading = name;
        for (const Service& service : services) {
            if (service.isPresent != isPresent) {
                continue;
            }
            const QString text =
                service.problem.isEmpty() ? service.name : u"%1 (%2)"_s.arg(service.name, service.problem);
            if (columns > 0 && kHeadingColumns + columns + 2 + text.size() > terminal.width()) {
                row(heading, line + u',');
                heading.clear();
                line.clear();
                columns = 0;
            }
            const bool isBad = !isPresent || !service.problem.isEmpty();
            line += (columns > 0 ? u", "_s : QString()) + (isBad ? terminal.styled(text, Style::Bad) : text);
            columns += (columns > 0 ? 2 : 0) + text.size();
        }
        row(heading, line.isEmpty() ? u"none"_s : line);
    };
    serviceRow(u"Services"_s, true);
    serviceRow(u"Missing"_s, false);
    return lines;
}

std::optional<double> secondsSinceStart(qint64 pid)
{
    QFile file(u"/proc/%1/stat"_s.arg(pid));
    if (pid <= 0 || !file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    // The second value is the program's name in parentheses, which may hold anything.
    const QByteArray content = file.readAll();
    const QByteArrayList values = content.mid(content.lastIndexOf(')') + 2).split(' ');
    constexpr qsizetype kStartPlace = 22 - 3; // the 22nd value of all; the name's and the one before are gone
    bool isNumber = false;
    const double ticks = values.value(kStartPlace).toDouble(&isNumber);
    timespec now = {};
    if (!isNumber || ::clock_gettime(CLOCK_BOOTTIME, &now) != 0) {
        return std::nullopt;
    }
    const double boot = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    return std::max(0.0, boot - ticks / static_cast<double>(::sysconf(_SC_CLK_TCK)));
}
