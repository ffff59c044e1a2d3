// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "EventMonitor.h"

#include "GpEventManagerProxy.h"
#include "Log.h"

#include <QDBusConnection>

#include <algorithm>

EventMonitor::EventMonitor(QObject* parent)
    : QObject(parent),
      m_proxy(new GpEventManagerProxy(kGpEventService.busName, kGpEventService.objectPath,
                                      QDBusConnection::sessionBus(), this))
{
    const bool isSubscribed = connect(m_proxy, &GpEventManagerProxy::GpEvent, this, &EventMonitor::onEvent);
    m_connected = isSubscribed && m_proxy->isValid();
    if (!m_connected) {
        POWER_LOG(LogLevel::Detail, "Impossible to connect GpEvent signals");
    }
}

EventMonitor::~EventMonitor() = default;

bool EventMonitor::isConnected() const
{
    return m_connected;
}

void EventMonitor::onEvent(const QString& name, bool value)
{
    POWER_LOG(LogLevel::Actuation, "Event got: name=%s, value=%d", qPrintable(name), value);
    if (std::find(std::begin(kEventNames), std::end(kEventNames), name) == std::end(kEventNames)) {
        POWER_LOG(LogLevel::Detail, "Event ignored: name=%s, value=%d", qPrintable(name), value);
        return;
    }
    Q_EMIT event(Event(name, value));
}
