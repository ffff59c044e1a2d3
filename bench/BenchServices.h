// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include "Catalogue.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QHash>
#include <QThread>

#include <atomic>

/// All other services of the device, on a connection and a thread of their own. Every call is done: status 0, with the
/// values of a device whose light is on and whose volume is high. They record nothing, so that they do not grow.
class BenchServices : public QDBusVirtualObject
{
    Q_OBJECT

public:
    BenchServices();
    ~BenchServices() override;
    Q_DISABLE_COPY_MOVE(BenchServices)

    /// Puts the services on the session bus. @return whether that went well
    [[nodiscard]] bool start();

    /// The store will refuse one write: 0 for the next, 1 for the one after that, negative for none.
    void refuseWrite(int number);

    /// How often the frequency service was asked to reboot.
    [[nodiscard]] int reboots() const;

    /// Broadcasts the battery's charge. Does not wait.
    void broadcast(int charge);

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    const Catalogue m_catalogue;
    QThread m_thread;
    QDBusConnection m_bus;
    QHash<QString, QVariantList> m_answers; ///< by interface and method
    QList<QDBusMessage> m_broadcasts;       ///< by charge
    std::atomic<int> m_writesToRefusal = -1;
    std::atomic<int> m_reboots = 0;
};
