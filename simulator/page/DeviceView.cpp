// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DeviceView.h"

#include "TimelineText.h"
#include "ZoneReader.h"

using namespace Qt::Literals::StringLiterals;

namespace {

QString nameOf(DaemonWatch::State state)
{
    switch (state) {
    case DaemonWatch::State::None:
        return u"none"_s;
    case DaemonWatch::State::Starting:
        return u"starting"_s;
    case DaemonWatch::State::Up:
        return u"up"_s;
    case DaemonWatch::State::Blocked:
        return u"blocked"_s;
    case DaemonWatch::State::Restarting:
        return u"restarting"_s;
    case DaemonWatch::State::Down:
        break;
    }
    return u"down"_s;
}

/// Null for a negative one, which leaves the part alone.
QJsonValue ceiling(int value)
{
    return value < 0 ? QJsonValue() : QJsonValue(value);
}

QJsonValue orNull(const QString& text)
{
    return text.isNull() ? QJsonValue() : QJsonValue(text);
}

/// Buttons by the names of their hardware events, and as the page names them.
constexpr std::pair<QLatin1StringView, QLatin1StringView> kButtons[] = {
    {QLatin1StringView("reset_factory"), QLatin1StringView("reset_factory")},
    {QLatin1StringView("seek-"), QLatin1StringView("seek-")},
    {QLatin1StringView("power|atmega_low_power"), QLatin1StringView("low_power")},
};

/// A longer zone file is no reading, and each tab would get it with its first frame.
constexpr qsizetype kMostZoneFile = qsizetype{256} * 1024;

} // namespace

DeviceView::DeviceView(Session& session, QObject* parent)
    : QObject(parent), m_session(session), m_simulator(session.simulator())
{
    connect(&m_simulator.timeline(), &Timeline::added, this, &DeviceView::take);
    connect(&m_simulator, &Simulator::rebootRequested, this, [this] { m_daemon.restart(); });
    const QString daemonName = m_simulator.catalogue().powerDaemon().busName;
    connect(&m_owners, &NameOwners::changed, this, [this, daemonName](const QString& busName) {
        if (busName == daemonName) {
            m_daemon.find(m_simulator.timeline().elapsedMs());
        }
    });
    m_owners.watch(daemonName);
    for (const InterfaceDescription& description : m_simulator.catalogue().services()) {
        m_owners.watch(description.busName);
    }
}

void DeviceView::take(const Timeline::Entry& entry)
{
    m_daemon.take(entry);
    if (const auto* call = entry.as<events::Call>()) {
        m_lastCall.insert(call->service, *call);
    } else if (const auto* signal = entry.as<events::Signal>()) {
        if (signal->member == u"GpEvent") {
            const QString button = signal->arguments.values.value(0).toString();
            if (signal->arguments.values.value(1).toBool()) {
                m_pressedMs.insert(button, entry.msec);
            } else {
                m_pressedMs.remove(button);
            }
        }
    }
}

void DeviceView::refresh()
{
    m_loadPercent = m_cpuLoad.sample().value_or(m_loadPercent);
    m_userData = m_simulator.files().userDataCount();
    m_record = m_simulator.files().record();
    readZones();
}

void DeviceView::readZones()
{
    if (std::exchange(m_zoneFileReads, m_daemon.zoneFileReads()) == m_daemon.zoneFileReads()) {
        return;
    }
    const QByteArray content = readZoneFile(m_simulator.files().zoneFile());
    const QJsonArray zones = toJson(ZoneTable(parseZones(content)));
    m_zoneByName.clear();
    for (const auto& zone : zones) {
        m_zoneByName.insert(zone.toObject().value(u"name"_s).toString(), zone.toObject());
    }
    const bool isShown = content.size() <= kMostZoneFile;
    m_zoneFile = isShown ? QJsonValue(QString::fromUtf8(content)) : QJsonValue();
    m_zones = isShown ? zones : QJsonArray();
}

QJsonArray DeviceView::toJson(const ZoneTable& table)
{
    QJsonArray zones;
    for (const PowerZone& zone : table.zones()) {
        zones.append(QJsonObject{{u"name"_s, zone.name},
                                 {u"lower"_s, zone.lowThreshold},
                                 {u"upper"_s, zone.highThreshold},
                                 {u"volume"_s, ceiling(zone.volume)},
                                 {u"light"_s, ceiling(zone.light)}});
    }
    return zones;
}

QJsonObject DeviceView::state() const
{
    const qint64 now = m_simulator.timeline().elapsedMs();
    QJsonObject state{{u"now"_s, now}, {u"daemon"_s, daemon(now)}, {u"services"_s, services()}};
    insertParts(state);
    insertZones(state);
    insertLines(state);
    QJsonValue sleepWindow;
    if (const std::optional<DaemonWatch::SleepWindow> window = m_daemon.sleepWindow()) {
        sleepWindow = QJsonObject{{u"start"_s, window->start},
                                  {u"end"_s, window->end},
                                  {u"lengthSeconds"_s, window->lengthSeconds},
                                  {u"opensMs"_s, window->opensMs ? QJsonValue(*window->opensMs) : QJsonValue()}};
    }
    state.insert(u"sleepWindow"_s, sleepWindow);
    return state;
}

