// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SignalListener.h"

#include "SessionBus.h"

using namespace Qt::Literals::StringLiterals;

SignalListener::SignalListener(SessionBus& bus) : m_bus(bus) {}

SignalListener::~SignalListener() = default;

void SignalListener::start(bool isAll)
{
    QDBusConnection& connection = m_bus.connection();
    const QString bus = u"org.freedesktop.DBus"_s;
    const auto listen = [this, &connection, &bus](const InterfaceDescription& description) {
        (void)connection.connect(description.busName, description.objectPath, description.interfaceName, QString(),
                                 this, SLOT(onSignal(QDBusMessage)));
        (void)connection.connect(bus, u"/org/freedesktop/DBus"_s, bus, u"NameOwnerChanged"_s, {description.busName},
                                 QString(), this, SLOT(onSignal(QDBusMessage)));
    };
    listen(m_bus.catalogue().powerDaemon());
    for (const InterfaceDescription& description : m_bus.catalogue().services()) {
        if (isAll) {
            listen(description);
        }
    }
    (void)connection.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                             u"Disconnected"_s, this, SIGNAL(busGone()));
}

void SignalListener::onSignal(const QDBusMessage& message)
{
    WireMessage wire;
    wire.type = WireMessage::Type::Signal;
    wire.path = message.path();
    wire.interfaceName = message.interface();
    wire.member = message.member();
    wire.sender = message.service();
    wire.signature = message.signature();
    wire.values = message.arguments();
    Q_EMIT received(wire);
}
