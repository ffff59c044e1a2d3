// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "BenchServices.h"

#include "DBusValues.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

BenchServices::BenchServices() : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"services"_s))
{
    const QVariantMap values{{u"CBATT"_s, 50}, {u"MasterVolume"_s, 90.0}};
    for (const InterfaceDescription& service : m_catalogue.services()) {
        for (const MemberDescription& method : service.methodList) {
            m_answers.insert(service.interfaceName + method.name, dbusvalues::fill(method.out, values));
        }
    }
    const InterfaceDescription& status = *m_catalogue.findService(u"statusmanager"_s);
    const MemberDescription& signal = *status.findSignal(u"SystemStatus"_s);
    for (int charge = 0; charge <= 100; ++charge) {
        m_broadcasts.append(QDBusMessage::createSignal(status.objectPath, status.interfaceName, signal.name));
        m_broadcasts.last().setArguments(dbusvalues::fill(signal.out, {{u"CBATT"_s, charge}}));
    }
}

BenchServices::~BenchServices()
{
    QDBusConnection::disconnectFromBus(m_bus.name());
    m_thread.quit();
    m_thread.wait();
}

bool BenchServices::start()
{
    const QList<InterfaceDescription>& services = m_catalogue.services();
    const bool isOnBus = m_bus.registerVirtualObject(u"/com"_s, this, QDBusConnection::SubPath);
    moveToThread(&m_thread);
    m_thread.start();
    return isOnBus && std::all_of(services.begin(), services.end(), [this](const InterfaceDescription& description) {
               return m_bus.registerService(description.busName);
           });
}

void BenchServices::refuseWrite(int number)
{
    m_writesToRefusal = number;
}

int BenchServices::reboots() const
{
    return m_reboots;
}

void BenchServices::broadcast(int charge)
{
    m_bus.send(m_broadcasts.at(charge));
}

QString BenchServices::introspect(const QString&) const
{
    return {};
}

bool BenchServices::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    QVariantList answer = m_answers.value(message.interface() + message.member());
    if (message.member() == u"SetStringValue" && m_writesToRefusal-- == 0) {
        answer = {-1};
    } else if (message.member() == u"Reboot") {
        ++m_reboots;
    }
    return connection.send(message.createReply(answer));
}
