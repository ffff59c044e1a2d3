// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "DeviceWatch.h"

#include "SessionBus.h"

#include <chrono>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// What one event makes change comes within this time.
constexpr auto kTogether = 30ms;

} // namespace

DeviceWatch::DeviceWatch(SessionBus& bus) : m_bus(bus)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(kTogether);
    connect(&m_timer, &QTimer::timeout, this, &DeviceWatch::changed);
}

DeviceWatch::~DeviceWatch() = default;

void DeviceWatch::start()
{
    QDBusConnection& connection = m_bus.connection();
    const QString bus = u"org.freedesktop.DBus"_s;
    const auto listen = [this, &connection, &bus](const InterfaceDescription& description) {
        (void)connection.connect(description.busName, description.objectPath, description.interfaceName, QString(),
                                 this, SLOT(onSignal(QDBusMessage)));
        (void)connection.connect(bus, u"/org/freedesktop/DBus"_s, bus, u"NameOwnerChanged"_s, {description.busName},
                                 u"sss"_s, this, SLOT(onOwnerChanged(QString, QString, QString)));
    };
    listen(m_bus.catalogue().powerDaemon());
    for (const InterfaceDescription& description : m_bus.catalogue().services()) {
        listen(description);
    }
    (void)connection.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                             u"Disconnected"_s, this, SIGNAL(busGone()));
    m_timer.start(0ms);
}

void DeviceWatch::onSignal(const QDBusMessage&)
{
    if (!m_timer.isActive()) {
        m_timer.start(kTogether);
    }
}

void DeviceWatch::onOwnerChanged(const QString&, const QString&, const QString&)
{
    if (!m_timer.isActive()) {
        m_timer.start(kTogether);
    }
}
