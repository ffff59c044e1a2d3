// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QTimer>

class SessionBus;

/// Notices that something about the device changed: by the signals of the power daemon and the services, and by their
/// coming and going. Several changes at a time are told as one.
class DeviceWatch : public QObject
{
    Q_OBJECT

public:
    explicit DeviceWatch(SessionBus& bus);
    ~DeviceWatch() override;

    /// Begins; the first change is told at once.
    void start();

Q_SIGNALS:
    void changed();
    void busGone();

private Q_SLOTS:
    void onSignal(const QDBusMessage& message);
    void onOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    Q_DISABLE_COPY_MOVE(DeviceWatch)

    SessionBus& m_bus;
    QTimer m_timer;
};