void DeviceView::insertParts(QJsonObject& state) const
{
    const Device& device = m_simulator.device();
    state.insert(u"charge"_s, device.chargePercent);
    state.insert(u"volume"_s, device.masterVolume);
    state.insert(u"light"_s, static_cast<int>(device.lightIntensity));
    state.insert(u"lightOn"_s, device.isLightOn);
    state.insert(u"freqMHz"_s, device.freqMHz);
    state.insert(u"cpuLoad"_s, qRound(m_loadPercent));
    state.insert(u"rgbDisabled"_s, device.isRgbDisabled);
    state.insert(u"cameraEnabled"_s, device.isCameraEnabled);
    state.insert(u"phoneForcedOff"_s, device.isPhoneForcedOff);
    state.insert(u"wakeUp"_s, device.wakeUpTime);
    state.insert(u"schedule"_s, device.scheduleEntries);
    state.insert(u"events"_s, device.eventEntries);
    state.insert(u"userData"_s, m_userData);
    state.insert(u"record"_s, orNull(m_record));
    state.insert(u"configFrozen"_s, device.isConfigFrozen);
    QJsonObject config;
    for (auto entry = device.config.constBegin(); entry != device.config.constEnd(); ++entry) {
        config.insert(entry.key().first + u'/' + entry.key().second, entry.value());
    }
    state.insert(u"config"_s, config);
}

void DeviceView::insertZones(QJsonObject& state) const
{
    const std::optional<QString> zone = m_daemon.zone();
    const QJsonObject zoneInForce = m_zoneByName.value(zone.value_or(QString()));
    state.insert(u"zones"_s, m_zones);
    state.insert(u"zoneFile"_s, m_zoneFile);
    state.insert(u"zone"_s, zone ? QJsonValue(*zone) : QJsonValue());
    state.insert(u"volumeCeiling"_s, zoneInForce.isEmpty() ? QJsonValue() : zoneInForce.value(u"volume"_s));
    state.insert(u"lightCeiling"_s, zoneInForce.isEmpty() ? QJsonValue() : zoneInForce.value(u"light"_s));
}

void DeviceView::insertLines(QJsonObject& state) const
{
    QJsonObject lines;
    for (const int line : {GpioLines::kIndicatorLine, GpioLines::kModeSelectLine}) {
        lines.insert(QString::number(line), m_simulator.lines().isOn(line) ? 1 : 0);
    }
    state.insert(u"lines"_s, lines);
    state.insert(u"modeSwitch"_s,
                 m_simulator.lines().isOn(GpioLines::kModeSelectLine) ? u"access-point"_s : u"infrastructure"_s);
    QJsonObject buttons;
    for (const auto& [event, button] : kButtons) {
        const auto pressed = m_pressedMs.constFind(QString(event));
        buttons.insert(QString(button), pressed == m_pressedMs.constEnd() ? QJsonValue() : QJsonValue(*pressed));
    }
    state.insert(u"buttons"_s, buttons);
}

QJsonObject DeviceView::daemon(qint64 msec) const
{
    const QString action = m_daemon.action(msec);
    return {{u"state"_s, nameOf(m_daemon.state(msec))},
            {u"action"_s, action.isEmpty() ? QJsonValue() : QJsonValue(action)},
            {u"sinceMs"_s, m_daemon.sinceMs(msec)}};
}

QJsonObject DeviceView::services() const
{
    QJsonObject services;
    for (const InterfaceDescription& description : m_simulator.catalogue().services()) {
        services.insert(description.service, service(description));
    }
    return services;
}

QJsonObject DeviceView::service(const InterfaceDescription& description) const
{
    const SimulatedService& simulated = *m_simulator.service(description.service);
    const bool isLeftOut = m_session.settings().without.contains(description.service);
    QString state = isLeftOut ? u"absent"_s : u"down"_s;
    if (simulated.isRunning()) {
        state = u"up"_s;
    } else if (m_owners.hasOwner(description.busName)) {
        state = u"real"_s;
    }
    QJsonObject faults;
    const QHash<QString, Fault>& all = simulated.faults();
    for (auto fault = all.constBegin(); fault != all.constEnd(); ++fault) {
        if (fault->kind != Fault::Kind::None) {
            faults.insert(fault.key(), fault->toString());
        }
    }
    const auto last = m_lastCall.constFind(description.service);
    const QString asked = last == m_lastCall.constEnd()
                              ? QString()
                              : TimelineText().columns(*last).text.section(u" -> "_s, 0, 0).section(u'.', 1);
    return {{u"state"_s, state}, {u"last"_s, asked}, {u"faults"_s, faults}};
}
