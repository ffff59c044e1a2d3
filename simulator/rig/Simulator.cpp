// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Simulator.h"

#include "DBusValues.h"

#include <QDateTime>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// A timer counts its milliseconds as an int, which ends at 24.8 days: a longer standby is waited for in parts.
constexpr std::chrono::milliseconds kLongestTimer = 24h;

} // namespace

Simulator::Simulator(Timeline& timeline, const QString& root, const QString& gpioRoot, QObject* parent)
    : QObject(parent),
      m_timeline(timeline),
      m_files(root),
      m_lines(gpioRoot, timeline),
      m_wakeUpTimer(this),
      m_powerDaemon(m_catalogue.powerDaemon(), timeline)
{
    for (const InterfaceDescription& description : m_catalogue.services()) {
        auto* simulated = new SimulatedService(description, m_device, m_timeline, this);
        connect(simulated, &SimulatedService::called, this, &Simulator::onCalled);
        m_services.insert(description.service, simulated);
    }
    connect(&m_load, &LoadGenerator::ended, this, [this] { m_timeline.note(u"the load has ended"_s); });
    m_wakeUpTimer.setSingleShot(true);
    connect(&m_wakeUpTimer, &QTimer::timeout, this, &Simulator::sleepOn);
}

Simulator::~Simulator()
{
    // Not as children: those end after the members, among them the catalogue whose names they give back to the bus.
    qDeleteAll(m_services);
}

bool Simulator::prepareFiles(QString* error)
{
    if (!m_files.prepare(error)) {
        return false;
    }
    // Before the lines, so that the configuration is there even if they cannot be made.
    m_device.configFile = m_files.configFile();
    m_device.loadConfig();
    return m_lines.prepare(error);
}

bool Simulator::start(const QStringList& without, QString* error)
{
    const QStringList unknown = Device::unknownMethods(m_catalogue);
    if (!unknown.isEmpty()) {
        *error = u"the device's table of effects: found "_s + unknown.join(u", "_s) +
                 u", expected methods that the interface descriptions have"_s;
        return false;
    }
    if (!m_powerDaemon.start(error)) {
        return false;
    }
    for (const InterfaceDescription& description : m_catalogue.services()) {
        if (!without.contains(description.service) && !m_services.value(description.service)->start(error)) {
            return false;
        }
    }
    return true;
}

const Catalogue& Simulator::catalogue() const
{
    return m_catalogue;
}

Device& Simulator::device()
{
    return m_device;
}

const DeviceFiles& Simulator::files() const
{
    return m_files;
}

GpioLines& Simulator::lines()
{
    return m_lines;
}

PowerDaemonClient& Simulator::powerDaemon()
{
    return m_powerDaemon;
}

LoadGenerator& Simulator::load()
{
    return m_load;
}

Timeline& Simulator::timeline()
{
    return m_timeline;
}

SimulatedService* Simulator::service(const QString& name)
{
    return m_services.value(name);
}

void Simulator::setFault(const QString& member, const Fault& fault)
{
    m_services.value(member.section(u'.', 0, 0))->setFault(member.section(u'.', 1), fault);
}

void Simulator::repairAll()
{
    for (SimulatedService* simulated : std::as_const(m_services)) {
        simulated->repairAll();
    }
}

void Simulator::replay(const QString& method, const QList<Record::Reply>& replies)
{
    m_services.value(method.section(u'.', 0, 0))->replay(method.section(u'.', 1), replies);
}

void Simulator::sendNotifications()
{
    const QList<Device::Notification> notifications = std::exchange(m_device.notifications, {});
    for (const Device::Notification& notification : notifications) {
        send(notification);
    }
}

void Simulator::send(const Device::Notification& notification)
{
    sendValues(notification.signal,
               dbusvalues::fill(m_catalogue.findSignal(notification.signal)->out, notification.values));
}

void Simulator::sendValues(const QString& signal, const QVariantList& values)
{
    m_services.value(signal.section(u'.', 0, 0))->send(*m_catalogue.findSignal(signal), values);
}

void Simulator::broadcastStatus()
{
    send({u"statusmanager.SystemStatus"_s, m_device.status()});
}

void Simulator::onCalled(const QString& method)
{
    sendNotifications();
    if (method == u"freqmanager.Suspend" && !m_device.wakeUpTime.isEmpty()) {
        m_wakeUpTimer.start(0ms); // not at once: the answer is held when this has returned
    }
    switch (std::exchange(m_device.powerRequest, Device::PowerRequest::None)) {
    case Device::PowerRequest::None:
        break;
    case Device::PowerRequest::Reboot:
        Q_EMIT rebootRequested();
        break;
    case Device::PowerRequest::Shutdown:
        Q_EMIT shutdownRequested();
        break;
    }
}

void Simulator::sleepOn()
{
    const QDateTime wakeUpTime =
        QDateTime::fromString(QString(m_device.wakeUpTime).replace(u' ', u'T') + u'Z', Qt::ISODate);
    const std::chrono::milliseconds left(QDateTime::currentDateTimeUtc().msecsTo(wakeUpTime));
    if (left > 0ms) {
        m_wakeUpTimer.start(std::min(left, kLongestTimer));
    } else {
        wakeUp();
    }
}

void Simulator::wakeUp()
{
    m_wakeUpTimer.stop();
    m_device.wakeUpTime.clear();
    m_services.value(u"freqmanager"_s)->release();
}

void Simulator::restartDevice()
{
    m_device.restart();
}
