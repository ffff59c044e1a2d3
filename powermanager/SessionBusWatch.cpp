// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "SessionBusWatch.h"

#include "Log.h"

#include <QCoreApplication>
#include <QDBusConnection>

SessionBusWatch::SessionBusWatch(QDBusConnection bus)
{
    // The bus library sends this signal to its own process only; no generated client has it.
    if (!bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                     QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                     SLOT(onDisconnected()))) {
        POWER_LOG(LogLevel::Warning, "DBUS: Can't watch the session bus");
    }
}

void SessionBusWatch::onDisconnected()
{
    POWER_LOG(LogLevel::Error, "DBUS: Session bus lost. Exiting...");
    QCoreApplication::exit(-1);
}
