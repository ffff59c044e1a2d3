// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Event.h"

#include <QObject>

class GpEventManagerProxy;

/// Listens to the hardware event service and passes on the three events that the daemon acts on: the low-power line of
/// the power microcontroller, and the two buttons of the factory-reset gesture.
///
/// A service that is absent at the start is logged once, and its events are received as soon as it comes: the order in
/// which a device starts its services is not fixed. Event-loop thread only; event() is delivered before the next event
/// is handled.
class EventMonitor : public QObject
{
    Q_OBJECT

public:
    /// Subscribes to the hardware event service.
    explicit EventMonitor(QObject* parent);
    ~EventMonitor() override;

    /// Whether the service was present when this object was created.
    [[nodiscard]] bool isConnected() const;

Q_SIGNALS:
    /// One of the three events, as often as the service sends it.
    void event(const Event& event); // clazy:exclude=overloaded-signal

private Q_SLOTS:
    void onEvent(const QString& name, bool value);

private:
    Q_DISABLE_COPY_MOVE(EventMonitor)

    bool m_connected = false;
    GpEventManagerProxy* m_proxy; ///< child
};
